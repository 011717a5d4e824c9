#include "tools/ic-lint/lint.h"

#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>

namespace {
constexpr char usage[] =
    "usage: ic-lint [--max N] FILE...\n"
    "Checks icode files against the rules of the format and of their trees and prints each\n"
    "violation with its place. Exit code: 0 all clean, 1 violations or unreadable.\n"
    "  --max N   print at most N violations a file (default 100)\n";

bool read_file(const char *name, std::string &bytes) {
    std::ifstream in(name, std::ios::binary);
    if (!in || in.peek() == std::ifstream::traits_type::eof()) return false;
    bytes.assign(std::istreambuf_iterator<char>(in), {});
    return true;
}

bool file_is_clean(const char *name, std::size_t most) {
    std::string bytes;
    if (!read_file(name, bytes)) {
        std::printf("%s: cannot be read, or is empty\n", name);
        return false;
    }
    IF_MODEL model;
    if_read_model(std::move(bytes), model);
    const std::vector<LINT_VIOLATION> violations = LINTER(model).run();
    for (std::size_t i = 0; i < violations.size() && i < most; ++i)
        std::printf("%s: offset 0x%x: %s\n", name, violations[i].offset,
                    violations[i].text.c_str());
    if (violations.size() > most) std::printf("%s: and %zu more\n", name, violations.size() - most);
    return violations.empty();
}
} // namespace

int main(int argc, char **argv) {
    std::size_t most = 100;
    bool clean = true;
    int files = 0;
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--help") == 0) {
            std::fputs(usage, stdout);
            return 0;
        }
        if (std::strcmp(argv[i], "--max") == 0 && i + 1 < argc) {
            most = std::strtoul(argv[++i], nullptr, 10);
        } else if (argv[i][0] == '-') {
            std::fprintf(stderr, "ic-lint: unknown option %s\n%s", argv[i], usage);
            return 1;
        } else {
            ++files;
            clean = file_is_clean(argv[i], most) && clean;
        }
    }
    if (files == 0) {
        std::fputs(usage, stderr);
        return 1;
    }
    return clean ? 0 : 1;
}
