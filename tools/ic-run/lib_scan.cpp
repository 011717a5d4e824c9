// The scanf family, on standard input and on strings.
#include "tools/ic-run/library.h"

#include <algorithm>
#include <bitset>
#include <cstdlib>

namespace {
// Characters to be read: those of standard input, or units of memory up to a zero unit.
class INPUT {
public:
    explicit INPUT(MACHINE &machine) : machine_(machine), from_stream_(true) {}
    INPUT(MACHINE &machine, std::uint32_t address) : machine_(machine), at_(address) {}

    // -1 at the end.
    int peek() {
        if (!looked_) {
            next_ = from_stream_ ? machine_.get() : unit();
            looked_ = true;
        }
        return next_;
    }
    void skip() {
        looked_ = false;
        if (++count_ > longest_input) library_fault("scanf: too many characters for one call");
    }
    std::uint32_t count() const { return count_; }
    // Leaves what was looked at to the next reader.
    void finish() {
        if (from_stream_ && looked_ && next_ >= 0) machine_.unget(next_);
    }

private:
    static constexpr std::uint32_t longest_input = 1 << 20;

    int unit() {
        const int value = machine_.load16(at_);
        if (!value) return -1;
        ++at_;
        return value;
    }

    MACHINE &machine_;
    bool from_stream_ = false;
    std::uint32_t at_ = 0;
    bool looked_ = false;
    int next_ = -1;
    std::uint32_t count_ = 0; // characters taken
};

struct CONVERSION {
    bool store = true;
    bool is_short = false;
    std::uint32_t width = ~0u;
    char16_t letter = 0;
};

enum OUTCOME { SCAN_matched, SCAN_failed, SCAN_no_input };

// One call of the family.
class SCANNER {
public:
    SCANNER(LIBRARY_CALL arguments, std::uint32_t format, INPUT input)
        : arguments_(arguments), format_(load_units(arguments.machine, format)), input_(input) {}

    // The number of stored values; -1 when the input ended before the first conversion.
    std::uint32_t run() {
        OUTCOME outcome = SCAN_matched;
        while (outcome == SCAN_matched && at_ < format_.size()) {
            const char16_t unit = format_[at_++];
            if (is_space(unit))
                skip_space();
            else if (unit == u'%' && peek() != u'%')
                outcome = convert();
            else
                outcome = literal(unit);
        }
        input_.finish();
        return outcome == SCAN_no_input && !converted_ ? ~0u : stored_;
    }

private:
    char16_t peek() const { return at_ < format_.size() ? format_[at_] : u'\0'; }

    bool at_space() {
        return input_.peek() >= 0 && is_space(static_cast<std::uint32_t>(input_.peek()));
    }

    void skip_space() {
        while (at_space())
            input_.skip();
    }

    // Also %%, which skips white space first.
    OUTCOME literal(char16_t unit) {
        if (unit == u'%') {
            ++at_;
            skip_space();
        }
        if (input_.peek() < 0) return SCAN_no_input;
        if (input_.peek() != unit) return SCAN_failed;
        input_.skip();
        return SCAN_matched;
    }

    CONVERSION read_conversion() {
        CONVERSION c;
        if (peek() == u'*') {
            c.store = false;
            ++at_;
        }
        std::uint32_t width = 0;
        for (; is_digit(peek()); ++at_)
            width = std::min<std::uint32_t>(width * 10 + (peek() - u'0'), MACHINE::memory_units);
        if (width) c.width = width;
        c.is_short = peek() == u'h';
        while (peek() && std::u16string_view(u"hljztL").find(peek()) != std::u16string_view::npos)
            ++at_;
        c.letter = peek();
        if (c.letter) ++at_;
        return c;
    }

