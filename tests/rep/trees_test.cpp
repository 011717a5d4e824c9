// Making, copying and erasing trees and statement lists.
#include "OPT5/rep/node_pool.h"
#include "OPT5/rep/pragmas.h"
#include "OPT5/simulfp/simul_fval.h"
#include "tests/rep/tree_fixture.h"

#include <gmock/gmock.h>

#include <set>

using ::testing::ElementsAre;
using ::testing::ExitedWithCode;
using ::testing::HasSubstr;

namespace {
std::vector<NODE *> trees_of(const LIST *list) {
    std::vector<NODE *> trees;
    for (; list; list = list->rest)
        trees.push_back(list->first);
    return trees;
}

// Owners of dependence data and points-to environments, as seen by the hooks.
std::vector<const void *> freed;
void note_free(void *data) {
    freed.push_back(data);
}
void *clone_int(const void *data) {
    return const_cast<int *>(static_cast<const int *>(data)) + 1;
}
} // namespace

class Trees : public TreeTest {
protected:
    void SetUp() override {
        TreeTest::SetUp();
        freed.clear();
        char_p = tp->mk_ptr(tp->basic_int(TYPE::SCHAR));
    }
    void TearDown() override {
        TreeTest::TearDown();
        free_dd_hook = free_ptenv_hook = nullptr;
        copy_dd_hook = nullptr;
    }
    NODE *fcon(const char *text) {
        NODE *node = tree(OP::FCON, float_t);
        node->mk_fcon(text);
        return node;
    }
    NODE *scon(std::string_view bytes) {
        NODE *node = tree(OP::SCON, char_p);
        node->mk_scon(bytes);
        return node;
    }
    // A sum of `n` names that leans to the left.
    NODE *tower(int n) {
        NODE *sum = name(i);
        while (--n > 0)
            sum = tree(OP::PLUS, int_t, sum, name(i));
        return sum;
    }
    TYPE *char_p = nullptr;
};
using Constructors = Trees;
using Copies = Trees;
using Erasers = Trees;

TEST_F(Constructors, GeneralNodes) {
    NODE *left = name(i), *right = name(j);
    LS scope;
    const NODE *node = maketree(OP::PLUS, left, right, int_t, &scope);
    EXPECT_EQ(node->op, OP::PLUS);
    EXPECT_EQ(node->type, int_t);
    EXPECT_EQ(node->left, left);
    EXPECT_EQ(node->right, right);
    EXPECT_EQ(node->scope, &scope);
    EXPECT_EQ(node->depnum, 0);
    EXPECT_EQ(node->get_edge_profile_value(), ~0u);
    EXPECT_EQ(node->flags, 0);
    EXPECT_EQ(node->u.words[0] | node->u.words[1], 0u);
    EXPECT_EQ(find_node_ext(node), nullptr);
}

TEST_F(Constructors, CastsCarryNoQualifiers) {
    TYPE *qualified = tp->mk_qual(int_t, TQ_const | TQ_volatile);
    for (int op : {OP::SCONV, OP::PCONV, OP::ACONV})
        EXPECT_EQ(maketree(op, name(i), nullptr, qualified, nullptr)->type, int_t) << opname(op);
    EXPECT_EQ(maketree(OP::UMINUS, name(i), nullptr, qualified, nullptr)->type, qualified);
}

