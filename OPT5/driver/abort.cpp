#include "OPT5/driver/abort.h"

#include "OPT5/driver/driver.h"
#include "OPT5/driver/log.h"
#include "OPT5/driver/register_option.h"
#include "OPT5/icode/if.h"
#include "OPT5/icode/records/if_exit.h"

#include <cstdlib>

// A failure while the run is being ended must not start over.
static bool aborting = false;

[[noreturn]] static void terminate_abnormally(const char *message) {
    if (aborting) std::_Exit(1);
    aborting = true;
    // The output is removed, so its trailer need not be written, and a damaged program
    // representation need not be walked for it.
    if (o_file) o_file->if_close(false, true);
    if (i_file) i_file->if_close(false, true);
    o_file = i_file = nullptr;
    remove_output();
    if (print_debug && fdebug) {
        std::fprintf(fdebug, "\n>>>> Optimizer terminated abnormally.\n");
        if (message) std::fprintf(fdebug, "\n>>>> %s.\n", message);
        std::fclose(fdebug);
        fdebug = nullptr;
        print_debug = 0;
    }
    std::fprintf(stderr, "\n>>>> Optimizer terminated abnormally\n");
    if (currfunc)
        std::fprintf(stderr, ">>>>    in function %s()\n", skip_name_prefix(currfunc->name));
    if (currfuninfo && currfuninfo->psn && currfuninfo->psn->file)
        std::fprintf(stderr, ">>>>    in file \"%s\"\n", currfuninfo->psn->file);
    if (message) std::fprintf(stderr, "\n>>>> %s.\n", message);
    if (pass_debug("abort")) std::abort();
    if_exit(1);
}

void abort_optimizer() {
    terminate_abnormally(nullptr);
}
void abort_optimizer(const char *message) {
    terminate_abnormally(message);
}
void optassert(const char *, const char *, int) {
    abort_optimizer();
}
