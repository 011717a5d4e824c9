#include "DIAG/messages.h"
#include "DIAG/user_msg_api.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <fstream>
#include <map>
#include <sstream>
#include <unistd.h>

namespace {
using std::string;

// Sends all messages to a file, and puts the settings and the table back afterwards.
class DiagTest : public testing::Test {
protected:
    DiagTest() : stream_(std::tmpfile()) {
        DIAGNOSTIC::fp_m = stream_;
        DIAGNOSTIC::error_count_m = 0;
        for (const DIAG_INFO *row = DIAG_INFO_ENTRY; row->id; ++row)
            severities_[row->id] = row->severity;
    }
    ~DiagTest() override {
        for (const auto &[id, severity] : severities_)
            DIAGNOSTIC::override_severity(static_cast<int>(id), severity);
        DIAGNOSTIC::fp_m = nullptr;
        DIAGNOSTIC::error_count_m = 0;
        DIAGNOSTIC::diag_cols_m = 79;
        DIAGNOSTIC::wrap_indent_m = 3;
        DIAGNOSTIC::wrap_enabled_m = DIAGNOSTIC::warnings_m = true;
        DIAGNOSTIC::wrap_headers_m = DIAGNOSTIC::remarks_m = DIAGNOSTIC::debug_m = false;
        DIAGNOSTIC::advice_m = DIAGNOSTIC::verbose_m = DIAGNOSTIC::display_code_m = false;
        DIAGNOSTIC::display_ipos_m = DIAGNOSTIC::debug_mode_m = false;
        std::fclose(stream_);
    }
    // What was written since the last call.
    string output() {
        std::fflush(stream_);
        std::rewind(stream_);
        string text;
        for (int c; (c = std::fgetc(stream_)) != EOF;)
            text += static_cast<char>(c);
        std::rewind(stream_);
        EXPECT_EQ(ftruncate(fileno(stream_), 0), 0);
        return text;
    }
    USER_MSG &msg = USER_MSG::get_umsg_obj();

private:
    FILE *stream_;
    std::map<unsigned, dc_SEVERITY> severities_;
};
using DiagDeathTest = DiagTest;

// Replaces every number behind ".cpp:" so that expectations do not know line numbers.
string without_line_numbers(string text) {
    for (std::size_t at = 0; (at = text.find(".cpp:", at)) != string::npos;) {
        at += 5;
        text.replace(at, text.find(':', at) - at, "N");
    }
    return text;
}

TEST_F(DiagTest, TableHasSixtyRowsInAscendingOrder) {
    unsigned rows = 0, previous = 0;
    for (const DIAG_INFO *row = DIAG_INFO_ENTRY; row->id; ++row, ++rows) {
        EXPECT_LT(previous, row->id);
        previous = row->id;
        EXPECT_EQ(row->word, 0u);
        EXPECT_EQ(DIAGNOSTIC::get_info(static_cast<int>(row->id)), row);
        EXPECT_EQ(row->fixed, row->id >= 99921) << row->id;
    }
    EXPECT_EQ(rows, 60u);
    for (int unknown : {0, -1, 5999, 6008, 24043, 99901, 99919, 99928})
        EXPECT_EQ(DIAGNOSTIC::get_info(unknown), nullptr) << unknown;
}

TEST_F(DiagTest, SeveritiesOfTheTable) {
    const std::map<dc_SEVERITY, std::vector<int>> expected = {
        {dc_FATAL, {6000, 6001, 6004, 6005, 6006, 6007, 24041, 99900, 99925, 99926}},
        {dc_ERROR, {6002, 6003, 24010, 24015, 24040, 99923, 99924}},
        {dc_WARNING, {24003, 24006, 24017, 24025, 24027, 24039, 99922}},
        {dc_REMARK, {24004, 24038, 99921}},
        {dc_DEBUG, {99920}},
        {dc_ADVICE, {99927}}};
    for (const auto &[severity, ids] : expected)
        for (int id : ids)
            EXPECT_EQ(DIAGNOSTIC::get_info(id)->severity, severity) << id;
    for (int id : {6000, 6007, 99920, 99924, 99926})
        EXPECT_TRUE(DIAGNOSTIC::get_info(id)->internal) << id;
    for (int id : {6001, 24015, 99900, 99923, 99925, 99927})
        EXPECT_FALSE(DIAGNOSTIC::get_info(id)->internal) << id;
}

TEST_F(DiagTest, SeverityTexts) {
    const char *texts[] = {"(suppressed)", "(no error)", "advice",      "debug",    "remark",
                           "warning",      "error",      "fatal error", "(unknown)"};
    for (int i = 0; i < 9; ++i)
        EXPECT_STREQ(DIAGNOSTIC::sev_str(static_cast<dc_SEVERITY>(i)), texts[i]);
}

TEST_F(DiagTest, Headers) {
    const DIAG_SRCINFO_DATA exact("a.c", 12), near("a.c", 12, 0, true), nowhere("", 12);
    struct {
        const DIAG_SRCINFO *src;
        bool code, origin;
        int indent;
        const char *expected;
    } cases[] = {
        {nullptr, false, false, 0, "error: odd\n"},
        {&exact, false, false, 0, "\"a.c\", line 12: error: odd\n"},
        {&near, false, false, 4, "    \"a.c\", line 12 (approximate): error: odd\n"},
        {&nowhere, true, false, 0, "error #99923: odd\n"},
        {&exact, true, true, 0,
         "../../master/DIAG/user_msg_api.cpp:N:\"a.c\", line 12: error #99923: odd\n"},
    };
    for (const auto &c : cases) {
        DIAGNOSTIC::display_code_m = c.code;
        DIAGNOSTIC::display_ipos_m = c.origin;
        DIAGNOSTIC::push_indent(c.indent);
        if (c.src)
            msg.error(c.src, "%s", "odd");
        else
            msg.error("%s", "odd");
        DIAGNOSTIC::pop_indent();
        EXPECT_EQ(without_line_numbers(output()), c.expected);
    }
    EXPECT_EQ(DIAGNOSTIC::indent_m, 0);
}

TEST_F(DiagTest, InternalAndDiscretionaryHeaders) {
    DIAGNOSTIC::wrap_enabled_m = false;
    msg.apperror("bad %d", 3);
    EXPECT_EQ(without_line_numbers(output()),
              "../../master/DIAG/user_msg_api.cpp:N:internal error #99924: bad 3\n");
    DIAGNOSTIC::debug_m = true;
    msg.debug("x=%d", 1);
    EXPECT_EQ(without_line_numbers(output()),
              "../../master/DIAG/user_msg_api.cpp:N:internal debug #99920: (x=1)\n");
    DIAGNOSTIC::display_code_m = true;
    DIAG::optgen_bad_word("f", 1, "--abi", "a, b").report();
    EXPECT_EQ(output(), "error #24015-D: bad argument to option --abi: should be one of {a, b}\n");
    DIAGNOSTIC::debug_mode_m = true;
    DIAG::cannot_open_file("f", 1, "x").report(); // fatal: never discretionary
    EXPECT_EQ(output(), "fatal error #6004: cannot open file \"x\"\n");
    DIAG::null_pointer("f", 7, "p").report();
    EXPECT_EQ(output(), "f:7:internal fatal error #6000: pointer \"p\" should not be NULL at this "
                        "point\n");
    msg.die("here", "%s%%", "100");
    EXPECT_EQ(without_line_numbers(output()), "../../master/DIAG/user_msg_api.cpp:N:internal fatal "
                                              "error #99926: (here: 100%)\n");
}

TEST_F(DiagTest, ShowSettings) {
    const auto all = [&] {
        msg.advice("advice");
        msg.remark("remark");
        msg.warning(0, "warning");
        msg.error("error");
        return output();
    };
    EXPECT_EQ(all(), "warning: warning\nerror: error\n");
    DIAGNOSTIC::advice_m = DIAGNOSTIC::remarks_m = true;
    DIAGNOSTIC::warnings_m = false;
    EXPECT_EQ(all(), "advice: advice\nremark: remark\nerror: error\n");
    DIAG::gwarning hidden("f", 1, 0, "words");
    EXPECT_EQ(hidden.print("%s", "words"), 0);
    DIAGNOSTIC::warnings_m = true;
    EXPECT_EQ(hidden.print("%s", "words"), 5);
    EXPECT_EQ(output(), "words");
}

TEST_F(DiagTest, RepeatedAdviceIsDropped) {
    DIAGNOSTIC::advice_m = true;
    const DIAG_SRCINFO_DATA here("b.c", 1), there("b.c", 2);
    for (int i = 0; i < 2; ++i) {
        msg.advice(&here, "unroll %s", "this");
        msg.advice(&there, "unroll %s", "this");
    }
    EXPECT_EQ(output(), "\"b.c\", line 1: advice: unroll this\n"
                        "\"b.c\", line 2: advice: unroll this\n");
    const DIAG::gadvice one("f", 1, &here, "t"), same("g", 9, &here, "t"),
        other("f", 1, &there, "t");
    EXPECT_TRUE(one.is_equal(*same.alloc()));
    EXPECT_FALSE(one.is_equal(other));
    EXPECT_FALSE(one.is_equal(DIAG::gremark("f", 1, "t")));
}

TEST_F(DiagTest, Wrapping) {
    struct {
        int cols, indent;
        const char *text, *expected; // budget: cols - indent - 3
    } cases[] = {
        {18, 0, "one two", "error: one two\n"},
        {18, 0, "one two three four five six seven",
         "error: one two\n   three four five\n   six seven\n"},
        {18, 0, "x abcdefghijklmnopqrstuvwxyz", "error: x\n   abcdefghijklmno\n   pqrstuvwxyz\n"},
        {18, 0, "12345678", "error: 12345678\n"}, // fills the line to the last column
        {18, 0, "a\nb", "error: a\n   b\n"},
        {18, 0, "twelve   and ten", "error: twelve\n   and ten\n"},
        {20, 2, "one two three", "  error: one two\n     three\n"},
        {8, 0, "wide", "error: \n   wide\n"}, // the header alone is wider than a line
    };
    for (const auto &c : cases) {
        DIAGNOSTIC::diag_cols_m = c.cols;
        DIAGNOSTIC::push_indent(c.indent);
        msg.error("%s", c.text);
        DIAGNOSTIC::pop_indent();
        EXPECT_EQ(output(), c.expected) << c.text;
    }
    DIAGNOSTIC::diag_cols_m = 18;
    DIAGNOSTIC::wrap_enabled_m = false;
    msg.error("%s", "one two three four");
    EXPECT_EQ(output(), "error: one two three four\n");
    DIAGNOSTIC::wrap_enabled_m = DIAGNOSTIC::wrap_headers_m = true;
    const DIAG_SRCINFO_DATA src("file.c", 3);
    msg.error(&src, "%s", "one");
    EXPECT_EQ(output(), "\"file.c\", line\n   3: error: one\n");
}

TEST_F(DiagTest, WrapsLongTextsAtTheDefaultMargin) {
    string words;
    for (int i = 0; i < 200; ++i)
        words += "w" + std::to_string(i * i) + " ";
    msg.error("%s", words.c_str());
    std::istringstream lines(output());
    string line, joined;
    while (std::getline(lines, line)) {
        EXPECT_LE(line.size(), 79u);
        joined += line.substr(line.find_first_not_of(' ')) + " ";
    }
    std::istringstream in(joined), expected("error: " + words);
    for (string a, b; expected >> b;) {
        in >> a;
        ASSERT_EQ(a, b);
    }
}

TEST_F(DiagTest, SpPrintLaysOutAtFixedMargins) {
    DIAGNOSTIC::diag_cols_m = 20;
    const DIAG_SRCINFO_DATA src("a.c", 1);
    DIAG::gadvice advice("f", 1, &src, "");
    const string word(30, 'x');
    EXPECT_EQ(advice.sp_print("%s %s %s", word.c_str(), word.c_str(), word.c_str()), 92);
    EXPECT_EQ(advice.get_sp_buffer(), word + " " + word + "\n          " + word);
    EXPECT_EQ(output(), "");
}

TEST_F(DiagTest, MeasuringCountsTheLinesThatPrintingBegins) {
    DIAG::gerror message("f", 1, "");
    for (const char *text : {"one", "one two three four", "abcdefghijklmnop", "a\n\nb", ""}) {
        int measured_rest = 4, printed_rest = 4;
        const int lines = message.print_formatted(text, true, measured_rest, 10, 1, 2);
        EXPECT_EQ(output(), "");
        EXPECT_EQ(message.print_formatted(text, false, printed_rest, 10, 1, 2), lines) << text;
        const string printed = output();
        EXPECT_EQ(std::count(printed.begin(), printed.end(), '\n'), lines) << text;
        EXPECT_EQ(measured_rest, printed_rest) << text;
    }
}

TEST_F(DiagTest, LastPrintableChar) {
    EXPECT_EQ(DIAGNOSTIC::last_printable_char("ab cd", 5), 5);
    EXPECT_EQ(DIAGNOSTIC::last_printable_char("ab cd", 4), 2);
    EXPECT_EQ(DIAGNOSTIC::last_printable_char("ab cd", 2), 2);
    EXPECT_EQ(DIAGNOSTIC::last_printable_char("ab cd", 1), 0);
    EXPECT_EQ(DIAGNOSTIC::last_printable_char("ab\ncd", 9), 2);
    EXPECT_EQ(DIAGNOSTIC::last_printable_char("ab", -3), 0);
}

TEST_F(DiagTest, OverrideSeverity) {
    EXPECT_TRUE(DIAGNOSTIC::override_severity(24015, dc_SUPPRESSED));
    DIAG::optgen_bad_word("f", 1, "a", "b").report();
    EXPECT_EQ(output(), "");
    EXPECT_EQ(msg.get_error_count(), 0u);
    EXPECT_TRUE(DIAGNOSTIC::override_severity("24015", dc_WARNING));
    DIAG::optgen_bad_word("f", 1, "a", "b").report();
    EXPECT_EQ(output(), "warning: bad argument to option a: should be one of {b}\n");
    for (const char *bad : {"", "x", "24015x", "1", "99999999999999999999"})
        EXPECT_FALSE(DIAGNOSTIC::override_severity(bad, dc_ERROR)) << bad;
    msg.warning(24016, "by number");
    DIAGNOSTIC::override_severity(24016, dc_SUPPRESSED);
    msg.warning(24016, "by number");
    EXPECT_EQ(output(), "warning: by number\n");
    msg.emit_warnings_as_errors();
    msg.warning(0, "grave");
    EXPECT_EQ(output(), "error: grave\n");
    EXPECT_EQ(msg.get_error_count(), 1u);
}

TEST_F(DiagTest, AMessageIsReportedAndCountedOnce) {
    DIAG::gerror error("f", 1, "once");
    error.report();
    error.report();
    error.alloc()->report();
    EXPECT_EQ(output(), "error: once\n");
    EXPECT_EQ(msg.get_error_count(), 1u);
}

TEST_F(DiagTest, DebugModeCountsNothingAndEndsNothing) {
    DIAGNOSTIC::push_debug_mode(true);
    for (int i = 0; i < 200; ++i)
        msg.error("e");
    msg.fatal("f");
    EXPECT_EQ(msg.get_error_count(), 0u);
    DIAGNOSTIC::pop_debug_mode();
    EXPECT_FALSE(DIAGNOSTIC::debug_mode_m);
    msg.error("e");
    EXPECT_EQ(msg.get_error_count(), 1u);
}

TEST_F(DiagTest, AnnotatedSource) {
    const string name = testing::TempDir() + "annotated.c";
    std::ofstream(name) << "int x;\nint y = z;\n";
    DIAGNOSTIC::verbose_m = true;
    struct {
        unsigned line, column;
        const char *expected;
    } cases[] = {{2, 9, "int y = z;\n        ^\n"},
                 {1, 1, "int x;\n^\n"},
                 {1, 0, "int x;\n"},
                 {1, 4000000000, "int x;\n      ^\n"},
                 {3, 1, ""}};
    for (const auto &c : cases) {
        const DIAG_SRCINFO_DATA src(name, c.line, c.column);
        msg.error(&src, "e");
        const string text = output();
        EXPECT_EQ(text.substr(text.find('\n') + 1), c.expected) << c.line << ":" << c.column;
    }
    const DIAG_SRCINFO_DATA missing(name + ".missing", 1, 1);
    msg.error(&missing, "e");
    EXPECT_EQ(output(), "\"" + name + ".missing\", line 1: error: e\n");
}

TEST_F(DiagDeathTest, FatalMessagesEndTheProgram) {
    DIAGNOSTIC::fp_m = nullptr;
    EXPECT_EXIT(msg.fatal("no %s", "more"), testing::ExitedWithCode(1), "^fatal error: no more\n$");
    EXPECT_EXIT(msg.die("a", "b"), testing::KilledBySignal(SIGABRT), "internal fatal error #99926");
    EXPECT_EXIT(DIAG::invalid_option("f", 1, "-x").report(), testing::ExitedWithCode(1),
                "fatal error: invalid option:  -x\n");
}

TEST_F(DiagDeathTest, TheErrorLimit) {
    for (int i = 0; i < 100; ++i)
        msg.error("e");
    EXPECT_EQ(msg.get_error_count(), 100u);
    DIAGNOSTIC::fp_m = nullptr;
    EXPECT_EXIT(msg.error("last"), testing::ExitedWithCode(1),
                "^error: last\nfatal error: error limit reached; 100 errors detected\n$");
}

TEST_F(DiagTest, AnOverriddenErrorLimitIsReportedAndTheRunGoesOn) {
    DIAGNOSTIC::override_severity(99900, dc_WARNING);
    for (int i = 0; i < 100; ++i)
        msg.error("e");
    output();
    msg.error("e");
    EXPECT_EQ(output(), "error: e\nwarning: error limit reached; 100 errors detected\n");
    DIAGNOSTIC::override_severity(99900, dc_ERROR);
    msg.error("f");
    EXPECT_EQ(output(), "error: f\nerror: error limit reached; 100 errors detected\n");
    EXPECT_EQ(msg.get_error_count(), 103u);
}

// Each line looks at no more than a line of what is left; otherwise this would take hours.
TEST_F(DiagTest, VeryLongTextsAreLaidOut) {
    const int length = 1 << 24;
    const string word(length, 'x');
    DIAG::gerror message("f", 1, "");
    int rest = 10;
    EXPECT_EQ(message.print_formatted(word.c_str(), true, rest, 79, 0, 3), 1 + (length - 1) / 76);
}

TEST_F(DiagDeathTest, MarginsMustLeaveRoom) {
    DIAGNOSTIC::diag_cols_m = 3;
    EXPECT_DEATH(msg.error("e"), "diag_cols > \\(indent \\+ wrap_indent\\)");
}

TEST_F(DiagTest, StreamFollowsSeverity) {
    DIAGNOSTIC::fp_m = nullptr;
    DIAGNOSTIC::remarks_m = true;
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    msg.remark("low");
    msg.warning(0, "high");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "remark: low\n");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "warning: high\n");
}
} // namespace
