// Listings of option sets, and the help made from the option table.
#include "OPT5/driver/option_docs.h"
#include "OPT5/driver/option_table.h"

#include <cstdio>
#include <cstring>

namespace {
constexpr std::size_t help_width = 79, help_indent = 6;

// "-o<level>" for a short form, "--name=<x>" for a long one.
std::string spelling(const OPTION_FORM &form) {
    std::string text = std::string("-") + form.text;
    if (option_obj::parm_type[form.option] == option_obj::parm_none) return text;
    const std::string parameter = std::string("<") + option_row(form.option).parameter + ">";
    return text + (form.kind == ATTACHED ? "" : "=") + parameter;
}

std::vector<std::string> spellings(option_obj::option_id id) {
    std::vector<std::string> texts;
    for (const OPTION_FORM &form : option_forms())
        if (form.option == id) texts.push_back(spelling(form));
    return texts;
}

std::string join(const std::vector<std::string> &texts, const char *between) {
    std::string joined;
    for (const std::string &text : texts)
        (joined += joined.empty() ? "" : between) += text;
    return joined;
}

void append_wrapped(std::string &out, std::string_view text, std::size_t indent) {
    std::size_t column = help_width + 1;
    while (!text.empty()) {
        const std::string_view word = text.substr(0, text.find(' '));
        text.remove_prefix(std::min(text.size(), word.size() + 1));
        if (column + 1 + word.size() > help_width) {
            if (column <= help_width) out += '\n';
            out.append(indent, ' ');
            column = indent;
        } else {
            out += ' ';
            ++column;
        }
        out += word;
        column += word.size();
    }
    out += '\n';
}

std::string help_of_option(option_obj::option_id id) {
    std::string out = "  " + join(spellings(id), ", ") + "\n";
    append_wrapped(out, option_row(id).help, help_indent);
    for (const OPTION_WORD &word : option_words())
        if (word.option == id)
            append_wrapped(out, std::string(word.word) + ": " + word.help, help_indent + 2);
    return out;
}

std::string table_row_of_option(option_obj::option_id id) {
    std::vector<std::string> names;
    for (const std::string &text : spellings(id))
        names.push_back("`" + text + "`");
    std::string out = "| " + std::to_string(id) + " | " + join(names, ", ") + " | ";
    out += option_row(id).help;
    std::vector<std::string> words;
    for (const OPTION_WORD &word : option_words())
        if (word.option == id) words.push_back(std::string("`") + word.word + "` " + word.help);
    if (!words.empty()) out += " " + join(words, "; ") + ".";
    return out + " |\n";
}

// Calls `visit` with each class but the one of all options.
template <class Visit> void for_each_class(Visit visit) {
    for (int i = option_obj::class_all + 1; i < option_obj::num_classes; ++i)
        visit(option_obj::class_id(i));
}

std::string text_of_class(option_obj::class_id group,
                          std::string (*text_of)(option_obj::option_id)) {
    std::string out;
    for (int i = 0; i < option_obj::num_options; ++i)
        if (option_obj::isclass(option_obj::option_id(i), group))
            out += text_of(option_obj::option_id(i));
    return out;
}
} // namespace

std::string option_help_text() {
    std::string out = "Usage: quillopt [-options] input [output]\n";
    for_each_class([&](option_obj::class_id group) {
        out += std::string("\n") + option_obj::class_descriptions[group] + ":\n";
        out += text_of_class(group, help_of_option);
    });
    return out;
}

std::string option_docs_markdown() {
    std::string out =
        "# Options of quillopt\n\n"
        "<!-- Made by `quillopt --help_markdown` from OPT5/driver/option_table.def. -->\n\n"
        "`quillopt [-options] input [output]`; without `output` the name is the input's with the "
        "extension \".opt\". An argument stands behind \"=\" or in the next word; behind a "
        "one-letter spelling it may follow at once when it begins with a digit. Numbers are "
        "decimal, or with a prefix hexadecimal (`0x`), binary (`0b`) or octal (`0`).\n\n"
        "The input file holds option sets of its own, which functions refer to; the command line's "
        "options come behind those of every set and so outweigh them. A list option adds to what "
        "was given before; of any other option the last argument counts. Of two options that set "
        "the same thing, the later one counts.\n\n"
        "The keys of `--debug`, `--disable` and `--enable` are described in "
        "[debugging.md](debugging.md).\n";
    for_each_class([&](option_obj::class_id group) {
        out += std::string("\n## ") + option_obj::class_descriptions[group] + "\n\n";
        out += "| No | Option | Meaning |\n|---|---|---|\n";
        out += text_of_class(group, table_row_of_option);
    });
    return out;
}

void option_obj::display_option_help(const char *name, int format) {
    if (print_banner && format == 0) print_banner();
    if (!name) {
        std::fputs((format == 0 ? option_help_text() : option_docs_markdown()).c_str(), stdout);
        return;
    }
    for (int i = 0; i < num_options; ++i)
        if (std::strcmp(option_row(option_id(i)).name, name) == 0)
            std::fputs((format == 0 ? help_of_option : table_row_of_option)(option_id(i)).c_str(),
                       stdout);
}

void option_obj::dump(int detail) const {
    std::printf("Options of %s:\n", file_name_.c_str());
    for (const option_pair &pair : export_option_pairs(export_set, class_all)) {
        std::printf("\t%2d  %s", static_cast<int>(pair.id), pair.text.c_str());
        if (detail > 0)
            std::printf("  (set %u times, seen %u times, last as \"-%s\")", state_[pair.id],
                        parsed_[pair.id], option_forms()[form_[pair.id]].text);
        std::printf("\n");
    }
    if (detail > 1) dump_history();
}

void option_obj::dump_history() const {
    for (int i = 0; i < num_options; ++i)
        for (const std::string &value : history_[i])
            std::printf("\t%2d  %s: %s\n", i, option_row(option_id(i)).name, value.c_str());
}

void option_obj::dump_class(class_id group) const {
    std::printf("%s:\n", class_descriptions[group]);
    for (const option_pair &pair : export_option_pairs(export_set, group))
        std::printf("\t%s\n", pair.text.c_str());
}

void option_obj::dump_basic_class(class_id group) const {
    std::printf("%s:\n", class_descriptions[group]);
    for (int i = 0; i < num_options; ++i)
        if (classes[i][group])
            std::printf("\t%s%s\n", format_of_option(option_id(i)).c_str(),
                        state_[i] ? " (set)" : "");
}

void option_obj::print() const {
    std::printf("%s\n", join(export_option_list(export_set), " ").c_str());
}
