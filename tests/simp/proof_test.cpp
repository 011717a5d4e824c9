// The simplifier on random trees, and the means of that proof on cases whose answer is known: the
// evaluator, and rewrites that are wrong and must be found.
#include "tests/simp/normal_form.h"
#include "tests/simp/proof.h"

#include <gtest/gtest.h>

#include <map>

namespace {
class Proof : public ::testing::Test {
protected:
    NODE *tree(int op, TYPE *type, NODE *left = nullptr, NODE *right = nullptr) {
        return w.node({op, type, left, right});
    }
    NODE *icon(long long value, TYPE *type) { return w.icon(INT65(value), type); }
    // The value in an environment where nothing matters.
    std::uint32_t value_of(NODE *root) {
        const TREE_CODE code(root, w);
        EXPECT_EQ(code.problem, "");
        environment.begin(9, {});
        return EVALUATOR(environment).run(code);
    }
    // How many of the trees have a finding; the first one's report goes to `text`.
    unsigned findings(PROOF &proof, std::uint64_t first, unsigned count, std::string *text) {
        unsigned found = 0;
        for (std::uint64_t i = first; i < first + count; ++i) {
            const std::uint64_t seed = CHANCE::mixed(i);
            const RANDOM_TREE random = TREE_GENERATOR(w, seed).any();
            FINDING finding = proof.check(random, seed);
            if (finding && ++found == 1 && text)
                *text = proof.report(proof.smallest(random, seed, finding), finding);
            w.forget_trees();
        }
        return found;
    }

