#include "OPT5/driver/global_flags.h"
#include "OPT5/driver/log.h"
#include "OPT5/scalar/alias.h"
#include "OPT5/scalar/scalar.h"
#include "tests/rep/cfg_fixture.h"

#include <gmock/gmock.h>

#include <functional>

namespace {
using ::testing::HasSubstr;

class AliasTest : public CfgTest {
protected:
    void SetUp() override {
        CfgTest::SetUp();
        fileinfo->statics_are_marked = false;
        fileinfo->pass_number = 1;
        char_p = tp->mk_ptr(short_t);
        float_p = tp->mk_ptr(float_t);
        pair_t = csu("pair", false);
        either_t = csu("either", true);
        holder_t = tp->mk_struct("holder", 192, 32, true);
        add_member(holder_t, 1, "u", either_t, 0, 0);
        add_member(holder_t, 2, "lo", int_t, 64, 5);
        add_member(holder_t, 3, "hi", int_t, 69, 7);
        add_member(holder_t, 4, "arr", tp->mk_array(int_t, 2), 96, 0);
        add_member(holder_t, 5, "last", int_t, 160, 0);
        holder_t = tp->type_frozen(holder_t);
        const auto parameter = [this](const char *text, TYPE *type) {
            SYMTAB *as_passed = level(text, type, 1), *variable = level(text, type, 2);
            enter(as_passed), enter(variable);
            NODE *copy = asg(name(variable), name(as_passed));
            prolog = prolog ? comma(prolog, copy, OP::PCOMMA) : copy;
            return variable;
        };
        p1 = parameter("p1", int_p);
        p2 = parameter("p2", int_p);
        r1 = parameter("r1", tp->mk_qual(int_p, TQ_restrict));
        moved = parameter("moved", int_p);
        for (SYMTAB *sym : {i, j, p, q, x, s, sp, a, v, vol})
            enter(sym);
        h = local("h", holder_t), enter(h);
        h2 = local("h2", holder_t), enter(h2);
        hp = local("hp", tp->mk_ptr(holder_t)), enter(hp);
        fp = local("fp", float_p), enter(fp);
        cp = local("cp", char_p), enter(cp);
        b = local("b", array_t), enter(b);
        taken = local("taken", int_t), enter(taken);
        G = file_variable("_G", 2, int_t);
        F = file_variable("_F", 2, float_t);
        S = file_variable("_S", 3, int_t);
        T = file_variable("_T", 3, int_t);
        // The address of `b` is followed, that of `taken` and T goes away; S's is never asked for.
        analyze({prolog, asg(at(b, i), icon(1)), asg(name(p), address(name(taken))),
                 asg(name(q), address(name(T))), asg(name(moved), add(moved, 1)),
                 asg(name(S), icon(1)), leave()});
    }
    void TearDown() override {
        clean_up_alias_analysis_bitvecs_etc();
        reset_alias_info();
        CfgTest::TearDown();
    }
    void analyze(const STATEMENTS &statements) {
        build(statements);
        init_aliasing_info();
    }
    static void enter(SYMTAB *sym) {
        sym->next = currfuninfo->symbols;
        currfuninfo->symbols = sym;
    }
    static SYMTAB *file_variable(const char *text, int sc, TYPE *type) {
        SYMTAB *sym = make(text, sc, type);
        sym_def(sym);
        return sym;
    }
    static void add_member(TYPE *&type, unsigned n, const char *text, TYPE *of, int offset,
                           unsigned width) {
        fkMDATA one;
        one.index = n, one.name = text, one.type = of, one.offset = offset, one.width = width;
        one.is_bitfield = width != 0;
        tp->append_mdata(type, one);
    }
    TYPE *csu(const char *text, bool is_union) {
        TYPE *type =
            is_union ? tp->mk_union(text, 32, 32, true) : tp->mk_struct(text, 64, 32, true);
        add_member(type, 1, "n", int_t, 0, 0);
        add_member(type, 2, "f", float_t, is_union ? 0 : 32, 0);
        return tp->type_frozen(type);
    }
    NODE *dot(NODE *object, const char *text) {
        for (fkMDATA *one = object->type->get_csu()->mdata; one; one = one->next) {
            if (std::string(one->name) != text) continue;
            NODE *which = tree(OP::FIELD, one->type);
            which->u.field = {object->type->stds(), one};
            return tree(OP::STDOT, one->type, object, which);
        }
        ADD_FAILURE() << text;
        abort_optimizer();
    }
    NODE *arrow(SYMTAB *pointer, const char *text) {
        return dot(tree(OP::UMULT, pointer->type->type_pointed_to(), name(pointer)), text);
    }
    NODE *add(SYMTAB *pointer, int units) {
        return tree(OP::PLUS, pointer->type, name(pointer), icon(units, short_t));
    }
    NODE *deref(NODE *pointer) {
        return tree(OP::UMULT, pointer->type->type_pointed_to(), pointer);
    }
    NODE *deref(SYMTAB *pointer) { return deref(name(pointer)); }
    NODE *decay(NODE *array) {
        return tree(OP::PCONV, tp->mk_ptr(array->type->elem_type()), address(array));
    }
    NODE *at(NODE *array, NODE *units) {
        NODE *start = decay(array);
        return deref(tree(OP::PLUS, start->type, start, units));
    }
    NODE *at(SYMTAB *array, SYMTAB *index) {
        return at(name(array), tree(OP::PMCONV, short_t, name(index), icon(32)));
    }
    NODE *at(SYMTAB *array, int units) { return at(name(array), icon(units, short_t)); }
    NODE *cast(TYPE *type, NODE *pointer) { return tree(OP::PCONV, type, pointer); }
    NODE *text() {
        NODE *node = tree(OP::SCON, char_p);
        node->mk_scon("text");
        return node;
    }
    static std::uint32_t &flags_of(const char *function) { return make_FUNINFO(function)->flags; }

