// Kept files that a careless reader or optimizer trips over. "refused-*" must end with exit code 1,
// a message and no output; "taken-*" must go through and come out clean.
#include "tests/run/tool.h"

namespace {
std::vector<fs::path> corpus() {
    std::vector<fs::path> files;
    for (const auto &entry :
         fs::directory_iterator(fs::path(QUILL_SOURCE_DIR) / "tests/run/corpus"))
        files.push_back(entry.path());
    std::sort(files.begin(), files.end());
    return files;
}

class CorpusFile : public testing::TestWithParam<fs::path> {};

TEST_P(CorpusFile, EndsAsItsNameSays) {
    const SCRATCH scratch;
    const bool refused = GetParam().filename().string().starts_with("refused-");
    const std::string in = (scratch / "in.ic").string(), out = (scratch / "out.ic").string();
    expect_success(run_tool({"ic-as", "-o", in, GetParam().string()}, scratch), "ic-as");
    for (const std::string level : {"off", "0", "2", "3"}) {
        const TOOL_RESULT result =
            run_tool({"quillopt", "--opt_level=" + level, in, out}, scratch, 512u << 20);
        EXPECT_EQ(result.exit_code, refused ? 1 : 0) << "signal " << result.signal << "\n"
                                                     << result.out << result.err;
        EXPECT_EQ(fs::exists(out), !refused);
        if (refused)
            EXPECT_FALSE((result.out + result.err).empty());
        else
            expect_success(run_tool({"ic-lint", out}, scratch), "ic-lint");
    }
}

TEST(Corpus, DeepTreesGoThrough) {
    const SCRATCH scratch;
    constexpr int depth = 9000;
    std::string text =
        read_file(fs::path(QUILL_SOURCE_DIR) / "tests/run/corpus/taken-endless-loop.ict");
    std::string deep = "(ASG:int (NAME:int i) ";
    for (int n = 0; n < depth; ++n)
        deep += "(UMINUS:int ";
    deep += "(NAME:int i)" + std::string(depth + 1, ')') + "\n";
    text.insert(text.find("label 1\n") + 8, deep);
    write_file(scratch / "deep.ict", text);
    const std::string in = (scratch / "deep.ic").string(), out = (scratch / "out.ic").string();
    expect_success(run_tool({"ic-as", "-o", in, (scratch / "deep.ict").string()}, scratch),
                   "ic-as");
    for (const std::string level : {"off", "3"})
        expect_success(
            run_tool({"quillopt", "--opt_level=" + level, "--debug_log=1", in, out}, scratch),
            "quillopt");
}

INSTANTIATE_TEST_SUITE_P(Kept, CorpusFile, testing::ValuesIn(corpus()), [](const auto &p) {
    std::string name = p.param.stem().string();
    std::replace(name.begin(), name.end(), '-', '_');
    return name;
});
} // namespace
