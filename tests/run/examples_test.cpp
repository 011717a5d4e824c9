// Every C program of the project goes through the whole road at every level.
#include "tests/run/tool.h"

#include <sstream>

namespace {
const char *const levels[] = {"off", "0", "1", "2", "3"};

std::vector<std::string> all_programs() {
    std::vector<std::string> names = c_programs("examples");
    for (const char *folder : {"tests/tools/cc", "tests/tools/programs"})
        for (std::string &name : c_programs(folder))
            names.push_back(std::move(name));
    return names;
}

class Road : public testing::TestWithParam<std::string> {
protected:
    void SetUp() override {
        input = (scratch / "input.ic").string();
        expect_success(run_tool({"ic-cc", "-o", input, GetParam()}, scratch), "ic-cc");
        expect_clean(input);
    }
    void expect_clean(const std::string &file) {
        expect_success(run_tool({"ic-lint", file}, scratch), "ic-lint " + file);
    }
    std::string optimize(const std::string &level, const std::string &from, const std::string &to) {
        const std::string file = (scratch / to).string();
        expect_success(run_tool({"quillopt", "--opt_level=" + level, from, file}, scratch),
                       "quillopt at level " + level);
        return file;
    }
    std::string text_without_comments(const std::string &file) {
        const TOOL_RESULT text = run_tool({"ic-dis", file}, scratch);
        expect_success(text, "ic-dis");
        std::istringstream lines(text.out);
        std::string kept;
        for (std::string line; std::getline(lines, line);)
            if (line.find("  comment ") != 0) kept += line + "\n";
        return kept;
    }
    SCRATCH scratch;
    std::string input;
};

TEST_P(Road, EveryLevelGivesACleanFileThatCanBeOptimizedAgain) {
    for (const std::string level : levels) {
        SCOPED_TRACE("level " + level);
        const std::string once = optimize(level, input, "once.ic");
        expect_clean(once);
        const std::string twice = optimize(level, once, "twice.ic");
        expect_clean(twice);
    }
}

TEST_P(Road, ValidatorsHaveNothingToSay) {
    for (const std::string level : levels) {
        SCOPED_TRACE("level " + level);
        const std::string output = (scratch / "logged.ic").string();
        const std::string plain = optimize(level, input, "plain.ic");
        expect_success(
            run_tool({"quillopt", "--opt_level=" + level, "--debug_log=1", input, output}, scratch),
            "quillopt with a log");
        const std::string log = read_file(scratch / "input.odb");
        EXPECT_NE(log.find("== END OF DEBUG OUTPUT=="), std::string::npos);
        const std::size_t complaint = log.find("+++++");
        EXPECT_EQ(complaint, std::string::npos) << log.substr(complaint, 1000);
        EXPECT_EQ(text_without_comments(output), text_without_comments(plain))
            << "a log changes nothing but the command line that the file quotes";
    }
}

TEST_P(Road, OptimizedProgramsDoTheSame) {
    if (GetParam().find("/tools/cc/") != std::string::npos) GTEST_SKIP() << "has no main";
    const TOOL_RESULT before = run_tool({"ic-run", input}, scratch);
    EXPECT_EQ(before.exit_code, 0) << before.err;
    EXPECT_FALSE(before.out.empty());
    for (const std::string level : levels) {
        const TOOL_RESULT after = run_tool({"ic-run", optimize(level, input, "run.ic")}, scratch);
        EXPECT_EQ(after.exit_code, before.exit_code) << "level " << level << "\n" << after.err;
        EXPECT_EQ(after.out, before.out) << "level " << level;
    }
}

// The programs of tests/tools/programs print nothing that depends on the size of a type, so that
// the same source compiled for the host must print the same.
TEST_P(Road, ProgramsDoWhatTheyDoNatively) {
    if (GetParam().find("/programs/") == std::string::npos)
        GTEST_SKIP() << "depends on the machine";
    if (std::string_view(QUILL_NATIVE_CC QUILL_NATIVE_CXX).find("NOTFOUND") !=
        std::string_view::npos)
        GTEST_SKIP() << "no clang to compare with";
    const std::string native = (scratch / "native").string();
    const bool is_cpp = GetParam().ends_with(".cpp");
    const std::string compile =
        std::string(is_cpp ? QUILL_NATIVE_CXX " -std=c++17" : QUILL_NATIVE_CC " -std=gnu11") +
        " -w -O1 -fwrapv -o " + native + " " + GetParam() + " -lm";
    ASSERT_EQ(std::system(compile.c_str()), 0) << compile;
    const std::string text = (scratch / "native.out").string();
    const int status = std::system((native + " > " + text).c_str());
    const TOOL_RESULT here = run_tool({"ic-run", input}, scratch);
    EXPECT_EQ(here.exit_code, WEXITSTATUS(status)) << here.err;
    EXPECT_EQ(here.out, read_file(text));
    EXPECT_FALSE(here.out.empty());
}

TEST_P(Road, TwoRunsGiveTheSameBytes) {
    for (const std::string level : levels) {
        const std::string first = read_file(optimize(level, input, "same.ic"));
        ASSERT_FALSE(first.empty());
        EXPECT_EQ(first, read_file(optimize(level, input, "same.ic"))) << "level " << level;
    }
}

TEST_P(Road, TextFormGivesTheSameBytes) {
    const std::string text = (scratch / "text.ict").string(), back = (scratch / "back.ic").string();
    for (const std::string &file :
         {input, optimize("off", input, "off.ic"), optimize("3", input, "three.ic")}) {
        expect_success(run_tool({"ic-dis", "-o", text, file}, scratch), "ic-dis");
        expect_success(run_tool({"ic-as", "-o", back, text}, scratch), "ic-as");
        EXPECT_TRUE(read_file(file) == read_file(back)) << file;
    }
}

INSTANTIATE_TEST_SUITE_P(Programs, Road, testing::ValuesIn(all_programs()), [](const auto &p) {
    const fs::path path(p.param);
    return path.parent_path().filename().string() + "_" + path.stem().string();
});
} // namespace
