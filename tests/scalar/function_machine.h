// What the tests of the scalar optimizer's passes share: functions of a few variables, run before
// and after a pass.
#pragma once

#include "OPT5/icode/if.h"
#include "OPT5/scalar/alias.h"
#include "OPT5/scalar/scalar.h"
#include "OPT5/scalar/snmap.h"
#include "tests/rep/cfg_fixture.h"
#include "tests/simp/tree_machine.h"

#include <regex>

class ScalarPassTest : public CfgTest {
protected:
    void SetUp() override {
        CfgTest::SetUp();
        fileinfo->statics_are_marked = false;
        fileinfo->pass_number = 1;
        fileinfo->funinfo = make_FUNINFO(" ? ");
        k = local("k", int_t);
        w = local("w", short_t);
        const_int = tp->mk_qual(int_t, TQ_const);
        G = file_variable("_G", 2, int_t);
        H = file_variable("_H", 2, int_t);
        T = file_variable("_T", 2, array_t);
        for (SYMTAB *sym : {parm, body_parm, i, j, k, w, p, q, s, sp, a, vol})
            enter(sym);
        build({leave()});
    }
    void TearDown() override {
        erase_symbol_maps(currfuninfo);
        clean_up_alias_analysis_bitvecs_etc();
        reset_alias_info();
        delete[] currfuninfo->eht;
        currfuninfo->eht = nullptr;
        currfuninfo->eht_size = 0;
        CfgTest::TearDown();
    }

    static void enter(SYMTAB *sym) {
        sym->next = currfuninfo->symbols;
        currfuninfo->symbols = sym;
    }
    static bool is_listed(const SYMTAB *sym) {
        for (const SYMTAB *one = currfuninfo->symbols; one; one = one->next)
            if (one == sym) return true;
        return false;
    }
    static SYMTAB *file_variable(const char *text, int sc, TYPE *type) {
        SYMTAB *sym = make(text, sc, type);
        sym_def(sym);
        return sym;
    }
    // A constant of the file with these contents.
    SYMTAB *constant(const char *text, TYPE *type, const STATEMENTS &contents) {
        SYMTAB *sym = file_variable(text, 3, tp->mk_qual(type, TQ_const));
        sym->init = new EXPR_LIST{contents};
        return sym;
    }

    NODE *op(int code, NODE *left, NODE *right = nullptr) {
        return tree(code, left->type, left, right);
    }
    NODE *plus(NODE *left, NODE *right) { return op(OP::PLUS, left, right); }
    NODE *plus(SYMTAB *left, int right) { return op(OP::PLUS, name(left), icon(right)); }
    NODE *set_to(SYMTAB *target, NODE *value) { return asg(name(target), value); }
    NODE *copy(SYMTAB *target, SYMTAB *source) { return asg(name(target), name(source)); }
    NODE *at(SYMTAB *pointer) { return tree(OP::UMULT, int_t, name(pointer)); }
    NODE *element(SYMTAB *array, NODE *index) {
        NODE *start = tree(OP::PCONV, int_p, address(name(array)));
        NODE *distance = tree(OP::PMCONV, int_t, index, icon(32));
        return tree(OP::UMULT, int_t, tree(OP::PLUS, int_p, start, distance));
    }
    NODE *dot(SYMTAB *object) { return tree(OP::STDOT, int_t, name(object), field()); }
    NODE *print(NODE *value) { return call(g, {value}); }
    NODE *print(SYMTAB *sym) { return print(name(sym)); }
    NODE *unless_tree(NODE *condition, int number) {
        return tree(OP::CBRANCH, int_t, condition, label(number));
    }
    NODE *prolog() { return copy(body_parm, parm); }

    // What the current function does when it is run: its calls, its result, the globals at the end.
    std::string run() {
        TREE_MACHINE machine;
        for (const SYMTAB *sym : {parm, body_parm, i, j, k, w, p, q, s, sp, a, vol, G, H, T})
            machine.address_of(sym);
        machine.set(parm, 7);
        for (const SYMTAB *sym : {i, j, k, G, H})
            machine.set(sym, 1000 + sym->serial);
        std::string end = "runs on";
        const BBLK *bb = currfuninfo->bb_list;
        for (int steps = 0; bb && steps < 400; ++steps) {
            const BBLK *next = nullptr;
            for (const LIST *cell = bb->statements; cell; cell = cell->rest) {
                NODE *stmt = cell->first;
                switch (stmt->op) {
                case OP::PCOMMA:
                case OP::PPRAGMA: break;
                case OP::BRANCH: next = label_block(stmt->left); break;
                case OP::IF:
                    next = label_block(machine.value(stmt->left) ? stmt->right->left
                                                                 : stmt->right->right);
                    break;
                case OP::RETURN: end = std::to_string(machine.value(stmt->right)); break;
                case OP::URETURN: end = "leaves"; break;
                default: machine.value(stmt);
                }
            }
            bb = bb->is_exit ? nullptr : next;
        }
        if (end == "runs on") return end;
        for (SYMTAB *sym : {G, H})
            end += " " + std::to_string(machine.value(name(sym)));
        for (int n = 0; n < 4; ++n)
            end += " " + std::to_string(machine.value(element(T, icon(n))));
        return machine.trapped ? "trapped" : machine.trace + end;
    }
    void expect_valid() {
        expect_sound();
        EXPECT_EQ(validate_cfg(), 0);
        EXPECT_EQ(validate_stmts(), 0) << log();
    }
    // The graph that the pass makes of the statements; the function must still do the same.
    template <class Pass> std::string after(const STATEMENTS &statements, Pass pass) {
        for (SYMTAB *sym : {parm, body_parm, i, j, k, w, p, q, s, sp, a, vol})
            if (!is_listed(sym)) enter(sym); // earlier passes drop what they do not meet
        build(statements);
        simpcfg(false, false);
        const std::string before = run();
        pass();
        expect_valid();
        EXPECT_EQ(run(), before) << graph();
        return code();
    }
    // The graph without the seams of straight lines.
    static std::string code() {
        static const std::regex seam("goto (\\d+)\n\\1 \\(\\d+\\): "),
            unreached("\n\\d+ \\(\\): leave\n");
        const std::string joined = std::regex_replace(graph(), seam, "");
        return std::regex_replace(joined, unreached, "\n");
    }

    TYPE *const_int = nullptr;
    SYMTAB *k = nullptr, *w = nullptr, *G = nullptr, *H = nullptr, *T = nullptr;
};
