#include "OPT5/driver/pass.h"

#include "OPT5/driver/log.h"
#include "OPT5/rep/bblk.h"

#include <ctime>
#include <malloc.h>

pass_manager global_pass_manager;

static void dump_current_function() {
    if (print_debug && currfuninfo && currfuninfo->bb_list) prbbinfix(0, 0, 0);
}

void pass::run() {
    dprintf("\n\n\t\t\t---------- ENTERING step %d '%s' ----------\n", static_cast<int>(number()),
            name_.c_str());
    dump_current_function();
    const struct mallinfo2 memory_before = mallinfo2();
    const std::clock_t time_before = std::clock();
    function_();
    const std::clock_t time_after = std::clock();
    dprintf("(%.1f sec for pass.)\n", static_cast<double>(time_after - time_before) / 1e6);
    const struct mallinfo2 memory_after = mallinfo2();
    dprintf("(%d net bytes allocated.)\n",
            static_cast<int>(static_cast<long>(memory_after.uordblks) -
                             static_cast<long>(memory_before.uordblks)));
    dprintf("\n\n\n\t\t\t---------- EXITING step %d '%s' ----------\n", static_cast<int>(number()),
            name_.c_str());
    dump_current_function();
}