    TYPE *char_p, *float_p, *pair_t, *either_t, *holder_t;
    NODE *prolog = nullptr;
    SYMTAB *p1, *p2, *r1, *moved, *h, *h2, *hp, *fp, *cp, *b, *taken, *G, *F, *S, *T;
};

TEST_F(AliasTest, AnswersForPairsOfLvalues) {
    SYMTAB *late = local("late", int_p);
    const auto yes = [](NODE *one, NODE *other) {
        EXPECT_TRUE(lvalues_may_be_aliased(one, other, nullptr))
            << infix(one) << " : " << infix(other);
        EXPECT_TRUE(lvalues_may_be_aliased(other, one, nullptr))
            << infix(other) << " : " << infix(one);
    };
    const auto no = [](NODE *one, NODE *other) {
        EXPECT_FALSE(lvalues_may_be_aliased(one, other, nullptr))
            << infix(one) << " : " << infix(other);
        EXPECT_FALSE(lvalues_may_be_aliased(other, one, nullptr))
            << infix(other) << " : " << infix(one);
    };
    // variables
    yes(name(i), name(i));
    no(name(i), name(j));
    no(name(G), name(S));
    no(name(i), deref(p)); // its address is never taken
    yes(name(taken), deref(p));
    yes(name(G), deref(p));
    no(name(taken), deref(p1)); // older than any variable of this call
    yes(name(G), deref(p1));
    yes(name(taken), deref(moved));
    yes(name(T), deref(p));
    no(name(S), deref(p)); // nowhere in the file
    yes(deref(cast(int_p, address(name(i)))), name(i));
    // arrays
    yes(at(a, 2), at(a, 2));
    no(at(a, 2), at(a, 4));
    yes(at(a, 2), at(a, 3)); // two units each
    no(at(a, 2), deref(cast(char_p, tree(OP::PLUS, int_p, decay(name(a)), icon(4, short_t)))));
    yes(at(a, 2), at(a, i));
    yes(at(a, i), name(a));
    no(at(a, i), at(b, i));
    no(at(b, i), deref(p)); // followed, but held by no pointer
    yes(at(b, i), deref(late));
    no(at(b, i), deref(p1));
    // members
    no(dot(name(h), "lo"), dot(name(h), "hi"));
    no(dot(name(h), "arr"), dot(name(h), "last"));
    yes(dot(name(h), "arr"), name(h));
    no(dot(name(h), "lo"), dot(name(h2), "lo"));
    yes(dot(dot(name(h), "u"), "n"), dot(dot(name(h), "u"), "f"));
    no(dot(dot(name(h), "u"), "n"), dot(name(h), "lo"));
    no(at(dot(name(h), "arr"), name(i)), dot(name(h), "last"));
    yes(at(dot(name(h), "arr"), name(i)), at(dot(name(h), "arr"), icon(2, short_t)));
    yes(dot(dot(name(h), "u"), "f"), deref(cast(int_p, address(name(h)))));
    no(dot(name(h), "lo"), deref(cast(int_p, address(name(h)))));
    yes(arrow(hp, "lo"), arrow(hp, "hi")); // hp may change between the two
    // parameters
    no(deref(p1), deref(add(p1, 2)));
    yes(deref(p1), deref(add(p1, 1)));
    yes(deref(p1), deref(p2));
    no(deref(r1), deref(p2));
    no(deref(r1), name(G));
    no(deref(r1), deref(p)); // leads to `taken` alone
    yes(deref(moved), deref(add(moved, 2)));
    // texts
    no(deref(text()), name(G));
    yes(deref(text()), deref(cp));
    // types: of variables, but not of memory that may change its type
    no(name(F), deref(p));
    yes(name(F), deref(fp));
    yes(name(F), deref(cp)); // the chars
    yes(deref(fp), deref(p));
    EXPECT_FALSE(store_may_reach_load(deref(fp), deref(p), nullptr));
    EXPECT_TRUE(store_may_reach_load(deref(fp), deref(cast(int_p, name(fp))), nullptr));
    EXPECT_TRUE(store_may_reach_load(deref(fp), dot(arrow(hp, "u"), "n"), nullptr));
    chars_alias_other_types = 0;
    reset_alias_info();
    init_aliasing_info();
    no(name(F), deref(cp));
    reset_global_flags();
    // a choice of two variables may be either
    yes(name(h),
        dot(tree(OP::QUEST, holder_t, name(i), tree(OP::COLON, holder_t, name(h), name(h2))),
            "lo"));
    alias_vars = 1; // pointers may lead anywhere that is no register
    yes(at(b, i), deref(p));
    no(name(i), deref(p));
    reset_global_flags();
    EXPECT_TRUE(lvalues_may_be_aliased_for_SIMD(at(a, 2), at(a, 8), nullptr));
    EXPECT_FALSE(lvalues_may_be_aliased_for_SIMD(at(a, 2), at(b, 2), nullptr));
    EXPECT_FALSE(UMULT_PT_targets_may_overlap(name(G), name(S)));
}

// What is reached through a restrict pointer of the whole call is reached through nothing that no
// value of its has come to.
TEST_F(AliasTest, RestrictPointersAreApartFromWhatIsNotBasedOnThem) {
    TYPE *int_r = tp->mk_qual(int_p, TQ_restrict), *int_pp = tp->mk_ptr(int_p);
    prolog = copy_tree(prolog); // the one that there is goes with the body
    LS outermost, inner;
    outermost.depth = 2, inner.depth = 3;
    const auto variable = [&](const char *text, TYPE *type, LS *scope) {
        SYMTAB *sym = local(text, type);
        sym->scope = scope;
        enter(sym);
        return sym;
    };
    const auto parameter = [&](const char *text, TYPE *type) {
        SYMTAB *as_passed = level(text, type, 1), *sym = variable(text, type, nullptr);
        prolog = comma(prolog, asg(name(sym), name(as_passed)), OP::PCOMMA);
        return sym;
    };
    SYMTAB *r2 = parameter("r2", int_r), *walker = parameter("walker", int_r);
    SYMTAB *reset = parameter("reset", int_r), *kept = parameter("kept", int_r);
    SYMTAB *told = parameter("told", int_r), *counted = parameter("counted", int_r);
    SYMTAB *pp = parameter("pp", int_pp);
    SYMTAB *of_r1 = variable("of_r1", int_p, nullptr), *either = variable("either", int_p, nullptr);
    SYMTAB *loaded = variable("loaded", int_p, nullptr), *given = variable("given", int_p, nullptr);
    SYMTAB *made = variable("made", int_p, nullptr), *unused = variable("unused", int_p, nullptr);
    SYMTAB *lr = variable("lr", int_r, &outermost), *deep = variable("deep", int_r, &inner);
    SYMTAB *held = variable("held", int_t, nullptr), *K = file_variable("_K", 2, int_p);
    NODE *const chosen =
        tree(OP::QUEST, int_p, name(i), tree(OP::COLON, int_p, name(r2), name(p2)));
    NODE *const again = copy_tree(prolog);
    analyze({prolog, asg(name(of_r1), add(r1, 2)), asg(name(either), chosen),
             tree(OP::PLUSPLUS, int_r, name(walker), icon(2)), asg(name(walker), add(walker, 4)),
             asg(name(reset), name(p2)), asg(name(K), name(kept)), call(g, {name(told)}),
             asg(name(i), tree(OP::PCONV, int_t, name(counted))),
             asg(name(made), tree(OP::PCONV, int_p, name(i))), asg(name(loaded), deref(pp)),
             asg(name(given), call(g, {})), asg(name(lr), name(p1)), asg(name(deep), name(p)),
             asg(name(p), address(name(held))), leave()});
    const struct {
        const char *why;
        NODE *one, *other;
        bool may;
    } rows[] = {
        {"two of them", deref(r1), deref(r2), false},
        {"a pointer made of it", deref(r1), deref(of_r1), true},
        {"made of another one", deref(r2), deref(of_r1), false},
        {"one of two", deref(r2), deref(either), true},
        {"what it was chosen from may be something else", deref(p2), deref(either), true},
        {"it moves", deref(walker), deref(p2), false},
        {"it moves, and itself", deref(walker), deref(add(walker, 2)), true},
        {"it moves while it is used", deref(tree(OP::PLUSPLUS, int_r, name(walker), icon(2))),
         deref(r1), false},
        {"it gets another's value", deref(reset), deref(r1), false}, // by r1
        {"it gets another's value", deref(reset), deref(p2), true},
        {"it gets another's value", deref(reset), deref(moved), true},
        {"memory holds it", deref(kept), deref(loaded), true},
        {"memory holds it", deref(kept), deref(K), true},
        {"memory holds it", deref(kept), deref(deref(pp)), true},
        {"memory does not hold it", deref(r1), deref(loaded), false},
        {"memory does not hold it", deref(r1), deref(deref(pp)), false},
        {"memory holds it, not the parameter", deref(kept), deref(p1), false},
        {"a callee knows it", deref(told), deref(given), true},
        {"no callee knows it", deref(r1), deref(given), false},
        {"a number was made of it", deref(counted), deref(made), true},
        {"no number was made of it", deref(r1), deref(made), false},
        {"a variable by name", deref(walker), name(G), false},
        {"a variable of which it has no address", deref(walker), name(held), false},
        {"variables of the outermost block", deref(lr), deref(r1), false},
        {"variables of the outermost block", deref(lr), deref(p2), false},
        {"variables of the outermost block", deref(lr), deref(p1), true},
        {"of an inner block", deref(deep), deref(p2), true},
        {"not named when the groups were made", deref(r1), deref(unused), true},
        {"made since", deref(r1), deref(local("late", int_p)), true},
        {"a choice", deref(r1), deref(copy_tree(chosen)), true},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.why);
        EXPECT_EQ(lvalues_may_be_aliased(row.one, row.other, nullptr), row.may)
            << infix(row.one) << " : " << infix(row.other);
        EXPECT_EQ(lvalues_may_be_aliased(row.other, row.one, nullptr), row.may);
        EXPECT_EQ(unaliased_by_restriction(row.one, row.other, nullptr), !row.may);
    }
    // What is not understood makes all unknown.
    build({again, asg(name(of_r1), name(r1)), assembly("nop", 36), leave()});
    init_aliasing_info();
    EXPECT_TRUE(lvalues_may_be_aliased(deref(r1), deref(r2), nullptr));
}

