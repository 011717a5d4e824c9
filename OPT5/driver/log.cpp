#include "OPT5/driver/log.h"

#include <cstdarg>

FILE *fdebug = nullptr, *finfo = nullptr;
int print_debug = 0, write_opt_info = 0;

static void vlog(const char *format, va_list args) {
    if (print_debug && fdebug) std::vfprintf(fdebug, format, args);
}

void dprintf(const char *format, ...) {
    va_list args;
    va_start(args, format);
    vlog(format, args);
    va_end(args);
}

void tprintf(const char *format, ...) {
    va_list args;
    va_start(args, format);
    vlog(format, args);
    va_end(args);
}
