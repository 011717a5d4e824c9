// The #pragma lines that become pragma records, collected while clang preprocesses.
#pragma once

#include "tools/ic-cc/model.h"

#include "clang/Basic/SourceLocation.h"

#include <map>
#include <string>
#include <vector>

namespace clang {
class Preprocessor;
}

struct loop_pragma {
    clang::SourceLocation at;
    pragma prag;
    bool used = false;
};

struct pragma_store {
    std::vector<loop_pragma> loops;                     // in source order
    std::map<std::string, std::vector<pragma>> symbols; // by the symbol's name in the source
    std::map<std::string, std::vector<std::string>> function_options;
};

// Numbers of the pragma table that attributes and pragmas of the source map to.
enum pragma_kind : unsigned {
    pk_data_align = 1,
    pk_data_section = 2,
    pk_never_returns = 3,
    pk_cannot_inline = 4,
    pk_no_global_asg = 5,
    pk_no_ind_asg = 6,
    pk_is_pure = 7,
    pk_is_system = 8,
    pk_interrupt = 12,
    pk_ext_called = 23,
    pk_code_section = 27,
    pk_interrupt_threshold = 29,
    pk_unroll = 37,
    pk_must_iterate = 39,
    pk_prob_iterate = 40,
    pk_source_language = 49,
    pk_is_referenced = 52,
    pk_code_align = 82,
    pk_no_hooks = 85,
    pk_always_inline = 88,
    pk_unique_pointer = 94,
    pk_retain = 95,
    pk_in_init_array = 97,
    pk_noinit = 101,
    pk_persistent = 102,
};

// Registers handlers for all pragmas that `store` collects.
void add_pragma_handlers(clang::Preprocessor &pp, pragma_store &store);