TEST_F(Constructors, IntegerPayloadsGoWhereTheOpcodeKeepsThem) {
    const auto make = [this](int op) {
        return mktree(op, nullptr, nullptr, int_t, nullptr, INT65(7));
    };
    EXPECT_EQ(make(OP::ICON)->icon_svalue(), 7);
    EXPECT_EQ(make(OP::LABEL)->label_id(), 7u);
    EXPECT_EQ(make(OP::LABELDEF)->label_id(), 7u);
    EXPECT_EQ(make(OP::SKIP)->skip_count(), 7u);
    EXPECT_EQ(make(OP::SWITCH)->case_count(), 7u);
    EXPECT_EQ(make(OP::CALL)->call_num_vargs(), 7u);
    EXPECT_EQ(make(OP::CALL)->eh_entry_id(), 0u);
    EXPECT_EQ(make(OP::ASM)->u.asm_.kind, 7u);
    const NODE *named = mktree(OP::NAME, nullptr, nullptr, int_t, i, INT65(7));
    EXPECT_EQ(named->u.name.sym, i);
    EXPECT_EXIT(make(OP::FCON), ExitedWithCode(1), "terminated abnormally");
    EXPECT_EXIT(mktree(OP::ICON, nullptr, nullptr, int_t, i, INT65(7)), ExitedWithCode(1),
                "terminated abnormally");
}

TEST_F(Constructors, Assignments) {
    LS scope;
    const struct {
        SYMTAB *target;
        int op;
    } cases[] = {{i, OP::ASG}, {p, OP::ASG}, {a, OP::ARASG}, {s, OP::STASG}, {v, OP::ASG}};
    for (const auto &c : cases) {
        NODE *target = mk_NAME(c.target, &scope), *source = name(c.target);
        const NODE *node = mk_ASG(target, source);
        EXPECT_EQ(node->op, c.op) << c.target->name;
        EXPECT_EQ(node->type, c.target->type);
        EXPECT_EQ(node->scope, &scope);
        EXPECT_EQ(node->left, target);
        EXPECT_EQ(node->right, source);
        EXPECT_EQ(node->u.stasg.csu, c.op == OP::STASG ? struct_t : nullptr);
    }
}

TEST_F(Constructors, OperandsThatMayBeMissing) {
    NODE *only = name(x);
    EXPECT_EQ(mk_COMMAOP(nullptr, only), only);
    const NODE *both = mk_COMMAOP(name(i), only);
    EXPECT_EQ(both->op, OP::COMMAOP);
    EXPECT_EQ(both->type, float_t);
    EXPECT_EQ(mk_MINUS(only, nullptr), only);
    const NODE *negated = mk_MINUS(nullptr, icon(1, short_t));
    EXPECT_EQ(negated->op, OP::UMINUS);
    EXPECT_EQ(negated->type, int_t) << "promoted";
    EXPECT_EQ(mk_MINUS(name(i), icon(1, short_t))->type, int_t);
    EXPECT_EQ(mk_MINUS(name(i), name(x))->type, float_t);
    EXPECT_EQ(mk_MINUS(name(p), name(q))->type, short_t);
    EXPECT_EQ(mk_EXCLAIM(name(x))->type, int_t);
}

TEST_F(Constructors, Intrinsics) {
    char text[] = "__f";
    NODE *args = name(i);
    const NODE *made[] = {mk_ICALL(text, args, int_t), mk_ICALL(text, nullptr, int_t),
                          mk_MCALL(text, name(i), int_t), mk_MCALL(text, nullptr, int_t)};
    text[2] = 'x';
    const int ops[] = {OP::ICALL, OP::UICALL, OP::MCALL, OP::UMCALL};
    for (int n = 0; n < 4; ++n) {
        EXPECT_EQ(made[n]->op, ops[n]);
        EXPECT_STREQ(made[n]->icall_name(), "__f") << "kept apart from the caller's text";
    }
    EXPECT_EQ(made[0]->left, args);
}

