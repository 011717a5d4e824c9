#include "DIAG/user_msg_api.h"

#include "DIAG/messages.h"

#include <algorithm>

namespace {
constexpr char this_file[] = "../../master/DIAG/user_msg_api.cpp";
} // namespace

// Formats the arguments of the calling function behind `format`.
#define FORMATTED(name, format)                                                                    \
    va_list name##_args;                                                                           \
    va_start(name##_args, format);                                                                 \
    std::string name = make_msg_str(format, name##_args);                                          \
    va_end(name##_args)

USER_MSG &USER_MSG::get_umsg_obj() {
    static USER_MSG the_object;
    return the_object;
}

unsigned long USER_MSG::get_error_count() const {
    return DIAGNOSTIC::error_count_m;
}

std::string USER_MSG::make_msg_str(const char *format, va_list args) {
    return diag_vformat(format, args);
}

void USER_MSG::debug(const char *format, ...) {
    FORMATTED(text, format);
    DIAG::gdebug(this_file, __LINE__, std::move(text)).report();
}

void USER_MSG::remark(const char *format, ...) {
    FORMATTED(text, format);
    DIAG::gremark(this_file, __LINE__, std::move(text)).report();
}

void USER_MSG::give_advice(const DIAG_SRCINFO *src, std::string text, unsigned line) {
    DIAG::gadvice message(this_file, line, src, std::move(text));
    if (message.suppress()) return;
    const auto same = [&](const auto &given) { return given->is_equal(message); };
    if (std::any_of(given_advice_.begin(), given_advice_.end(), same)) return;
    message.report();
    given_advice_.push_back(message.alloc());
    given_advice_.back()->set_src(nullptr); // the position belongs to the caller
}

void USER_MSG::advice(const char *format, ...) {
    FORMATTED(text, format);
    give_advice(nullptr, std::move(text), __LINE__);
}

void USER_MSG::advice(const DIAG_SRCINFO *src, const char *format, ...) {
    FORMATTED(text, format);
    give_advice(src, std::move(text), __LINE__);
}

void USER_MSG::warning(unsigned id, const char *format, ...) {
    FORMATTED(text, format);
    DIAG::gwarning(this_file, __LINE__, id, std::move(text)).report();
}

void USER_MSG::warning(const DIAG_SRCINFO *src, unsigned id, const char *format, ...) {
    FORMATTED(text, format);
    DIAG::gwarning message(this_file, __LINE__, id, std::move(text));
    message.set_src(src);
    message.report();
}

void USER_MSG::error(const char *format, ...) {
    FORMATTED(text, format);
    DIAG::gerror(this_file, __LINE__, std::move(text)).report();
}

void USER_MSG::error(const DIAG_SRCINFO *src, const char *format, ...) {
    FORMATTED(text, format);
    DIAG::gerror message(this_file, __LINE__, std::move(text));
    message.set_src(src);
    message.report();
}

void USER_MSG::apperror(const char *format, ...) {
    FORMATTED(text, format);
    DIAG::gapperror(this_file, __LINE__, std::move(text)).report();
}

void USER_MSG::fatal(const char *format, ...) {
    FORMATTED(text, format);
    DIAG::gfatal(this_file, __LINE__, std::move(text)).report();
}

void USER_MSG::fatal(const DIAG_SRCINFO *src, const char *format, ...) {
    FORMATTED(text, format);
    DIAG::gfatal message(this_file, __LINE__, std::move(text));
    message.set_src(src);
    message.report();
}

void USER_MSG::die(const char *where, const char *format, ...) {
    FORMATTED(text, format);
    DIAG::gdie(this_file, __LINE__, std::string(where) + ": " + text).report();
}

void USER_MSG::emit_warnings_as_errors() {
    DIAGNOSTIC::override_severity(dc_WARNING, dc_ERROR);
}
