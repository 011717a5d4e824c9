#include "DIAG/diag.h"
#include "OPT5/driver/global_flags.h"
#include "OPT5/driver/option_docs.h"
#include "OPT5/driver/option_table.h"
#include "OPT5/driver/register_option.h"
#include "OPT5/rep/symbol.h"
#include "OPT5/rep/type_pkg.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <fstream>
#include <map>
#include <set>
#include <sstream>

namespace {
using std::string;
using testing::ElementsAre;
using testing::HasSubstr;
using id = option_obj::option_id;

std::vector<const char *> next_words; // for next_arg
const char *next_word() {
    if (next_words.empty()) return nullptr;
    const char *word = next_words.front();
    next_words.erase(next_words.begin());
    return word;
}

class OptionsTest : public testing::Test {
protected:
    OptionsTest() {
        option_obj::next_arg = next_word;
        reset();
    }
    ~OptionsTest() override {
        reset();
        option_obj::next_arg = nullptr;
        option_obj::conflicts = {};
        option_obj::merge_conflicts = {};
        option_obj::merge_policy_functions = {};
        option_obj::mutex_merge_override_functions = {};
    }
    void reset() {
        next_words.clear();
        all_option_sets.clear();
        file_options = nullptr;
        currfunc = nullptr;
        reset_global_flags();
        reset_debug_options();
        TYPE_PKG::abi = 0;
        DIAGNOSTIC::error_count_m = 0;
    }
    // Takes arguments separated by blanks, each with its dash.
    static bool parse(option_obj &options, const string &words) {
        std::istringstream in(words);
        for (string word; in >> word;)
            if (!options.process_option(word.c_str() + 1, nullptr)) return false;
        return true;
    }
    // As parse(), and gives what went to standard error.
    static string messages(option_obj &options, const string &words, bool expected = true) {
        testing::internal::CaptureStderr();
        EXPECT_EQ(parse(options, words), expected) << words;
        return testing::internal::GetCapturedStderr();
    }
    // Makes `options` the file's set, applies it, and gives what went to standard error.
    string apply(option_obj &options) {
        reset_global_flags();
        file_options = &options;
        all_option_sets = {&options};
        testing::internal::CaptureStderr();
        set_global_flags(&options);
        return testing::internal::GetCapturedStderr();
    }
};
using OptionsDeathTest = OptionsTest;

TEST_F(OptionsTest, KindsOfTheTable) {
    std::map<int, std::vector<int>> by_kind;
    for (int i = 0; i < option_obj::num_options; ++i)
        by_kind[option_obj::parm_type[i]].push_back(i);
    EXPECT_EQ(by_kind[0].size(), 35u);
    EXPECT_THAT(by_kind[1], ElementsAre(2, 28, 44, 53));
    EXPECT_THAT(by_kind[2], ElementsAre(4, 8, 27, 30, 31, 35, 42, 43, 48, 50));
    EXPECT_THAT(by_kind[4],
                ElementsAre(1, 9, 13, 20, 22, 23, 24, 25, 26, 36, 37, 45, 51, 52, 55, 67));
    EXPECT_THAT(by_kind[5], ElementsAre(5, 11, 14, 19));
    std::set<string> spellings;
    for (const OPTION_FORM &form : option_forms())
        EXPECT_TRUE(spellings.insert(form.text).second) << form.text;
    for (int value = 1; value < option_obj::num_enums; ++value)
        EXPECT_EQ(!option_obj::enum_to_enumtxt[value], !option_obj::enum_to_optiontxt[value]);
    EXPECT_STREQ(option_obj::enum_to_enumtxt[36], "2");
    EXPECT_STREQ(option_obj::enum_to_optiontxt[36], "opt_level");
}

// Every long name reaches its own number, and what it exports sets the same in another set.
TEST_F(OptionsTest, EveryOptionSurvivesExport) {
    const std::map<int, string> argument = {{0, ""}, {1, "=a=b"}, {2, "=16"}, {5, "=x=1,y"}};
    option_obj all, copy;
    for (int i = 0; i < option_obj::num_options; ++i) {
        string text = "--" + option_obj::internal_option_string(id(i));
        if (option_obj::parm_type[i] == option_obj::parm_oneof) {
            const auto words = option_words();
            const auto word = std::find_if(words.rbegin(), words.rend(),
                                           [&](const OPTION_WORD &w) { return w.option == i; });
            text += string("=") + word->word;
        } else {
            text += argument.at(option_obj::parm_type[i]);
        }
        EXPECT_EQ(messages(all, text), "") << text;
        EXPECT_TRUE(all.testopt(id(i))) << text;
        EXPECT_EQ(all.export_option(id(i), 0), text);
    }
    copy.copy_options_of(all);
    EXPECT_EQ(copy.export_option_list(option_obj::export_set),
              all.export_option_list(option_obj::export_set));
    EXPECT_EQ(copy.export_option_pairs(option_obj::export_set, option_obj::class_all).size(), 69u);
}

TEST_F(OptionsTest, Spellings) {
    struct {
        const char *words;
        int option;
        long value;
    } cases[] = {
        {"-o2", 45, 36},
        {"-O3", 45, 37},
        {"-o=off", 45, 33},
        {"--opt_level=none", 45, 38},
        {"--opt_level=0", 45, 34},
        {"-o1", 45, 35},
        {"-op3", 8, 3},
        {"--program_mode=0x2", 8, 2},
        {"-i0", 4, 0},
        {"--auto_inline=0b101", 4, 5},
        {"-g017", 48, 15},
        {"--opt_for_speed=5", 55, 43},
        {"--abi=eabi", 1, 2},
        {"--endian=big", 20, 8},
        {"--fp_mode=strict", 23, 14},
        {"--fp_reassoc=off", 24, 15},
        {"--sat_reassoc=on", 51, 40},
        {"--vectorize=on", 67, 50},
    };
    for (const auto &c : cases) {
        option_obj options;
        EXPECT_EQ(messages(options, c.words), "") << c.words;
        EXPECT_EQ(options.getnumarg(id(c.option), 0), c.value) << c.words;
    }
    for (auto [words, option] : {std::pair("-#", 17), std::pair("-?", 29), std::pair("-s", 46)}) {
        option_obj options;
        EXPECT_EQ(messages(options, words), "");
        EXPECT_TRUE(options.parsed_option(id(option))) << words;
    }
}

TEST_F(OptionsTest, NextWordIsTheArgument) {
    option_obj options;
    next_words = {"2", "a.nfo", "unused"};
    EXPECT_TRUE(parse(options, "--opt_level --info_file -s"));
    EXPECT_EQ(options.getnumarg(id(45), 0), 36);
    EXPECT_STREQ(options.getstrarg(id(44), 0), "a.nfo");
    EXPECT_THAT(next_words, ElementsAre(testing::StrEq("unused")));
}

TEST_F(OptionsTest, Messages) {
    DIAGNOSTIC::wrap_enabled_m = false;
    struct {
        const char *words, *expected;
        bool success;
    } cases[] = {
        {"--info_level", "error: option --info_level is missing its parameter 'level'\n", false},
        {"--debug=", "error: option --debug is missing its parameter 'keys'\n", false},
        {"-o4", "error: bad argument to option -o: should be one of {off, 0, 1, 2, 3, none}\n",
         false},
        {"--memory_model=small", "error: Small memory model is no longer supported\n", false},
        {"--memory_model=tiny",
         "error: bad argument to option --memory_model: should be one of {near, large}\n", false},
        {"--code_model=small",
         "error: bad argument to option --code_model: should be one of {near, far}\n", false},
        {"--Debug_Log=1",
         "warning: Case insensitivity of options has been deprecated; --Debug_Log must be written "
         "as --debug_log in future releases\n",
         true},
        {"--opt_level=OFF",
         "warning: Case insensitivity of options has been deprecated; OFF must be written as off "
         "in future releases\n",
         true},
        {"--big_endian=1", "warning: garbage following option --big_endian ignored\n", true},
        {"--info_level=-1",
         "error: argument to option --info_level (-1) is out of range (must be a "
         "non-negative_number)\n",
         false},
        {"--info_level=2147483648",
         "error: argument to option --info_level (2147483648) is out of range\n", false},
        {"--info_level=99999999999999999999",
         "error: argument to option --info_level (99999999999999999999) is out of range\n", false},
        {"--object_alignment=0",
         "error: argument to option --object_alignment (0) is out of range (must be a number from "
         "1 to 32768\n",
         false},
        {"--reserved_registers=17",
         "error: argument to option --reserved_registers (17) is out of range (must be a number "
         "from 0 to 16\n",
         false},
        {"--object_alignment=12", "error: Argument of --object_alignment must be a power of 2\n",
         false},
        {"--info_level=some", "error: invalid parameter some to option --info_level\n", false},
        {"--info_level=0x", "error: invalid parameter 0x to option --info_level\n", false},
        {"--info_level=2nd", "warning: garbage behind the number 2nd ignored\n", true},
        {"--far_heapsize=9",
         "warning: The --far_heapsize option is deprecated. Use --heap_size instead. Using "
         "--heap_size=9.\n",
         true},
    };
    for (const auto &c : cases) {
        option_obj options;
        EXPECT_EQ(messages(options, c.words, c.success), c.expected) << c.words;
        EXPECT_EQ(options.export_option_list(option_obj::export_set).size(), c.success ? 1u : 0u)
            << c.words;
    }
    DIAGNOSTIC::wrap_enabled_m = true;
}

TEST_F(OptionsTest, RestPointsAtTheTrouble) {
    option_obj options;
    const char *text = "-opt_level=fast", *rest = nullptr;
    testing::internal::CaptureStderr();
    EXPECT_FALSE(options.process_option(text, &rest));
    testing::internal::GetCapturedStderr();
    EXPECT_EQ(rest, text + 11);
    EXPECT_TRUE(options.process_option("-opt_level=1", &rest));
    EXPECT_STREQ(rest, "");
}

TEST_F(OptionsDeathTest, UnknownOptionsEndTheRun) {
    for (const char *word : {"-x", "--", "--opt_levels=2", "--opt_leve=2", "-opt_level=2", "-sx",
                             "-i", "-op", "--big_endianx"}) {
        option_obj options;
        if (string(word) == "-i" || string(word) == "-op") {
            EXPECT_THAT(messages(options, word, false), HasSubstr("is missing its parameter"));
            continue;
        }
        EXPECT_EXIT(parse(options, word), testing::ExitedWithCode(1),
                    string("^fatal error: invalid option:  ") + word + "\n$");
    }
}

TEST_F(OptionsTest, RepeatedOptions) {
    option_obj options;
    EXPECT_TRUE(parse(options, "-o1 -o3 --debug=a --debug=b,c --info_level=1 --info_level=2"));
    EXPECT_EQ(options.getargcount(id(45)), 1u);
    EXPECT_EQ(options.getnumarg(id(45), 0), 37);
    EXPECT_EQ(options.state(id(45)), 2u);
    EXPECT_EQ(options.getargcount(id(11)), 2u);
    EXPECT_STREQ(options.getstrarg(id(11), 0), "a");
    EXPECT_STREQ(options.getstrarg(id(11), 1), "b,c");
    EXPECT_EQ(options.getnumarg(id(27), 1), 0) << "past the end";
    an_argument_t latest;
    EXPECT_TRUE(options.get_argument(id(27), &latest));
    EXPECT_EQ(latest, (an_argument_t{2, 2, ""}));
    EXPECT_THAT(options.export_option_list(option_obj::export_set),
                ElementsAre("--opt_level=3", "--debug=a", "--debug=b,c", "--info_level=2"));
}

TEST_F(OptionsTest, AskingForWhatIsNotThere) {
    option_obj options;
    EXPECT_EQ(options.getnumarg(id(27), 0), 0);
    EXPECT_EQ(options.getnumarg(id(69), 0), 0);
    EXPECT_EQ(options.getnumarg(id(-1), 0), 0);
    EXPECT_EQ(options.getstrarg(id(44), 0), nullptr);
    EXPECT_FALSE(options.testopt(id(69)));
    EXPECT_FALSE(options.parsed_option(id(-1)));
    an_argument_t argument;
    EXPECT_FALSE(options.get_argument(id(27), &argument));
}

TEST_F(OptionsTest, FaultsOfTheEngine) {
    DIAGNOSTIC::wrap_enabled_m = false;
    option_obj options;
    options.setarg(id(44), "f");
    options.setarg(id(5), "1");
    const auto message = [&](auto action) {
        testing::internal::CaptureStderr();
        action();
        return testing::internal::GetCapturedStderr();
    };
    EXPECT_THAT(message([&] { EXPECT_EQ(options.getnumarg(id(44), 0), 0); }),
                HasSubstr("internal error #24008: unhandled option handler [1]"));
    EXPECT_THAT(message([&] { options.setarg(id(44), 3); }),
                HasSubstr("internal error #24007: unhandled clause in setarg() [1]"));
    EXPECT_THAT(message([&] { options.setarg(id(45), "2"); }), HasSubstr("setarg() [4]"));
    EXPECT_THAT(message([&] { options.setopt(id(69)); }), HasSubstr("error: option is invalid"));
    EXPECT_THAT(message([&] { options.clearopt(id(-1)); }), HasSubstr("error: option is invalid"));
    EXPECT_THAT(message([&] { options.register_option_form(id(3), 4); }),
                HasSubstr("#24014: corruption in option handler"));
    EXPECT_THAT(message([&] { options.args_match_list(id(44), options); }),
                HasSubstr("#24009: list handler for non-list option [44]"));
    option_obj::parm_type[3] = 9;
    EXPECT_THAT(messages(options, "--alias_vars=1", false),
                HasSubstr("#24005: option object: bad parm_type [A1]"));
    option_obj::parm_type[3] = 0;
    EXPECT_FALSE(options.testopt(id(3)));
    DIAGNOSTIC::wrap_enabled_m = true;
}

TEST_F(OptionsTest, ClearingAndClasses) {
    option_obj options;
    EXPECT_TRUE(parse(options, "--info_level=2 --big_endian --info_file=f"));
    EXPECT_TRUE(options.testclass(option_obj::class_output));
    options.clearopt(id(27));
    EXPECT_FALSE(options.testopt(id(27)));
    EXPECT_TRUE(options.parsed_option(id(27)));
    EXPECT_EQ(options.getnumarg(id(27), 0), 0);
    options.clearopt(option_obj::class_output);
    EXPECT_FALSE(options.testclass(option_obj::class_output));
    EXPECT_TRUE(options.seenclass(option_obj::class_output));
    EXPECT_THAT(options.export_option_class(option_obj::export_seen, option_obj::class_output),
                ElementsAre("--info_level", "--info_file"));
    testing::internal::CaptureStderr();
    options.clearopt(id(6));
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "warning: Attempt to clear PERSISTENT option --big_endian ignored\n");
    EXPECT_TRUE(options.testopt(id(6)));
    EXPECT_TRUE(option_obj::isclass(id(6), option_obj::class_target));
    EXPECT_TRUE(option_obj::isclass(id(6), option_obj::class_all));
    EXPECT_FALSE(option_obj::isclass(id(6), option_obj::class_output));
    EXPECT_FALSE(options.testclass(option_obj::class_carried));
    options.setopt(option_obj::class_carried);
    EXPECT_TRUE(options.testopt(id(59)));
}

