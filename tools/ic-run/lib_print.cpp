// The printf family. A format is read as a list of conversions; numbers are written by the host's
// snprintf, one conversion at a time.
#include "tools/ic-run/library.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace {
constexpr std::uint32_t longest_conversion = 65535; // the largest width and precision
constexpr std::uint32_t longest_output = 1 << 20;   // what one call may write

// Where the text of a call goes: to a stream, or to memory, of which only the first units exist.
class OUTPUT {
public:
    OUTPUT(MACHINE &machine, STREAM stream) : machine_(machine), stream_(stream) {}
    OUTPUT(MACHINE &machine, std::uint32_t to, std::uint32_t room)
        : machine_(machine), to_(to), room_(room) {}

    void put(std::u16string_view units) {
        if (units.size() > longest_output - count_)
            library_fault("printf: more than " + std::to_string(longest_output) +
                          " characters by one call");
        if (to_memory())
            store(units);
        else if (!put_units(machine_, stream_, units))
            failed_ = true;
        count_ += static_cast<std::uint32_t>(units.size());
    }
    std::uint32_t count() const { return count_; }
    // Ends the text in memory; gives the call's result.
    std::uint32_t finish() {
        if (to_memory() && room_) machine_.store16(to_ + std::min(count_, room_ - 1), 0);
        return failed_ ? ~0u : count_;
    }

private:
    bool to_memory() const { return stream_ == STREAM{}; }
    void store(std::u16string_view units) {
        if (count_ >= room_) return;
        const auto stored = std::min<std::size_t>(units.size(), room_ - 1 - count_);
        for (std::size_t i = 0; i < stored; ++i)
            machine_.store16(to_ + count_ + static_cast<std::uint32_t>(i), units[i]);
    }

    MACHINE &machine_;
    STREAM stream_ = {};
    std::uint32_t to_ = 0;
    std::uint32_t room_ = 0; // with the zero unit behind the text
    std::uint32_t count_ = 0;
    bool failed_ = false;
};

enum LENGTH { LEN_short, LEN_other };

struct CONVERSION {
    std::string flags;
    bool left = false;
    std::uint32_t width = 0;
    std::int32_t precision = -1; // -1: none given
    LENGTH length = LEN_other;
    char16_t letter = 0;
};

// One call of the family.
class PRINTER {
public:
    PRINTER(LIBRARY_CALL arguments, std::uint32_t format, OUTPUT output)
        : arguments_(arguments), format_(load_units(arguments.machine, format)), output_(output) {}

    std::uint32_t run() {
        while (at_ < format_.size()) {
            const std::size_t percent = std::min(format_.find(u'%', at_), format_.size());
            output_.put(std::u16string_view(format_).substr(at_, percent - at_));
            at_ = percent;
            if (at_ < format_.size()) convert();
        }
        return output_.finish();
    }

private:
    char16_t peek() const { return at_ < format_.size() ? format_[at_] : u'\0'; }

    [[noreturn]] void bad_conversion(std::size_t start) const {
        std::string text;
        for (std::size_t i = start; i <= at_ && i < format_.size() && i < start + 20; ++i)
            text.push_back(is_space(format_[i]) || format_[i] - 33u >= 94
                               ? '?'
                               : static_cast<char>(format_[i]));
        library_fault("printf: unknown conversion '" + text + "'");
    }

    // A width or precision: digits, or an argument for '*'.
    std::int32_t number() {
        std::int64_t value = 0;
        if (peek() == u'*') {
            ++at_;
            value = static_cast<std::int32_t>(arguments_.dword());
        } else {
            for (; is_digit(peek()); ++at_)
                value = std::min<std::int64_t>(value * 10 + (peek() - u'0'), 1 << 30);
        }
        if (value > longest_conversion || -value > longest_conversion)
            library_fault("printf: a width or precision of " + std::to_string(value));
        return static_cast<std::int32_t>(value);
    }

    CONVERSION read_conversion() {
        CONVERSION c;
        const std::size_t start = at_++;
        for (; peek() && std::u16string_view(u"-+ #0").find(peek()) != std::u16string_view::npos;
             ++at_) {
            const char flag = static_cast<char>(peek());
            if (c.flags.find(flag) == std::string::npos) c.flags.push_back(flag);
        }
        const std::int32_t width = number();
        if (width < 0 && c.flags.find('-') == std::string::npos) c.flags.push_back('-');
        c.width = static_cast<std::uint32_t>(std::abs(width));
        c.left = c.flags.find('-') != std::string::npos;
        if (peek() == u'.') {
            ++at_;
            c.precision = std::max(number(), -1);
        }
        c.length = read_length();
        c.letter = peek();
        if (!c.letter ||
            std::u16string_view(u"diouxXcspnaAeEfFgG%").find(c.letter) == std::u16string_view::npos)
            bad_conversion(start);
        ++at_;
        return c;
    }

    // char is as long as short; everything else is as long as int.
    LENGTH read_length() {
        const char16_t letter = peek();
        switch (letter) {
        case u'h':
        case u'l':
            ++at_;
            if (peek() == letter) ++at_;
            return letter == u'h' ? LEN_short : LEN_other;
        case u'j':
        case u'z':
        case u't':
        case u'L': ++at_; return LEN_other;
        default: return LEN_other;
        }
    }

