// What the tests of the flow graph share: functions as terse statement lists, graphs as text.
#pragma once

#include "OPT5/driver/abort.h"
#include "tests/rep/tree_fixture.h"

#include <string>
#include <vector>

class CfgTest : public TreeTest {
protected:
    using STATEMENTS = std::vector<NODE *>;

    void SetUp() override {
        TreeTest::SetUp();
        currfuninfo->return_type = int_t;
    }
    void TearDown() override {
        clear_points_to_hook = refresh_profile_hook = nullptr;
        erase_function_body(currfuninfo);
        erase_all_bblocks();
        TreeTest::TearDown();
    }

    // --- statements
    NODE *set(SYMTAB *target, int value) { return asg(name(target), icon(value)); }
    NODE *def(int number) { // gets its label from put()
        NODE *node = tree(OP::LABELDEF, int_t);
        node->u.label.index = number;
        return node;
    }
    NODE *jump(int number) { return tree(OP::BRANCH, int_t, label(number)); }
    NODE *unless(SYMTAB *condition, int number) { // jumps when it is zero
        return tree(OP::CBRANCH, int_t, name(condition), label(number));
    }
    NODE *case_(int value, int number) { return tree(OP::CASE, int_t, icon(value), label(number)); }
    NODE *default_(int number) { return tree(OP::DEFAULT, int_t, label(number)); }
    NODE *switch_(SYMTAB *value, const STATEMENTS &cases) {
        NODE *list = nullptr;
        for (NODE *one : cases)
            list = list ? comma(list, one) : one;
        return tree(OP::SWITCH, int_t, name(value), list);
    }
    NODE *leave() { return tree(OP::URETURN, void_t, name(currfunc)); }
    NODE *ret(NODE *value) { return tree(OP::RETURN, int_t, name(currfunc), value); }
    NODE *pragma() {
        NODE *node = tree(OP::PPRAGMA, void_t);
        node->u.ppragma.pragma = new_pragma();
        return node;
    }
    NODE *assembly(const char *text, unsigned kind) {
        NODE *node = tree(OP::ASM, void_t);
        node->u.asm_ = {text, kind};
        return node;
    }

    // Makes the graph of these statements; the n-th stands in line n.
    void build(const STATEMENTS &statements) {
        erase_function_body(currfuninfo);
        put(statements);
        buildcfg();
    }
    static void put(const STATEMENTS &statements) {
        std::uint32_t line = 0;
        for (NODE *stmt : statements) {
            if (stmt->op == OP::LABELDEF)
                stmt->u.label.lbl = mklabel(stmt->u.label.index, nullptr, nullptr);
            currfuninfo->pending = mkelist(stmt, currfuninfo->pending, mk_psn("f.c", ++line, 1));
        }
    }

    // --- the graph as text
    static std::string target(NODE *label) { return std::to_string(label_block(label)->dfn); }
    static std::string text(NODE *stmt) {
        switch (stmt->op) {
        case OP::BRANCH: return "goto " + target(stmt->left);
        case OP::URETURN: return "leave";
        case OP::RETURN: return "return " + infix(stmt->right);
        case OP::IF:
            return "if " + infix(stmt->left) + " " + target(stmt->right->left) + " else " +
                   target(stmt->right->right);
        case OP::SWITCH: {
            std::string list;
            NODE *cases = stmt->right;
            for (; cases->op == OP::COMMA; cases = cases->left)
                list = " " + case_text(cases->right) + list;
            return "switch " + infix(stmt->left) + " " + case_text(cases) + list;
        }
        case OP::PPRAGMA: return "pragma";
        case OP::ASM: return stmt->u.asm_.kind == 47 ? "comment" : "assembly";
        default: return infix(stmt);
        }
    }
    static std::string case_text(NODE *one) {
        if (one->op == OP::DEFAULT) return "*:" + target(one->left);
        return infix(one->left) + ":" + target(one->right);
    }
    static std::string infix(const NODE *tree) { return stmt2infix(tree); }
    static std::string numbers(const EDGE *edges) {
        std::string list;
        for (; edges; edges = edges->next)
            list += (list.empty() ? "" : " ") + std::to_string(edges->bb->dfn);
        return list;
    }
    // One line a block: its number, predecessors, statements.
    static std::string graph() {
        std::string lines;
        for (const BBLK *bb = currfuninfo->bb_list; bb; bb = bb->dflink) {
            lines += std::to_string(bb->dfn) + " (" + numbers(bb->predecessors) + "): ";
            for (const LIST *cell = bb->statements; cell; cell = cell->rest)
                lines += text(cell->first) + (cell->rest ? "; " : "\n");
        }
        return lines;
    }
    static BBLK *block(int dfn) {
        for (BBLK *bb = currfuninfo->bb_list; bb; bb = bb->dflink)
            if (bb->dfn == dfn) return bb;
        ADD_FAILURE() << "no block " << dfn;
        abort_optimizer();
    }
    // Links, numbers and edges must fit together, whatever the graph.
    static void expect_sound() {
        int count = 0;
        const BBLK *before = nullptr;
        std::size_t created = 0;
        for (BBLK *bb = currfuninfo->bb_list; bb; before = bb, bb = bb->dflink) {
            EXPECT_EQ(bb->dfn, ++count);
            EXPECT_EQ(bb->rdflink, before);
            ASSERT_LT(bb->serial, currfuninfo->blocks.size());
            EXPECT_EQ(currfuninfo->blocks[bb->serial], bb);
            for (const EDGE *edge = bb->successors; edge; edge = edge->next)
                EXPECT_TRUE(edge_memberp(bb, edge->bb->predecessors));
            for (const EDGE *edge = bb->predecessors; edge; edge = edge->next)
                EXPECT_TRUE(edge_memberp(bb, edge->bb->successors));
            EDGE *targets = list_branch_targets(last_statement(bb), nullptr);
            EXPECT_EQ(numbers(targets), numbers(bb->successors));
            erase_edge_list(targets);
        }
        EXPECT_EQ(currfuninfo->bb_count, count);
        for (const BBLK *bb = currfuninfo->bb_list; bb; bb = bb->uolink) {
            EXPECT_EQ(bb->uon, static_cast<int>(++created));
            EXPECT_TRUE(!bb->uolink || bb->uolink->ruolink == bb);
        }
        EXPECT_EQ(created, currfuninfo->blocks.size());
        EXPECT_EQ(static_cast<std::size_t>(count), created);
    }

private:
    static PRAGMA *new_pragma() {
        static PRAGMA record;
        record.kind = PRG_MUST_ITERATE;
        return &record;
    }
};
