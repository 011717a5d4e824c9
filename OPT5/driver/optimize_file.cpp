// A run over one file: startup, reading, the steps, finishing.
#include "OPT5/builtins/bif.h"
#include "OPT5/driver/driver.h"
#include "OPT5/driver/log.h"
#include "OPT5/driver/pass.h"
#include "OPT5/driver/register_option.h"
#include "OPT5/icode/if.h"
#include "OPT5/interproc/interproc.h"
#include "OPT5/loops/loops.h"
#include "OPT5/rep/bbutils.h"
#include "OPT5/target/target.h"
#include "OPT5/vector/mdbuilder.h"

void optimize_file(int argc, char **argv, void (*edit_steps)(std::vector<pass *> &)) {
    open_files(argc, argv);
    init_opcode_tables();
    init_target();
    TYPE_PKG::cpu_version = cpu_version;
    init_types();
    init_symbols();
    init_fileopts();
    init_BIF_descriptors();
    std::vector<pass *> steps = build_steps_table();
    if (edit_steps) edit_steps(steps);
    if (pass_debug("parser")) { // only checks the target description
        parse_md_file(false);
        close_files();
        return;
    }
    if (print_debug) do_DVE_unit_testing();
    user_error_count = 0;
    function_prepass = 1;
    fileinfo->pass_number = 1;
    fileinfo->statics_are_marked = true; // none: a function that is still to come may say more
    i_file->if_read_file();
    fileinfo->statics_are_marked = false;
    if (functions.empty()) {
        step_intermission();
    } else {
        fill_steps_table(steps);
        matcher_init();
        run_steps();
        dump_psnrefs();
    }
    finish_file();
}
