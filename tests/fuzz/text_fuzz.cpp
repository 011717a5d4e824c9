// libFuzzer: any text is assembled or refused with a message; what was assembled gives a text that
// assembles to the same bytes.
#include "OPT5/icode/records/if_text.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    const std::string text(reinterpret_cast<const char *>(data), size);
    std::string bytes, error;
    if (!if_bytes_of(text, bytes, error)) {
        if (error.empty()) {
            std::fputs("refused without a message\n", stderr);
            std::abort();
        }
        return 0;
    }
    std::string again, bytes_again;
    if (!if_text_of(bytes, {}, again, error) || !if_bytes_of(again, bytes_again, error) ||
        bytes_again != bytes) {
        std::fprintf(stderr, "the way back differs: %s\n", error.c_str());
        std::abort();
    }
    return 0;
}
