// The passes over local variables, each by itself: statements in, the graph as text out.
#include "OPT5/driver/global_flags.h"
#include "OPT5/scalar/alias.h"
#include "OPT5/scalar/scalar.h"
#include "tests/rep/cfg_fixture.h"

#include <gmock/gmock.h>

namespace {
class LocalPasses : public CfgTest {
protected:
    void SetUp() override {
        CfgTest::SetUp();
        for (SYMTAB *sym : {i, j, p, q, x, s, sp, a, vol, parm, body_parm})
            enter(sym);
        k = local("k", int_t), enter(k);
        g1 = global("_g1", 2, int_t);
    }
    static void enter(SYMTAB *sym) {
        sym->next = currfuninfo->symbols;
        currfuninfo->symbols = sym;
    }
    NODE *sum(NODE *left, NODE *right) { return tree(OP::PLUS, left->type, left, right); }
    NODE *deref(NODE *pointer) {
        return tree(OP::UMULT, pointer->type->type_pointed_to(), pointer);
    }
    NODE *step(SYMTAB *sym, int by = 1) {
        return tree(OP::PLUSPLUS, sym->type, name(sym),
                    icon(by, sym->type->is_ptr() ? short_t : int_t));
    }
    NODE *update(SYMTAB *sym, int by) { return tree(OP::PLUSASG, int_t, name(sym), icon(by)); }
    NODE *use(NODE *value) { return call(g, {value}); }
    NODE *unless_tree(NODE *condition, int number) {
        return tree(OP::CBRANCH, int_t, condition, label(number));
    }
    // The function's blocks after the pass, which the validators must find sound.
    template <class Pass> std::string after(const STATEMENTS &statements, Pass pass) {
        build(statements);
        pass();
        EXPECT_EQ(validate_stmts(), 0) << log();
        expect_sound();
        return graph();
    }
    NODE *prolog() { return asg(name(body_parm), name(parm)); }

