// A parsed set of options: which are on, with which arguments.
#pragma once

#include "DIAG/diag.h"

#include <array>
#include <compare>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

// One argument of an option.
struct an_argument_t {
    int kind = 0;     // the option's parm_type
    long value = 0;   // number, or enumeration value of a word
    std::string text; // as given
    auto operator<=>(const an_argument_t &) const = default;
};

class option_obj {
public:
    static constexpr int num_options = 69;
    static constexpr int num_enums = 51; // enumeration values are 1 to 50
    static constexpr int num_classes = 7;

    enum option_id : int {}; // 0 to 68
    enum class_id : int {
        class_all,
        class_level,      // what is done, and how much of it
        class_assumption, // what may be assumed about the program
        class_target,
        class_output,
        class_control, // how the run goes; debug controls
        class_carried, // not read by the optimizer
    };
    // Values of the table parm_type; 3, 6 and 7 hold numbers too, and no option here has them.
    enum parm_kind : std::uint8_t {
        parm_none = 0,
        parm_string = 1,
        parm_number = 2,
        parm_number_3 = 3,
        parm_oneof = 4,
        parm_list = 5,
        parm_number_6 = 6,
        parm_number_7 = 7,
    };
    // Which options an export gives.
    enum export_type { export_set, export_seen };
    // One argument of one option, as text for the command line.
    struct option_pair {
        option_id id;
        unsigned index; // of the argument
        std::string text;
    };

    // `command_line` says that the set is the command line's, where --help takes effect at once.
    explicit option_obj(bool command_line = false);

    // Internal sets neither look for conflicts nor keep a history.
    void set_internal(bool internal) { internal_ = internal; }
    void set_file_name(std::string name) { file_name_ = std::move(name); }
    void set_debug_level(bool on) { debug_level_ = on; }

    // Takes one argument without its leading dash; an option that wants an argument may fetch
    // another word through next_arg. Gives false after an error, which has been reported; an
    // unknown option ends the run with exit code 1. `rest`, unless null, gets the place reached in
    // `text`, or in the word that was fetched.
    bool process_option(const char *text, const char **rest);
    // Adds another set by way of the texts that it exports, in the order in which they were set.
    void copy_options_of(const option_obj &other);

    void setopt(option_id id);
    void setopt(option_id id, long value) { setarg(id, value); }
    void setopt(option_id id, const char *text) { setarg(id, text); }
    void setopt(class_id group) { setclassmembers(group); }
    void clearopt(option_id id); // not a persistent one
    void clearopt(class_id group) { clearclassmembers(group); }
    // Set the option with an argument. A list grows; any other option keeps the latest one only.
    void setarg(option_id id, long value);
    void setarg(option_id id, const char *text);
    void setclassmembers(class_id group);
    void clearclassmembers(class_id group);

    bool testopt(option_id id) const;       // is set now
    bool parsed_option(option_id id) const; // was set at some time
    bool testclass(class_id group) const;   // any member is set now
    bool seenclass(class_id group) const;   // any member was set at some time
    static bool isclass(option_id id, class_id group);
    std::uint32_t state(option_id id) const; // how often it was set since it was last cleared
    std::uint8_t form(option_id id) const;   // latest spelling used, an index in option_forms()
    void register_option_form(option_id id, std::uint8_t form);

    // 0 for an option out of range, one that was not parsed, and an index past the end.
    long getnumarg(option_id id, unsigned index) const;
    const char *getstrarg(option_id id, unsigned index) const; // null likewise
    unsigned getargcount(option_id id) const;
    bool get_argument(option_id id, an_argument_t *argument) const; // the latest one

    // Options as text for the command line, with dashes: by number of the argument; all of them.
    std::string export_option(option_id id, int index) const;
    std::vector<std::string> export_option_list(export_type type) const;
    std::vector<std::string> export_option_class(export_type type, class_id group) const;
    std::vector<option_pair> export_option_pairs(export_type type, class_id group) const;

    // Merging by policy: what the sets of several files have in common. With the tables of this
    // tool nothing is merged.
    void merge_options(option_obj &other);
    void merge_init(); // forgets counters of a former merge
    void do_merge_conflicts(option_obj &other, option_id id);
    bool merge_policy_none(option_obj &other, option_id id); // all give: is the option set now
    bool merge_policy_or(option_obj &other, option_id id);
    bool merge_policy_and(option_obj &other, option_id id);
    bool merge_policy_main(option_obj &other, option_id id);
    bool merge_policy_exact(option_obj &other, option_id id);
    bool merge_policy_exact_notset(option_obj &other, option_id id);
    bool merge_policy_max(option_obj &other, option_id id);
    bool merge_policy_min(option_obj &other, option_id id);
    bool args_match_list(option_id id, const option_obj &other) const;

