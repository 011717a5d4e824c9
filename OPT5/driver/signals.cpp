#include "OPT5/driver/signals.h"

#include "DIAG/signals.h"
#include "OPT5/driver/driver.h"
#include "OPT5/driver/log.h"
#include "OPT5/rep/program.h"

#include <csignal>
#include <cstdio>

const char *signal_name(int signal_number) {
    static constexpr struct {
        int number;
        const char *name;
    } names[] = {{1, "SIGHUP"},   {2, "SIGINT"},  {4, "SIGILL"},   {5, "SIGTRAP"},  {6, "SIGABRT"},
                 {7, "SIGBUS"},   {8, "SIGFPE"},  {10, "SIGUSR1"}, {11, "SIGSEGV"}, {12, "SIGUSR2"},
                 {15, "SIGTERM"}, {23, "SIGURG"}, {24, "SIGXCPU"}, {25, "SIGXFSZ"}, {31, "SIGSYS"}};
    for (const auto &entry : names)
        if (entry.number == signal_number) return entry.name;
    return "<unknown>";
}

namespace {
void end_log(FILE *&stream, int signal_number) {
    if (!stream) return;
    std::fprintf(stream, "\n>>>> Optimizer terminated by signal: %s.\n",
                 signal_name(signal_number));
    std::fclose(stream);
    stream = nullptr;
}

void optimizer_callback(int signal_number) {
    std::fflush(nullptr);
    end_log(fdebug, signal_number);
    end_log(finfo, signal_number);
}

void optimizer_handler(int signal_number) {
    static volatile bool entered = false; // reading a damaged symbol faults only once
    const char *function = "<unknown>";
    if (!entered && is_plausible_pointer(currfunc)) {
        entered = true;
        function = skip_name_prefix(currfunc->name);
    }
    // Who asks the run to stop gets that at once; what a fault leaves behind is of no use.
    const bool asked_to_stop =
        signal_number == SIGHUP || signal_number == SIGINT || signal_number == SIGTERM;
    if (!asked_to_stop) remove_output();
    common_signal_handler(signal_number, "quillopt", "while processing function %s file %s",
                          function, i_file_name);
}
} // namespace

void install_optimizer_handlers() {
    install_common_handlers(optimizer_handler, optimizer_callback);
}
