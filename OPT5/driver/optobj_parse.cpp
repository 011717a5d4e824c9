// Recognition of options and of their arguments.
//
// A spelling is looked up in the table of forms, the longest one that fits winning. Errors are
// reported where they are found and unwind to process_option() by an exception rather than by a
// long jump, so that strings on the way are destroyed.
#include "DIAG/messages.h"
#include "OPT5/driver/option_table.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <new>
#include <strings.h>

namespace {
constexpr char this_file[] = "../../master/OPT5/optobj.cpp";
constexpr auto help_option = option_obj::option_id(29);

struct MATCH {
    const OPTION_FORM *form = nullptr;
    std::size_t length = 0;
    bool exact = false;
};

// Whether what follows a name can belong to the option.
bool may_follow(const OPTION_FORM &form, char next) {
    if (next == '\0' || next == '=') return true;
    return form.kind == ATTACHED && std::isdigit(static_cast<unsigned char>(next));
}

MATCH find_form(const char *text) {
    MATCH best;
    for (const OPTION_FORM &form : option_forms()) {
        const std::size_t length = std::strlen(form.text);
        if (length < best.length || strncasecmp(text, form.text, length) != 0) continue;
        if (!may_follow(form, text[length])) continue;
        const bool exact = std::strncmp(text, form.text, length) == 0;
        if (length > best.length || (exact && !best.exact)) best = {&form, length, exact};
    }
    return best;
}

std::string list_of_words(option_obj::option_id id) {
    std::string list;
    for (const OPTION_WORD &word : option_words())
        if (word.option == id) (list += list.empty() ? "" : ", ") += word.word;
    return list;
}
} // namespace

bool option_obj::process_option(const char *text, const char **rest) {
    bool success = true;
    parsing_ = true;
    cursor_ = text;
    try {
        recognize(text);
    } catch (const parse_error &) {
        success = false;
    } catch (const std::bad_alloc &) {
        DIAG::optgen_out_of_memory(this_file, __LINE__).report();
        success = false;
    }
    parsing_ = false;
    if (rest) *rest = cursor_;
    cursor_ = ""; // the text is the caller's
    return success;
}

void option_obj::copy_options_of(const option_obj &other) {
    for (const option_pair &pair : other.export_option_pairs(export_set, class_all))
        process_option(pair.text.c_str() + 1, nullptr);
}

void option_obj::recognize(const char *text) {
    const MATCH match = find_form(text);
    if (!match.form) {
        DIAG::invalid_option message(this_file, __LINE__, std::string("-") + text);
        report_diagnostic(message);
        throw parse_error(); // in debug mode even a fatal message returns
    }
    const option_id id = match.form->option;
    const std::string proper = std::string("-") + match.form->text;
    const std::string name = std::string("-") + std::string(text, match.length);
    cursor_ = text + match.length;
    if (!match.exact) deprecated_case(name, proper);
    if (parm_type[id] == parm_none) {
        if (*cursor_) {
            DIAG::optgen_garbage message(this_file, __LINE__, name.substr(1));
            report_diagnostic(message);
        }
        cursor_ += std::strlen(cursor_);
        setopt(id);
    } else {
        const std::string value = parse_arg(id, name);
        if (match.form->notice) give_notice(match.form->notice, value);
        set_parsed_arg(id, name, value);
        cursor_ += std::strlen(cursor_);
    }
    register_option_form(id, static_cast<std::uint8_t>(match.form - option_forms().data()));
    if (id == help_option && command_line_) {
        display_option_help(nullptr, std::strcmp(match.form->text, "-help_markdown") == 0);
        std::exit(0);
    }
}

void option_obj::deprecated_case(const std::string &typed, const std::string &proper) {
    DIAG::optgen_deprecated_case message(this_file, __LINE__, typed, proper);
    report_diagnostic(message);
}

void option_obj::give_notice(unsigned notice, const std::string &value) {
    switch (notice) {
    case 24034: {
        DIAG::optgen_no_small_model message(this_file, __LINE__);
        report_diagnostic(message);
        break;
    }
    case 24037: {
        DIAG::optgen_far_heapsize message(this_file, __LINE__, "Using --heap_size=" + value);
        report_diagnostic(message);
        break;
    }
    default: {
        DIAG::optgen_corruption message(this_file, __LINE__);
        report_diagnostic(message);
    }
    }
}

// What follows a name: "=" and a value, a value at once, or the next word.
std::string option_obj::parse_arg(option_id id, const std::string &name) {
    if (*cursor_ == '\0') {
        if (const char *word = next_arg ? next_arg() : nullptr) {
            fetched_ = word;
            cursor_ = fetched_.c_str();
        }
    } else if (*cursor_ == '=') {
        ++cursor_;
    }
    if (*cursor_ == '\0') {
        DIAG::optgen_missing_parameter message(this_file, __LINE__, name, option_row(id).parameter);
        report_diagnostic(message);
    }
    return cursor_;
}