TEST_F(Constructors, ConstantsFitTheirType) {
    const struct {
        TYPE *type;
        INT65 value;
        TYPE *result;
        INT65 kept;
    } cases[] = {
        {int_t, INT65(-1), int_t, INT65(-1)},
        {int_t, INT65(0xffffffffu), int_t, INT65(-1)},
        {tp->uint_type(), INT65(-1), tp->uint_type(), INT65(0xffffffffu)},
        {short_t, INT65(0x18000), short_t, INT65(-0x8000)},
        {int_p, INT65(0x12345), short_t, INT65(0x2345)},
        {int_p, INT65(0x8000), short_t, INT65(-0x8000)},
    };
    for (const auto &c : cases) {
        const NODE *node = mk_ICON(c.value, c.type);
        EXPECT_EQ(node->op, OP::ICON);
        EXPECT_EQ(node->type, c.result);
        EXPECT_EQ(node->u.lval, c.kept);
    }
    EXPECT_EXIT(mk_ICON(INT65(1), float_t), ExitedWithCode(1), "terminated abnormally");
}

TEST_F(Constructors, Names) {
    LS own, given;
    i->scope = &own;
    EXPECT_EQ(mk_NAME(i, nullptr)->scope, &own);
    const NODE *node = mk_NAME(i, &given);
    EXPECT_EQ(node->scope, &given);
    EXPECT_EQ(node->u.name.sym, i);
    EXPECT_EQ(node->type, i->type);
    EXPECT_EQ(node->u.name.decl_type, i->type);
}

TEST_F(Constructors, LabelsAndJumps) {
    LS scope;
    LBL record;
    record.index = -12;
    const NODE *def = mk_LABELDEF(&record);
    EXPECT_EQ(def->op, OP::LABELDEF);
    EXPECT_EQ(def->u.label.lbl, &record);
    EXPECT_EQ(def->u.label.index, -12);
    record.index = 5;
    EXPECT_EQ(def->label_id(), 5u) << "the record is the truth";

    BBLK *bb = mkbblock(nullptr, nullptr, currfuninfo);
    const NODE *jump = mk_BRANCH(bb, &scope), *again = mk_LABELREF_to_bb(bb, nullptr);
    EXPECT_EQ(jump->op, OP::BRANCH);
    EXPECT_EQ(jump->scope, &scope);
    ASSERT_TRUE(bb->label);
    EXPECT_EQ(jump->left->u.label.lbl, bb->label);
    EXPECT_EQ(jump->left->u.label.index, 0);
    EXPECT_EQ(jump->left->get_edge_profile_value(), ~0u);
    EXPECT_EQ(again->u.label.lbl, bb->label) << "one label a block";

    const NODE *branch = mk_IF(name(i), 1, 10, 2, 20, &scope);
    EXPECT_EQ(branch->op, OP::IF);
    EXPECT_EQ(branch->right->op, OP::COMMA);
    const NODE *yes = branch->right->left, *no = branch->right->right;
    EXPECT_EQ(yes->label_id(), 1u);
    EXPECT_EQ(yes->get_edge_profile_value(), 10u);
    EXPECT_EQ(no->label_id(), 2u);
    EXPECT_EQ(no->get_edge_profile_value(), 20u);
    for (const NODE *node : {branch, static_cast<const NODE *>(branch->right), yes, no}) {
        EXPECT_EQ(node->scope, &scope);
        EXPECT_EQ(node->type, int_t);
    }
    EXPECT_EQ(branch->left->scope, nullptr) << "the condition keeps its own";
}

TEST_F(Constructors, Lists) {
    PSN *psn = mk_psn("f.c", 3, 4);
    NODE *one = icon(1), *two = icon(2), *three = icon(3);
    LIST *list = mkelist(two, mklist(three, nullptr, 5, 6), psn);
    EXPECT_EQ(list->psn, psn);
    EXPECT_EQ(list->a + list->b, 0);
    EXPECT_EQ(list->rest->psn, nullptr);
    EXPECT_EQ(list->rest->a, 5);
    EXPECT_EQ(list->rest->b, 6);
    EXPECT_EQ(append_node_to_list(one, list), list);
    EXPECT_THAT(trees_of(list), ElementsAre(two, three, one));
    EXPECT_THAT(trees_of(append_node_to_list(one, nullptr)), ElementsAre(one));
}

