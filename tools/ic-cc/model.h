// The translation unit that ic-cc builds: types, symbols, trees and function bodies, in the shape
// of the intermediate file, knowing nothing of clang. Sizes, alignments and offsets are in bits
// unless a name says units (16 bits).
#pragma once

#include "OPT5/icode/records/opcodes.h"

#include <cstdint>
#include <deque>
#include <map>
#include <string>
#include <string_view>
#include <vector>

inline constexpr unsigned unit_bits = 16;

struct position {
    unsigned file = 0; // number in the name table; 0: none
    unsigned line = 0;
    unsigned column = 0;
};

struct type;
struct node;
struct symbol;

enum class tkind : std::uint8_t {
    void_type,
    integer,
    floating,
    pointer,
    qualified,
    named, // typedef
    array,
    function,
    enumeration,
    record, // struct or union
};

// Integer kinds by rank and sign; the numbers of the file follow from file_integer_kind.
enum class ikind : std::uint8_t {
    boolean,
    schar,
    uchar,
    wchar,
    short_,
    ushort_,
    int_,
    uint_,
    long_,
    ulong_,
    llong,
    ullong,
    plain_char,
};

enum qualifier : unsigned { q_const = 1, q_volatile = 2, q_restrict = 64 };

struct member {
    std::string name;
    const type *mtype = nullptr;
    unsigned index = 0; // 1-based
    std::uint32_t offset = 0;
    std::uint32_t width = 0; // of a bit-field
    std::uint32_t align = 0; // when above the type's
    bool is_bitfield = false;
    position pos;
};

struct enumerator {
    std::string name;
    std::int64_t value = 0;
    position pos;
};

struct type {
    tkind kind = tkind::void_type;
    unsigned number = 0;    // of the file
    std::uint32_t size = 0; // layers (qualified, named) have none of their own: see strip
    std::uint32_t align = unit_bits;
    ikind ik = ikind::int_;
    unsigned fk = 0;            // floating: 0 float, 1 double, 2 long double
    unsigned qualifiers = 0;    // qualified
    const type *base = nullptr; // pointee, element, result, qualified, named or underlying type
    std::uint32_t count = 0;    // array
    bool complete = true;       // array, record
    bool variadic = false;      // function
    bool prototyped = false;    // function
    bool is_union = false;      // record
    std::string name;
    position pos;
    std::vector<const type *> params;
    std::vector<enumerator> enumerators;
    std::vector<member> members;
};

// Makes and interns types; owns them. A type's parts always have lower numbers, but for records,
// which are numbered when they are first named and get their members later.
class type_table {
public:
    type_table();
    const type *void_() const { return void_type_; }
    const type *integer(ikind k) const { return integers_[static_cast<unsigned>(k)]; }
    const type *int_() const { return integer(ikind::int_); }
    const type *uint() const { return integer(ikind::uint_); }
    const type *floating(unsigned fk) const { return floats_[fk]; }
    const type *pointer(const type *to);
    const type *qualified(const type *base, unsigned bits);
    const type *array(const type *element, std::uint32_t count, bool complete);
    const type *function(const type *result, std::vector<const type *> params, bool variadic,
                         bool prototyped);
    const type *named(std::string_view name, const type *base, position pos);
    type *enumeration(std::string_view name, const type *underlying, position pos);
    type *record(std::string_view name, bool is_union, position pos);
    const std::deque<type> &all() const { return types_; }

private:
    type *fresh(tkind kind);
    const type *interned(const std::string &key, const type &made);
    std::deque<type> types_;
    std::map<std::string, const type *> keys_;
    const type *void_type_;
    const type *integers_[13];
    const type *floats_[3];
    unsigned fakes_ = 0; // unnamed enumerations and records
};

// Without qualifiers and typedefs.
const type *strip(const type *t);
// Qualifier bits of the layers above the stripped type.
unsigned qualifiers_of(const type *t);
inline bool is_kind(const type *t, tkind k) {
    return strip(t)->kind == k;
}
inline bool is_record(const type *t) {
    return is_kind(t, tkind::record);
}
inline bool is_array(const type *t) {
    return is_kind(t, tkind::array);
}
inline bool is_pointer(const type *t) {
    return is_kind(t, tkind::pointer);
}
inline bool is_floating(const type *t) {
    return is_kind(t, tkind::floating);
}
bool is_integer(const type *t); // enumerations too
bool is_signed(const type *t);  // of an integer or enumeration
bool is_bool(const type *t);
bool is_plain_or_signed_char(const type *t);
inline std::uint32_t units(std::uint32_t bits) {
    return bits / unit_bits;
}
// Gives a record its members' offsets, its size and alignment; false when it is larger than memory.
// Its alignment is at least the one that it has before.
bool lay_out(type &record);

struct pragma {
    unsigned kind = 0;
    std::vector<std::string> args;
};

struct initialiser {
    std::vector<node *> trees; // without the closing ENDINIT
};

struct symbol {
    std::string name;
    const type *stype = nullptr;
    std::uint32_t align = 0; // when above the type's
    int sc = 0;
    unsigned flags = 0;
    unsigned level = 0;
    unsigned index = 0;
    std::uint32_t fpos = 0;
    unsigned option_set = 0;
    position pos;
    std::vector<pragma> pragmas;
    bool has_init = false;
    initialiser init;
};

inline constexpr unsigned symbol_is_inline = 0x20; // flag: declared inline

struct node {
    int op = 0;
    const type *ntype = nullptr;
    node *left = nullptr;
    node *right = nullptr;
    std::int64_t value = 0; // ICON; LABEL number; SWITCH cases; SKIP units; CALL extra arguments
    std::string text;       // SCON bytes; FCON text
    symbol *sym = nullptr;  // NAME
    const type *record = nullptr;  // FIELD
    const member *field = nullptr; // FIELD
};

struct item {
    enum kind_t { tree, label, statement_pragma, assembly, block_begin, block_end } kind = tree;
    position pos;
    node *expr = nullptr;
    unsigned number = 0; // label
    pragma prag;
    std::string text;              // assembly
    std::vector<symbol *> symbols; // block_begin
};

struct function_body {
    symbol *sym = nullptr;
    position begin, body_begin, end;
    std::vector<symbol *> params;
    std::vector<symbol *> locals; // of the outer block
    std::vector<item> items;
};

struct option_set {
    std::vector<std::string> texts;
};

// The file under construction: bodies are framed as they come, the trailer at the end.
class icode_unit {
public:
    type_table types;
    std::deque<symbol> symbols; // all of them
    std::deque<node> nodes;     // all of them
    std::vector<symbol *> globals;
    std::vector<option_set> options = std::vector<option_set>(1); // set 0 is the file's

    symbol *add_global(std::string name, const type *t, int sc, position pos);
    symbol *add_local(std::string name, const type *t, int sc, unsigned level, position pos);
    unsigned file_number(std::string_view name); // enters the name
    node *make(int op, const type *t, node *left = nullptr, node *right = nullptr);

    // Appends the body to the main body; gives the symbols their numbers.
    void write_function(function_body &body, std::string_view header_name);
    void write_assembly(std::string_view text, position pos, std::string_view header_name);
    // The bytes of the whole file. Call once, last.
    std::string finish(std::string_view header_name);

private:
    std::vector<std::string> files_;
    std::map<std::string, unsigned, std::less<>> file_numbers_;
    std::string out_; // header and main body
    void begin(std::string_view header_name);
};