    SYMTAB *k, *g1;
};

const auto propagate = [] { copyprop(true); };

TEST_F(LocalPasses, CopiesReachTheUsesThatAllWaysLeadTo) {
    EXPECT_EQ(after({set(i, 7), asg(name(j), name(k)), unless(i, 1), use(name(i)), use(name(j)),
                     def(1), use(sum(name(i), name(j))), leave()},
                    propagate),
              "1 (): i = 7; j = k; if 7 2 else 3\n2 (1): _g(7); _g(k); goto 3\n3 (2 1): _g(k + 7); "
              "goto 4\n4 (3): leave\n");
    // one way alone makes it, or unmakes it
    EXPECT_EQ(after({unless(k, 1), set(i, 7), def(1), use(name(i)), leave()}, propagate),
              "1 (): if k 2 else 3\n2 (1): i = 7; goto 3\n3 (2 1): _g(i); goto 4\n4 (3): leave\n");
    EXPECT_EQ(
        after({asg(name(i), name(j)), unless(k, 1), set(j, 3), def(1), use(name(i)), leave()},
              propagate),
        "1 (): i = j; if k 2 else 3\n2 (1): j = 3; goto 3\n3 (2 1): _g(i); goto 4\n4 (3): leave\n");
    // both ways make the same one
    EXPECT_EQ(after({unless(k, 1), asg(name(i), name(j)), jump(2), def(1), asg(name(i), name(j)),
                     def(2), use(name(i)), leave()},
                    propagate),
              "1 (): if k 2 else 3\n2 (1): i = j; goto 4\n3 (1): i = j; goto 4\n4 (3 2): _g(j); "
              "goto 5\n5 (4): leave\n");
    // round a loop
    EXPECT_EQ(
        after({set(i, 7), set(j, 0), def(1), use(name(i)), update(j, 1), unless(j, 1), leave()},
              propagate),
        "1 (): i = 7; j = 0; goto 2\n2 (2 1): _g(7); j += 1; if j 3 else 2\n3 (2): goto 4\n4 (3): "
        "leave\n");
    // copies of copies; not what a pointer leads to, what is volatile, or has another type
    EXPECT_EQ(
        after({asg(name(i), name(j)), asg(name(k), name(i)), use(name(k)), leave()}, propagate),
        "1 (): i = j; k = j; _g(k); goto 2\n2 (1): leave\n");
    EXPECT_EQ(after({set(i, 7), asg(name(p), address(name(i))), set(vol, 7),
                     use(sum(name(i), name(vol))), leave()},
                    propagate),
              "1 (): i = 7; p = &i; vol = 7; _g(i + vol); goto 2\n2 (1): leave\n");
    // within the statement that changes it
    EXPECT_EQ(after({asg(name(i), name(j)), use(sum(asg(name(j), icon(1)), name(i))), use(name(i)),
                     leave()},
                    propagate),
              "1 (): i = j; _g((j = 1) + i); _g(i); goto 2\n2 (1): leave\n");
    EXPECT_EQ(after({set(i, 7), update(i, 1), use(name(i)), leave()}, propagate),
              "1 (): i = 7; i += 1; _g(i); goto 2\n2 (1): leave\n");
    EXPECT_EQ(after({set(i, 7), set(g1, 1), use(asg(name(j), name(i))), leave()},
                    [] { copyprop(false); }),
              "1 (): i = 7; _g1 = 1; j = 7, _g(7); goto 2\n2 (1): leave\n");
}

TEST_F(LocalPasses, IndependentWebsBecomeVariables) {
    const auto split = [] {
        init_aliasing_info();
        sym_split();
    };
    const auto names = [&](const char *name) {
        int count = 0;
        for (SYMTAB *sym = currfuninfo->symbols; sym; sym = sym->next)
            count += std::string_view(sym->name) == name;
        return count;
    };
    after({set(i, 1), use(name(i)), set(i, 2), use(name(i)), leave()}, split);
    EXPECT_EQ(names("i"), 2);
    after({set(j, 1), unless(k, 1), set(j, 2), def(1), use(name(j)), leave()}, split);
    EXPECT_EQ(names("j"), 1); // they share a use
    after({set(j, 1), def(1), use(name(j)), update(j, 1), unless(j, 1), set(j, 5), use(name(j)),
           leave()},
          split);
    EXPECT_EQ(names("j"), 2);
    after({set(k, 1), asg(name(p), address(name(k))), set(k, 2), leave()}, split);
    EXPECT_EQ(names("k"), 1);
    after({prolog(), use(name(body_parm)), set(body_parm, 2), use(name(body_parm)), leave()},
          split);
    EXPECT_EQ(names("n"), 3);
    EXPECT_EQ(currfuninfo->bb_list->statements->first->left->u.name.sym, body_parm);
}

TEST_F(LocalPasses, EmbeddedAssignmentsBecomeStatements) {
    const auto promote = [] { promote_all_embedded_assignments(); };
    const auto first_cells = [&](NODE *stmt) { return after({stmt, leave()}, promote); };
    EXPECT_EQ(first_cells(asg(name(i), sum(asg(name(j), name(k)), icon(1)))),
              "1 (): j = k; i = j + 1; goto 2\n2 (1): leave\n");
    EXPECT_EQ(first_cells(asg(name(i), asg(name(j), asg(name(k), icon(0))))),
              "1 (): k = 0; j = k; i = j; goto 2\n2 (1): leave\n");
    EXPECT_EQ(first_cells(asg(name(i), sum(name(j), asg(name(j), name(k))))),
              "1 (): i = j + (j = k); goto 2\n2 (1): leave\n"); // read before
    EXPECT_EQ(first_cells(asg(name(i), sum(call(g, {}), asg(name(j), name(k))))),
              "1 (): i = _g() + (j = k); goto 2\n2 (1): leave\n"); // an effect before
    EXPECT_EQ(first_cells(asg(name(i), sum(name(vol), asg(name(j), name(k))))),
              "1 (): i = vol + (j = k); goto 2\n2 (1): leave\n");
    EXPECT_EQ(first_cells(asg(name(i), sum(asg(name(vol), name(k)), icon(1)))),
              "1 (): i = (vol = k) + 1; goto 2\n2 (1): leave\n");
    EXPECT_EQ(first_cells(asg(name(i), sum(asg(deref(name(p)), icon(3)), icon(1)))),
              "1 (): *p = 3; i = 3 + 1; goto 2\n2 (1): leave\n");
    EXPECT_EQ(first_cells(asg(name(i), sum(asg(deref(name(p)), name(g1)), icon(1)))),
              "1 (): i = (*p = _g1) + 1; goto 2\n2 (1): leave\n");
    EXPECT_EQ(first_cells(asg(
                  name(i), tree(OP::ANDAND, int_t, asg(name(j), icon(1)), asg(name(k), icon(2))))),
              "1 (): j = 1; i = j && (k = 2); goto 2\n2 (1): leave\n");
    EXPECT_EQ(first_cells(use(tree(OP::COMMAOP, int_t, call(g, {}), name(i)))),
              "1 (): _g(); _g(i); goto 2\n2 (1): leave\n");
    EXPECT_EQ(first_cells(asg(deref(step(p, 2)), deref(step(q, 2)))),
              "1 (): *p = *q; q += 2; p += 2; goto 2\n2 (1): leave\n");
    EXPECT_EQ(first_cells(asg(deref(name(p)), deref(asg(name(p), name(q))))),
              "1 (): *p = *(p = q); goto 2\n2 (1): leave\n");
    EXPECT_EQ(first_cells(asg(name(i), sum(step(j), name(j)))),
              "1 (): i = j++ + j; goto 2\n2 (1): leave\n");
    EXPECT_EQ(
        after({unless_tree(asg(name(i), deref(step(p, 2))), 1), use(name(i)), def(1), leave()},
              promote),
        "1 (): i = *p++ 2; if i 2 else 3\n2 (1): _g(i); goto 3\n3 (2 1): goto 4\n4 (3): leave\n");
}

TEST_F(LocalPasses, ParametersWithoutUseLeaveTheProlog) {
    const auto beta = [] {
        beta_parms();
        beta_convert();
    };
    EXPECT_EQ(after({prolog(), use(name(i)), leave()}, beta),
              "1 (): _g(i); goto 2\n2 (1): leave\n");
    EXPECT_EQ(after({prolog(), use(name(body_parm)), leave()}, beta),
              "1 (): n = n; _g(n); goto 2\n2 (1): leave\n");
    EXPECT_TRUE(body_parm->type->is_const());
    SYMTAB *m1 = level("m", int_t, 1), *m2 = level("m", int_t, 2);
    enter(m1), enter(m2);
    NODE *both = comma(asg(name(m2), name(m1)), prolog(), OP::PCOMMA);
    EXPECT_EQ(after({both, use(name(m2)), set(m2, 1), leave()}, beta),
              "1 (): m = m; _g(m); m = 1; goto 2\n2 (1): leave\n");
    EXPECT_FALSE(m2->type->is_const());
}

TEST_F(LocalPasses, TestsThatAreDecidedAreLeftOut) {
    const auto straighten = [] { straighten_cond_paths(); };
    EXPECT_EQ(
        after({unless(i, 1), use(name(j)), def(1), unless(i, 2), use(name(k)), def(2), leave()},
              straighten),
        "1 (): if i 2 else 4\n2 (1): _g(j); if i 3 else 4\n3 (2): _g(k); goto 4\n4 (3 2 1): "
        "leave\n");
    EXPECT_EQ(after({unless(i, 1), set(j, 1), jump(3), def(1), unless(i, 2), def(3), use(name(k)),
                     def(2), leave()},
                    straighten),
              "1 (): if i 2 else 3\n2 (1): j = 1; _g(k); goto 3\n3 (2 1): leave\n");
    // the loop's way round comes to the entry by no test
    EXPECT_EQ(after({def(1), unless(i, 1), use(name(i)), unless(i, 1), leave()}, straighten),
              "1 (): goto 2\n2 (2 1): if i 3 else 2\n3 (2): _g(i); goto 4\n4 (3): leave\n");
    EXPECT_EQ(
        after({unless(i, 1), set(i, 0), unless(i, 1), use(name(j)), def(1), leave()}, straighten),
        "1 (): if i 2 else 4\n2 (1): i = 0; if i 3 else 4\n3 (2): _g(j); goto 4\n4 (3 2 1): goto "
        "5\n5 (4): leave\n");
    EXPECT_EQ(after({unless(g1, 1), use(name(j)), unless(g1, 1), use(name(k)), def(1), leave()},
                    straighten),
              "1 (): if _g1 2 else 4\n2 (1): _g(j); if _g1 3 else 4\n3 (2): _g(k); goto 4\n4 (3 2 "
              "1): goto 5\n5 (4): leave\n");
}

TEST_F(LocalPasses, StructuresBecomeVariables) {
    const auto explode = [] { explode_auto_struct_vars(); };
    const auto dot = [&](NODE *object) { return tree(OP::STDOT, int_t, object, field()); };
    const auto copy = [&](NODE *to, NODE *from) {
        NODE *node = tree(OP::STASG, struct_t, to, from);
        node->u.stasg.csu = struct_t;
        return node;
    };
    SYMTAB *t = local("t", struct_t);
    NODE *made = call(g, {});
    made->type = struct_t;
    enter(t);
    EXPECT_EQ(after({asg(dot(name(s)), icon(1)), use(dot(name(s))), leave()}, explode),
              "1 (): $O$M1 = 1; _g($O$M1); goto 2\n2 (1): leave\n");
    EXPECT_EQ(after({asg(dot(name(s)), icon(1)), copy(name(t), name(s)),
                     copy(deref(name(sp)), name(t)), leave()},
                    explode),
              "1 (): $O$M2 = 1; $O$M3 = $O$M2; (*sp).f = $O$M3; goto 2\n2 (1): leave\n");
    EXPECT_EQ(after({copy(name(s), deref(name(sp))), use(dot(name(s))), leave()}, explode),
              "1 (): $O$M4 = (*sp).f; _g($O$M4); goto 2\n2 (1): leave\n");
    EXPECT_EQ(
        after({asg(dot(name(s)), icon(1)), asg(name(sp), address(name(s))), leave()}, explode),
        "1 (): s.f = 1; sp = &s; goto 2\n2 (1): leave\n");
    EXPECT_EQ(
        after({copy(name(t), name(s)), copy(name(s), made), use(dot(name(t))), leave()}, explode),
        "1 (): $O$M5 = s.f; s = _g(); _g($O$M5); goto 2\n2 (1): leave\n");
}

TEST_F(LocalPasses, ConstantsForFieldsOfOneUnitBecomeOneStore) {
    TYPE *flags = tp->mk_struct("flags", 64, 32, true);
    const auto add = [&](unsigned n, TYPE *type, int offset, unsigned width) {
        fkMDATA one;
        one.index = n, one.name = n == 1 ? "a" : n == 2 ? "b" : "c", one.type = type;
        one.offset = offset, one.width = width, one.is_bitfield = true;
        tp->append_mdata(flags, one);
    };
    add(1, int_t, 0, 5), add(2, int_t, 5, 27), add(3, short_t, 32, 4);
    flags = tp->type_frozen(flags);
    SYMTAB *h = local("h", flags), *hp = local("hp", tp->mk_ptr(flags)),
           *hg = global("_h", 2, flags);
    enter(h), enter(hp);
    const auto put = [&](NODE *object, int n, int value) {
        fkMDATA *one = flags->get_csu()->mdata;
        for (; n > 1; --n)
            one = one->next;
        NODE *which = tree(OP::FIELD, one->type);
        which->u.field = {flags, one};
        return asg(tree(OP::STDOT, one->type, object, which), icon(value, one->type));
    };
    const auto joined = [&](const STATEMENTS &stores) {
        STATEMENTS all = stores;
        all.push_back(leave());
        const std::string text = after(all, [] { expand_bitfields(); });
        return text.substr(6, text.find("; goto") - 6);
    };
    EXPECT_EQ(joined({put(name(h), 1, -1), put(name(h), 2, 3)}), "*(unsigned *)&h = 127");
    EXPECT_EQ(joined({put(name(h), 1, 1), put(name(h), 2, 3), put(name(h), 1, 2)}),
              "*(unsigned *)&h = 98"); // the later one counts
    EXPECT_EQ(joined({put(deref(name(hp)), 1, 0), put(deref(name(hp)), 2, 1)}),
              "*(unsigned *)hp = 32");
    EXPECT_EQ(joined({put(name(h), 1, 1), put(name(h), 3, 3)}),
              "h.a = 1; h.c = 3"); // two units
    EXPECT_EQ(joined({put(name(h), 1, 1), put(name(h), 1, 3), put(name(h), 1, 2)}),
              "h.a = 1; h.a = 3; h.a = 2"); // who knows the rest
    EXPECT_EQ(joined({put(name(hg), 1, 1), put(name(hg), 1, 3), put(name(hg), 1, 2)}),
              "*(unsigned *)&_h = *(unsigned *)&_h & 4294967264 | 2");
    EXPECT_EQ(joined({put(name(hg), 1, 0), put(name(hg), 1, 0)}), "*(unsigned *)&_h &= 4294967264");
    EXPECT_EQ(joined({put(name(hg), 3, 15)}), "_h.c = 15");
    EXPECT_EQ(joined({put(name(h), 1, 1), put(name(hg), 2, 3)}), "h.a = 1; _h.b = 3");
}

TEST_F(LocalPasses, MasksFold) {
    const auto mask = [&](int op, NODE *target, int bits) {
        return tree(op, int_t, target, icon(bits));
    };
    EXPECT_EQ(after({mask(OP::ANDBASG, name(i), 12), mask(OP::ANDBASG, name(i), 6),
                     mask(OP::ANDBASG, name(i), 5), mask(OP::ORBASG, name(i), 1),
                     mask(OP::ORBASG, deref(name(p)), 2), mask(OP::ORBASG, deref(name(p)), 4),
                     mask(OP::ANDBASG, name(vol), 1), mask(OP::ANDBASG, name(vol), 2), leave()},
                    [] { fold_ANDBASGs(); }),
              "1 (): i &= 4; i |= 1; *p |= 6; vol &= 1; vol &= 2; goto 2\n2 (1): leave\n");
}
} // namespace