TEST_F(Copies, OneNode) {
    LS scope;
    NODE *source = mk_NAME(i, &scope);
    source->left = icon(1);
    source->flags |= NF_kept;
    source->mark = 9;
    source->depnum = 4;
    NODE_EXT *ext = node_ext(source);
    ext->probability = 0.25;
    ext->earlier_name = "old";
    ext->pass_word = 3;
    ext->marks[0] = ext->marks[1] = 9;
    ext->marks[0] = ext->marks[1] = 9;
    for (void *&word : ext->pass_words)
        word = source;
    ext->dd = ext->ptenv = source;
    ext->dd_tree = icon(2);

    NODE *copy = copy_node(source);
    EXPECT_EQ(copy->scope, nullptr);
    EXPECT_EQ(copy_node(source, true)->scope, &scope);
    EXPECT_EQ(copy->left, source->left) << "operands are not copied";
    EXPECT_EQ(copy->u.name.sym, i);
    EXPECT_EQ(copy->mark, 0);
    EXPECT_EQ(copy->depnum, 4);
    EXPECT_EQ(copy->flags, NF_kept | NF_has_ext);
    const NODE_EXT *own = find_node_ext(copy);
    ASSERT_TRUE(own);
    EXPECT_NE(own, find_node_ext(source));
    EXPECT_EQ(own->probability, 0.25);
    EXPECT_STREQ(own->earlier_name, "old");
    EXPECT_EQ(own->pass_word, 3);
    EXPECT_THAT(own->marks, ElementsAre(9, 9));
    EXPECT_EQ(own->marks[0], 9);
    EXPECT_EQ(own->marks[1], 9);
    EXPECT_THAT(own->pass_words, ElementsAre(nullptr, nullptr, nullptr));
    EXPECT_EQ(own->dd, nullptr);
    EXPECT_EQ(own->dd_tree, nullptr);
    EXPECT_EQ(own->ptenv, nullptr);
}

TEST_F(Copies, WhatIsKnownOfABranch) {
    NODE *source = mk_LABELREF(3, 77), *plain = copy_node(source);
    EXPECT_EQ(plain->get_edge_profile_value(), 77u);
    EXPECT_EQ(plain->branch_hint(), 0);
    for (int hint : {1, -1}) {
        source->set_branch_hint(hint);
        EXPECT_EQ(copy_node(source)->branch_hint(), hint);
    }
    EXPECT_EQ(find_node_ext(plain), nullptr) << "nothing is kept aside for it";
}

TEST_F(Copies, FloatingConstantsOwnTheirValue) {
    NODE *source = fcon("1.5"), *copy = copy_tree(source);
    ASSERT_NE(copy->u.fcon.value, source->u.fcon.value);
    EXPECT_TRUE(f_bit_eq(*copy->u.fcon.value, *source->u.fcon.value));
    copy = erase_tree(copy);
    NODE *other = fcon("2.5"); // may take the place of the copy
    EXPECT_STREQ(source->fcon_value(), "0x1.8p+0");
    EXPECT_STREQ(other->fcon_value(), "0x1.4p+1");
}

TEST_F(Copies, TextsAreSharedUnlessTheCopyOutlivesTheFunction) {
    NODE *text = scon(std::string_view("a\0b", 3)), *assembly = tree(OP::ASM, void_t);
    assembly->u.asm_ = {"nop", 36};
    EXPECT_EQ(copy_tree(text)->u.scon.text, text->u.scon.text);
    EXPECT_EQ(copy_tree(assembly)->u.asm_.text, assembly->u.asm_.text);
    const NODE *own = copy_tree_0(text, nullptr), *own_assembly = copy_tree_0(assembly, nullptr);
    EXPECT_NE(own->u.scon.text, text->u.scon.text);
    EXPECT_EQ(own->scon_value(), std::string_view("a\0b", 3));
    EXPECT_EQ(own->u.scon.text[3], '\0');
    EXPECT_NE(own_assembly->u.asm_.text, assembly->u.asm_.text);
    EXPECT_STREQ(own_assembly->u.asm_.text, "nop");
    EXPECT_EQ(own_assembly->u.asm_.kind, 36u);
}

