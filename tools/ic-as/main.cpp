// ic-as: an icode file from its text.
#include "OPT5/icode/records/if_text.h"
#include "OPT5/icode/records/if_tool.h"

#include <cstdio>

namespace {
constexpr char usage[] =
    "usage: ic-as [-o OUT] FILE.ict\n"
    "Assembles the text form of icode. FILE and OUT may be \"-\" for the standard streams; OUT is\n"
    "FILE with the extension .ic unless given, the standard output for \"-\".\n"
    "Exit code: 0 good, 1 a mistake in the text, an unreadable file or a wrong command line. "
    "After\n"
    "a mistake there is no OUT, not even an old one.\n";

int fail(const std::string &text) {
    std::fprintf(stderr, "ic-as: %s\n", text.c_str());
    return 1;
}

std::string default_output(const std::string &input) {
    if (input == "-") return "-";
    std::size_t slash = input.rfind('/');
    std::size_t dot = input.rfind('.');
    bool has_extension = dot != std::string::npos && (slash == std::string::npos || dot > slash);
    return (has_extension ? input.substr(0, dot) : input) + ".ic";
}
} // namespace

int main(int argc, char **argv) {
    std::string input, output;
    for (int i = 1; i < argc; ++i) {
        const std::string word = argv[i];
        if (word == "--help") {
            std::fputs(usage, stdout);
            return 0;
        }
        if (word == "-o" && i + 1 < argc)
            output = argv[++i];
        else if (word.size() > 1 && word[0] == '-')
            return fail("unknown option " + word + "\n" + usage);
        else if (!input.empty())
            return fail("more than one input file: " + input + " and " + word);
        else
            input = word;
    }
    if (input.empty()) return fail(std::string("no input file\n") + usage);
    if (output.empty()) output = default_output(input);
    if (output == input && output != "-") return fail(input + ": would be overwritten");

    std::string text, bytes, error;
    if (!if_load_file(input, text)) {
        if_drop_file(output);
        return fail(input + ": cannot be read");
    }
    if (!if_bytes_of(text, bytes, error)) {
        std::fprintf(stderr, "%s:%s", input.c_str(), error.c_str());
        if_drop_file(output);
        return 1;
    }
    if (!if_save_file(output, bytes)) return fail(output + ": cannot be written");
    return 0;
}
