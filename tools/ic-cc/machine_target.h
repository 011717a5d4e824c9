// What clang is told of the machine.
#pragma once

#include "llvm/ADT/IntrusiveRefCntPtr.h"

namespace clang {
class TargetInfo;
}

// All widths and alignments are the machine's, but for char, which clang cannot take as anything
// but 8 bits wide.
llvm::IntrusiveRefCntPtr<clang::TargetInfo> make_machine_target();