TEST_F(Copies, SymbolsAreInternedForAFunction) {
    NODE *source = asg(name(i), name(g));
    const NODE *plain = copy_tree_0(source, nullptr), *interned = copy_tree_0(source, currfuninfo);
    EXPECT_EQ(plain->left->u.name.sym, i);
    EXPECT_EQ(interned->left->u.name.sym, intern_symbol(i, currfuninfo));
    EXPECT_NE(interned->left->u.name.sym, i);
    EXPECT_EQ(interned->right->u.name.sym, g) << "of file level";
}

TEST_F(Copies, PragmasAreDuplicated) {
    const std::string_view args[] = {"one", "two"};
    NODE *source = tree(OP::PPRAGMA, void_t);
    source->u.ppragma.pragma = mk_pragma(PRG_UNROLL, args, nullptr);
    const PRAGMA *copy = copy_tree(source)->u.ppragma.pragma;
    ASSERT_NE(copy, source->u.ppragma.pragma);
    EXPECT_EQ(copy->kind, PRG_UNROLL);
    ASSERT_EQ(copy->count, 2);
    EXPECT_STREQ(copy->args[1], "two");
    EXPECT_NE(copy->args[1], source->u.ppragma.pragma->args[1]);
}

TEST_F(Copies, DependenceDataIsClonedWhereItIsWanted) {
    copy_dd_hook = clone_int;
    int data[2] = {};
    NODE *reference = tree(OP::UMULT, int_t, name(p)),
         *wrapper = tree(OP::DDNODE, int_t, reference);
    for (NODE *node : {reference, wrapper}) {
        node_ext(node)->dd = data;
        node_ext(node)->dd_tree = icon(8);
    }
    const NODE *plain = copy_tree(wrapper), *with_data = copy_dd_tree(wrapper);
    EXPECT_EQ(find_node_ext(plain)->dd, data + 1);
    EXPECT_EQ(find_node_ext(plain)->dd_tree->icon_svalue(), 8);
    EXPECT_NE(find_node_ext(plain)->dd_tree, find_node_ext(wrapper)->dd_tree);
    EXPECT_EQ(find_node_ext(plain->left), nullptr);
    EXPECT_EQ(find_node_ext(with_data->left)->dd, data + 1);
    EXPECT_EQ(find_node_ext(with_data->left)->dd_tree->icon_svalue(), 8);
}

TEST_F(Copies, Trees) {
    EXPECT_EQ(copy_tree(nullptr), nullptr);
    EXPECT_EQ(copy_tree_0(nullptr, currfuninfo), nullptr);
    NODE *source = asg(name(i), tree(OP::QUEST, int_t, name(j), comma(icon(1), tower(3))));
    NODE *copy = copy_tree(source);
    EXPECT_STREQ(stmt2infix(copy), std::string(stmt2infix(source)).c_str());
    source = erase_tree(source);
    EXPECT_EQ(count_nodes_in_tree(copy), 11);
    EXPECT_TRUE(scan_for_sharing(copy));

    const NODE *shared = icon(1);
    NODE *mark = tree(OP::CSE_DUPE, int_t, name(i), const_cast<NODE *>(shared));
    EXPECT_EQ(copy_tree(mark)->right, shared) << "the value stays shared";
}

TEST_F(Copies, NodeIfChanged) {
    LS scope;
    NODE *left = name(i), *right = name(j), *other = icon(3);
    NODE *node = maketree(OP::PLUS, left, right, int_t, &scope);
    EXPECT_EQ(copy_node_if_changed(node, left, right), node);
    const NODE *changed = copy_node_if_changed(node, left, other);
    ASSERT_NE(changed, node);
    EXPECT_EQ(changed->left, left);
    EXPECT_EQ(changed->right, other);
    EXPECT_EQ(changed->scope, &scope);
    EXPECT_EQ(node->right, right);
}

