// Prints a generated C program: some functions of about forty lines, or one long function.
#include "bench/generate_c.h"

#include <cstdio>
#include <cstdlib>
#include <string_view>

int main(int argc, char **argv) {
    const std::string_view what = argc == 3 ? argv[1] : "";
    if (what == "functions")
        std::fputs(generate_c_program(std::atoi(argv[2]), 1).c_str(), stdout);
    else if (what == "statements")
        std::fputs(generate_long_function(std::atoi(argv[2]), 1).c_str(), stdout);
    else {
        std::fputs("usage: generate_bench_c functions|statements NUMBER\n", stderr);
        return 2;
    }
}