    OUTCOME convert() {
        const CONVERSION c = read_conversion();
        if (c.letter != u'c' && c.letter != u'[' && c.letter != u'n') skip_space();
        if (c.letter != u'n' && c.letter && input_.peek() < 0) {
            return SCAN_no_input;
        }
        OUTCOME outcome = SCAN_matched;
        switch (c.letter) {
        case u'd':
        case u'u': outcome = integer(c, 10); break;
        case u'i': outcome = integer(c, 0); break;
        case u'o': outcome = integer(c, 8); break;
        case u'x':
        case u'X':
        case u'p': outcome = integer(c, 16); break;
        case u'a':
        case u'A':
        case u'e':
        case u'E':
        case u'f':
        case u'F':
        case u'g':
        case u'G': outcome = real(c); break;
        case u's': outcome = characters(c, non_space()); break;
        case u'[': outcome = characters(c, read_set()); break;
        case u'c': outcome = fixed_characters(c); break;
        case u'n':
            if (c.store) store_integer(c, input_.count());
            return SCAN_matched;
        default: library_fault("scanf: an unknown conversion");
        }
        if (outcome != SCAN_matched) return outcome;
        converted_ = true;
        if (c.store) ++stored_;
        return SCAN_matched;
    }

    void store_integer(const CONVERSION &c, std::uint32_t value) {
        const std::uint32_t to = arguments_.word();
        if (c.is_short || c.letter == u'p')
            arguments_.machine.store16(to, static_cast<std::uint16_t>(value));
        else
            arguments_.machine.store32(to, value);
    }

    // The digit under the reader, when the field's width leaves room for it; 36 for none.
    unsigned digit(std::uint32_t taken, std::uint32_t width) {
        if (taken >= width || input_.peek() < 0) return 36;
        return digit_value(static_cast<std::uint32_t>(input_.peek()));
    }

    bool take(int character, std::uint32_t &taken, std::uint32_t width) {
        if (taken >= width || input_.peek() != character) return false;
        input_.skip();
        ++taken;
        return true;
    }

    // Numbers out of range become the nearest one in range, as strtol and strtoul do it.
    OUTCOME integer(const CONVERSION &c, std::uint32_t base) {
        std::uint32_t taken = 0;
        const bool negative = take('-', taken, c.width);
        if (!negative) take('+', taken, c.width);
        bool any = false;
        if ((base == 0 || base == 16) && take('0', taken, c.width)) {
            any = true;
            if (take('x', taken, c.width) || take('X', taken, c.width)) {
                any = false; // "0x" alone is no number
                base = 16;
            } else if (base == 0) {
                base = 8;
            }
        }
        if (base == 0) base = 10;
        std::uint64_t value = 0;
        for (unsigned d; (d = digit(taken, c.width)) < base; ++taken) {
            if (value >> 33 == 0) value = value * base + d;
            any = true;
            input_.skip();
        }
        if (!any) return SCAN_failed;
        if (c.store) store_integer(c, in_range(c, value, negative));
        return SCAN_matched;
    }

    static std::uint32_t in_range(const CONVERSION &c, std::uint64_t value, bool negative) {
        const bool is_signed = c.letter == u'd' || c.letter == u'i';
        if (is_signed) {
            value = std::min<std::uint64_t>(value, negative ? 0x80000000 : 0x7fffffff);
        } else if (value > 0xffffffff) {
            return 0xffffffff;
        }
        const auto low = static_cast<std::uint32_t>(value);
        return negative ? -low : low;
    }

    // Digits of the base, taken into the text; whether there was one.
    bool take_digits(std::string &text, std::uint32_t width, unsigned base) {
        bool any = false;
        while (digit(static_cast<std::uint32_t>(text.size()), width) < base) {
            text.push_back(static_cast<char>(input_.peek()));
            input_.skip();
            any = true;
        }
        return any;
    }

    // One of the characters, taken into the text.
    bool take_one(std::string &text, std::uint32_t width, std::string_view characters) {
        const int next = input_.peek();
        if (text.size() >= width || next <= 0 || next > 127) return false;
        if (characters.find(static_cast<char>(next)) == std::string_view::npos) return false;
        text.push_back(static_cast<char>(next));
        input_.skip();
        return true;
    }

    // Takes letters of a word, in either case; how many.
    std::size_t take_word(std::string &text, std::uint32_t width, std::string_view word) {
        std::size_t taken = 0;
        for (char letter : word) {
            const char both[] = {letter, static_cast<char>(letter - 'a' + 'A')};
            if (!take_one(text, width, {both, 2})) break;
            ++taken;
        }
        return taken;
    }

