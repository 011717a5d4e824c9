// The command lines of ic-dis and ic-as, what they leave behind, and that a file of the front end
// is the same bytes after a walk through text.
#include "tests/run/tool.h"

#include <gmock/gmock.h>

using ::testing::HasSubstr;
using ::testing::StartsWith;

namespace {
constexpr char small[] = "icode version=-73 cpu=1000 name=\"s\"\n"
                         "\n"
                         "files\n"
                         "  source \"s.c\"\n"
                         "\n"
                         "types\n"
                         "  type int#1 = int size=32 align=32\n"
                         "\n"
                         "globals\n"
                         "  sym _x@0.0 int sc=2 @s.c:1:1\n"
                         "\n"
                         "initialisers\n"
                         "  init _x\n"
                         "    (ICON:int 1)\n"
                         "    (ENDINIT:int)\n"
                         "\n"
                         "code\n"
                         "  (ASG:int (NAME:int _x) (ICON:int 2)) @s.c:2:3\n"
                         "  (NOP)\n";

class AsDis : public testing::Test {
protected:
    std::string path(const char *name) const { return (scratch / name).string(); }
    TOOL_RESULT run(std::vector<std::string> words) { return run_tool(std::move(words), scratch); }
    void SetUp() override { write_file(path("s.ict"), small); }
    SCRATCH scratch;
};
} // namespace

TEST_F(AsDis, FilesAndStandardStreams) {
    expect_success(run({"ic-as", path("s.ict")}), "default output");
    const std::string bytes = read_file(path("s.ic"));
    EXPECT_THAT(bytes, HasSubstr("!<icode>\n"));
    expect_success(run({"ic-as", "-o", path("t.ic"), path("s.ict")}), "-o");
    EXPECT_EQ(read_file(path("t.ic")), bytes);
    TOOL_RESULT r = run({"ic-as", "-o", "-", path("s.ict")});
    expect_success(r, "standard output");
    EXPECT_EQ(r.out, bytes);

    r = run({"ic-dis", path("s.ic")});
    expect_success(r, "to the standard output");
    EXPECT_EQ(r.out, small);
    expect_success(run({"ic-dis", "-o", path("u.ict"), path("s.ic")}), "-o");
    EXPECT_EQ(read_file(path("u.ict")), small);
    r = run({"ic-dis", "--no-positions", path("s.ic")});
    EXPECT_THAT(r.out, HasSubstr("  sym _x@0.0 int sc=2\n"));
    EXPECT_THAT(r.out, HasSubstr("(ICON:int 2))\n"));
    r = run({"ic-dis", "--stats", path("s.ic")});
    expect_success(r, "--stats");
    EXPECT_EQ(r.out, "statements 2\nnodes 6\nfunctions 0\nsymbols 1\ntypes 1\nbytes " +
                         std::to_string(bytes.size()) + "\n");
    for (const char *tool : {"ic-as", "ic-dis"}) {
        r = run({tool, "--help"});
        EXPECT_EQ(r.exit_code, 0);
        EXPECT_THAT(r.out, StartsWith(std::string("usage: ") + tool));
    }
}

TEST_F(AsDis, MistakesLeaveNoOutput) {
    write_file(path("bad.ict"), "code\n label\n");
    write_file(path("bad.ic"), "!<icode>\n");
    const struct {
        std::vector<std::string> words;
        std::string message;
    } cases[] = {
        {{"ic-as", path("bad.ict"), "-o", path("out")},
         path("bad.ict") + ":2:7: expected number, found the end of the line\n"},
        {{"ic-as", path("none.ict"), "-o", path("out")}, "none.ict: cannot be read\n"},
        {{"ic-as", path("s.ict"), "-o", path("no/such/folder")}, "cannot be written\n"},
        {{"ic-as", path("s.ict"), "-o", path("s.ict")}, "s.ict: would be overwritten\n"},
        {{"ic-as"}, "no input file\nusage: ic-as"},
        {{"ic-as", "--what", path("s.ict")}, "unknown option --what\nusage: ic-as"},
        {{"ic-as", path("s.ict"), path("s.ict")}, "more than one input file"},
        {{"ic-dis", path("bad.ic"), "-o", path("out")},
         path("bad.ic") + ": offset 0: expected the file header (tag 8), found tag 33\n"},
        {{"ic-dis", path("none.ic"), "-o", path("out")}, "none.ic: cannot be read\n"},
        {{"ic-dis"}, "no input file\nusage: ic-dis"},
        {{"ic-dis", "-x", path("bad.ic")}, "unknown option -x\nusage: ic-dis"},
    };
    for (const auto &c : cases) {
        write_file(path("out"), "of an earlier run");
        const TOOL_RESULT r = run(c.words);
        const std::string what = testing::PrintToString(c.words);
        EXPECT_EQ(r.exit_code, 1) << what;
        EXPECT_EQ(r.out, "") << what;
        EXPECT_THAT(r.err, HasSubstr(c.message));
        const bool names_it = c.words.back() == path("out");
        EXPECT_EQ(fs::exists(path("out")), !names_it) << what;
    }
    EXPECT_EQ(read_file(path("s.ict")), small);
}

TEST_F(AsDis, FilesOfTheFrontEndComeBackByteForByte) {
    if (!fs::exists(fs::path(QUILL_BIN_DIR) / "ic-cc")) GTEST_SKIP() << "built without ic-cc";
    std::vector<std::string> programs = c_programs("examples");
    for (const std::string &name : c_programs("tests/tools/cc"))
        programs.push_back(name);
    ASSERT_GT(programs.size(), 10u);
    for (const std::string &program : programs) {
        expect_success(run({"ic-cc", "-o", path("a.ic"), program}), program);
        expect_success(run({"ic-dis", "-o", path("a.ict"), path("a.ic")}), program);
        expect_success(run({"ic-as", "-o", path("b.ic"), path("a.ict")}), program);
        EXPECT_TRUE(read_file(path("a.ic")) == read_file(path("b.ic"))) << program;
    }
}