TEST_F(AliasTest, VolatileAccessesOfCppFunctionsAliasEachOther) {
    NODE *one = deref(cast(tp->mk_ptr(tp->mk_qual(float_t, TQ_volatile)), name(fp)));
    const auto may = [](NODE *l, NODE *r) { return lvalues_may_be_aliased(l, r, nullptr); };
    EXPECT_FALSE(may(name(vol), name(i)));
    flags_of("f") |= FUN_is_cpp;
    EXPECT_TRUE(may(name(vol), one));
    EXPECT_FALSE(may(one, deref(p)));
    EXPECT_TRUE(may(one, deref(fp)));
}

TEST_F(AliasTest, AssertionsKeepPointersApart) {
    EXPECT_FALSE(pointers_are_antialiased(name(p), name(q)));
    EXPECT_FALSE(add_alias_assertion(name(p), address(name(i))));
    EXPECT_TRUE(add_alias_assertion(name(p), name(q)));
    EXPECT_TRUE(pointers_are_antialiased(add(q, 2), name(p)));
    EXPECT_FALSE(lvalues_may_be_aliased(deref(p), deref(q), nullptr));
    const std::string text = log();
    EXPECT_THAT(text, HasSubstr("Adding an alias assertion that p and  q don't share memory\n"));
    EXPECT_THAT(text, HasSubstr("Failing to add alias assertion that p and"));
}

