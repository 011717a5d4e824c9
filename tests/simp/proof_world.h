// The translation unit in which random trees stand: types, variables of every scalar type with
// addresses in a memory of 65536 units, a structure with bit-fields, functions. One function of one
// block is current, so that the validator of statements can look at a tree.
#pragma once

#include "OPT5/rep/bblk.h"
#include "OPT5/rep/bbutils.h"
#include "OPT5/rep/symbol.h"
#include "OPT5/rep/type_pkg.h"

#include <string>
#include <string_view>
#include <vector>

// Random numbers by splitmix64: the same in every build.
class CHANCE {
public:
    explicit CHANCE(std::uint64_t seed) : state_(seed) {}
    static std::uint64_t mixed(std::uint64_t z) {
        z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9u;
        z = (z ^ (z >> 27)) * 0x94d049bb133111ebu;
        return z ^ (z >> 31);
    }
    std::uint64_t next() { return mixed(state_ += 0x9e3779b97f4a7c15u); }
    std::uint32_t word() { return static_cast<std::uint32_t>(next() >> 32); }
    unsigned below(std::size_t n) { return static_cast<unsigned>((next() >> 32) * n >> 32); }
    bool percent(unsigned p) { return below(100) < p; }
    template <class List> const auto &one_of(const List &list) {
        return list[below(std::size(list))];
    }

private:
    std::uint64_t state_;
};

class WORLD {
public:
    WORLD();
    ~WORLD();
    WORLD(const WORLD &) = delete;
    WORLD &operator=(const WORLD &) = delete;

    // A scalar that lies in memory: a variable, an element or a member.
    struct SLOT {
        std::uint16_t address;
        TYPE *type;
        unsigned first, width; // of a bit-field; width 0: none
        bool reachable;        // through pointers and from called functions
    };
    struct FUNCTION {
        SYMTAB *symbol;
        TYPE *result;
        std::vector<TYPE *> parameters;
    };

    // A symbol that is made later, by the optimizer, gets its place when it is asked for.
    std::uint16_t address_of(const SYMTAB *sym);
    // Whether the unit belongs to a variable of the optimizer's own.
    static bool is_temporary(std::uint16_t address) { return address >= first_temporary; }
    // What the validators of statements and of sharing say of a tree; empty: nothing.
    std::string complaints(NODE *tree);
    // Forgets all trees, and variables that were made since the construction.
    void forget_trees();

    NODE *name(SYMTAB *sym) { return mk_NAME(sym, nullptr); }
    NODE *icon(const INT65 &value, TYPE *type);
    NODE *fcon(std::string_view text, TYPE *type);
    NODE *field(fkMDATA *member, TYPE *csu);
    // Braces around the parts make their order one and the same with every compiler.
    struct PARTS {
        int op;
        TYPE *type;
        NODE *left = nullptr, *right = nullptr;
    };
    static NODE *node(const PARTS &parts) {
        return maketree(parts.op, parts.left, parts.right, parts.type, nullptr);
    }

    TYPE *bool_t, *schar_t, *uchar_t, *short_t, *ushort_t, *wchar, *int_t, *uint_t, *long_t,
        *ulong_t, *llong_t, *ullong_t, *float_t, *double_t, *enum_t, *void_t, *struct_t, *array_t,
        *short_array_t, *int_p, *short_p, *struct_p, *float_p;
    std::vector<TYPE *> integers, wide_integers, narrow_integers, floats, pointers;
    std::vector<SYMTAB *> variables; // scalars
    SYMTAB *structs[2], *array, *short_array;
    std::vector<fkMDATA *> members;
    std::vector<FUNCTION> functions;
    std::vector<SLOT> slots;

private:
    static constexpr std::uint16_t first_variable = 16, first_temporary = 0xd000,
                                   first_function = 0xff00;

    void make_types();
    void make_struct();
    SYMTAB *make_symbol(const char *name, TYPE *type, bool reachable, bool is_global = false);
    void make_variables();
    void make_functions();

    std::vector<std::uint16_t> addresses_; // by serial number of the symbol, 0: none
    std::uint32_t next_address_ = first_variable, next_temporary_ = first_temporary,
                  next_function_ = first_function;
    BBLK block_;
    char *log_text_ = nullptr;
    std::size_t log_size_ = 0;
    std::uint32_t first_free_serial_ = 0;
};
