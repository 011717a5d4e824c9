// Descriptors of intrinsics: what ICALL and MCALL nodes compute, and what may be done with them.
#pragma once

#include "OPT5/rep/node.h"

#include <span>
#include <string>
#include <string_view>
#include <vector>

enum BIF_FLAGS : unsigned {
    BIF_none = 0,
    // The value follows from the arguments alone. The call has no effect and cannot trap: it may be
    // dropped, repeated, moved, and made where the program would not have made it.
    BIF_pure = 1,
    BIF_is_MCALL = 8, // an ICALL in files, an MCALL inside the optimizer
};

// What is said of an intrinsic's value, by the bits that target descriptions use.
enum HOLDS_FLAGS : unsigned {
    HOLDS_nothing = 0,
    HOLDS_self_associative = 1u << 0,
    HOLDS_commutes_01 = 1u << 3, // arguments 0 and 1 may be exchanged
    HOLDS_commutes_12 = 1u << 4,
    HOLDS_maxval = 1u << 6, // `max` is set
    HOLDS_minval = 1u << 7, // `min` is set
    HOLDS_returns_1_or_0 = 1u << 8,
    HOLDS_opds_must_not_cse = 1u << 9,
    HOLDS_must_not_cse = 1u << 10,
    HOLDS_proper_absval = 1u << 13,
    HOLDS_proper_extract = 1u << 14,
    HOLDS_proper_minval = 1u << 15,
    HOLDS_proper_maxval = 1u << 16,
    HOLDS_barrier = 1u << 20,
    HOLDS_simple_vector_op = 1u << 21,
};

struct MD_BIF {
    unsigned flags = 0; // HOLDS_FLAGS
    INT65 max, min;
};

// Types of results and arguments; any: whatever the node says.
enum BIF_TYPE : std::uint8_t {
    BT_any,
    BT_void,
    BT_int,
    BT_uint,
    BT_long,
    BT_ulong,
    BT_llong,
    BT_ullong,
    BT_float,
    BT_double,
    BT_ldouble,
};

struct BIF_DESCRIPTOR {
    std::string name;
    unsigned flags = BIF_none; // BIF_FLAGS
    MD_BIF holds;
    int cost = 0; // cycles, without the arguments
    // The value for constant arguments, as INT65 of the arguments' types; null: not known.
    INT65 (*fold)(const INT65 *args) = nullptr;
    BIF_TYPE result = BT_any;
    std::vector<BIF_TYPE> args;
    bool any_args = false; // their number and types are not known
};

// An intrinsic that a target description declares.
struct BIF_DECLARATION {
    std::string_view name;
    bool is_MCALL = false;
    MD_BIF holds;
    int cost = 0;
};

// Makes the table: the built-in intrinsics and no others.
void init_BIF_descriptors();
// The descriptor of an intrinsic by its name, or null. It stays good until the table is made anew.
const BIF_DESCRIPTOR *find_BIF_descriptor(const char *name);
// Enters a descriptor, which replaces one of the same name.
const BIF_DESCRIPTOR *make_BIF_descriptor(BIF_DESCRIPTOR descriptor);
// Enters those that are not known yet. A declared ICALL is pure, an MCALL has effects.
void add_new_icalls_to_BIF(std::span<const BIF_DECLARATION> declarations);

// The descriptor of an ICALL, UICALL, MCALL or UMCALL with as many arguments as the intrinsic has;
// null for all else.
const BIF_DESCRIPTOR *find_BIF_descriptor_for_call(const NODE *call);
bool is_pure_BIF_call(const NODE *tree); // described so; the arguments may have effects

TYPE *BIF_type(BIF_TYPE type); // null for any
// Gives a described intrinsic the types of its descriptor: arguments of others are converted, and
// so is the result to the type that the node had. Other nodes are left as they are.
NODE *fix_BIF_types(NODE *tree);
// Whether a function of that name (without prefix) is an intrinsic that accesses do not cross. It
// is called by an ordinary call inside the optimizer and by an MCALL in files.
bool is_barrier_MCALL(const char *name);
