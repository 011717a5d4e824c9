#include "DIAG/messages.h"

namespace DIAG {

gwarning::gwarning(const char *file, unsigned line, unsigned id, std::string words)
    : DIAGNOSTIC(get_info(get_info(static_cast<int>(id)) ? static_cast<int>(id) : 99922), file,
                 line),
      words_(std::move(words)) {}

void gwarning::report() {
    if (was_reported()) return;
    print_header();
    print("%s", words_.c_str());
    flush();
}

gadvice::gadvice(const char *file, unsigned line, const DIAG_SRCINFO *src, const std::string &words)
    : DIAGNOSTIC(get_info(99927), file, line), buffer_(words), position_(srcinfo_str(src)) {
    set_src(src);
}

void gadvice::report() {
    if (was_reported()) return;
    print_header();
    print(info().format, buffer_.c_str());
    flush();
}

bool gadvice::is_equal(const DIAGNOSTIC &other) const {
    const auto *advice = dynamic_cast<const gadvice *>(&other);
    return advice && advice->position_ == position_ && advice->buffer_ == buffer_;
}

} // namespace DIAG
