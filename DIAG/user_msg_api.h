// The printf-like front end of the messages.
#pragma once

#include "DIAG/diag.h"

class USER_MSG {
public:
    static USER_MSG &get_umsg_obj();

    unsigned long get_error_count() const; // errors and fatal errors so far

    void debug(const char *format, ...) __attribute__((format(printf, 2, 3)));
    void remark(const char *format, ...) __attribute__((format(printf, 2, 3)));
    // Advice that was given before, in the same words and at the same place, is dropped.
    void advice(const char *format, ...) __attribute__((format(printf, 2, 3)));
    void advice(const DIAG_SRCINFO *src, const char *format, ...)
        __attribute__((format(printf, 3, 4)));
    // `id` is the number under which the warning can be overridden; 0: the general one.
    void warning(unsigned id, const char *format, ...) __attribute__((format(printf, 3, 4)));
    void warning(const DIAG_SRCINFO *src, unsigned id, const char *format, ...)
        __attribute__((format(printf, 4, 5)));
    void error(const char *format, ...) __attribute__((format(printf, 2, 3)));
    void error(const DIAG_SRCINFO *src, const char *format, ...)
        __attribute__((format(printf, 3, 4)));
    void apperror(const char *format, ...) __attribute__((format(printf, 2, 3)));
    // End the program with exit code 1, except in debug mode.
    void fatal(const char *format, ...) __attribute__((format(printf, 2, 3)));
    void fatal(const DIAG_SRCINFO *src, const char *format, ...)
        __attribute__((format(printf, 3, 4)));
    // An internal fault in `where`: abort(), except in debug mode. `format` formats the arguments
    // behind it; the message reads "where: text".
    void die(const char *where, const char *format, ...) __attribute__((format(printf, 3, 4)));

    // The text of a message: as long as the arguments need.
    static std::string make_msg_str(const char *format, va_list args);
    // All that is a warning now counts and ends like an error from here on.
    void emit_warnings_as_errors();

private:
    USER_MSG() = default;
    void give_advice(const DIAG_SRCINFO *src, std::string text, unsigned line);

    std::vector<std::unique_ptr<DIAGNOSTIC>> given_advice_;
};