TEST_F(AliasTest, CallsReachWhatTheyArePromisedNotToLeaveAlone) {
    struct ROW {
        const char *what;
        std::uint32_t promises;
        bool G, S, taken, i, through_p;
    };
    const ROW rows[] = {
        {"unknown", 0, true, true, true, false, true},
        {"no global", FUN_no_global_asg, true, false, true, false, true},
        {"no indirect", FUN_no_ind_asg, true, true, false, false, true},
        {"neither", FUN_no_global_asg | FUN_no_ind_asg, false, false, false, false, false},
        {"pure", FUN_is_pure_fun, false, false, false, false, false},
    };
    for (const ROW &row : rows) {
        flags_of("g") = row.promises;
        const NODE *calls = call(g, {icon(1)});
        EXPECT_EQ(call_may_modify_lvalue(calls, name(G)), row.G) << row.what;
        EXPECT_EQ(call_may_modify_lvalue(calls, name(S)), row.S) << row.what;
        EXPECT_EQ(call_may_modify_lvalue(calls, name(taken)), row.taken) << row.what;
        EXPECT_EQ(call_may_modify_lvalue(calls, name(i)), row.i) << row.what;
        EXPECT_EQ(call_may_modify_lvalue(calls, deref(p)), row.through_p) << row.what;
        EXPECT_FALSE(call_may_modify_lvalue(calls, at(b, i))) << row.what;
    }
    flags_of("g") = FUN_no_global_asg | FUN_no_ind_asg;
    EXPECT_TRUE(call_may_modify_lvalue(call(g, {name(p)}), deref(p))); // what it is given
    EXPECT_TRUE(call_assigns_thru_byref_args(call(g, {icon(1), name(p)})));
    EXPECT_FALSE(call_assigns_thru_byref_args(call(g, {icon(1), icon(2)})));
    flags_of("g") |= FUN_no_byref_asg;
    EXPECT_FALSE(call_may_modify_lvalue(call(g, {name(p)}), deref(p)));
    flags_of("g") = FUN_no_global_use | FUN_no_ind_use;
    EXPECT_FALSE(call_may_use_lvalue(call(g, {}), name(taken)));
    EXPECT_TRUE(call_may_modify_lvalue(call(g, {}), name(taken)));
    NODE *indirect = tree(OP::UCALL, int_t, name(p));
    EXPECT_TRUE(call_may_modify_lvalue(indirect, name(G)));
    NODE *intrinsic = tree(OP::ICALL, int_t, name(i));
    intrinsic->mk_icall("who_knows");
    EXPECT_TRUE(call_may_modify_lvalue(intrinsic, name(G)));
    intrinsic->mk_icall("def$assert");
    EXPECT_FALSE(call_may_modify_lvalue(intrinsic, name(G)));
    const auto copy = [&](NODE *to, NODE *from, int units) {
        return tree(OP::MEMCPY, void_t, comma(comma(to, from), icon(units)));
    };
    NODE *copies = copy(decay(name(a)), decay(name(b)), 3);
    EXPECT_TRUE(call_may_modify_lvalue(copies, at(a, 2)));
    EXPECT_FALSE(call_may_modify_lvalue(copies, at(a, 4)));
    EXPECT_FALSE(call_may_modify_lvalue(copies, at(b, 2)));
    EXPECT_TRUE(call_may_use_lvalue(copies, at(b, 2)));
    EXPECT_TRUE(call_may_modify_lvalue(copy(name(p), decay(name(b)), 3), deref(fp)));
    EXPECT_FALSE(call_may_modify_lvalue(copy(name(p), decay(name(b)), 3), name(i)));
}