TEST_F(OptionsTest, Conflicts) {
    option_obj::conflicts[3][6] = 3;
    option_obj::conflicts[3][18] = 2;
    option_obj::conflicts[3][21] = 1;
    DIAGNOSTIC::remarks_m = true;
    option_obj options;
    testing::internal::CaptureStdout();
    EXPECT_EQ(messages(options, "--dwim_loops --far_externs --alias_vars"),
              "warning: option --alias_vars overrides preceding option --dwim_loops\n");
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "remark: option --alias_vars clears preceding option --far_externs\n");
    DIAGNOSTIC::remarks_m = false;
    EXPECT_THAT(options.export_option_list(option_obj::export_set), ElementsAre("--alias_vars"));
    option_obj other, internal;
    EXPECT_EQ(messages(other, "--big_endian --alias_vars", false),
              "error: option --alias_vars conflicts with previous option --big_endian\n");
    internal.set_internal(true);
    EXPECT_EQ(messages(internal, "--big_endian --alias_vars"), "");
}

TEST_F(OptionsTest, MergePolicies) {
    DIAGNOSTIC::wrap_enabled_m = false;
    using O = option_obj;
    struct {
        O::merge_policy policy;
        const char *mine, *other, *result, *message;
    } cases[] = {
        {nullptr, "", "-o2", "", ""},
        {&O::merge_policy_none, "", "-o2", "", ""},
        {&O::merge_policy_or, "", "-o2", "--opt_level=2", ""},
        {&O::merge_policy_or, "-o1", "-o2", "--opt_level=1", ""},
        {&O::merge_policy_and, "-o1", "", "", ""},
        {&O::merge_policy_and, "-o1", "-o2", "--opt_level=1", ""},
        {&O::merge_policy_main, "-o1", "-o2", "--opt_level=1", ""},
        {&O::merge_policy_main, "", "-o2", "--opt_level=2", ""},
        {&O::merge_policy_max, "-o1", "-o2", "--opt_level=2", ""},
        {&O::merge_policy_max, "-o3", "-o2", "--opt_level=3", ""},
        {&O::merge_policy_min, "-o1", "-o2", "--opt_level=1", ""},
        {&O::merge_policy_min, "-o3", "-o2", "--opt_level=2", ""},
        {&O::merge_policy_min, "", "-o2", "--opt_level=2", ""},
        {&O::merge_policy_exact, "-o1", "-o1", "--opt_level=1", ""},
        {&O::merge_policy_exact, "-o1", "", "--opt_level=1",
         "error: option --opt_level was set in previous files, but not in \"b\"\n"},
        {&O::merge_policy_exact, "", "-o1", "",
         "error: option --opt_level is set in \"b\", but not in previous files\n"},
        {&O::merge_policy_exact, "-o1", "-o2", "--opt_level=1",
         "error: option --opt_level=2 is set in \"b\", and is incompatible with the previously "
         "seen option --opt_level=1\n"},
        {&O::merge_policy_exact_notset, "", "-o1", "--opt_level=1", ""},
        {&O::merge_policy_exact_notset, "-o2", "", "--opt_level=2", ""},
    };
    for (const auto &c : cases) {
        O mine, other;
        other.set_file_name("b");
        ASSERT_TRUE(parse(mine, c.mine) && parse(other, c.other));
        O::merge_policy_functions[45] = c.policy;
        testing::internal::CaptureStderr();
        mine.merge_options(other);
        EXPECT_EQ(testing::internal::GetCapturedStderr(), c.message);
        const auto result = mine.export_option_list(O::export_set);
        EXPECT_EQ(result.empty() ? "" : result[0], c.result) << c.mine << " with " << c.other;
    }
    O::merge_conflicts[45][3] = 1;
    O::merge_policy_functions[45] = &O::merge_policy_none;
    O mine, other;
    other.set_file_name("b");
    ASSERT_TRUE(parse(mine, "--alias_vars") && parse(other, "-o2"));
    testing::internal::CaptureStderr();
    mine.merge_options(other);
    O::mutex_merge_override_functions[45] = &O::merge_policy_or;
    mine.merge_options(other);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "error: option --opt_level in file \"b\" conflicts with previous option "
              "--alias_vars\n");
    EXPECT_TRUE(mine.testopt(id(45)));
    DIAGNOSTIC::wrap_enabled_m = true;
}