TEST_F(Copies, Lists) {
    PSN *psn = mk_psn("f.c", 1, 1);
    LIST *list = mkelist(name(i), mklist(icon(4), nullptr, 7, 8), psn);
    EXPECT_EQ(copy_statements(nullptr), nullptr);
    const LIST *copy = copy_statements(list), *shared = copy_shared_statements(list);
    ASSERT_NE(copy, list);
    EXPECT_EQ(copy->psn, psn);
    EXPECT_NE(copy->first, list->first);
    EXPECT_EQ(copy->first->u.name.sym, i);
    EXPECT_EQ(copy->rest->a, 7);
    EXPECT_EQ(copy->rest->b, 8);
    EXPECT_EQ(copy->rest->first->icon_svalue(), 4);
    EXPECT_EQ(copy->rest->rest, nullptr);
    EXPECT_NE(shared, list);
    EXPECT_EQ(trees_of(shared), trees_of(list));
}

TEST_F(Erasers, AnErasedNodeReadsAsNone) {
    NODE *node = name(i);
    node = erase_tree(node);
    EXPECT_EQ(node, nullptr);
    EXPECT_EQ(erase_tree(nullptr), nullptr);
    NODE *sum = tree(OP::PLUS, int_t, name(i), name(j)), *left = sum->left, *right = sum->right;
    erase_node(sum);
    EXPECT_EQ(sum->op, OP::ILLOP);
    EXPECT_EQ(left->op, OP::NAME) << "operands are kept";
    erase_tree(tree(OP::PLUS, int_t, left, right));
    EXPECT_EQ(left->op, OP::ILLOP);
    EXPECT_EQ(right->op, OP::ILLOP);
}

TEST_F(Erasers, ErasingTwiceEndsTheRun) {
    print_debug = 0;
    NODE *node = name(i), *sum = tree(OP::PLUS, int_t, name(i), node);
    erase_tree(node);
    char message[100];
    std::snprintf(message, sizeof message, "COMPILER \\(OPTIMIZER\\) ERROR IN 'erase_node' %p !!!",
                  static_cast<void *>(node));
    EXPECT_EXIT(erase_tree(node), ExitedWithCode(1), message);
    EXPECT_EXIT(erase_node(node), ExitedWithCode(1), message);
    EXPECT_EXIT(erase_tree(sum), ExitedWithCode(1), message);
    EXPECT_EXIT(erase_dag(sum), ExitedWithCode(1), "terminated abnormally");
}

// A node reached by two ways, and one that is its own operand.
TEST_F(Erasers, SharedNodesEndTheRun) {
    print_debug = 0;
    NODE *shared = icon(1), *sum = tree(OP::PLUS, int_t, shared, shared);
    EXPECT_EXIT(erase_tree(sum), ExitedWithCode(1), "'erase_node'");
    NODE *loop = tree(OP::PLUS, int_t, icon(1), icon(2));
    loop->left = loop;
    EXPECT_EXIT(erase_tree(loop), ExitedWithCode(1), "'erase_node'");
}

TEST_F(Erasers, WhatANodeOwnsGoesWithIt) {
    free_dd_hook = free_ptenv_hook = note_free;
    int dd = 0, ptenv = 0;
    NODE *node = tree(OP::UMULT, int_t, name(p)), *data = icon(1);
    *node_ext(node) = {.dd = &dd, .dd_tree = data, .ptenv = &ptenv};
    node = erase_tree(node);
    EXPECT_THAT(freed, ElementsAre(&dd, &ptenv));
    EXPECT_EQ(data->op, OP::ILLOP);
    // The cell is used again, without what it had.
    for (int n = 0; n < 3; ++n)
        EXPECT_EQ(find_node_ext(name(i)), nullptr);
}

