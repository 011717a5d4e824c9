// The table of symbol pragma kinds, and pragma records.
#pragma once

#include "OPT5/rep/symbol.h"

#include <array>
#include <span>

// What a pragma applies to. A kind without any is carried through unread.
enum PRAGMA_FLAGS : std::uint32_t { PF_data = 1, PF_function = 2, PF_statement = 4 };

struct PRAGMA_ROW {
    int kind; // its index in the table
    const char *name;
    std::uint32_t flags; // PRAGMA_FLAGS
};
extern const std::array<PRAGMA_ROW, maxpragma + 1> pragma_table;

const char *pragma_name(unsigned kind);    // "<unknown>" above maxpragma
std::uint32_t pragma_flags(unsigned kind); // 0 above maxpragma

// Records from the symbol pool; the strings are copied.
PRAGMA *mk_pragma(int kind, std::span<const std::string_view> args, PRAGMA *next);
PRAGMA *copy_pragma(const PRAGMA *pragma); // the one record, with a null next