TEST_F(OptionsTest, ListsMatchInAnyOrder) {
    option_obj a, b, c;
    ASSERT_TRUE(parse(a, "--debug=x --debug=y") && parse(b, "--debug=y --debug=x") &&
                parse(c, "--debug=x"));
    EXPECT_TRUE(a.args_match_list(id(11), b));
    EXPECT_FALSE(a.args_match_list(id(11), c));
}

// The input file decides how many options there are and how long; time must follow in proportion.
TEST_F(OptionsTest, ManyAndLongOptions) {
    constexpr int count = 20'000;
    option_obj many, copy;
    for (int i = 0; i < count; ++i)
        ASSERT_TRUE(many.process_option(
            ("-debug=k" + std::to_string(i * 7919L % count) + "=" + std::to_string(i + 1)).c_str(),
            nullptr));
    copy.copy_options_of(many);
    EXPECT_TRUE(copy.args_match_list(id(11), many));
    apply(copy);
    EXPECT_EQ(register_option("debug:k7919"), 2);
    EXPECT_EQ(register_option("debug:k0"), 1);
    const string word(1 << 22, '7');
    option_obj longest;
    EXPECT_THAT(messages(longest, "--info_level=" + word, false), HasSubstr("is out of range"));
    EXPECT_EQ(messages(longest, "--info_file=" + word), "");
    EXPECT_EQ(longest.getstrarg(id(44), 0), word);
}