TEST_F(Erasers, MarkedDuplicatesDoNotOwnTheirValue) {
    NODE *value = name(i), *temp = name(j);
    NODE *first = tree(OP::CSE_ORIG, int_t, temp, value);
    NODE *second = tree(OP::CSE_DUPE, int_t, temp, value);
    second = erase_tree(second);
    EXPECT_EQ(value->op, OP::NAME);
    first = erase_tree(first);
    EXPECT_EQ(value->op, OP::ILLOP);
    EXPECT_EQ(temp->op, OP::ILLOP);
}

TEST_F(Erasers, Lists) {
    NODE *trees[] = {icon(0), icon(1), icon(2), icon(3)};
    const auto list_of_four = [&] {
        for (NODE *&node : trees)
            node = icon(0);
        return mkelist(trees[0],
                       mkelist(trees[1],
                               mkelist(trees[2], mkelist(trees[3], nullptr, nullptr), nullptr),
                               nullptr),
                       nullptr);
    };
    const auto alive = [&] {
        std::string text;
        for (const NODE *node : trees)
            text += node->op == OP::ICON ? '1' : '0';
        return text;
    };
    EXPECT_EQ(erase_tree_list(list_of_four()), nullptr);
    EXPECT_EQ(alive(), "0000");
    EXPECT_EQ(erase_tree_list(nullptr), nullptr);
    EXPECT_EQ(erase_tree_list_only(list_of_four()), nullptr);
    EXPECT_EQ(alive(), "1111");
    LIST *list = list_of_four(), *third = list->rest->rest;
    EXPECT_EQ(erase_tree_list_to_entry(list, third, 0), nullptr);
    EXPECT_EQ(alive(), "0011");
    EXPECT_THAT(trees_of(third), ElementsAre(trees[2], trees[3]));
    list = list_of_four();
    EXPECT_EQ(erase_tree_list_to_entry(list, list->rest->rest, 1), nullptr);
    EXPECT_EQ(alive(), "0111");
}

// Erasing and copying must not need stack in proportion to a left-leaning tree.
TEST_F(Erasers, TallTowers) {
    constexpr int height = 300000;
    NODE *source = tower(height), *copy = copy_tree(source);
    source = erase_tree(source);
    EXPECT_EQ(count_nodes_in_tree(copy), 2 * height - 1);
    EXPECT_TRUE(scan_for_sharing(copy));
    EXPECT_FALSE(tree_has_side_effects(copy));
    copy = erase_tree(copy);
}

// Cells are used again, however they are mixed, and never given out twice.
TEST_F(Trees, CellsAreReused) {
    const NODE *first = icon(1);
    erase_tree(const_cast<NODE *>(first));
    EXPECT_EQ(icon(2), first);
    std::vector<NODE *> alive;
    std::set<NODE *> all;
    unsigned random = 1;
    for (int n = 0; n < 20000; ++n) {
        random = random * 1664525 + 1013904223;
        if (alive.empty() || random >> 31) {
            alive.push_back(icon(n));
            EXPECT_TRUE(all.insert(alive.back()).second);
        } else {
            std::swap(alive[(random >> 8) % alive.size()], alive.back());
            all.erase(alive.back());
            erase_tree(alive.back());
            alive.pop_back();
        }
    }
    for (NODE *node : alive)
        EXPECT_EQ(node->op, OP::ICON);
    erase_all_nodes();
    EXPECT_EQ(icon(5)->icon_svalue(), 5);
}

TEST_F(Trees, NamesAreKeptOnce) {
    const char *kept = node_name("abc");
    EXPECT_EQ(node_name(std::string("xabcx").substr(1, 3)), kept);
    EXPECT_NE(node_name("abcd"), kept);
    EXPECT_STREQ(node_name(""), "");
}
