// What clang is told of the machine.
#pragma once

#include "llvm/ADT/IntrusiveRefCntPtr.h"

namespace clang {
class CompilerInstance;
}

// Gives the compiler a target whose widths and alignments are the machine's, but for char, which
// clang cannot take as anything but 8 bits wide. False, after a message, when clang lacks the
// target that lends its name.
bool set_machine_target(clang::CompilerInstance &ci);

// Macros of the lending target, to be undefined.
extern const char *const foreign_macros[2];
