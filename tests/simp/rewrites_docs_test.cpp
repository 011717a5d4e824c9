// Each row of docs/rewrites.md is what the simplifier does.
#include "tests/simp/proof.h"

#include <gtest/gtest.h>

#include <fstream>
#include <regex>

namespace {
// A bar within a cell is escaped.
std::string without_escapes(const std::string &cell) {
    return std::regex_replace(cell, std::regex(R"(\\\|)"), "|");
}

TEST(RewritesDocument, EachRowIsTrue) {
    WORLD world;
    TREE_GENERATOR generator(world, 1);
    std::vector<SYMTAB *> ints;
    for (SYMTAB *sym : world.variables)
        if (sym->otype == world.int_t && ints.size() < 3) ints.push_back(sym);
    const PATTERN_LETTER letters[] = {
        {'x', world.name(ints[0])}, {'y', world.name(ints[1])}, {'z', world.name(ints[2])}};

    std::ifstream document(QUILL_SOURCE_DIR "/docs/rewrites.md");
    const std::regex row(R"(^\| `((?:[^`])+)` \| `((?:[^`])+)` \|.*)");
    int rows = 0;
    for (std::string line; std::getline(document, line);) {
        std::smatch cells;
        if (!std::regex_match(line, cells, row)) continue;
        ++rows;
        const std::string before = without_escapes(cells[1]), after = without_escapes(cells[2]);
        NODE *tree = tree_of_pattern(generator, before, world.int_t, letters);
        ASSERT_TRUE(tree) << before;
        std::string text = stmt2infix(simplified(tree, ROOT_KIND::value));
        for (const PATTERN_LETTER &one : letters)
            text = std::regex_replace(text, std::regex(one.tree->u.name.sym->name),
                                      std::string(1, one.letter));
        EXPECT_EQ(text, after) << "of " << before;
    }
    EXPECT_GE(rows, 10);
}
} // namespace
