// The command line, the files and the exit codes of quillopt.
#include "tests/run/tool.h"

namespace {
class Driver : public testing::Test {
protected:
    void SetUp() override {
        good = (scratch / "good.ic").string();
        const std::string source = std::string(QUILL_SOURCE_DIR) + "/examples/crc.c";
        expect_success(run_tool({"ic-cc", "-o", good, source}, scratch), "ic-cc");
    }
    std::string path(const char *name) { return (scratch / name).string(); }
    SCRATCH scratch;
    std::string good;
};

TEST_F(Driver, FilesThatCannotBeUsed) {
    fs::create_directory(scratch / "folder");
    write_file(scratch / "empty.ic", "");
    write_file(scratch / "text.ic", "int main() { return 0; }\n");
    const std::string out = path("out.ic");
    struct CASE {
        std::vector<std::string> words;
        std::string message;
    };
    const CASE cases[] = {
        {{}, "\n>> Cannot Open Input icode File,  : No such file or directory, Aborting\n"},
        {{path("missing.ic"), out},
         "\n>> Cannot Open Input icode File, " + path("missing.ic") +
             " : No such file or directory, Aborting\n"},
        {{path("folder"), out},
         "\n>> Error when opening input icode file : " + path("folder") + ", Aborting\n"},
        {{path("empty.ic"), out},
         "\n>> Error when opening input icode file : " + path("empty.ic") + ", Aborting\n"},
        {{path("text.ic"), out},
         "\n>> Error when opening input icode file : " + path("text.ic") + ", Aborting\n"},
        {{good, path("no/such/out.ic")},
         "\n>> Cannot Open Output icode File, " + path("no/such/out.ic") +
             " : No such file or directory, Aborting\n"},
        {{good, path("folder")},
         "\n>> Cannot Open Output icode File, " + path("folder") + " : Is a directory, Aborting\n"},
        {{good, "/dev/full"}, ">> Cannot Write Output icode File, /dev/full : "},
        {{good, out, "third"}, "\n>>>> OPTIMIZER ERROR: Garbage on command line\n\n"},
        {{good, out, "third", "fourth"},
         "\n>>>> OPTIMIZER ERROR: Unexpected options: " + good + " " + out + " fourth\n"},
        {{good, path(std::string(600, 'n').c_str())}, " : File name too long, Aborting\n"},
        {{std::string(600, 'n'), out},
         "\n>> Cannot Open Input icode File, " + std::string(600, 'n') +
             " : File name too long, Aborting\n"},
        {{"-", good, out}, "invalid option"},
        {{"--no_such_option", good, out}, "no_such_option"},
        {{"--opt_level=17", good, out}, "opt_level"},
    };
    for (const CASE &c : cases) {
        std::vector<std::string> words{"quillopt"};
        words.insert(words.end(), c.words.begin(), c.words.end());
        const TOOL_RESULT result = run_tool(words, scratch);
        EXPECT_EQ(result.exit_code, 1) << c.message;
        EXPECT_NE(result.err.find(c.message), std::string::npos)
            << "wanted " << c.message << "\ngot " << result.err;
        EXPECT_FALSE(fs::exists(out)) << c.message;
    }
    EXPECT_TRUE(fs::is_directory(scratch / "folder"));
}

TEST_F(Driver, NoFileIsWrittenOverAnotherOfTheRun) {
    const std::string input = read_file(good), log = path("good.odb"), info = path("good.nfo");
    fs::create_symlink(good, scratch / "good.ln");
    struct CASE {
        std::vector<std::string> words;
        std::string message;
    };
    const CASE cases[] = {
        {{"--debug_log=1", "--info_file=" + good, good, path("out.ic")},
         "\n>> Cannot Open Info File, " + good + " : It is the input file, Aborting\n"},
        {{"--debug_log=1", "--info_file=" + path("good.ln"), good, path("out.ic")},
         "\n>> Cannot Open Info File, " + path("good.ln") + " : It is the input file, Aborting\n"},
        {{"--debug_log=1", good, info},
         "\n>> Cannot Open Output icode File, " + info + " : It is the information file"},
        {{"--debug_log=1", good, log},
         "\n>> Cannot Open Output icode File, " + log + " : It is the debug file"},
    };
    for (const CASE &c : cases) {
        std::vector<std::string> words{"quillopt"};
        words.insert(words.end(), c.words.begin(), c.words.end());
        const TOOL_RESULT result = run_tool(words, scratch);
        EXPECT_EQ(result.exit_code, 1) << c.message;
        EXPECT_NE(result.err.find(c.message), std::string::npos) << result.err;
        EXPECT_EQ(read_file(good), input);
    }
    fs::rename(good, log);
    const TOOL_RESULT result =
        run_tool({"quillopt", "--debug_log=1", log, path("out.ic")}, scratch);
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_NE(result.err.find("Cannot Open Debug File, " + log), std::string::npos) << result.err;
    EXPECT_EQ(read_file(log), input);
    expect_success(run_tool({"quillopt", log, "/dev/null", "--info_file=/dev/null"}, scratch),
                   "no regular files");
}

TEST_F(Driver, AnOutputThatIsTheInputIsRefused) {
    const std::string before = read_file(good);
    fs::create_symlink(good, scratch / "link.ic");
    for (const std::string &name : {good, path("link.ic")}) {
        const TOOL_RESULT result = run_tool({"quillopt", good, name}, scratch);
        EXPECT_EQ(result.exit_code, 1);
        EXPECT_NE(result.err.find("It is the input file"), std::string::npos) << result.err;
        EXPECT_EQ(read_file(good), before);
    }
}

TEST_F(Driver, TheOutputsNameFollowsTheInputs) {
    expect_success(run_tool({"quillopt", good}, scratch), "quillopt");
    expect_success(run_tool({"ic-lint", path("good.opt")}, scratch), "ic-lint");
}

TEST_F(Driver, LogsAndInformation) {
    expect_success(run_tool({"quillopt", "--opt_level=2", "--debug_log=1", "--info_level=2", good,
                             path("out.ic")},
                            scratch),
                   "quillopt");
    const std::string log = read_file(scratch / "good.odb"), info = read_file(scratch / "good.nfo");
    for (const char *line :
         {"ENTERING step 16 'expand bitfields'", "-- variable -- size", "== END OF DEBUG OUTPUT=="})
        EXPECT_NE(log.find(line), std::string::npos) << line;
    EXPECT_NE(info.find("Build Number "), std::string::npos);
    EXPECT_NE(info.find("== END OF INFO OUTPUT=="), std::string::npos);
}

TEST_F(Driver, ModesThatWriteNoFunctions) {
    const TOOL_RESULT dump =
        run_tool({"quillopt", "--opt_level=2", "--dump_options", good, path("dump.ic")}, scratch);
    expect_success(dump, "options dump");
    EXPECT_NE(dump.out.find("opt_level"), std::string::npos) << dump.out;
    EXPECT_FALSE(fs::exists(scratch / "dump.ic"));
    expect_success(run_tool({"quillopt", "--debug=parser", good, path("parser.ic")}, scratch),
                   "parser mode");
    EXPECT_LT(read_file(scratch / "parser.ic").size(), 1000u);
    const TOOL_RESULT help = run_tool({"quillopt", "--help"}, scratch);
    expect_success(help, "help");
    EXPECT_NE(help.out.find("--opt_level"), std::string::npos);
}

TEST_F(Driver, AFileWithoutFunctions) {
    write_file(scratch / "data.c",
               "int table[3] = {1, 2, 3};\nextern int other;\nint *where = &other;\n");
    const std::string data = path("data.ic"), out = path("out.ic");
    expect_success(run_tool({"ic-cc", "-o", data, path("data.c")}, scratch), "ic-cc");
    expect_success(run_tool({"quillopt", data, out}, scratch), "quillopt");
    expect_success(run_tool({"ic-lint", out}, scratch), "ic-lint");
    const std::string text = run_tool({"ic-dis", out}, scratch).out;
    for (const char *name : {"table", "where", "other"})
        EXPECT_NE(text.find(name), std::string::npos) << text;
}
} // namespace
