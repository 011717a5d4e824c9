// What the tests of tree printers and validators share: one function whose blocks are lists of
// trees, with types and symbols to make them of.
#pragma once

#include "OPT5/rep/bblk.h"
#include "tests/rep/symbol_fixture.h"

#include <initializer_list>

class TreeTest : public SymbolTest {
protected:
    void SetUp() override {
        SymbolTest::SetUp();
        erase_all_nodes();
        int_t = tp->int_type();
        short_t = tp->short_type();
        void_t = tp->void_type();
        float_t = tp->basic_float(TYPE::FLOAT);
        int_p = tp->mk_ptr(int_t);
        vec_t = tp->mk_vector(int_t, 2, 2 * int_t->size(), int_t->align());
        fvec_t = tp->mk_vector(float_t, 2, 2 * float_t->size(), float_t->align());
        array_t = tp->mk_array(int_t, 4);
        struct_t = tp->mk_struct("s", 64, 32, true);
        fkMDATA first;
        first.index = 1;
        first.name = "f";
        first.type = int_t;
        member = tp->append_mdata(struct_t, first);
        struct_t = tp->type_frozen(struct_t);
        struct_p = tp->mk_ptr(struct_t);
        TYPE *open = tp->mk_func(int_t, true, true, 0, false);
        tp->append_param(open, int_t, 0, "n");
        variadic_t = tp->type_frozen(open);
        i = local("i", int_t);
        j = local("j", int_t);
        p = local("p", int_p);
        q = local("q", int_p);
        x = local("x", float_t);
        s = local("s", struct_t);
        sp = local("sp", struct_p);
        a = local("a", array_t);
        v = local("v", vec_t);
        fv = local("fv", fvec_t);
        vol = local("vol", tp->mk_qual(int_t, TQ_volatile));
        parm = level("n", int_t, 1);
        body_parm = level("n", int_t, 2);
        g = global("_g", 2, function_type);
        va = global("_va", 5, variadic_t);
    }
    void TearDown() override {
        erase_all_nodes();
        SymbolTest::TearDown();
    }

    static SYMTAB *level(const char *name, TYPE *type, int lexical) {
        SYMTAB *sym = make(name, lexical == 1 ? 9 : 1, type);
        sym->level = static_cast<std::uint8_t>(lexical);
        return sym;
    }
    static SYMTAB *local(const char *name, TYPE *type) { return level(name, type, 2); }

    static NODE *tree(int op, TYPE *type, NODE *left = nullptr, NODE *right = nullptr) {
        NODE *node = new_node(op, type);
        node->left = left;
        node->right = right;
        return node;
    }
    static NODE *name(SYMTAB *sym) { return mk_NAME(sym, nullptr); }
    NODE *icon(int value, TYPE *type = nullptr) {
        NODE *node = tree(OP::ICON, type ? type : int_t);
        node->u.lval = INT65(value);
        return node;
    }
    NODE *label(int number) { return mk_LABELREF(number, ~0u); }
    NODE *asg(NODE *target, NODE *source) { return tree(OP::ASG, target->type, target, source); }
    NODE *comma(NODE *left, NODE *right, int op = OP::COMMA) {
        return tree(op, int_t, left, right);
    }
    NODE *address(NODE *lvalue) { return tree(OP::UAND, tp->mk_ptr(lvalue->type), lvalue); }
    NODE *field() {
        NODE *node = tree(OP::FIELD, int_t);
        node->u.field = {struct_t, member};
        return node;
    }
    // A call of a named function with its arguments, first to last.
    NODE *call(SYMTAB *callee, std::initializer_list<NODE *> args, unsigned extra = 0,
               unsigned eht_id = 0) {
        NODE *list = nullptr;
        for (NODE *arg : args)
            list = list ? comma(list, arg) : arg;
        NODE *node = tree(list ? OP::CALL : OP::UCALL, int_t, address(name(callee)), list);
        node->mk_call(extra, eht_id);
        return node;
    }

    TYPE *int_t, *short_t, *void_t, *float_t, *int_p, *vec_t, *fvec_t, *array_t, *struct_t,
        *struct_p, *variadic_t;
    fkMDATA *member;
    SYMTAB *i, *j, *p, *q, *x, *s, *sp, *a, *v, *fv, *vol, *parm, *body_parm, *g, *va;
};