    void convert() {
        const CONVERSION c = read_conversion();
        switch (c.letter) {
        case u'%': output_.put(u"%"); break;
        case u'c': {
            const auto unit = static_cast<char16_t>(arguments_.dword());
            put_padded(c, {&unit, 1});
            break;
        }
        case u's': {
            const std::uint32_t limit = static_cast<std::uint32_t>(c.precision);
            put_padded(c, load_units(arguments_.machine, arguments_.word(), limit));
            break;
        }
        case u'n': store_count(c); break;
        case u'd':
        case u'i': {
            const std::uint32_t value = arguments_.dword();
            put_number(c, "ll", 'd',
                       c.length == LEN_short
                           ? static_cast<long long>(static_cast<std::int16_t>(value))
                           : static_cast<std::int32_t>(value));
            break;
        }
        case u'o':
        case u'u':
        case u'x':
        case u'X': {
            const std::uint32_t value = arguments_.dword();
            put_number(c, "ll", static_cast<char>(c.letter),
                       static_cast<unsigned long long>(
                           c.length == LEN_short ? static_cast<std::uint16_t>(value) : value));
            break;
        }
        case u'p': put_pointer(c); break;
        default: {
            // All NaNs print alike, whatever the sign that a computation has left in them.
            const float value = arguments_.real();
            put_number(c, "", static_cast<char>(c.letter),
                       std::isnan(value) ? std::fabs(double{value}) : double{value});
        }
        }
    }

    void put_padded(const CONVERSION &c, std::u16string_view units) {
        const std::u16string padding(c.width - std::min<std::size_t>(c.width, units.size()), u' ');
        if (!c.left) output_.put(padding);
        output_.put(units);
        if (c.left) output_.put(padding);
    }

    void put_ascii(std::string_view text) { output_.put(std::u16string(text.begin(), text.end())); }

    // As %x with the flag '#', but "0x0" for null.
    void put_pointer(const CONVERSION &c) {
        char text[8];
        std::snprintf(text, sizeof text, "0x%x", unsigned{arguments_.word()});
        const std::string_view digits = text;
        put_padded(c, std::u16string(digits.begin(), digits.end()));
    }

    template <typename VALUE>
    void put_number(const CONVERSION &c, const char *length, char letter, VALUE value) {
        const std::string specification = "%" + c.flags + "*.*" + length + letter;
        const int width = static_cast<int>(c.width);
        char text[64];
        const int units =
            std::snprintf(text, sizeof text, specification.c_str(), width, c.precision, value);
        if (units < 0) library_fault("printf: a number that the host cannot write");
        if (static_cast<std::size_t>(units) < sizeof text) {
            put_ascii({text, static_cast<std::size_t>(units)});
            return;
        }
        std::string longer(static_cast<std::size_t>(units) + 1, '\0');
        std::snprintf(longer.data(), longer.size(), specification.c_str(), width, c.precision,
                      value);
        longer.pop_back();
        put_ascii(longer);
    }

    void store_count(const CONVERSION &c) {
        const std::uint32_t to = arguments_.word();
        if (c.length == LEN_short)
            arguments_.machine.store16(to, static_cast<std::uint16_t>(output_.count()));
        else
            arguments_.machine.store32(to, output_.count());
    }

    LIBRARY_CALL arguments_;
    std::u16string format_;
    std::size_t at_ = 0;
    OUTPUT output_;
};

// The arguments behind the format: the call's own, or those of a va_list.
enum ARGUMENTS { own_arguments, listed_arguments };

template <ARGUMENTS arguments> std::uint32_t print(LIBRARY_CALL &call, OUTPUT output) {
    const std::uint32_t format = call.word();
    LIBRARY_CALL list = call;
    if (arguments == listed_arguments) list.next = call.word();
    return PRINTER(list, format, output).run();
}

template <ARGUMENTS arguments> std::uint32_t print_out(LIBRARY_CALL &call) {
    return print<arguments>(call, OUTPUT(call.machine, STREAM_out));
}

template <ARGUMENTS arguments> std::uint32_t print_stream(LIBRARY_CALL &call) {
    const STREAM stream = stream_argument(call);
    return print<arguments>(call, OUTPUT(call.machine, stream));
}

template <ARGUMENTS arguments> std::uint32_t print_string(LIBRARY_CALL &call) {
    const std::uint32_t to = call.word();
    return print<arguments>(call, OUTPUT(call.machine, to, ~0u));
}

template <ARGUMENTS arguments> std::uint32_t print_limited(LIBRARY_CALL &call) {
    const std::uint32_t to = call.word();
    const std::uint32_t room = call.dword();
    return print<arguments>(call, OUTPUT(call.machine, to, room));
}

constexpr LIBRARY_ENTRY entries[] = {
    {"printf", print_out<own_arguments>},       {"vprintf", print_out<listed_arguments>},
    {"fprintf", print_stream<own_arguments>},   {"vfprintf", print_stream<listed_arguments>},
    {"sprintf", print_string<own_arguments>},   {"vsprintf", print_string<listed_arguments>},
    {"snprintf", print_limited<own_arguments>}, {"vsnprintf", print_limited<listed_arguments>},
};
} // namespace

constexpr std::span<const LIBRARY_ENTRY> print_functions = entries;
