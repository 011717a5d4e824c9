#include "OPT5/driver/pass.h"

#include "OPT5/driver/log.h"
#include "OPT5/driver/register_option.h"
#include "OPT5/rep/bblk.h"

#include <ctime>
#include <malloc.h>

pass_manager global_pass_manager;

static bool shows_current_function() {
    return print_debug && currfuninfo && currfuninfo->bb_list;
}

// Figures of a step are only asked for when the log wants them: mallinfo walks all free chunks, and
// once a step and function that makes the run quadratic in the size of the file.
static long bytes_in_use() {
    return print_debug ? static_cast<long>(mallinfo2().uordblks) : 0;
}
static std::clock_t time_used() {
    return print_debug ? std::clock() : 0;
}

bool step_has_effect(int number) {
    static const register_option pass_debug_last_step("debug:last_step");
    static const register_option pass_debug_only_step("debug:only_step");
    if (pass_debug_only_step.is_given()) return number == pass_debug_only_step;
    return !pass_debug_last_step.is_given() || number <= pass_debug_last_step;
}

void pass::run() {
    if (!needed_ && !step_has_effect(static_cast<int>(number()))) return;
    dprintf("\n\n\t\t\t---------- ENTERING step %d '%s' ----------\n", static_cast<int>(number()),
            name_.c_str());
    if (shows_current_function()) prbbinfix(0, 0, 0);
    const long memory_before = bytes_in_use();
    const std::clock_t time_before = time_used();
    function_();
    const std::clock_t time_after = time_used();
    dprintf("(%.1f sec for pass.)\n", static_cast<double>(time_after - time_before) / 1e6);
    dprintf("(%d net bytes allocated.)\n", static_cast<int>(bytes_in_use() - memory_before));
    dprintf("\n\n\n\t\t\t---------- EXITING step %d '%s' ----------\n", static_cast<int>(number()),
            name_.c_str());
    if (!shows_current_function()) return;
    prbbinfix(0, 0, 0);
    validate_cfg();
    validate_stmts();
}
