// Patterns: expressions in the spelling of C, read by precedence climbing.
#include "tests/simp/tree_generator.h"

#include <cctype>
#include <charconv>
#include <map>

namespace {
constexpr std::string_view patterns[] = {
#include "tests/simp/patterns.def"
};

struct BINARY {
    std::string_view spelling;
    int op, level;
};
// Longer spellings first.
constexpr BINARY binaries[] = {{"<<", OP::SLL, 8},    {">>", OP::SRL, 8},  {"<=", OP::LE, 7},
                               {">=", OP::GE, 7},     {"==", OP::EQ, 6},   {"!=", OP::NEQ, 6},
                               {"&&", OP::ANDAND, 2}, {"||", OP::OROR, 1}, {"<", OP::LT, 7},
                               {">", OP::GT, 7},      {"&", OP::ANDB, 5},  {"^", OP::XORB, 4},
                               {"|", OP::ORB, 3},     {"+", OP::PLUS, 9},  {"-", OP::MINUS, 9},
                               {"*", OP::MULT, 10},   {"/", OP::DIV, 10},  {"%", OP::MOD, 10}};

// Whether the text begins with a cast: "(t)".
bool begins_with_cast(std::string_view text) {
    constexpr std::string_view types = "cCsSiIftv";
    return text.size() > 3 && text[0] == '(' && text[2] == ')' &&
           types.find(text[1]) != std::string_view::npos;
}

class PATTERN_READER {
public:
    PATTERN_READER(TREE_GENERATOR &generator, std::string_view text, TYPE *base, int depth)
        : g_(generator), w_(generator.world()), rest_(text), base_(base), depth_(depth) {}
    void bind(char letter, NODE *tree) { bound_[letter] = tree; }

    NODE *read() {
        NODE *tree = choice();
        return rest_.empty() ? tree : nullptr;
    }

private:
    bool take(std::string_view token) {
        while (rest_.starts_with(' '))
            rest_.remove_prefix(1);
        if (!rest_.starts_with(token)) return false;
        rest_.remove_prefix(token.size());
        return true;
    }

    NODE *choice() {
        NODE *tree = binary(1);
        if (!take("?")) return tree;
        NODE *first = choice();
        take(":");
        NODE *second = choice();
        TYPE *type = first->type->is_ptr() || !g_.promotes ? first->type->stds()
                                                           : combined_type(first, second);
        first = g_.converted(first, type);
        second = g_.converted(second, type);
        return w_.node({OP::QUEST, type, tree, w_.node({OP::COLON, type, first, second})});
    }

    NODE *binary(int level) {
        NODE *left = unary();
        for (;;) {
            const BINARY *found = nullptr;
            take("");
            for (const BINARY &row : binaries)
                if (rest_.starts_with(row.spelling)) {
                    found = &row;
                    break;
                }
            if (!found || found->level < level) return left;
            take(found->spelling);
            left = g_.arithmetic(found->op, left, binary(found->level + 1));
        }
    }

    NODE *unary() {
        const auto of = [this](int op) {
            NODE *x = unary();
            TYPE *type = g_.promoted(x->type);
            if (type->is_floating() && op == OP::NOTB) type = w_.int_t;
            return w_.node({op, type, g_.converted(x, type)});
        };
        if (take("-")) return of(OP::UMINUS);
        if (take("~")) return of(OP::NOTB);
        if (take("!")) return w_.node({OP::EXCLAIM, w_.int_t, unary()});
        take("");
        if (begins_with_cast(rest_)) {
            const char letter = rest_[1];
            rest_.remove_prefix(3);
            TYPE *type = cast_type(letter);
            NODE *x = unary();
            return w_.node({OP::SCONV, type, x});
        }
        if (take("(")) {
            NODE *tree = choice();
            take(")");
            return tree;
        }
        int number = 0;
        const auto *end = std::from_chars(rest_.data(), rest_.data() + rest_.size(), number).ptr;
        if (end != rest_.data()) {
            rest_.remove_prefix(static_cast<std::size_t>(end - rest_.data()));
            return w_.icon(INT65(number), w_.int_t);
        }
        const char letter = rest_.front();
        rest_.remove_prefix(1);
        NODE *&tree = bound_[letter];
        if (!tree) tree = atom(letter);
        return copy_tree(tree);
    }

    TYPE *cast_type(char letter) {
        switch (letter) {
        case 'c': return w_.schar_t;
        case 'C': return w_.uchar_t;
        case 's': return w_.short_t;
        case 'S': return w_.ushort_t;
        case 'i': return w_.int_t;
        case 'I': return w_.uint_t;
        case 'f': return w_.float_t;
        default: break;
        }
        TYPE *&type = types_[letter];
        if (!type) type = g_.chance().one_of(w_.integers);
        return type;
    }

    NODE *atom(char letter) {
        CHANCE &chance = g_.chance();
        TYPE *type = g_.promoted(base_), *bits = type->is_floating() ? w_.int_t : type;
        switch (letter) {
        case 'p':
        case 'q': return g_.leaf(w_.int_p);
        case 'k':
        case 'm':
        case 'n':
            return w_.icon(
                INT65(chance.percent(90) ? chance.below(base_->size()) : chance.below(70) - 30),
                w_.int_t);
        case 'P':
        case 'Q': return w_.icon(INT65(1) << INT65(chance.below(base_->size())), bits);
        case 'M':
            return w_.icon((INT65(1) << INT65(chance.below(base_->size() + 1))) - INT65(1), bits);
        case 'A':
        case 'B':
        case 'C':
        case 'D': return g_.constant(type);
        default: return chance.percent(70) ? g_.leaf(base_) : g_.value(base_, depth_);
        }
    }

    TREE_GENERATOR &g_;
    WORLD &w_;
    std::string_view rest_;
    TYPE *const base_;
    const int depth_;
    std::map<char, NODE *> bound_;
    std::map<char, TYPE *> types_;
};
} // namespace

std::span<const std::string_view> tree_patterns() {
    return patterns;
}

std::string letters_of_pattern(std::string_view pattern) {
    std::string letters;
    for (std::size_t i = 0; i < pattern.size(); ++i) {
        const char c = pattern[i];
        if (begins_with_cast(pattern.substr(i)))
            i += 2;
        else if (std::isalpha(static_cast<unsigned char>(c)) &&
                 letters.find(c) == std::string::npos)
            letters += c;
    }
    return letters;
}

NODE *tree_of_pattern(TREE_GENERATOR &generator, std::string_view pattern, TYPE *base, int depth) {
    return PATTERN_READER(generator, pattern, base, depth).read();
}

NODE *tree_of_pattern(TREE_GENERATOR &generator, std::string_view pattern, TYPE *base,
                      std::span<const PATTERN_LETTER> letters) {
    PATTERN_READER reader(generator, pattern, base, 0);
    for (const PATTERN_LETTER &one : letters)
        reader.bind(one.letter, one.tree);
    return reader.read();
}