TEST_F(AliasTest, PrototypesTellWhatIsPassedByValue) {
    const auto function = [&](const char *text, TYPE *parameter, bool has_prototype) {
        TYPE *type = tp->mk_func(int_t, false, has_prototype, 0, false);
        if (parameter) tp->append_param(type, parameter, 0, "n");
        SYMTAB *sym = global(text, 5, tp->type_frozen(type));
        check_fun_for_byref_asgs(sym);
        return (flags_of(text + 1) & FUN_no_byref_asg) != 0;
    };
    EXPECT_TRUE(function("_f1", int_t, true));
    EXPECT_TRUE(function("_f2", nullptr, true));
    EXPECT_FALSE(function("_f3", nullptr, false));
    EXPECT_FALSE(function("_f4", int_p, true));
    EXPECT_FALSE(function("_f5", struct_t, true));
}

TEST_F(AliasTest, TreesChangeValues) {
    NODE *value = tree(OP::PLUS, int_t, deref(p), name(i));
    EXPECT_TRUE(tree_may_modify_value(set(i, 1), value));
    EXPECT_FALSE(tree_may_modify_value(set(j, 1), value));
    EXPECT_TRUE(tree_may_modify_value(set(taken, 1), value));
    EXPECT_TRUE(tree_may_modify_value(asg(name(p), name(q)), value)); // the address
    EXPECT_TRUE(tree_may_modify_value(asg(name(j), set(i, 2)), value));
    EXPECT_TRUE(tree_may_modify_value(asg(deref(q), icon(1)), value));
    EXPECT_FALSE(tree_may_modify_value(asg(deref(q), icon(1)), name(i)));
    EXPECT_TRUE(tree_may_modify_value(tree(OP::PLUSPLUS, int_t, name(i), icon(1)), value));
    EXPECT_TRUE(tree_may_modify_value(assembly("nop", 36), name(G)));
    EXPECT_FALSE(tree_may_modify_value(assembly("note", 47), value));
    EXPECT_FALSE(tree_may_modify_value(asg(name(i), icon(0)), address(at(a, 2))));
    EXPECT_TRUE(tree_may_modify_value(asg(name(i), icon(0)), address(at(a, i))));
    EXPECT_FALSE(tree_may_modify_value(asg(dot(name(h), "lo"), icon(0)), dot(name(h), "hi")));
    EXPECT_TRUE(tree_may_modify_value(asg(dot(name(h), "lo"), icon(0)), name(h)));
    EXPECT_TRUE(tree_may_modify_lvalue(call(g, {}), name(G)));
    EXPECT_FALSE(tree_may_modify_lvalue(call(g, {}), name(i)));
    EXPECT_TRUE(tree_may_modify_value(set(i, 1), call(g, {})));
}

