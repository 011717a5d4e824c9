// What the sources of I_FILE share and nobody else needs.
#pragma once

#include "OPT5/icode/if.h"

struct I_FILE::ACTIVE_READER {
    explicit ACTIVE_READER(I_FILE *file);
    ~ACTIVE_READER();
    ACTIVE_READER(const ACTIVE_READER &) = delete;
    ACTIVE_READER &operator=(const ACTIVE_READER &) = delete;
    I_FILE *before;
};
