#include "OPT5/icode/records/if_exit.h"

#include <cstdio>
#include <cstdlib>

void (*if_context_hook)() = nullptr;

void if_exit(int status) {
    if (auto hook = if_context_hook) {
        if_context_hook = nullptr; // a failure inside the hook must not come back here
        if (status != 0) hook();
    }
    std::fflush(nullptr);
    std::exit(status);
}
