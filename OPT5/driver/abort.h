// Internal failures: none of these returns.
#pragma once

// Closes both intermediate files, removes the output, says what was being worked on, and ends the
// run with exit code 1 (abort() when the control debug:abort is on). `message` may be null.
[[noreturn]] void abort_optimizer();
[[noreturn]] void abort_optimizer(const char *message);

// An internal assertion failed: ends the run as abort_optimizer() does. Nothing of it is printed.
[[noreturn]] void optassert(const char *expr, const char *file, int line);

#define OPTASSERT(expr)                                                                            \
    do {                                                                                           \
        if (!(expr)) optassert(#expr, __FILE__, __LINE__);                                         \
    } while (0)
