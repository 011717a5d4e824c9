// Names that the text form gives to types, members and symbols. Printer and assembler share these
// rules, so that a name printed at some place means the same thing when it is read back there.
#pragma once

#include "OPT5/icode/records/if_model.h"

// Derives names of types from their records: int, char.const*, struct.node, int(char*,...),
// int[10].
class IF_TYPE_NAMER {
public:
    explicit IF_TYPE_NAMER(const IF_MODEL &model) : model_(model) {}

    // Call for every record of the type section, then of the main body, in order. Gives the number
    // of the type whose name is complete with this record, 0 for none.
    std::uint32_t add(const IF_RECORD &r);
    // "" for a type without a name of this kind. Names need not be unique.
    std::string_view name(std::uint32_t number) const;
    // Types in the file with this name.
    std::size_t count(std::string_view name) const;

private:
    const IF_MODEL &model_;
    std::unordered_map<std::uint32_t, std::string> names_;
    std::unordered_map<std::string, std::size_t> counts_;
    std::unordered_map<std::uint32_t, std::string> open_functions_; // text so far, without ")"

    std::string derive(const IF_RECORD &r) const;
    bool give(std::uint32_t number, std::string name);
};

// The members of classes by index and by name.
class IF_MEMBER_NAMES {
public:
    explicit IF_MEMBER_NAMES(const IF_MODEL &model) : model_(model) {}
    void add(const IF_RECORD &r); // every type record, in order
    // The member's name when it is fit for printing and names no other member of the class; else
    // "".
    std::string_view name(std::uint32_t csu, std::uint32_t index) const;
    // Index of the member with that name; -1 for none, -2 for several.
    std::int64_t index(std::uint32_t csu, std::string_view name) const;

private:
    const IF_MODEL &model_;
    std::unordered_map<std::uint64_t, std::string_view> by_index_;
    std::unordered_map<std::uint32_t, std::unordered_map<std::string_view, std::int64_t>> by_name_;
};

// What a plain symbol name means at a place in the file: the innermost visible local of that name,
// else the file-level symbol.
class IF_SYMBOL_NAMES {
public:
    explicit IF_SYMBOL_NAMES(const IF_MODEL &model) : model_(model) {}
    // Call for every record of the global section, then of the main body, in order. True when the
    // record is a symbol.
    bool step(const IF_RECORD &r);
    const IF_SCOPES &scopes() const { return scopes_; }

    enum class RESULT { none, one, several };
    // With RESULT::one, `found` is the symbol; it holds until the next step.
    RESULT find(std::string_view name, const IF_SCOPES::SYMBOL *&found) const;
    RESULT find_global(std::string_view name, const IF_SCOPES::SYMBOL *&found) const;

private:
    const IF_MODEL &model_;
    IF_SCOPES scopes_;
    struct global_name {
        std::uint32_t index;
        bool several;
    };
    std::unordered_map<std::string_view, global_name> globals_;
    std::unordered_map<std::string_view, std::vector<std::uint32_t>> visible_; // locals, inner last
    std::vector<std::uint32_t> order_; // all visible locals, inner last

    std::string_view name_of(const IF_SCOPES::SYMBOL &s) const {
        return model_.text(*s.record, IF_SYM::name);
    }
};

// Letters, digits and "_.$+-" only: fit to stand in text without quotes.
bool if_is_bare_word(std::string_view s);
// Letters, digits and "_.$", not beginning with a digit, and not the word "none".
bool if_is_bare_name(std::string_view s);

// Basic types by name, with what the target gives them (bits).
struct IF_BASIC_TYPE {
    const char *name;
    int kind; // file kind
    bool explicit_sign;
    std::uint32_t size;
};
std::span<const IF_BASIC_TYPE> if_basic_types();
inline constexpr std::uint32_t if_pointer_bits = 16;
inline constexpr std::size_t if_max_type_name = 60;