TEST_F(OptionsTest, DefaultsOfTheFlags) {
    const std::map<int *, int> other_than_zero = {{&cache_sys_funinfo, 2},
                                                  {&code_is_reentrant, 1},
                                                  {&program_mode, -1},
                                                  {&unsigned_index_wraps, 1},
                                                  {&max_unrolled_loop_size, 195},
                                                  {&chars_alias_other_types, 1},
                                                  {&strict_fp, 1}};
    int *const all[] = {&alias_vars,
                        &inline_single,
                        &cache_sys_funinfo,
                        &code_is_reentrant,
                        &dump_ocg_in_GDL,
                        &dwim_aliases,
                        &dwim_loops,
                        &far_externs,
                        &kr_flag,
                        &memory_is_big_endian,
                        &memory_model,
                        &mini_mult,
                        &apply_symbolic_methods,
                        &pass_args_in_regs,
                        &program_mode,
                        &source_interlist,
                        &unsigned_index_wraps,
                        &unsigned_ok_for_RPTB,
                        &volit_vars,
                        &max_unrolled_loop_size,
                        &old_const_pointer_behavior,
                        &chars_alias_other_types,
                        &pointer_args_are_disjoint,
                        &loop_increments_are_not_zero,
                        &strict_fp,
                        &use_g2,
                        &aux_cmd_flag[0],
                        &aux_cmd_flag[9]};
    for (int *flag : all)
        *flag = 77;
    reset_global_flags();
    for (std::size_t i = 0; i < std::size(all); ++i) {
        const auto found = other_than_zero.find(all[i]);
        EXPECT_EQ(*all[i], found == other_than_zero.end() ? 0 : found->second) << i;
    }
}

