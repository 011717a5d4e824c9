// Damaged files: whatever the bytes, quillopt ends with 0 or 1, says something when it ends with 1,
// and leaves no output behind then.
#include "tests/run/tool.h"

#include <random>

namespace {
constexpr rlim_t memory_limit = 512u << 20;

class BadInput : public testing::Test {
protected:
    // A file of few bytes with as many kinds of records as possible.
    std::string rich_file() {
        const std::string text = std::string(QUILL_SOURCE_DIR) + "/tests/icode/every_record.ict";
        const std::string file = (scratch / "rich.ic").string();
        expect_success(run_tool({"ic-as", "-o", file, text}, scratch), "ic-as");
        return read_file(file);
    }
    std::string compiled_file(const char *source) {
        const std::string file = (scratch / "compiled.ic").string();
        expect_success(
            run_tool({"ic-cc", "-o", file, std::string(QUILL_SOURCE_DIR) + source}, scratch),
            "ic-cc");
        return read_file(file);
    }
    // Gives the run's exit code.
    int try_bytes(std::string_view bytes, const std::string &what) {
        const fs::path in = scratch / "bad.ic", out = scratch / "bad.out.ic";
        write_file(in, bytes);
        fs::remove(out);
        const TOOL_RESULT result = run_tool(
            {"quillopt", "--opt_level=2", in.string(), out.string()}, scratch, memory_limit);
        EXPECT_TRUE(result.exit_code == 0 || result.exit_code == 1)
            << what << ": exit code " << result.exit_code << ", signal " << result.signal << "\n"
            << result.err.substr(0, 3000);
        if (result.exit_code == 1) {
            EXPECT_FALSE(fs::exists(out)) << what;
            EXPECT_FALSE((result.out + result.err).empty()) << what;
            EXPECT_LT(result.err.size(), 100000u) << what;
        }
        return result.exit_code;
    }
    // One to three bits or bytes changed; the seed is the file's number.
    static std::string flipped(std::string bytes, unsigned seed) {
        std::mt19937 random(seed);
        for (unsigned n = 1 + random() % 3; n > 0; --n) {
            char &byte = bytes[random() % bytes.size()];
            byte = random() % 2 ? static_cast<char>(byte ^ (1 << random() % 8))
                                : static_cast<char>(random());
        }
        return bytes;
    }
    void try_flips(const std::string &bytes, unsigned first, unsigned last) {
        int refused = 0;
        for (unsigned seed = first; seed < last && !HasFailure(); ++seed)
            refused += try_bytes(flipped(bytes, seed), "seed " + std::to_string(seed));
        EXPECT_GT(refused, 0);
        EXPECT_LT(refused, static_cast<int>(last - first));
    }
    SCRATCH scratch;
};

TEST_F(BadInput, CutAtEveryByte) {
    const std::string bytes = rich_file();
    ASSERT_EQ(try_bytes(bytes, "whole file"), 0);
    // The end of the file acts as the end of a section. So a file may end between its header and
    // its first function, and the pragma of the last symbol may be missing.
    const std::size_t header = 2 + static_cast<unsigned char>(bytes[1]);
    const std::size_t first_function = bytes.find("\x01\x04\x01\x14\x05"); // its frame and position
    const std::size_t last_pragma = bytes.rfind(94);
    ASSERT_LT(first_function, last_pragma);
    ASSERT_LT(last_pragma, bytes.size());
    for (std::size_t size = 0; size < bytes.size() && !HasFailure(); ++size) {
        const int exit_code =
            try_bytes(std::string_view(bytes).substr(0, size), "cut at " + std::to_string(size));
        const bool must_fail = size < header || (size > first_function + 1 && size < last_pragma);
        EXPECT_TRUE(exit_code == 1 || !must_fail) << size;
    }
}

TEST_F(BadInput, ChangedBytesOfTheRichFile1) {
    try_flips(rich_file(), 0, 2500);
}
TEST_F(BadInput, ChangedBytesOfTheRichFile2) {
    try_flips(rich_file(), 2500, 5000);
}
TEST_F(BadInput, ChangedBytesOfCompiledRecords) {
    try_flips(compiled_file("/tests/tools/cc/records.c"), 5000, 7500);
}
TEST_F(BadInput, ChangedBytesOfCompiledControl) {
    try_flips(compiled_file("/tests/tools/cc/control.c"), 7500, 10000);
}
} // namespace
