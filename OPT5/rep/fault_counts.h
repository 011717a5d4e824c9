// What the validators of the graph and of the loops share: they report to the debug log, mend what
// they can, count, and go on.
#pragma once

#include "OPT5/driver/log.h"
#include "OPT5/rep/bblk.h"

class FAULT_COUNTS {
protected:
    template <class... Args> void error(const char *format, const Args &...args) {
        dprintf(format, args...);
        ++uncorrected;
    }
    template <class... Args> void mended(const char *format, const Args &...args) {
        dprintf(format, args...);
        ++corrected;
    }
    // The last lines of a report on the `what`; gives the number of uncorrected errors.
    int sum_up(const char *what) const {
        if (corrected) dprintf("\n\n ----- %d Corrected %s errors!!!", corrected, what);
        if (uncorrected) dprintf("\n\n +++++ %d Uncorrected %s errors!!!", uncorrected, what);
        return uncorrected;
    }
    // Whether it is a block of the current function, and not erased.
    static bool is_block(const BBLK *bb) {
        return bb && bb->serial < currfuninfo->blocks.size() &&
               currfuninfo->blocks[bb->serial] == bb;
    }

    int corrected = 0, uncorrected = 0;
};
