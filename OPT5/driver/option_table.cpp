#include "OPT5/driver/option_table.h"

#include <algorithm>
#include <climits>
#include <iterator>

namespace {
using id = option_obj::option_id;

constexpr std::uint8_t NONE = option_obj::parm_none, STRING = option_obj::parm_string,
                       NUMBER = option_obj::parm_number, ONEOF = option_obj::parm_oneof,
                       LIST = option_obj::parm_list;

constexpr OPTION_ROW rows[] = {
#define OPTION(number, name, parm, class, parameter, flags, low, high, help)                       \
    {name, parm, option_obj::class_##class, parameter, flags, low, high, help},
#include "OPT5/driver/option_table.def"
};

constexpr int row_numbers[] = {
#define OPTION(number, ...) number,
#include "OPT5/driver/option_table.def"
};

constexpr OPTION_WORD words[] = {
#define WORD(option, word, value, help) {id(option), word, value, help},
#include "OPT5/driver/option_table.def"
};

constexpr OPTION_FORMER_WORD former_words[] = {
#define FORMER_WORD(option, word, notice) {id(option), word, notice},
#include "OPT5/driver/option_table.def"
};

constexpr OPTION_FORM forms[] = {
#define OPTION(number, name, ...) {id(number), "-" name, WHOLE, 0, true},
#include "OPT5/driver/option_table.def"
#define FORM(option, text, kind, notice) {id(option), text, kind, notice, false},
#include "OPT5/driver/option_table.def"
};

constexpr bool rows_are_numbered() {
    for (int i = 0; i < option_obj::num_options; ++i)
        if (row_numbers[i] != i) return false;
    return true;
}

constexpr bool words_are_unique() {
    for (const OPTION_WORD &a : words)
        for (const OPTION_WORD &b : words)
            if (&a != &b && a.value == b.value) return false;
    return true;
}

constexpr bool words_fit_their_options() {
    for (const OPTION_WORD &word : words)
        if (rows[word.option].parm != ONEOF || word.value <= 0 ||
            word.value >= option_obj::num_enums)
            return false;
    return true;
}

static_assert(std::size(rows) == option_obj::num_options);
static_assert(rows_are_numbered());
static_assert(words_are_unique());
static_assert(words_fit_their_options());
} // namespace

const OPTION_ROW &option_row(option_obj::option_id number) {
    return rows[number];
}
std::span<const OPTION_WORD> option_words() {
    return words;
}
std::span<const OPTION_FORMER_WORD> option_former_words() {
    return former_words;
}
std::span<const OPTION_FORM> option_forms() {
    return forms;
}

constinit std::array<std::uint8_t, option_obj::num_options> option_obj::parm_type = [] {
    std::array<std::uint8_t, num_options> types = {};
    std::transform(std::begin(rows), std::end(rows), types.begin(),
                   [](const OPTION_ROW &row) { return row.parm; });
    return types;
}();

constinit std::array<std::array<std::uint8_t, option_obj::num_classes>, option_obj::num_options>
    option_obj::classes = [] {
        std::array<std::array<std::uint8_t, num_classes>, num_options> members = {};
        for (int i = 0; i < num_options; ++i)
            members[i][class_all] = members[i][rows[i].group] = 1;
        return members;
    }();

constinit const std::array<const char *, option_obj::num_enums> option_obj::enum_to_enumtxt = [] {
    std::array<const char *, num_enums> texts = {};
    for (const OPTION_WORD &word : words)
        texts[word.value] = word.word;
    return texts;
}();

constinit const std::array<const char *, option_obj::num_enums> option_obj::enum_to_optiontxt = [] {
    std::array<const char *, num_enums> texts = {};
    for (const OPTION_WORD &word : words)
        texts[word.value] = rows[word.option].name;
    return texts;
}();

const std::array<std::string, option_obj::num_options> option_obj::option_definitions = [] {
    std::array<std::string, num_options> texts;
    for (int i = 0; i < num_options; ++i)
        texts[i] = rot13((std::string("--") + rows[i].name).c_str());
    return texts;
}();

constinit const std::array<const char *, option_obj::num_classes> option_obj::class_descriptions = {
    "All options",
    "Optimization",
    "Assumptions about the program",
    "Target and language",
    "Information and listings",
    "Control of the run",
    "Carried with the option set; without effect in the optimizer",
};
