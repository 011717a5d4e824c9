// Scope trees: building, questions, copies for inlining, the checker.
#include "tests/rep/symbol_fixture.h"

#include <gmock/gmock.h>

#include <functional>

using ::testing::ElementsAre;
using ::testing::HasSubstr;

namespace {
std::vector<std::string> names_of(const SYMLIST *list) {
    std::vector<std::string> names;
    for (; list; list = list->next)
        names.push_back(list->sym->name);
    return names;
}
} // namespace

class Scopes : public SymbolTest {
protected:
    PSN *at(std::uint32_t line, std::uint32_t column = 1) {
        positions.push_back(std::make_unique<PSN>(PSN{"a.c", line, column}));
        return positions.back().get();
    }
    LS *open(std::uint32_t line, unsigned callsite = 0) {
        LS::open(at(line), currfunc, callsite);
        return currfuninfo->open_scope;
    }
    void close(std::uint32_t line, unsigned callsite = 0) {
        LS::close(at(line), currfunc, callsite);
    }
    static SYMTAB *local(const char *name, int level, TYPE *type) {
        const int reading = std::exchange(lex, level);
        SYMTAB *sym = make(name, 1, type);
        lex = reading;
        sym_def(sym);
        LS::add_symbol(sym);
        return sym;
    }
    // root { parameters { outer { one { deep } two } } }, closed.
    void build() {
        lex = 1;
        root = open(1);
        parms = open(1);
        local("p", 1, tp->int_type());
        lex = 2;
        outer = open(2);
        local("x", 2, tp->int_type());
        local("y", 2, tp->int_type());
        one = open(3);
        deep = open(4);
        object = local("o", 4, tp->mk_array(tp->int_type(), 3));
        close(5);
        close(6);
        two = open(7);
        close(8);
        for (int i = 0; i < 3; ++i)
            close(9);
        lex = 0;
    }
    // A new current function; the scopes of the old one stay as they are.
    void enter(const char *name) {
        currfunc = global(name, 2, function_type);
        currfuninfo = make_FUNINFO(skip_name_prefix(name));
    }

    LS *root = nullptr, *parms = nullptr, *outer = nullptr, *one = nullptr, *deep = nullptr,
       *two = nullptr;
    SYMTAB *object = nullptr;

private:
    std::vector<std::unique_ptr<PSN>> positions;
};

TEST_F(Scopes, TreeInSourceOrder) {
    build();
    EXPECT_TRUE(currfuninfo->ptr_groups);
    EXPECT_EQ(currfuninfo->root_scope, root);
    EXPECT_EQ(currfuninfo->open_scope, nullptr);
    EXPECT_EQ(root->level_0_scope(), root);
    EXPECT_EQ(root->level_1_scope(), parms);
    EXPECT_EQ(root->level_2_scope(), outer);
    EXPECT_EQ(outer->child, one);
    EXPECT_EQ(one->sibling, two);
    EXPECT_EQ(two->sibling, nullptr);
    unsigned id = 0;
    for (const LS *scope : {root, parms, outer, one, deep, two}) {
        EXPECT_EQ(scope->scope_id, id++);
        EXPECT_EQ(scope->depth, scope->parent ? scope->parent->depth + 1 : 0);
        EXPECT_EQ(scope->funinfo, currfuninfo);
    }
    EXPECT_EQ(currfuninfo->scopeCount, 6u);
    EXPECT_EQ(currfuninfo->scopeDepth, 4u);
    EXPECT_EQ(currfuninfo->saved_scopeCount, 2u) << "saved before the level reached 2";
    EXPECT_EQ(currfuninfo->saved_scopeDepth, 1u);
    EXPECT_THAT(names_of(parms->others), ElementsAre("p"));
    EXPECT_THAT(names_of(outer->others), ElementsAre("x", "y"));
    EXPECT_THAT(names_of(deep->arrays), ElementsAre("o"));
    EXPECT_EQ(LS::validate(root), 0) << log();
}

