// docs/steps.md lists the steps that the program has, and a run may end its effects behind each.
#include "OPT5/driver/pass.h"
#include "tests/run/tool.h"

#include <cstdio>
#include <sstream>

TEST(Steps, TableAndDocumentAgree) {
    std::vector<std::string> documented;
    std::istringstream text(read_file(std::string(QUILL_SOURCE_DIR) + "/docs/steps.md"));
    for (std::string line; std::getline(text, line);) {
        int number = -1;
        char name[100], kind = 0;
        if (std::sscanf(line.c_str(), "| %d | \"%99[^\"]\" | %c |", &number, name, &kind) != 3)
            continue;
        EXPECT_EQ(number, static_cast<int>(documented.size()));
        documented.push_back(std::string(name) + " " + kind);
    }
    std::vector<std::string> built;
    fill_steps_table(build_steps_table()); // adds the last step
    for (const pass *step : global_pass_manager.members) {
        EXPECT_EQ(step->number(), built.size());
        built.push_back(step->name() + (step->is_barrier() ? " B" : " F"));
    }
    EXPECT_EQ(built, documented);
    EXPECT_EQ(built.size(), 53u);
}

// debug:last_step: whatever is left out, the file is whole, and the program does the same.
TEST(Steps, WorkMayEndBehindAnyStep) {
    const SCRATCH scratch;
    const std::string in = (scratch / "in.ic").string(), out = (scratch / "out.ic").string(),
                      program = std::string(QUILL_SOURCE_DIR) + "/examples/interp.c";
    expect_success(run_tool({"ic-cc", "-o", in, program}, scratch), "ic-cc");
    const std::string expected = run_tool({"ic-run", in}, scratch).out;
    const auto text_after = [&](int last) {
        const std::string control = "--debug=last_step=" + std::to_string(last);
        expect_success(run_tool({"quillopt", "--opt_level=3", control, in, out}, scratch), control);
        expect_success(run_tool({"ic-lint", out}, scratch), control);
        const TOOL_RESULT run = run_tool({"ic-run", out}, scratch);
        EXPECT_EQ(run.exit_code, 0) << control;
        EXPECT_EQ(run.out, expected) << control;
        const std::string text = run_tool({"ic-dis", out}, scratch).out;
        return text.substr(text.find("\n  function ")); // behind the comment that quotes the command
    };
    const std::string untouched = text_after(-4);
    for (int last = -3; last < 52; ++last)
        text_after(last);
    const std::string all = text_after(52);
    EXPECT_NE(all, untouched);
    expect_success(run_tool({"quillopt", "--opt_level=3", in, out}, scratch), "quillopt");
    const std::string plain = run_tool({"ic-dis", out}, scratch).out;
    EXPECT_EQ(plain.substr(plain.find("\n  function ")), all);
}
