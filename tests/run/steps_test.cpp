// docs/steps.md lists the steps that the program has.
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
