// The file record and what is reset between functions.
#include "OPT5/driver/driver.h"
#include "OPT5/driver/global_flags.h"
#include "OPT5/driver/log.h"
#include "OPT5/driver/register_option.h"
#include "OPT5/interproc/interproc.h"
#include "OPT5/rep/bblk.h"
#include "OPT5/scalar/snmap.h"

#include <memory>

static std::unique_ptr<INLINER> the_inliner;

void init_fileopts() {
    no_outside_callers = no_outside_writers = 0;
    if (opt_level() > 2) {
        no_outside_callers = program_mode != 0 && program_mode != 3;
        no_outside_writers = program_mode != 0 && program_mode != 1;
    } else {
        program_mode = 0;
    }
    static FILEINFO the_file;
    the_file = FILEINFO();
    fileinfo = &the_file;
    fileinfo->funinfo = make_FUNINFO(" ? ");
    currfuninfo = fileinfo->funinfo;
    if (!pass_disable("newinline")) the_inliner = std::make_unique<REVISED_OLD_INLINER>();
    inliner = the_inliner.get();
}

void restore_global_flags() {
    if (!print_debug) return;
    dprintf("[Restoring options");
    dprintf(" --> -o%d -i%d", opt_level(), auto_inline());
    dprintf(" --opt_for_speed=%d", size_speed_goal());
    dprintf("]\n");
}

void erase_all() {
    if (currfuninfo) erase_function_body(currfuninfo);
}

void clear_symbol_maps(FUNINFO *funinfo) {
    funinfo->call_sites.clear();
    erase_symbol_maps(funinfo);
    funinfo->ptr_groups.reset();
}