TEST_F(Scopes, ListByKindOfType) {
    build();
    TYPE *cls = tp->type_frozen(tp->mk_struct("S", 32, 32, true));
    EXPECT_EQ(&outer->list_for(tp->mk_qual(tp->mk_ptr(cls), TQ_const)), &outer->pointers);
    EXPECT_EQ(&outer->list_for(tp->mk_ref(cls, 16, 16)), &outer->pointers);
    EXPECT_EQ(&outer->list_for(cls), &outer->classes);
    EXPECT_EQ(&outer->list_for(tp->mk_array(cls, 2)), &outer->arrays);
    EXPECT_EQ(&outer->list_for(tp->int_type()), &outer->others);
    LS::remove_symbol(outer->others->sym);
    EXPECT_THAT(names_of(outer->others), ElementsAre("y"));
}

TEST_F(Scopes, MismatchesEndTheRun) {
    SYMTAB *other = global("_other", 2, function_type), *data = global("_d", 2, tp->int_type());
    const std::function<void()> failures[] = {
        [&] { LS::open(nullptr, other, 0); }, // a first scope of another function
        [&] { LS::close(nullptr, currfunc, 0); },
        [&] { open(1), LS::open(nullptr, data, 0); },
        [&] { open(1), LS::close(nullptr, other, 0); },
        [&] { open(1, 3), LS::close(nullptr, currfunc, 0); },
        [&] { open(1), close(2), open(3); }, // a second root
        [&] { open(1), close(2), close(3); },
        [&] { open(1), open(2)->level_0_scope(); },
        [&] { build(), parms->level_1_scope(); },
        [&] { build(), parms->level_2_scope(); },
    };
    for (const auto &failure : failures)
        EXPECT_EXIT(failure(), ::testing::ExitedWithCode(1), "") << "case " << &failure - failures;
    EXPECT_EQ(open(1)->level_2_scope(), nullptr);
}

TEST_F(Scopes, Questions) {
    build();
    const LS *const all[] = {root, parms, outer, one, deep, two};
    // Rows enclose columns.
    const char *const matrix[] = {"111111", "011111", "001111", "000110", "000010", "000001"};
    for (int i = 0; i < 6; ++i)
        for (int j = 0; j < 6; ++j) {
            EXPECT_EQ(all[i]->encloses(all[j]), matrix[i][j] == '1') << i << j;
            EXPECT_EQ(all[j]->is_strictly_contained_by(all[i]), matrix[i][j] == '1' && i != j)
                << i << j;
        }
    EXPECT_FALSE(outer->encloses(nullptr));
    EXPECT_FALSE(outer->is_strictly_contained_by(nullptr));
    EXPECT_EQ(LS::innermost_common_scope(deep, two), outer);
    EXPECT_EQ(LS::innermost_common_scope(one, deep), one);
    EXPECT_EQ(LS::innermost_common_scope(deep, deep), deep);
    EXPECT_EQ(LS::innermost_common_scope(nullptr, two), two);
    EXPECT_EQ(LS::innermost_common_scope(two, nullptr), two);
    LS stranger;
    EXPECT_EQ(LS::innermost_common_scope(deep, &stranger), nullptr);
    EXPECT_TRUE(deep->object_may_be_live_in_scope(object));
    EXPECT_TRUE(outer->object_may_be_live_in_scope(object)) << "in a part of it";
    EXPECT_FALSE(two->object_may_be_live_in_scope(object));
    object->sc = 3;
    EXPECT_TRUE(two->object_may_be_live_in_scope(object)) << "static";
    SYMTAB *homeless = make("h", 1, tp->int_type());
    EXPECT_TRUE(two->object_may_be_live_in_scope(homeless));
}

TEST_F(Scopes, PositionsInRanges) {
    const PSN *first = at(2, 5), *last = at(4, 3);
    EXPECT_TRUE(psn_is_within_psn_range(first, first, last));
    EXPECT_TRUE(psn_is_within_psn_range(last, first, last));
    EXPECT_TRUE(psn_is_within_psn_range(at(3, 99), first, last));
    EXPECT_FALSE(psn_is_within_psn_range(at(2, 4), first, last));
    EXPECT_FALSE(psn_is_within_psn_range(at(4, 4), first, last));
    EXPECT_FALSE(psn_is_within_psn_range(nullptr, first, last));
    EXPECT_FALSE(psn_is_within_psn_range(first, nullptr, last));
    EXPECT_FALSE(psn_is_within_psn_range(first, first, nullptr));
}