    WORLD w;
    ENVIRONMENT environment{w};
};

TEST_F(Proof, EvaluatorComputesAsTheMachineDoes) {
    const struct {
        int op;
        TYPE *type;
        long long x, y;
        std::uint32_t result;
    } rows[] = {
        {OP::PLUS, w.int_t, 0x7fffffff, 1, 0x80000000},
        {OP::PLUS, w.short_t, 0x7fff, 1, 0x8000},
        {OP::MINUS, w.ushort_t, 0, 1, 0xffff},
        {OP::MULT, w.short_t, -3, 5, 0xfff1},
        {OP::DIV, w.int_t, -7, 2, 0xfffffffd},
        {OP::DIV, w.uint_t, -7, 2, 0x7ffffffc},
        {OP::DIV, w.short_t, -0x8000, -1, 0x8000},
        {OP::MOD, w.int_t, -7, 2, 0xffffffff},
        {OP::MOD, w.schar_t, -7, 2, 0xffff},
        {OP::SLL, w.short_t, 1, 15, 0x8000},
        {OP::SLL, w.short_t, 1, 16, 0},
        {OP::SRL, w.int_t, -8, 1, 0xfffffffc},
        {OP::SRL, w.uint_t, -8, 1, 0x7ffffffc},
        {OP::SRL, w.short_t, -8, 20, 0xffff},
        {OP::SRL, w.ushort_t, 0x8000, 15, 1},
        {OP::LT, w.short_t, -1, 0, 1},
        {OP::ULT, w.ushort_t, -1, 0, 0},
        {OP::GE, w.int_t, -1, 0, 0},
        {OP::UGE, w.uint_t, -1, 0, 1},
    };
    for (const auto &row : rows) {
        const bool is_comparison = row.op >= OP::EQ && row.op <= OP::UGT;
        NODE *root = tree(row.op, is_comparison ? w.int_t : row.type, icon(row.x, row.type),
                          icon(row.y, row.type));
        EXPECT_EQ(value_of(root), row.result) << typed_text(root);
    }
    const struct {
        TYPE *from, *to;
        long long x;
        std::uint32_t result;
    } casts[] = {
        {w.short_t, w.int_t, -2, 0xfffffffe},  {w.ushort_t, w.int_t, -2, 0xfffe},
        {w.int_t, w.schar_t, 0x18001, 0x8001}, {w.int_t, w.bool_t, 6, 1},
        {w.int_t, w.float_t, -2, 0xc0000000},  {w.uint_t, w.float_t, -1, 0x4f800000},
    };
    for (const auto &row : casts)
        EXPECT_EQ(value_of(tree(OP::SCONV, row.to, icon(row.x, row.from))), row.result);
    EXPECT_EQ(value_of(tree(OP::SCONV, w.short_t, w.fcon("-70000.75", w.float_t))),
              static_cast<std::uint32_t>(-70000) & 0xffff);
    value_of(tree(OP::DIV, w.int_t, icon(1, w.int_t), icon(0, w.int_t)));
    EXPECT_TRUE(environment.trapped);
}

TEST_F(Proof, EvaluatorRecordsEffectsInOrder) {
    // i1 = g(i1 = 5, ...) and a bit-field: stores are recorded where memory changes.
    NODE *i1 = w.name(w.variables[13]);
    NODE *member =
        tree(OP::STDOT, w.int_t, w.name(w.structs[0]), w.field(w.members[4], w.struct_t));
    NODE *first = tree(OP::ASG, i1->type, i1, icon(70000, w.int_t));
    NODE *second = tree(OP::ASG, w.int_t, member, icon(-1, w.int_t));
    NODE *root =
        tree(OP::COMMAOP, w.int_t, first, tree(OP::COMMAOP, w.int_t, second, copy_tree(member)));
    const TREE_CODE code(root, w);
    environment.begin(9, {});
    const std::uint32_t at = w.address_of(i1->u.name.sym);
    environment.set(at, 1, 2);
    const std::uint32_t unit = w.address_of(w.structs[0]) + 6;
    environment.set(unit, 0, 2);
    EXPECT_EQ(EVALUATOR(environment).run(code), 0xffffffff);
    const std::vector<EFFECT> expected = {{EFFECT::store, at, 70000 & 0xffff},
                                          {EFFECT::store, at + 1u, 1},
                                          {EFFECT::store, unit, 31}};
    EXPECT_EQ(environment.effects, expected);
    environment.set(at, 70000, 2);
    environment.set(unit, 31, 2);
    EVALUATOR(environment).run(code);
    EXPECT_TRUE(environment.effects.empty());
}

TEST_F(Proof, PatternsAreReadToTheirEnds) {
    TREE_GENERATOR generator(w, 3);
    for (const std::string_view pattern : tree_patterns())
        for (TYPE *base : {w.int_t, w.ushort_t, w.float_t}) {
            NODE *root = tree_of_pattern(generator, pattern, base, 1);
            ASSERT_TRUE(root) << pattern;
            EXPECT_EQ(w.complaints(root), "") << pattern;
        }
}

// Without a rewrite there is nothing to find, and all operators come up.
TEST_F(Proof, RandomTreesAreRightAndOfAllOperators) {
    PROOF proof(w, [](NODE *root, ROOT_KIND) { return root; });
    proof.checks_form = proof.checks_facts = false;
    std::string text;
    EXPECT_EQ(findings(proof, 1, 4000, &text), 0u) << text;
    std::map<int, unsigned> counts;
    for (std::uint64_t seed = 1; seed < 4000; ++seed) {
        const std::function<void(const NODE *)> count = [&](const NODE *of) {
            if (!of) return;
            ++counts[of->op];
            count(of->left);
            count(of->right);
        };
        count(TREE_GENERATOR(w, seed).any().tree);
        w.forget_trees();
    }
    for (int op = OP::NAME; op <= OP::MEMCPY; ++op) {
        static constexpr int absent[] = {
            OP::SCON,    OP::LCON,   OP::LOOP,    OP::ENDLOOP, OP::STFIELD, OP::ARGREF,
            OP::STARG,   OP::ARASG,  OP::ACONV,   OP::ENDINIT, OP::BRANCH,  OP::SKIP,
            OP::URETURN, OP::DDNODE, OP::NASSERT, OP::ASSERT,  OP::PCOMMA};
        const bool is_value = number_of_operands[op] != OP_NONE && *opname(op) != '?';
        if (!is_value || std::count(std::begin(absent), std::end(absent), op)) continue;
        EXPECT_GE(counts[op], 5u) << opname(op);
    }
}

// Rewrites everywhere in the tree what matches; the operands come first.
NODE *everywhere(NODE *root, const std::function<NODE *(NODE *)> &rewrite) {
    if (root->left) root->left = everywhere(root->left, rewrite);
    if (root->right) root->right = everywhere(root->right, rewrite);
    return rewrite(root);
}

TEST_F(Proof, WrongRewritesAreFound) {
    const auto is_int = [this](const NODE *n) { return n->type->stds() == w.int_t; };
    const auto is_icon = [](const NODE *n, int v) {
        return n->op == OP::ICON && n->u.lval == INT65(v);
    };
    const struct {
        const char *name;
        FINDING::KIND kind;
        std::function<NODE *(NODE *)> rewrite;
    } rows[] = {
        {"operands change places", FINDING::effects,
         [](NODE *n) {
             if (n->op == OP::PLUS) std::swap(n->left, n->right);
             return n;
         }},
        {"x / 2 is a shift", FINDING::value,
         [&](NODE *n) {
             if (n->op == OP::DIV && is_int(n) && is_icon(n->right, 2)) {
                 n->op = OP::SRL;
                 n->right->u.lval = INT65(1);
             }
             return n;
         }},
        {"(int)(short)x is x", FINDING::value,
         [&](NODE *n) {
             return n->op == OP::SCONV && is_int(n) && n->left->op == OP::SCONV &&
                            n->left->type->size() == 16 && is_int(n->left->left)
                        ? n->left->left
                        : n;
         }},
        {"x < C is x <= C + 1", FINDING::value,
         [](NODE *n) {
             if (n->op == OP::LT && n->right->op == OP::ICON) {
                 n->op = OP::LE;
                 n->right->u.lval = n->right->u.lval + INT65(1);
             }
             return n;
         }},
        {"x < C is x <= C - 1, at the limit too", FINDING::value,
         [](NODE *n) {
             if (n->op == OP::LT && n->right->op == OP::ICON) {
                 n->op = OP::LE;
                 n->right->u.lval = truncate_to_type(n->right->u.lval - INT65(1), n->right->type);
             }
             return n;
         }},
        {"a volatile variable is read less often", FINDING::effects,
         [&](NODE *n) {
             return n->op == OP::NAME && n->type->is_volatile() && is_int(n) ? icon(0, w.int_t) : n;
         }},
        {"a store is lost", FINDING::effects,
         [](NODE *n) { return n->op == OP::ASG ? n->right : n; }},
        {"a condition is turned", FINDING::value,
         [](NODE *n) {
             if (n->op == OP::CBRANCH) n->left = mk_EXCLAIM(n->left);
             return n;
         }},
        {"a result of another type", FINDING::type,
         [](NODE *n) { return n->op == OP::SCONV ? n->left : n; }},
        {"an operand of a wrong type", FINDING::validator,
         [&](NODE *n) {
             if (n->op == OP::ANDB) n->right = w.fcon("1", w.float_t);
             return n;
         }},
    };
    for (const auto &row : rows) {
        std::map<FINDING::KIND, unsigned> kinds;
        PROOF proof(w, [&](NODE *root, ROOT_KIND) { return everywhere(root, row.rewrite); });
        proof.checks_form = proof.checks_facts = false;
        for (std::uint64_t seed = 1; seed <= 200'000 && !kinds[row.kind]; ++seed) {
            ++kinds[proof.check(TREE_GENERATOR(w, seed).any(), seed).kind];
            w.forget_trees();
        }
        EXPECT_GE(kinds[row.kind], 1u) << row.name;
        EXPECT_EQ(kinds[FINDING::invalid_tree], 0u) << row.name;
    }
}

// A division by zero may be left out, but not done before what comes before it.
TEST_F(Proof, TrapsKeepTheirPlace) {
    const auto quotient = [this] {
        return tree(OP::DIV, w.int_t, icon(1, w.int_t), w.name(w.variables[14]));
    };
    NODE *store = tree(OP::ASG, w.int_t, w.name(w.variables[13]), icon(123456, w.int_t));
    NODE *store_first = tree(OP::COMMAOP, w.int_t, store, quotient());
    NODE *trap_first = tree(OP::COMMAOP, w.int_t, quotient(), copy_tree(store_first));
    for (const bool is_late : {false, true}) {
        PROOF proof(
            w, [&](NODE *, ROOT_KIND) { return copy_tree(is_late ? store_first : trap_first); });
        proof.environments = 100;
        proof.checks_form = proof.checks_facts = false;
        const FINDING finding =
            proof.check({is_late ? trap_first : store_first, ROOT_KIND::value}, 1);
        EXPECT_EQ(finding.kind, is_late ? FINDING::none : FINDING::effects) << finding.text;
    }
}

TEST_F(Proof, BrokenPromisesAreNamed) {
    const auto x = [this] { return w.name(w.variables[13]); };
    const auto one = [this] { return icon(1, w.int_t); };
    const auto sum = [&](NODE *a, NODE *b) { return tree(OP::PLUS, w.int_t, a, b); };
    const auto effects = [&](NODE *v) {
        return tree(OP::COMMAOP, w.int_t, tree(OP::ASG, w.int_t, x(), one()), v);
    };
    const struct {
        NODE *tree;
        const char *promise;
    } rows[] = {
        {sum(x(), one()), ""},
        {sum(one(), x()), "a constant stands on the left"},
        {sum(x(), sum(x(), x())), "a chain leans right"},
        {sum(sum(x(), one()), x()), "the constant of a chain is not outermost"},
        {sum(effects(x()), x()), "a COMMAOP is a left operand"},
        {sum(x(), effects(x())), ""},
        {tree(OP::ASG, w.int_t, x(), effects(x())), "a COMMAOP is a right operand"},
        {tree(OP::EXCLAIM, w.int_t, x()), "an EXCLAIM is left"},
        {tree(OP::EQ, w.int_t, tree(OP::LT, w.int_t, x(), one()), icon(0, w.int_t)),
         "a negated comparison is not inverted"},
        {tree(OP::PMCONV, w.int_t, x(), icon(32, w.int_t)), "a scaling is left"},
        {tree(OP::SCONV, w.long_t, x()), "a type is not normalized"},
    };
    for (const auto &row : rows) {
        const std::string found = find_broken_promise(row.tree);
        EXPECT_EQ(found.substr(0, std::string_view(row.promise).size()), row.promise);
        EXPECT_EQ(found.empty(), *row.promise == 0) << found;
    }
}

// Nor is anything claimed of the values in the results that is not so.
TEST_F(Proof, SimplifierChangesNothingThatShows) {
    PROOF proof(w, simplified);
    proof.checks_form = false;
    std::string text;
    EXPECT_EQ(findings(proof, 1'000'000, 20'000, &text), 0u) << text;
}

TEST_F(Proof, RewritesOfOtherPassesChangeNothingThatShows) {
    for (const SINGLE_REWRITE &one : single_rewrites()) {
        PROOF proof(w, one);
        std::string text;
        EXPECT_EQ(findings(proof, 2'000'000, 2'000, &text), 0u) << one.name << "\n" << text;
    }
}
} // namespace