TEST_F(AliasTest, SetsSayWhatAnEventKills) {
    NODE *triples[] = {
        name(i),
        name(taken),
        name(G),
        name(S),
        deref(p),
        at(b, i),
        at(a, 2),
        deref(fp),
        tree(OP::PLUS, int_t, deref(p), name(i)),
        tree(OP::NASSERT, void_t, name(G)),
        deref(cast(int_p, icon(64, short_t))),
        deref(deref(tree(OP::UMULT, tp->mk_ptr(int_p),
                         cast(tp->mk_ptr(tp->mk_ptr(int_p)), icon(64, short_t))))),
        nullptr,
    };
    enum { I, TAKEN, GLOBAL, STATIC, P, B_I, A_2, FP, SUM, PROMISE, AT_64, FAR, NONE, count };
    const std::function<void(NODE *)> number = [&](NODE *tree) {
        if (!tree) return;
        tree->depnum = -1;
        for (int n = 0; n < count; ++n)
            if (triples[n] && trees_are_congruent(tree, triples[n])) tree->depnum = n;
        number(tree->left), number(tree->right);
    };
    for (NODE *triple : triples)
        number(triple);
    compute_alias_sets(triples, count);
    EXPECT_EQ(errno_triple, -1);
    EXPECT_EQ(bv_text(triple_kills_global_vars), "2 3 9");
    EXPECT_EQ(bv_text(triple_kills_aliased_vars), "1 2 9");
    EXPECT_EQ(bv_text(triple_kills_ASSERTs), "9");
    EXPECT_EQ(bv_text(triple_kills_indirect_refs), "4-8 10 11");
    EXPECT_EQ(bv_text(triple_kills_indirect_NKV), "4 7 8 10 11");
    EXPECT_EQ(bv_text(triple_kills_indirect_NS_yes), "11");
    EXPECT_EQ(bv_text(triple_kills_indirect_ICON), "10 11");
    const auto killed = [&](auto event) {
        BITVEC set(count);
        event(set);
        return bv_text(set);
    };
    const auto by_store = [&](NODE *lvalue) {
        number(lvalue);
        return killed([&](BITVEC &set) { kill_aliases_of_lvalue(lvalue, set); });
    };
    EXPECT_EQ(by_store(name(i)), "0 5 8");
    EXPECT_EQ(by_store(name(j)), "");
    EXPECT_EQ(by_store(at(a, 2)), "6");
    EXPECT_EQ(by_store(at(a, j)), "6");
    EXPECT_EQ(by_store(name(S)), "3");
    EXPECT_EQ(by_store(deref(p)), "1 2 4 8-11");
    EXPECT_EQ(by_store(deref(q)), "1 2 4 8-11");
    EXPECT_EQ(by_store(deref(fp)), "7");
    EXPECT_EQ(killed([&](BITVEC &set) { kill_aliases_indirect(nullptr, nullptr, set, -1); }),
              "1 2 4-11");
    EXPECT_EQ(killed([&](BITVEC &set) { kill_aliases_indirect(nullptr, name(fp), set, -1); }), "7");
    EXPECT_EQ(killed([&](BITVEC &set) { kill_aliases_on_call(call(g, {}), set); }), "1-4 7-11");
    flags_of("g") |= FUN_no_ind_asg;
    EXPECT_EQ(killed([&](BITVEC &set) { kill_aliases_on_call(call(g, {}), set); }), "2-4 7-11");
    flags_of("g") |= FUN_no_global_asg;
    EXPECT_EQ(killed([&](BITVEC &set) { kill_aliases_on_call(call(g, {}), set); }), "");
    clean_up_alias_analysis_bitvecs_etc();
    EXPECT_EQ(triple_kills_global_vars.size, 0u);
    EXPECT_EQ(Triple_Alias_Table(nullptr, 0).size(), 0);
}

