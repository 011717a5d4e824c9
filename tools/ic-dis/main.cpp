// ic-dis: an icode file as text.
#include "OPT5/icode/records/if_text.h"
#include "OPT5/icode/records/if_tool.h"

#include <cstdio>

namespace {
constexpr char usage[] =
    "usage: ic-dis [--no-positions] [--stats] [-o OUT] FILE\n"
    "Prints an icode file as text, which ic-as turns back into the same bytes. FILE and OUT may "
    "be\n"
    "\"-\" for the standard streams; OUT is the standard output unless given.\n"
    "  --no-positions   leave out source positions\n"
    "  --stats          print counts instead: statements, nodes, functions, symbols, types, bytes\n"
    "Exit code: 0 good, 1 a broken or unreadable file, or a wrong command line. After a broken "
    "file\n"
    "there is no OUT, not even an old one.\n";

int fail(const std::string &text) {
    std::fflush(stdout);
    std::fprintf(stderr, "ic-dis: %s\n", text.c_str());
    return 1;
}

// Statements are the statement records of the main body; nodes are all nodes of the file, those of
// initialisers and exception tables too.
std::string statistics(const IF_MODEL &model) {
    std::size_t statements = 0, nodes = 0, functions = 0, symbols = 0;
    for (const IF_SECTION &section : model.sections)
        for (const IF_RECORD &r : section.records) {
            statements += r.tag == IF_TAG_expr;
            nodes += r.tag == IF_TAG_node;
            functions += r.tag == IF_TAG_begin_func;
            symbols += r.tag == IF_TAG_symbol;
        }
    std::string text;
    auto line = [&](const char *name, std::size_t n) {
        text += std::string(name) + ' ' + std::to_string(n) + '\n';
    };
    line("statements", statements);
    line("nodes", nodes);
    line("functions", functions);
    line("symbols", symbols);
    line("types", model.types().size());
    line("bytes", model.bytes.size());
    return text;
}
} // namespace

int main(int argc, char **argv) {
    IF_TEXT_OPTIONS options;
    bool stats = false;
    std::string input, output = "-";
    for (int i = 1; i < argc; ++i) {
        const std::string word = argv[i];
        if (word == "--help") {
            std::fputs(usage, stdout);
            return 0;
        }
        if (word == "--no-positions")
            options.positions = false;
        else if (word == "--stats")
            stats = true;
        else if (word == "-o" && i + 1 < argc)
            output = argv[++i];
        else if (word.size() > 1 && word[0] == '-')
            return fail("unknown option " + word + "\n" + usage);
        else if (!input.empty())
            return fail("more than one input file: " + input + " and " + word);
        else
            input = word;
    }
    if (input.empty()) return fail(std::string("no input file\n") + usage);

    std::string bytes;
    if (output == input && output != "-") return fail(input + ": would be overwritten");
    if (!if_load_file(input, bytes)) {
        if_drop_file(output);
        return fail(input + ": cannot be read");
    }
    IF_MODEL model;
    if (!if_read_model(std::move(bytes), model)) {
        std::fprintf(stderr, "%s", if_error_lines(model, input + ": ").c_str());
        if_drop_file(output);
        return 1;
    }
    std::string text = stats ? statistics(model) : if_text_of_model(model, options);
    if (!if_save_file(output, text)) return fail(output + ": cannot be written");
    return 0;
}