TEST_F(OptionsTest, FlagsFollowOptions) {
    struct {
        const char *words;
        const int *flag;
        int value;
    } cases[] = {
        {"--abi=eabi", &TYPE_PKG::abi, 1},
        {"--abi=eabi", &decode_mangle_scheme, 1},
        {"--abi=classic", &decode_mangle_scheme, 0},
        {"--alias_vars", &alias_vars, 1},
        {"--aux_cmd=7x -g1", &aux_cmd_flag[7], 1},
        {"--aux_cmd=x7 -g1", &aux_cmd_flag[7], 0},
        {"--big_endian", &memory_is_big_endian, 1},
        {"--program_mode=3", &program_mode, 3},
        {"--dump_ocg_in_gdl", &dump_ocg_in_GDL, 1},
        {"--dwim_loops", &dwim_loops, 1},
        {"--dwim_loops", &loop_increments_are_not_zero, 1},
        {"--dwim_loops", &pointer_args_are_disjoint, 0},
        {"--endian=big", &memory_is_big_endian, 1},
        {"--big_endian --endian=little", &memory_is_big_endian, 0},
        {"--endian=little --big_endian", &memory_is_big_endian, 1},
        {"--far_externs", &far_externs, 1},
        {"--fp_mode=strict", &strict_fp, 1},
        {"--fp_mode=relaxed", &strict_fp, 0},
        {"--kr_compatible", &kr_flag, 1},
        {"--max_unrolled_loop_size=12", &max_unrolled_loop_size, 12},
        {"--dwim_aliases --alias_vars", &alias_vars, 0},
        {"--dwim_aliases", &chars_alias_other_types, 0},
        {"--dwim_aliases", &pointer_args_are_disjoint, 1},
        {"--dwim_aliases", &loop_increments_are_not_zero, 1},
        {"--dwim_aliases -o=off", &alias_vars, 1},
        {"-o=none", &alias_vars, 1},
        {"-o0", &alias_vars, 0},
        {"-o=off", &inhibit_clustering, 1},
        {"-o0", &inhibit_clustering, 0},
        {"--non_reentrant", &code_is_reentrant, 0},
        {"--source_interlist", &source_interlist, 1},
        {"--pass_args_in_regs", &pass_args_in_regs, 1},
        {"--remove_hooks_when_inlining", &remove_hooks_when_inlining, 1},
        {"--inline_single", &inline_single, 1},
        {"--cache_sys_funinfo", &cache_sys_funinfo, 1},
        {"--cache_sys_funinfo --cache_all_sys_funinfo", &cache_sys_funinfo, 2},
        {"--no_cache_sys_funinfo", &cache_sys_funinfo, 0},
        {"--unsigned_ok_for_rptb", &unsigned_ok_for_RPTB, 1},
        {"--old_const_pointer_behavior", &old_const_pointer_behavior, 1},
        {"--use_g2", &use_g2, 1},
        {"--use_g2 --no_use_g2", &use_g2, 0},
        {"--volatile_vars", &volit_vars, 1},
    };
    for (const auto &c : cases) {
        option_obj options;
        TYPE_PKG::abi = 0;
        ASSERT_TRUE(parse(options, c.words)) << c.words;
        EXPECT_EQ(apply(options), "");
        EXPECT_EQ(*c.flag, c.value) << c.words;
    }
}

