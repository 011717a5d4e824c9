// The evaluator of many values at once against the one that everything else is compared by, and a
// proof that finds what is wrong.
#include "tests/simp/batch_evaluator.h"
#include "tests/simp/exhaustive.h"
#include "tests/simp/proof.h"

#include "tools/ic-run/arithmetic.h"

#include <gtest/gtest.h>

#include <algorithm>

TEST(ExhaustiveTest, evaluators_agree) {
    WORLD world;
    const std::vector<std::uint32_t> odd = {
        0,   1,      2,      3,      15,         16,         17,    31,         32, 33,
        255, 0x7fff, 0x8000, 0xffff, 0x7fffffff, 0x80000000, 12345, 0xfffffffe, ~0u};
    TYPE *const types[] = {world.short_t, world.ushort_t, world.int_t, world.uint_t};
    constexpr const char *shapes[] = {
        "x+y",     "x-y",    "x*y",    "x/y",     "x%y",          "x&y",     "x|y",    "x^y",
        "x<<y",    "x>>y",   "x<y",    "x<=y",    "x>y",          "x>=y",    "x==y",   "x!=y",
        "x&&y",    "x||y",   "-x",     "~x",      "!x",           "(I)x/y",  "(s)x*y", "x?y:-x",
        "x?x/y:y", "x&&y/x", "x||y%x", "(C)x>>y", "(i)(s)x<(S)y", "x<y?x:y",
    };
    unsigned compared = 0;
    for (TYPE *type : types)
        for (const char *shape : shapes)
            for (const bool promotes : {true, false}) {
                TREE_GENERATOR generator(world, 1);
                generator.promotes = promotes;
                std::vector<SYMTAB *> of_type;
                for (SYMTAB *sym : world.variables)
                    if (sym->otype == type) of_type.push_back(sym);
                const PATTERN_LETTER letters[] = {{'x', world.name(of_type.at(0))},
                                                  {'y', world.name(of_type.at(1))}};
                NODE *tree = tree_of_pattern(generator, shape, type, letters);
                for (NODE *one : {tree, simplified(copy_tree(tree), ROOT_KIND::value)}) {
                    const TREE_CODE code(one, world);
                    BATCH_CODE::LANES x = {}, y = {};
                    const BATCH_CODE::VARIABLE variables[] = {{world.address_of(of_type[0]), x},
                                                              {world.address_of(of_type[1]), y}};
                    BATCH_CODE batch(code, variables);
                    ASSERT_TRUE(batch.is_known()) << shape;
                    unsigned n = 0;
                    for (const std::uint32_t a : odd)
                        for (const std::uint32_t b : odd) {
                            x[n] = type->size() == 16 ? low16(a) : a;
                            y[n++] = type->size() == 16 ? low16(b) : b;
                        }
                    batch.run(variables);
                    ENVIRONMENT environment(world);
                    environment.begin(1, {});
                    for (unsigned i = 0; i < n; ++i) {
                        environment.set(variables[0].address, x[i], type->size() / 16);
                        environment.set(variables[1].address, y[i], type->size() / 16);
                        const std::uint32_t value = EVALUATOR(environment).run(code);
                        ASSERT_EQ(batch.traps()[i] != 0, environment.trapped) << shape;
                        if (environment.trapped) continue;
                        ASSERT_EQ(batch.values()[i], value)
                            << shape << " of " << type->printstr() << ": " << x[i] << ", " << y[i];
                        ++compared;
                    }
                }
                world.forget_trees();
            }
    EXPECT_GT(compared, 100'000u);
}

TEST(ExhaustiveTest, all_operators_on_some_values) {
    unsigned shapes = 0;
    for (EXHAUSTIVE_CASE &one : all_binary_operators()) {
        one.step = 331;
        const EXHAUSTIVE_RESULT result = prove_exhaustively(one);
        EXPECT_EQ(result.problem, "");
        EXPECT_EQ(result.differences, 0u) << one.shape << " of " << one.type;
        EXPECT_GT(result.pairs + result.same_pairs, 30'000u) << one.shape;
        ++shapes;
    }
    EXPECT_EQ(shapes, 18u * 3 * 5);
}

TEST(ExhaustiveTest, differences_are_found) {
    EXHAUSTIVE_CASE one{"x/2"};
    one.rewrite = [](NODE *tree) {
        tree->op = OP::SRL;
        return tree;
    };
    const EXHAUSTIVE_RESULT result = prove_exhaustively(one);
    EXPECT_EQ(result.differences, 1u);
    ASSERT_EQ(result.findings.size(), 1u);
    EXPECT_NE(result.findings[0].find("differs s"), std::string::npos) << result.findings[0];
    EXPECT_NE(prove_exhaustively({"x+y+z"}).problem, "");
    EXPECT_NE(prove_exhaustively({"x+y", "no type"}).problem, "");
}
