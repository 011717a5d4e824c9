#include "DIAG/signals.h"

#include <csignal>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {
constexpr int handled_signals[] = {SIGILL, SIGABRT, SIGFPE, SIGSEGV, SIGTERM, SIGINT,
                                   SIGHUP, SIGTRAP, SIGBUS, SIGSYS,  SIGXCPU, SIGXFSZ};

void (*exit_callback)(int) = nullptr;

// A stack overflow leaves no room on the ordinary stack for the handler.
constexpr std::size_t signal_stack_size = 1 << 16;
alignas(16) char signal_stack[signal_stack_size];

constexpr unsigned buffer_size = 2048;
char details[buffer_size];  // what the tool was doing
char headline[buffer_size]; // tool and fault

constexpr int first_fault = SIGILL, last_fault = SIGSYS;

const char *fault_text(int signal_number) {
    static constexpr struct {
        int number;
        const char *text;
    } faults[] = {
        {SIGILL, "executed an illegal instruction"},
        {SIGTRAP, "received a TRAP signal"},
        {SIGABRT, "had an internal inconsistency and aborted"},
        {SIGBUS, "experienced a bus alignment fault"},
        {SIGFPE, "received a floating point exception"},
        {SIGSEGV, "experienced a segmentation fault"},
        {SIGXCPU, "exceeded the CPU time limit"},
        {SIGXFSZ, "exceeded the file size limit"},
        {SIGSYS, "experienced a bad system call"},
    };
    if (signal_number >= first_fault && signal_number <= last_fault)
        for (const auto &fault : faults)
            if (fault.number == signal_number) return fault.text;
    return "experienced a fatal internal fault";
}

void vappend(char *buffer, unsigned size, const char *format, va_list args) {
    const std::size_t used = std::strlen(buffer);
    if (used + 1 < size) std::vsnprintf(buffer + used, size - used, format, args);
}
} // namespace

bool is_plausible_pointer(const void *pointer) {
    return reinterpret_cast<std::uintptr_t>(pointer) >= 100001;
}

void install_common_handlers(void (*fatal_handler)(int), void (*callback)(int)) {
    exit_callback = callback;
    stack_t current = {};
    if (sigaltstack(nullptr, &current) == 0 && (current.ss_flags & SS_DISABLE)) {
        stack_t own = {};
        own.ss_sp = signal_stack;
        own.ss_size = signal_stack_size;
        sigaltstack(&own, nullptr);
    }
    struct sigaction action = {};
    action.sa_handler = fatal_handler;
    // A second fault in the handler must reach the handler again.
    action.sa_flags = SA_ONSTACK | SA_NODEFER;
    sigemptyset(&action.sa_mask);
    for (int signal_number : handled_signals)
        sigaction(signal_number, &action, nullptr);
}

void common_signal_handler(int signal_number, const char *tool, const char *format, ...) {
    static volatile std::sig_atomic_t entries = 0;
    static const char *fault = nullptr; // chosen once: a second fault here prints the same text
    if (!is_plausible_pointer(tool)) tool = "unknown";
    if (signal_number == SIGHUP || signal_number == SIGINT) {
        std::fprintf(stderr, "[%s forced exit]\n", tool);
        std::_Exit(2);
    }
    if (signal_number == SIGTERM) {
        std::fprintf(stderr, "[%s received a terminate signal]\n", tool);
        std::_Exit(2);
    }
    entries = entries + 1;
    if (entries > 2) std::_Exit(2);
    if (!fault) fault = fault_text(signal_number);
    // Formatting may itself be what faults: the second time it is left out.
    if (entries == 1 && is_plausible_pointer(format)) {
        va_list args;
        va_start(args, format);
        vappend(details, buffer_size, format, args);
        va_end(args);
    }
    headline[0] = '\0';
    sigstrnappend(headline, buffer_size, "\nINTERNAL ERROR: %s %s\n", tool, fault);
    std::fprintf(stderr, "%s                  %s\n\n%s", headline, details, support_message_text());
    std::fflush(nullptr);
    try_gen_corefile(signal_number);
    if (exit_callback && entries == 1) exit_callback(signal_number);
    std::_Exit(2);
}

void sigstrnappend(char *buffer, unsigned size, const char *format, ...) {
    va_list args;
    va_start(args, format);
    vappend(buffer, size, format, args);
    va_end(args);
}

const char *support_message_text() {
    return "This is caused by a defect in the compiler itself. QV Customer\n"
           "Support may be able to suggest a workaround to avoid this.\n\n"
           "Upgrading to the newest version of the compiler may fix this problem.\n\n"
           "Known defects can be looked up, and new ones reported, in the QV\n"
           "support forum for compilers.\n";
}

void try_gen_corefile(int) {}

void debug_signal_handler(int signal_number) {
    std::signal(signal_number, debug_signal_handler);
}