TEST_F(OptionsTest, OptionsThatNeedOthers) {
    option_obj aux, load;
    ASSERT_TRUE(parse(aux, "--aux_cmd=7"));
    EXPECT_EQ(apply(aux), "warning: Option --aux_cmd is not valid without --debug_log (ignored)\n");
    EXPECT_EQ(aux_cmd_flag[7], 0);
    ASSERT_TRUE(parse(load, "--disable_dp_load_opt --abi=eabi"));
    EXPECT_THAT(apply(load), HasSubstr("Option --disable_dp_load_opt is not supported in EABI"));
}

TEST_F(OptionsTest, ControlsComeFromLists) {
    option_obj options;
    ASSERT_TRUE(
        parse(options, "--debug=SIMD,unroll=4 --disable=ilp --enable=lir --debug=unroll=5"));
    apply(options);
    EXPECT_TRUE(pass_debug("SIMD"));
    EXPECT_EQ(register_option("debug:unroll"), 5);
    EXPECT_TRUE(pass_disable("ilp"));
    EXPECT_TRUE(pass_enable("lir"));
    EXPECT_FALSE(pass_debug("ilp"));
}

TEST_F(OptionsDeathTest, LevelsOutOfRangeEndTheRun) {
    for (long value : {32L, 39L}) {
        option_obj options;
        options.setarg(id(45), value);
        EXPECT_EXIT(set_global_flags(&options), testing::ExitedWithCode(1),
                    "^--opt_level given invalid value: " + std::to_string(value) + "\n");
    }
    for (long value : {42L, 49L}) {
        option_obj options;
        options.setarg(id(55), value);
        EXPECT_EXIT(set_global_flags(&options), testing::ExitedWithCode(1),
                    "^--size_speed_goal given invalid value:  " + std::to_string(value) + "\n");
    }
}