    // Reports what only the whole set shows: options that make no sense without others.
    void post_process_option_depends();

    // To standard output. `detail` 0: the options that are set; 1: with counters and spelling; 2:
    // with the values given before.
    void dump(int detail) const;
    void dump_history() const;
    void dump_class(class_id group) const;
    void dump_basic_class(class_id group) const; // the members of a class, set or not
    void print() const;                          // as one command line
    // Help for one option, or for all with a null `name`; `format` 0: for a terminal, 1: Markdown.
    static void display_option_help(const char *name, int format);

    static std::string format_of_option(option_id id);       // "--opt_level=<level>"
    static std::string internal_option_string(option_id id); // "opt_level"

    // Decimal, or with a prefix hexadecimal (0x), binary (0b) or octal (0). `error` gets 0, EINVAL
    // (no digits) or ERANGE (the nearest value is given). Garbage behind the number gives a warning
    // on standard error.
    static long strtol_by_radix(const char *text, int *error);
    static unsigned long strtoul_by_radix(const char *text, int *error);
    static int get_radix(char *text); // takes the prefix off

    // Exchanges "%" and "-" and turns letters by thirteen places. The result lives until four more
    // calls have been made; null gives an empty string.
    static const char *rot13(const char *text);

    static std::array<std::uint8_t, num_options> parm_type;
    static std::array<std::array<std::uint8_t, num_classes>, num_options> classes;
    static const std::array<std::string, num_options> option_definitions; // through rot13
    static const std::array<const char *, num_enums> enum_to_optiontxt;   // null: no such value
    static const std::array<const char *, num_enums> enum_to_enumtxt;
    static const std::array<const char *, num_classes> class_descriptions;

    // What happens to an option that is on when another is set, conflicts[new][old]: 0 nothing, 1
    // and 2 the old one is cleared, with a remark or a warning, 3 an error.
    using conflict_table = std::array<std::array<std::uint8_t, num_options>, num_options>;
    static conflict_table conflicts, merge_conflicts;
    using merge_policy = bool (option_obj::*)(option_obj &other, option_id id);
    static std::array<merge_policy, num_options> merge_policy_functions;
    static std::array<merge_policy, num_options> mutex_merge_override_functions;

    static void (*print_banner)();    // printed before the help; may be null
    static const char *(*next_arg)(); // next word of the command line, or null
    static const char *executable_name;
    // For a compiler shell; empty in this tool.
    static const char *const xml_option_def;
    static std::map<std::string, std::string> tn_fileopt_map, tool_cmd_map;

private:
    struct parse_error {};

    static bool in_range(option_id id) { return id >= 0 && id < num_options; }
    bool check_range(option_id id); // reports an option out of range

    void recognize(const char *text);
    void deprecated_case(const std::string &typed, const std::string &proper);
    void give_notice(unsigned notice, const std::string &value);
    std::string parse_arg(option_id id, const std::string &name);
    long parse_oneof(option_id id, const std::string &name, const std::string &word);
    long check_numerical_arg(option_id id, const std::string &name, const std::string &text);
    void set_parsed_arg(option_id id, const std::string &name, const std::string &value);

    // Reports; an error met while parsing goes back to process_option().
    void report_diagnostic(DIAGNOSTIC &message);
    void setopt_internal(option_id id);
    void do_conflicts(option_id id);
    void store_argument(option_id id, an_argument_t argument);
    void add_to_history(option_id id, const an_argument_t &argument);
    void take_over(const option_obj &other, option_id id);
    bool merge_by_value(option_obj &other, option_id id, bool want_greater);
    bool merge_exactly(option_obj &other, option_id id);

    bool debug_level_ = false;
    std::array<std::uint32_t, num_options> state_ = {};
    std::array<std::uint32_t, num_options> parsed_ = {};
    std::array<std::uint8_t, num_options> form_ = {};
    std::array<std::vector<std::string>, num_options> history_;
    std::array<std::vector<an_argument_t>, num_options> arguments_;
    const char *cursor_ = "";
    std::string file_name_ = "<internal>";
    bool command_line_ = false, internal_ = false;
    bool parsing_ = false;
    // When each option was last set; exports follow this order, so that the later of two options
    // of one purpose wins in a copy too.
    std::array<std::uint32_t, num_options> order_ = {};
    std::uint32_t last_order_ = 0;
    std::string fetched_; // the word from next_arg that cursor_ points into
};
