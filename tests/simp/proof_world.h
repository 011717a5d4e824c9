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
        std::uint32_t address;
        TYPE *type;
        unsigned first, width; // of a bit-field; width 0: none
        bool reachable;        // through pointers and from called functions
    };
    struct FUNCTION {
        SYMTAB *symbol;
        TYPE *result;
        std::vector<TYPE *> parameters;
    };

    // Addresses of 16 bits are those of the machine. Variables whose address is never taken lie
    // behind them, where no pointer leads, and behind these the optimizer's own; they get their
    // places when they are asked for.
    std::uint32_t address_of(const SYMTAB *sym);
    static bool is_temporary(std::uint32_t address) { return address >= first_temporary; }
    // The unit that an address leads to: those of the machine wrap.
    static std::uint32_t place(std::uint32_t address) {
        return address >= first_private ? address : address & 0xffff;
    }
    static constexpr std::uint32_t first_private = 0x20000, first_temporary = 0x20400,
                                   end_of_places = 0x21000;
    // Whether the unit is part of a variable of the world, and has a value to begin with.
    bool is_variable(std::uint32_t unit) const {
        return unit < next_private_ && unit >= first_variable &&
               (unit < next_address_ || unit >= first_private);
    }
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
    static constexpr std::uint32_t first_variable = 16, first_function = 0xff00;

    void make_types();
    void make_struct();
    SYMTAB *make_symbol(const char *name, TYPE *type, bool reachable, bool is_global = false);
    void make_variables();
    void make_functions();

    std::vector<std::uint32_t> addresses_; // by serial number of the symbol, 0: none
    std::uint32_t next_address_ = first_variable, next_private_ = first_private,
                  next_temporary_ = first_temporary, next_function_ = first_function;
    BBLK block_;
    char *log_text_ = nullptr;
    std::size_t log_size_ = 0;
    std::uint32_t first_free_serial_ = 0;
};