TEST_F(OptionsTest, Levels) {
    struct {
        const char *words;
        int level, goal, inlining;
    } cases[] = {
        {"", 1, 4, 0},
        {"--opt_level=off", 0, 4, 0},
        {"--opt_level=none", 0, 4, 0},
        {"--opt_level=0 --size_speed_goal=0", 1, 0, 0},
        {"--opt_level=1 --size_speed_goal=1", 2, 1, 20},
        {"--opt_level=2 --size_speed_goal=2", 3, 2, default_o3_auto_inline},
        {"--opt_level=3 --size_speed_goal=3", 4, 3, default_o3_auto_inline},
        {"--size_speed_goal=4 --auto_inline=7", 1, 4, 7},
        {"--opt_level=3 --size_speed_goal=5 -i0", 4, 5, 0},
        {"--opt_level=3 --disable=newinline", 4, 4, 1},
        {"--opt_level=3 --disable=newinline -i9", 4, 4, 9},
    };
    EXPECT_EQ(opt_level(), 1) << "before there are option sets";
    for (const auto &c : cases) {
        option_obj options;
        reset_debug_options();
        ASSERT_TRUE(parse(options, c.words));
        apply(options);
        EXPECT_EQ(opt_level(), c.level) << c.words;
        EXPECT_EQ(size_speed_goal(), c.goal) << c.words;
        EXPECT_EQ(auto_inline(), c.inlining) << c.words;
    }
}

TEST_F(OptionsTest, OtherQuestions) {
    option_obj none, given, opposite;
    file_options = &none;
    EXPECT_TRUE(fp_add_is_associative());
    EXPECT_FALSE(saturating_add_is_associative());
    EXPECT_EQ(interrupt_threshold(), 0);
    EXPECT_FALSE(use_llvm());
    ASSERT_TRUE(
        parse(given, "--fp_reassoc=off --sat_reassoc=on --interrupt_threshold=9 --use_llvm"));
    file_options = &given;
    EXPECT_FALSE(fp_add_is_associative());
    EXPECT_TRUE(saturating_add_is_associative());
    EXPECT_EQ(interrupt_threshold(), 9);
    EXPECT_TRUE(use_llvm());
    ASSERT_TRUE(parse(opposite, "--fp_reassoc=on --sat_reassoc=off"));
    file_options = &opposite;
    EXPECT_TRUE(fp_add_is_associative());
    EXPECT_FALSE(saturating_add_is_associative());
}

TEST_F(OptionsTest, EachFunctionHasItsOwnSet) {
    option_obj file, own;
    ASSERT_TRUE(parse(file, "-o1 --source_interlist") && parse(own, "-o=off -i3"));
    all_option_sets = {&file, &own};
    file_options = &file;
    set_global_flags(file_options);
    EXPECT_EQ(source_interlist, 1);
    EXPECT_EQ(inhibit_clustering, 1) << "any set counts";
    EXPECT_EQ(alias_vars, 0) << "the file's set counts";
    SYMTAB function;
    for (auto [set, level, inlining] : {std::tuple(0u, 2, 20), {1u, 0, 3}, {2u, 2, 20}}) {
        function.option_set = set;
        currfunc = &function;
        EXPECT_EQ(opt_level(), level) << set;
        EXPECT_EQ(auto_inline(), inlining) << set;
    }
    currfunc = nullptr;
    EXPECT_EQ(opt_level(), 2);
}

TEST_F(OptionsTest, TheCommandLineOverridesStoredOptions) {
    option_obj stored, empty, command_line;
    ASSERT_TRUE(parse(stored, "-o3 --debug=a --use_g2") &&
                parse(command_line, "-o1 --debug=b --no_use_g2"));
    for (option_obj *set : {&stored, &empty})
        set->copy_options_of(command_line);
    EXPECT_THAT(stored.export_option_list(option_obj::export_set),
                ElementsAre("--use_g2", "--opt_level=1", "--debug=a", "--debug=b", "--no_use_g2"));
    EXPECT_THAT(empty.export_option_list(option_obj::export_set),
                ElementsAre("--opt_level=1", "--debug=b", "--no_use_g2"));
}

