// libFuzzer: any file is read by the record layer, or refused with errors that have a place; what
// was read without errors has a text, and the checker of files survives both.
#include "OPT5/icode/records/if_text.h"
#include "tools/ic-lint/lint.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    const std::string bytes(reinterpret_cast<const char *>(data), size);
    IF_MODEL model;
    const bool is_good = if_read_model(bytes, model);
    if (!is_good && if_error_lines(model, "").empty()) {
        std::fputs("refused without a message\n", stderr);
        std::abort();
    }
    LINTER(model).run();
    std::string text, error;
    const bool has_text = if_text_of(bytes, {}, text, error);
    if (has_text != error.empty()) {
        std::fprintf(stderr, "text and errors do not exclude each other: %s\n", error.c_str());
        std::abort();
    }
    return 0;
}