TEST_F(Scopes, FreshTreesBelongToTheOpenScope) {
    SYMTAB *g = global("_g", 2, tp->int_type()), *q = global("_q", 2, tp->void_ptr_type());
    SYMTAB *symbols[] = {g, q, g, currfunc};
    // A left tower of operators over the four names and a local: 20,000 levels and no recursion.
    std::vector<NODE> nodes(20'000);
    for (std::size_t i = 0; i < nodes.size(); ++i) {
        nodes[i].op = OP::PLUS;
        if (i + 1 < nodes.size()) nodes[i].left = &nodes[i + 1];
    }
    NODE leaves[4];
    for (int i = 0; i < 4; ++i) {
        leaves[i].op = OP::NAME;
        leaves[i].u.name.sym = symbols[i];
        nodes[static_cast<std::size_t>(i) * 3000].right = &leaves[i];
    }
    lex = 1;
    root = open(1);
    open(1);
    outer = open(2);
    one = open(3);
    lex = 0;
    LS::initialize_scopes_and_ptrs_from_tree(&nodes[0]);
    for (const NODE &node : nodes)
        ASSERT_EQ(node.scope, one);
    for (const NODE &leaf : leaves)
        EXPECT_EQ(leaf.scope, one);
    EXPECT_THAT(names_of(root->others), ElementsAre("_g"));
    EXPECT_THAT(names_of(root->pointers), ElementsAre("_q"));
    for (int i = 0; i < 4; ++i)
        close(9);
    LS::initialize_scopes_and_ptrs_from_tree(&leaves[0]);
    EXPECT_EQ(leaves[0].scope, outer) << "all scopes are closed";
    LS::assign_scope_to_tree(root, &nodes[0]);
    for (const NODE &node : nodes)
        ASSERT_EQ(node.scope, root);
    EXPECT_EQ(g->scope, nullptr);
    // Another function has a list of its own.
    enter("_h");
    LS *other_root = open(1);
    open(1);
    open(1);
    LS::initialize_scopes_and_ptrs_from_tree(&leaves[2]);
    EXPECT_THAT(names_of(other_root->others), ElementsAre("_g"));
}

TEST_F(Scopes, IntegratedTwice) {
    SYMTAB *g = global("_g", 2, tp->int_type()), *h = global("_h", 2, tp->int_type());
    const auto refer_to = [](SYMTAB *sym) {
        NODE name;
        name.op = OP::NAME;
        name.u.name.sym = sym;
        LS::initialize_scopes_and_ptrs_from_tree(&name);
    };
    build();
    refer_to(g);
    refer_to(h);
    LS *const callee_root = root, *const callee_deep = deep, *const callee_outer = outer;
    FUNINFO *const callee = currfuninfo;
    enter("_caller");
    build();
    refer_to(g);
    LS *const call_scope = two;
    call_scope->integrate_integrable_scopes(callee_root, 7);
    LS *const first_deep = callee_deep->copied_to;
    call_scope->integrate_integrable_scopes(callee_root, 8);
    LS *const second_deep = callee_deep->copied_to;
    EXPECT_EQ(LS::validate(root), 0) << log();
    EXPECT_THAT(names_of(root->others), ElementsAre("_h", "_g")) << "each global once";
    EXPECT_EQ(currfuninfo->scopeDepth, 7u);
    for (const LS *copy : {first_deep, second_deep}) {
        EXPECT_TRUE(copy->is_strictly_contained_by(call_scope));
        EXPECT_EQ(copy->depth, 7u);
        EXPECT_EQ(copy->funinfo, callee);
        EXPECT_EQ(copy->psnEntry, callee_deep->psnEntry);
        EXPECT_EQ(copy->arrays, nullptr) << "the caller makes variables of its own";
    }
    EXPECT_EQ(first_deep->callsite, 7u);
    EXPECT_EQ(second_deep->callsite, 8u);
    EXPECT_EQ(LS::innermost_common_scope(first_deep, second_deep), call_scope);
    // Order among the callee's scopes stays, and the callee is untouched.
    EXPECT_EQ(callee_outer->copied_to->child->sibling, callee_outer->child->sibling->copied_to);
    EXPECT_THAT(names_of(callee_deep->arrays), ElementsAre("o"));
    EXPECT_THAT(names_of(callee_root->others), ElementsAre("_h", "_g"));
    EXPECT_EQ(callee_deep->scope_id, 4u);
    currfuninfo = callee;
    EXPECT_EQ(LS::validate(callee_root), 0) << log();
}

TEST_F(Scopes, CheckerNamesEachFault) {
    const struct {
        int number;
        std::function<void()> spoil;
    } faults[] = {
        {8, [&] { deep->psnExit = nullptr; }},
        {10, [&] { currfuninfo->open_scope = root; }},
        {11, [&] { deep->psnEntry = at(5, 2); }},
        {12, [&] { deep->psnEntry = at(2); }},
        {13, [&] { deep->psnExit = at(7); }},
        {14, [&] { two->parent = one; }},
        {14, [&] { two->sibling = one; }},
        {15, [&] { two->depth = 2; }},
        {16, [&] { two->scope_id = 6; }},
        {17, [&] { two->scope_id = 3; }},
        {18, [&] { currfuninfo->scopeDepth = 3; }},
        {19, [&] { deep->funinfo = nullptr; }},
        {20, [&] { deep->funinfo = make_FUNINFO("other"); }},
        {21, [&] { object->scope = two; }},
        {22, [&] { object->type = tp->int_type(); }},
        {23, [&] { deep->arrays->next = mk_symlist(object, nullptr); }},
        {23, [&] { deep->arrays->next = deep->arrays; }},
        {24,
         [&] {
             root->others = mk_symlist(make("l", 1, tp->int_type()), nullptr),
             root->others->sym->level = 2;
         }},
        {25, [&] { object->level = 0; }},
        {26, [&] { object->level = 1; }},
    };
    int round = 0;
    for (const auto &fault : faults) {
        enter(("_f" + std::to_string(round++)).c_str());
        build();
        ASSERT_EQ(LS::validate(root), 0) << log();
        fault.spoil();
        EXPECT_EQ(LS::validate(root), 1) << "fault " << fault.number;
        const std::string text = log();
        EXPECT_THAT(text, HasSubstr(" in scope #"));
        EXPECT_THAT(text, HasSubstr(": #" + std::to_string(fault.number) + " - "));
    }
    enter("_last");
    build();
    deep->psnExit = nullptr;
    LS::validate(root);
    EXPECT_EQ(log(), "\n+++++ Scope warning in scope #4: #8 - Missing psnEntry or psnExit\n");
    EXPECT_EQ(LS::validate(nullptr), 0);
}

TEST_F(Scopes, DeepAndWideTrees) {
    lex = 1;
    root = open(1);
    open(1);
    outer = open(1);
    for (int i = 0; i < 10'000; ++i)
        open(1);
    for (int i = 0; i < 10'000; ++i)
        close(1);
    for (int i = 0; i < 50'000; ++i) {
        open(1);
        close(1);
    }
    for (int i = 0; i < 3; ++i)
        close(1);
    lex = 0;
    EXPECT_EQ(LS::validate(root), 0) << log();
    LS::print(root);
    EXPECT_LT(log().size(), 10'000'000u);
    LS *inner = outer->child->sibling;
    inner->integrate_integrable_scopes(LS::copy_scope_tree(root, nullptr), 1);
    EXPECT_EQ(LS::validate(root), 0) << log();
    EXPECT_EQ(currfuninfo->scopeDepth, 10'002u + 3u);
}

TEST_F(Scopes, Printed) {
    build();
    two->callsite = 5;
    LS::print(root);
    EXPECT_EQ(log(), R"(
Scopes of f(): scopeCount: 6, (max) scopeDepth: 4
SCOPE #0, level 0, at line 1, column 1 to line 9, column 1
  SCOPE #1, level 1, at line 1, column 1 to line 9, column 1
    others:  p level:1 sc:1 size:32 (aliased)
    SCOPE #2, level 2, at line 2, column 1 to line 9, column 1
      others:  x level:2 sc:1 size:32 (aliased)  y level:2 sc:1 size:32 (aliased)
      SCOPE #3, level 3, at line 3, column 1 to line 6, column 1
        SCOPE #4, level 4, at line 4, column 1 to line 5, column 1
          arrays:  o level:4 sc:1 size:96 (aliased)
      SCOPE #5, level 3, at line 7, column 1 to line 8, column 1, call site 5 of f()
)");
}
