// Descriptors of intrinsics and known library functions.
#pragma once

#include "OPT5/rep/node.h"

struct BIF_DESCRIPTOR {
    const char *name;
    unsigned flags; // 8: an intrinsic that is kept as MCALL inside the optimizer
};

void init_BIF_descriptors();
// The descriptor of an intrinsic by its name, or null.
const BIF_DESCRIPTOR *find_BIF_descriptor(const char *name);
NODE *fix_BIF_types(NODE *tree);
bool is_barrier_MCALL(const char *name);