TEST_F(OptionsTest, Numbers) {
    struct {
        const char *text;
        long value;
        int error;
    } cases[] = {{"0", 0, 0},          {"+12", 12, 0},
                 {"-0x1F", -31, 0},    {"0b110", 6, 0},
                 {"017", 15, 0},       {" 5", 5, 0},
                 {"", 0, EINVAL},      {"-", 0, EINVAL},
                 {"--5", 0, EINVAL},   {"0x-1", 0, EINVAL},
                 {"0x0x5", 0, EINVAL}, {"0b0b1", 0, EINVAL},
                 {"0x0b1", 0xb1, 0},   {"08", 0, EINVAL},
                 {"0b2", 0, EINVAL},   {"9223372036854775808", 9223372036854775807, ERANGE}};
    for (const auto &c : cases) {
        int error = -1;
        EXPECT_EQ(option_obj::strtol_by_radix(c.text, &error), c.value) << c.text;
        EXPECT_EQ(error, c.error) << c.text;
    }
    int error = -1;
    EXPECT_EQ(option_obj::strtoul_by_radix("0xffffffffffffffff", &error), ~0ul);
    EXPECT_EQ(error, 0);
}

TEST_F(OptionsTest, Rot13) {
    EXPECT_STREQ(option_obj::rot13("--Opt_level=%d 1Zz"), "%%Bcg_yriry=-q 1Mm");
    EXPECT_STREQ(option_obj::rot13(nullptr), "");
    const char *first = option_obj::rot13("a");
    for (const char *text : {"b", "c", "d", "e"})
        option_obj::rot13(text);
    EXPECT_STREQ(first, "n") << "five results live at once";
    for (int i = 0; i < option_obj::num_options; ++i)
        EXPECT_EQ(option_obj::rot13(option_obj::option_definitions[i].c_str()),
                  "--" + option_obj::internal_option_string(id(i)));
}

TEST_F(OptionsTest, Listings) {
    option_obj options;
    options.set_file_name("a.ic");
    ASSERT_TRUE(parse(options, "-o1 -o2 --debug=k"));
    const auto printed = [](auto action) {
        testing::internal::CaptureStdout();
        action();
        return testing::internal::GetCapturedStdout();
    };
    EXPECT_EQ(printed([&] { options.dump(0); }),
              "Options of a.ic:\n\t45  --opt_level=2\n\t11  --debug=k\n");
    EXPECT_EQ(printed([&] { options.dump(2); }),
              "Options of a.ic:\n"
              "\t45  --opt_level=2  (set 2 times, seen 2 times, last as \"-o\")\n"
              "\t11  --debug=k  (set 1 times, seen 1 times, last as \"--debug\")\n"
              "\t11  debug: k\n\t45  opt_level: 1\n\t45  opt_level: 2\n");
    EXPECT_EQ(printed([&] { options.print(); }), "--opt_level=2 --debug=k\n");
    EXPECT_THAT(printed([&] { options.dump_basic_class(option_obj::class_level); }),
                HasSubstr("\t--opt_level=<level> (set)\n"));
    EXPECT_EQ(printed([&] { options.dump_class(option_obj::class_control); }),
              "Control of the run:\n\t--debug=k\n");
    options.set_debug_level(true);
    EXPECT_EQ(messages(options, "-o3"),
              "opt option debug: Arg    option id opt_level gets 3\n"
              "opt option debug: Set    option id opt_level to state 3\n");
}

TEST_F(OptionsDeathTest, HelpOnTheCommandLineEndsTheRun) {
    option_obj command_line(true), stored;
    EXPECT_TRUE(parse(stored, "--help")) << "a stored --help has no effect";
    testing::internal::CaptureStdout();
    option_obj::display_option_help("opt_level", 0);
    EXPECT_THAT(testing::internal::GetCapturedStdout(),
                HasSubstr("  --opt_level=<level>, -o<level>, -O<level>\n"));
    for (const char *word : {"--help", "-h", "-?"})
        EXPECT_EXIT((std::freopen("/dev/null", "w", stdout), parse(command_line, word)),
                    testing::ExitedWithCode(0), "");
    testing::internal::CaptureStdout();
    option_obj::display_option_help(nullptr, 0);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), option_help_text());
    std::istringstream help(option_help_text());
    for (string line; std::getline(help, line);)
        EXPECT_LE(line.size(), 79u) << line;
}

TEST_F(OptionsTest, DocumentIsUpToDate) {
    std::ifstream file(QUILL_SOURCE_DIR "/docs/options.md");
    std::stringstream text;
    text << file.rdbuf();
    EXPECT_TRUE(text.str() == option_docs_markdown())
        << "quillopt --help_markdown > docs/options.md makes it";
}
} // namespace