// The table puts its questions by kinds; the answers are those of all pairs.
TEST_F(AliasTest, TheTableHoldsWhatEachPairAnswers) {
    LS scopes[2];
    scopes[1].parent = &scopes[0], scopes[0].child = &scopes[1];
    scopes[1].depth = 1;
    SYMTAB *late = local("late", int_p), *again = file_variable("_G", 5, int_t);
    taken->scope = &scopes[1];
    std::vector<NODE *> triples{name(i),
                                name(j),
                                name(i),
                                nullptr,
                                name(G),
                                name(again),
                                name(S),
                                name(F),
                                name(h),
                                name(vol),
                                name(taken),
                                name(T),
                                deref(r1),
                                deref(p1),
                                deref(p2),
                                deref(add(p1, 1)),
                                deref(add(p1, 2)),
                                deref(moved),
                                deref(text()),
                                deref(late),
                                arrow(hp, "lo"),
                                arrow(hp, "hi"),
                                dot(arrow(hp, "u"), "f"),
                                dot(name(h), "lo"),
                                dot(name(h), "hi"),
                                dot(name(h2), "last"),
                                dot(dot(name(h), "u"), "f"),
                                deref(address(name(taken))),
                                deref(cast(int_p, icon(64, short_t))),
                                icon(3),
                                tree(OP::PLUS, int_t, name(i), name(G))};
    for (SYMTAB *pointer : {p, q, fp, cp, moved})
        for (int units : {0, 2}) {
            triples.push_back(deref(add(pointer, units)));
            triples.push_back(deref(cast(float_p, add(pointer, units))));
            triples.back()->scope = units ? &scopes[0] : &scopes[1];
            triples.push_back(
                deref(cast(tp->mk_ptr(tp->mk_qual(float_t, TQ_volatile)), name(pointer))));
        }
    for (SYMTAB *array : {a, b}) {
        triples.push_back(at(array, i));
        for (int units = 0; units < 6; ++units)
            triples.push_back(at(array, units));
    }
    const auto check = [&](const char *what) {
        SCOPED_TRACE(what);
        print_debug = 0;
        const Triple_Alias_Table table(triples.data(), static_cast<int>(triples.size()));
        print_debug = 1;
        const auto is_memory = [](const NODE *one) {
            return one && (one->op == OP::NAME || one->op == OP::UMULT || one->op == OP::STDOT);
        };
        for (unsigned n = 0; n < triples.size(); ++n)
            for (unsigned m = 0; m < triples.size(); ++m) {
                const bool expected =
                    is_memory(triples[n]) && is_memory(triples[m]) &&
                    (n == m || store_may_reach_load(triples[n], triples[m], nullptr));
                const BITVEC &row = table.aliases_of(static_cast<int>(n));
                ASSERT_EQ(row.contains(m), expected)
                    << infix(triples[n]) << " : " << infix(triples[m]);
            }
    };
    check("plain");
    add_alias_assertion(name(p), name(q));
    check("with an assertion");
    flags_of("f") |= FUN_is_cpp;
    check("volatile accesses of C++");
    pointer_args_are_disjoint = 1;
    check("arguments apart");
    reset_global_flags();
}
} // namespace
