// Programs from csmith, cut to what the ZRA has: 16 and 32 bits, and little memory.
#include "tools/ic-diff/subject.h"

namespace {
constexpr std::size_t largest_source = 250'000; // bytes
constexpr unsigned generator_seconds = 20;

// What programs have in common.
const std::vector<std::string> common_options = {"--no-longlong",
                                                 "--no-math64",
                                                 "--no-int8",
                                                 "--no-uint8",
                                                 "--no-packed-struct",
                                                 "--concise",
                                                 "--max-array-dim",
                                                 "2",
                                                 "--max-array-len-per-dim",
                                                 "5"};

// The seed chooses one of these in turn.
const std::vector<std::vector<std::string>> profiles = {
    // small functions, everything in them
    {"--max-funcs", "5", "--max-block-depth", "3"},
    // numbers and control flow, hardly a pointer
    {"--max-funcs", "4", "--max-block-depth", "4", "--no-pointers", "--no-structs", "--no-unions",
     "--no-volatiles"},
    // pointers to pointers, structures
    {"--max-funcs", "6", "--max-block-depth", "3", "--max-pointer-depth", "3", "--no-volatiles"},
    // floats, which csmith does not mix with integers then
    {"--max-funcs", "5", "--max-block-depth", "3", "--float", "--strict-float"},
    // many short functions
    {"--max-funcs", "15", "--max-block-depth", "2", "--max-block-size", "3", "--no-volatiles",
     "--inline-function"},
    // long expressions in few statements
    {"--max-funcs", "3", "--max-block-depth", "2", "--max-expr-complexity", "20", "--no-volatiles"},
};
} // namespace

bool seed_has_calls(std::uint64_t seed) {
    return seed / profiles.size() % 4 == 3;
}

REFUSAL generate_program(const WORKSHOP &shop, std::uint64_t seed, const std::string &path) {
    std::vector<std::string> words = {"csmith", "--seed", std::to_string(seed), "--output", path};
    words.insert(words.end(), common_options.begin(), common_options.end());
    const std::vector<std::string> &profile = profiles[seed % profiles.size()];
    words.insert(words.end(), profile.begin(), profile.end());
    PROCESS_BOUNDS bounds;
    bounds.cpu_seconds = generator_seconds;
    bounds.directory = shop.scratch; // csmith leaves a file about the platform where it runs
    const PROCESS_RESULT made =
        run_process(words, shop.scratch + "/stdout", shop.scratch + "/stderr", bounds);
    if (made.ended_with(126)) return {"csmith cannot be started", ""};
    if (!made.ended_with(0)) return {"csmith gives up", made.how() + " " + made.err};
    if (read_whole_file(path).size() > largest_source) return {"the program is too long", ""};
    return {};
}
