// quillopt: reads one intermediate file, optimizes every function, writes one intermediate file.
#include "OPT5/driver/abort.h"
#include "OPT5/driver/driver.h"
#include "OPT5/icode/records/if_exit.h"
#include "OPT5/rep/type_pkg.h"

#include <cstdio>
#include <exception>
#include <new>

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
        optimize_file(argc, argv);
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