    // Takes the longest text that is a number or the beginning of one; whether it is one.
    bool take_real(std::string &text, std::uint32_t width) {
        take_one(text, width, "+-");
        if (const std::size_t letters = take_word(text, width, "infinity"))
            return letters == 3 || letters == 8;
        if (const std::size_t letters = take_word(text, width, "nan")) return letters == 3;
        unsigned base = 10;
        bool any = take_one(text, width, "0");
        if (any && take_one(text, width, "xX")) {
            base = 16;
            any = false;
        }
        any |= take_digits(text, width, base);
        if (take_one(text, width, ".")) any |= take_digits(text, width, base);
        if (!any) return false;
        if (!take_one(text, width, base == 16 ? "pP" : "eE")) return true;
        take_one(text, width, "+-");
        return take_digits(text, width, 10);
    }

    OUTCOME real(const CONVERSION &c) {
        std::string text;
        if (!take_real(text, c.width)) return SCAN_failed;
        if (c.store)
            arguments_.machine.store_float(arguments_.word(), std::strtof(text.c_str(), nullptr));
        return SCAN_matched;
    }

    using UNIT_SET = std::bitset<65536>;

    static UNIT_SET non_space() {
        UNIT_SET set;
        for (std::uint32_t c = 0; c < 128; ++c)
            set[c] = is_space(c);
        return ~set;
    }

    // The set behind "%[": a '-' between two units stands for all from the first to the last.
    UNIT_SET read_set() {
        UNIT_SET set;
        const bool inverted = peek() == u'^';
        if (inverted) ++at_;
        const std::size_t first = at_;
        for (; peek() && (peek() != u']' || at_ == first); ++at_) {
            char16_t last = peek();
            const char16_t from = last;
            if (at_ + 2 < format_.size() && format_[at_ + 1] == u'-' && format_[at_ + 2] != u']') {
                at_ += 2;
                last = peek();
            }
            for (std::uint32_t c = from; c <= last; ++c)
                set.set(c);
        }
        if (!peek()) library_fault("scanf: a set without an end");
        ++at_;
        return inverted ? ~set : set;
    }

    OUTCOME characters(const CONVERSION &c, const UNIT_SET &set) {
        std::u16string text;
        for (int next; text.size() < c.width && (next = input_.peek()) >= 0 &&
                       set[static_cast<std::size_t>(next)];
             input_.skip())
            text.push_back(static_cast<char16_t>(next));
        if (text.empty()) return SCAN_failed;
        if (c.store) {
            text.push_back(u'\0');
            store_units(text);
        }
        return SCAN_matched;
    }

    OUTCOME fixed_characters(const CONVERSION &c) {
        const std::uint32_t wanted = c.width == ~0u ? 1 : c.width;
        std::u16string text;
        for (; text.size() < wanted && input_.peek() >= 0; input_.skip())
            text.push_back(static_cast<char16_t>(input_.peek()));
        if (text.size() < wanted) return SCAN_failed;
        if (c.store) store_units(text);
        return SCAN_matched;
    }

    void store_units(std::u16string_view units) {
        std::uint32_t to = arguments_.word();
        for (char16_t unit : units)
            arguments_.machine.store16(to++, unit);
    }

    LIBRARY_CALL arguments_;
    std::u16string format_;
    std::size_t at_ = 0;
    INPUT input_;
    bool converted_ = false;
    std::uint32_t stored_ = 0;
};

std::uint32_t lib_scanf(LIBRARY_CALL &call) {
    const std::uint32_t format = call.word();
    return SCANNER(call, format, INPUT(call.machine)).run();
}

std::uint32_t lib_fscanf(LIBRARY_CALL &call) {
    if (stream_argument(call) != STREAM_in) return ~0u;
    return lib_scanf(call);
}

std::uint32_t lib_sscanf(LIBRARY_CALL &call) {
    const std::uint32_t from = call.word();
    const std::uint32_t format = call.word();
    return SCANNER(call, format, INPUT(call.machine, from)).run();
}

constexpr LIBRARY_ENTRY entries[] = {
    {"scanf", lib_scanf},
    {"fscanf", lib_fscanf},
    {"sscanf", lib_sscanf},
};
} // namespace

constexpr std::span<const LIBRARY_ENTRY> scan_functions = entries;
