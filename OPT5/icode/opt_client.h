// The bridge between records and the program representation: read.cpp and opt_client.cpp receive,
// write.cpp sends.
#pragma once

#include "OPT5/icode/if.h"

#include <string>
#include <vector>

struct OPTION_RECORD {
    unsigned id;
    std::vector<std::string> args;
};

extern std::vector<OPTION_RECORD> icode_optionlist; // option sets of the input, in file order
extern std::string curr_file;    // file of the current function; "NO_FILE", "NO_PSN_FILE" when unknown
extern int unique_call_index, output_index, arg_offset;

// --- reading
// Ends the run unless the tree has the shape that every later routine may rely on: no null types
// or symbols, labels where jumps need them, members under STDOT and STREF, no statement below an
// operator. `statement` tells whether jumps and switches are allowed at the root.
void check_incoming_tree(NODE *tree, bool statement);
// Takes the EPVAL wrappers off a tree; their counts go to the wrapped nodes. Returns the new root.
NODE *unwrap_profile_counts(NODE *tree);
// Normalizes a tree from a file: enum types become their underlying types, a symbol that only
// declares becomes the one that defines. Owns the tree, returns what replaces it.
NODE *expr_cleanup(NODE *tree);
void opt_symbol_init(SYMTAB *sym);

// --- writing, to o_file
void write_func_header();
void write_func_body();
void wrbblocks();
void wrexpr(LIST *stmt);
void wrtree(NODE *tree);
void wrbdlr(LBL *labels);
void wrstcr(int tag, PSN *psn);
void wrasmr(int kind, const char *text, PSN *psn);
void wrsfid(const char *name);
// The symbol's `type` becomes its declared type with the qualifiers of the current one, unless a
// pass has given it another type.
void revert_symbol_type(SYMTAB *sym);
// Hooks: the tree to write for a global variable whose type a pass has changed, and for a CBRANCH
// whose test carries an expectation.
NODE *map_global_NAME_to_STDOT(NODE *name);
NODE *revert_CBRANCH_with_builtin_expect(NODE *branch);
