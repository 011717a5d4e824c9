// quillopt: reads one intermediate file, optimizes every function, writes one intermediate file.
#include "OPT5/builtins/bif.h"
#include "OPT5/driver/abort.h"
#include "OPT5/driver/driver.h"
#include "OPT5/driver/log.h"
#include "OPT5/driver/pass.h"
#include "OPT5/driver/register_option.h"
#include "OPT5/icode/if.h"
#include "OPT5/icode/records/if_exit.h"
#include "OPT5/interproc/interproc.h"
#include "OPT5/loops/loops.h"
#include "OPT5/rep/bbutils.h"
#include "OPT5/target/target.h"
#include "OPT5/vector/mdbuilder.h"

#include <cstdio>
#include <exception>
#include <new>

namespace {
void run(int argc, char **argv) {
    open_files(argc, argv);
    init_opcode_tables();
    init_target();
    TYPE_PKG::cpu_version = cpu_version;
    init_types();
    init_symbols();
    init_fileopts();
    init_BIF_descriptors();
    const std::vector<pass *> steps = build_steps_table();
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
} // namespace

#if defined(__SANITIZE_ADDRESS__)
// The translation unit, its steps and options live as long as the run; the tests of the single
// subsystems look for leaks.
extern "C" const char *__asan_default_options();
extern "C" const char *__asan_default_options() {
    return "detect_leaks=0";
}
#endif

int main(int argc, char **argv) {
    try {
        run(argc, argv);
    } catch (const std::bad_alloc &) {
        abort_optimizer("ERROR - OUT OF MEMORY");
    } catch (const std::exception &e) {
        std::fprintf(stderr, "Exception:  %s\n", e.what());
        if_exit(1);
    }
    delete tp;
    tp = nullptr;
    std::exit(0);
}