void option_obj::set_parsed_arg(option_id id, const std::string &name, const std::string &value) {
    switch (parm_type[id]) {
    case parm_string:
    case parm_list: setarg(id, value.c_str()); return;
    case parm_number:
    case parm_number_3:
    case parm_number_6:
    case parm_number_7: setarg(id, check_numerical_arg(id, name, value)); return;
    case parm_oneof: setarg(id, parse_oneof(id, name, value)); return;
    default: DIAG::optgen_bad_parm_type message(this_file, __LINE__); report_diagnostic(message);
    }
}

long option_obj::parse_oneof(option_id id, const std::string &name, const std::string &word) {
    const OPTION_WORD *other_case = nullptr;
    for (const OPTION_WORD &allowed : option_words()) {
        if (allowed.option != id) continue;
        if (word == allowed.word) return allowed.value;
        if (strcasecmp(word.c_str(), allowed.word) == 0) other_case = &allowed;
    }
    if (!other_case) {
        for (const OPTION_FORMER_WORD &former : option_former_words())
            if (former.option == id && word == former.word) give_notice(former.notice, word);
        DIAG::optgen_bad_word message(this_file, __LINE__, name, list_of_words(id));
        report_diagnostic(message);
        return 0;
    }
    deprecated_case(word, other_case->word);
    return other_case->value;
}

long option_obj::check_numerical_arg(option_id id, const std::string &name,
                                     const std::string &text) {
    const OPTION_ROW &row = option_row(id);
    int error = 0;
    const long value = strtol_by_radix(text.c_str(), &error);
    if (error == EINVAL) {
        DIAG::invalid_parameter message(this_file, __LINE__, text, name);
        report_diagnostic(message);
    } else if (value < row.low && row.low == 0) {
        DIAG::optgen_negative message(this_file, __LINE__, name, text);
        report_diagnostic(message);
    } else if (error == ERANGE || (value > row.high && row.high == INT_MAX)) {
        DIAG::optgen_out_of_range message(this_file, __LINE__, name, text);
        report_diagnostic(message);
    } else if (value < row.low || value > row.high) {
        DIAG::optgen_not_in_range message(this_file, __LINE__, name, text,
                                          static_cast<unsigned long>(row.low),
                                          static_cast<unsigned long>(row.high));
        report_diagnostic(message);
    } else if ((row.flags & POWER_OF_2) && (value & (value - 1)) != 0) {
        DIAG::optgen_power_of_2 message(this_file, __LINE__, name);
        report_diagnostic(message);
    }
    return value;
}

int option_obj::get_radix(char *text) {
    int radix = 10;
    std::size_t prefix = 0;
    if (text[0] == '0' && (text[1] == 'x' || text[1] == 'X')) {
        radix = 16;
        prefix = 2;
    } else if (text[0] == '0' && (text[1] == 'b' || text[1] == 'B')) {
        radix = 2;
        prefix = 2;
    } else if (text[0] == '0' && text[1] != '\0') {
        radix = 8;
        prefix = 1;
    }
    std::memmove(text, text + prefix, std::strlen(text) - prefix + 1);
    return radix;
}

namespace {
// The sign is taken off before the prefix can be seen.
template <class Number, class Convert>
Number convert_by_radix(const char *text, int *error, Convert convert) {
    *error = 0;
    const char *start = text;
    while (std::isspace(static_cast<unsigned char>(*start)))
        ++start;
    const bool negative = *start == '-';
    if (negative || *start == '+') ++start;
    std::string digits = start;
    const int radix = option_obj::get_radix(digits.data());
    digits.resize(std::strlen(digits.c_str()));
    // The C routines would take another sign, blanks or a prefix here.
    const char *prefix_letters = radix == 16 ? "xX" : radix == 2 ? "bB" : "";
    const bool second_prefix =
        digits.size() > 1 && digits[0] == '0' && std::strspn(&digits[1], prefix_letters) > 0;
    if (digits.empty() || second_prefix || !std::isalnum(static_cast<unsigned char>(digits[0]))) {
        *error = EINVAL;
        return 0;
    }
    if (negative) digits.insert(0, 1, '-');
    char *end = nullptr;
    errno = 0;
    const Number value = convert(digits.c_str(), &end, radix);
    if (end == digits.c_str()) {
        *error = EINVAL;
        return 0;
    }
    if (errno == ERANGE) *error = ERANGE;
    if (*end)
        DIAG::optgen_warning(this_file, __LINE__,
                             "garbage behind the number " + std::string(text) + " ignored")
            .report();
    return value;
}
} // namespace

long option_obj::strtol_by_radix(const char *text, int *error) {
    return convert_by_radix<long>(text, error, std::strtol);
}

unsigned long option_obj::strtoul_by_radix(const char *text, int *error) {
    return convert_by_radix<unsigned long>(text, error, std::strtoul);
}
