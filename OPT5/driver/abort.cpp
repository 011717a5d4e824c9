#include "OPT5/driver/abort.h"

#include "OPT5/driver/driver.h"
#include "OPT5/driver/log.h"
#include "OPT5/driver/register_option.h"
#include "OPT5/icode/if.h"
#include "OPT5/icode/records/if_exit.h"

#include <cstdlib>
#include <utility>

[[noreturn]] static void terminate_abnormally(const char *message) {
    if (auto say_where = std::exchange(if_context_hook, nullptr)) say_where();
    // The output is removed, so its trailer need not be written, and a damaged program
    // representation need not be walked for it. A failure of this must not start over.
    if (I_FILE *file = std::exchange(i_file, nullptr)) file->if_close(false, true);
    if (I_FILE *file = std::exchange(o_file, nullptr)) file->if_close(false, true);
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
