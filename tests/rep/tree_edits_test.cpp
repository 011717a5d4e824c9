// Questions about trees, substitutions, assignments with and without operator, statement lists.
#include "tests/rep/tree_fixture.h"

#include <gmock/gmock.h>

using ::testing::ElementsAre;
using ::testing::HasSubstr;

class TreeEdits : public TreeTest {
protected:
    void SetUp() override {
        TreeTest::SetUp();
        k = local("k", int_t);
        b = local("b", tp->basic_int(TYPE::BOOL));
        h = local("h", short_t);
        u = local("u", tp->uint_type());
        global_int = global("_m", 2, int_t);
        kept = local("kept", int_t);
        kept->sc = 3;
    }
    NODE *I() { return name(i); }
    NODE *J() { return name(j); }
    NODE *K() { return name(k); }
    NODE *binary(int op, NODE *left, NODE *right) { return tree(op, int_t, left, right); }
    NODE *unary(int op, NODE *left) { return tree(op, int_t, left); }
    NODE *plus(NODE *left, NODE *right) { return binary(OP::PLUS, left, right); }
    NODE *at(NODE *pointer) { return tree(OP::UMULT, int_t, pointer); }
    NODE *inc(NODE *lvalue) { return tree(OP::PLUSPLUS, lvalue->type, lvalue, icon(1)); }
    NODE *f() { return call(g, {}); }
    NODE *member_of(NODE *object) { return tree(OP::STDOT, int_t, object, field()); }
    NODE *quest(NODE *c, NODE *yes, NODE *no) {
        return binary(OP::QUEST, c, binary(OP::COLON, yes, no));
    }
    NODE *intrinsic(int op, const char *text, NODE *args) {
        NODE *node = tree(op, int_t, args);
        node->mk_icall(text);
        return node;
    }
    static std::string text(const NODE *node) { return node ? stmt2infix(node) : "nothing"; }
    static std::string text(const LIST *list) {
        std::string all;
        for (; list; list = list->rest)
            all += text(list->first) + "; ";
        return all;
    }

    SYMTAB *k, *b, *h, *u, *global_int, *kept;
};
using SideEffects = TreeEdits;
using Peel = TreeEdits;
using Queries = TreeEdits;
using CompoundAssignments = TreeEdits;
using Substitutions = TreeEdits;
using StatementLists = TreeEdits;

TEST_F(SideEffects, OfTrees) {
    TYPE *volatile_int = vol->type;
    const struct {
        int line;
        NODE *tree;
        bool expected;
    } cases[] = {
        {__LINE__, nullptr, false},
        {__LINE__, plus(I(), at(name(p))), false},
        {__LINE__, asg(I(), J()), true},
        {__LINE__, plus(I(), asg(I(), J())), true},
        {__LINE__, plus(inc(I()), J()), true},
        {__LINE__, f(), true},
        {__LINE__, comma(I(), J(), OP::COMMAOP), false},
        {__LINE__, comma(I(), f(), OP::COMMAOP), true},
        {__LINE__, comma(asg(I(), J()), J(), OP::PCOMMA), true},
        {__LINE__, tree(OP::ARASG, array_t, name(a), name(a)), true},
        {__LINE__, tree(OP::NASSERT, void_t, I()), true},
        {__LINE__, intrinsic(OP::UMCALL, "f", nullptr), true},
        {__LINE__, intrinsic(OP::ICALL, "f", I()), false},
        {__LINE__, intrinsic(OP::ICALL, "f", comma(inc(I()), J())), true},
        {__LINE__, intrinsic(OP::UICALL, "f", nullptr), false},
        {__LINE__, intrinsic(OP::ICALL, "def$assert", comma(I(), inc(J()))), false},
        {__LINE__, intrinsic(OP::ICALL, "def$assert", comma(inc(I()), J())), true},
        {__LINE__, tree(OP::DDNODE, int_t, at(name(p))), false},
        {__LINE__, tree(OP::DDNODE, int_t, at(inc(name(p)))), true},
        {__LINE__, name(vol), true},
        {__LINE__, tree(OP::UMULT, volatile_int, name(p)), true},
        {__LINE__, tree(OP::STDOT, volatile_int, name(s), field()), true},
        {__LINE__, tree(OP::STREF, volatile_int, name(sp), field()), true},
        {__LINE__, tree(OP::STREF, int_t, name(sp), field()), false},
        {__LINE__, binary(OP::CSE_DUPE, inc(I()), J()), false},
        {__LINE__, binary(OP::CSE_ORIG, I(), inc(J())), true},
        {__LINE__, tree(OP::BRANCH, int_t, label(1)), true},
        {__LINE__, tree(OP::NOP, void_t), false},
    };
    for (const auto &c : cases)
        EXPECT_EQ(tree_has_side_effects(c.tree), c.expected) << "line " << c.line;
}

TEST_F(Peel, LeavesWhatMustRun) {
    const auto store = [this] { return asg(I(), icon(1)); };
    const auto effect = [this](int op, NODE *l, NODE *r) { return binary(op, l, r); };
    TYPE *volatile_int = vol->type;
    const struct {
        NODE *tree;
        const char *left;
    } cases[] = {
        {nullptr, "nothing"},
        {I(), "nothing"},
        {plus(at(name(p)), icon(1)), "nothing"},
        {store(), "i = 1"},
        {inc(I()), "i++"},
        {f(), "_g()"},
        {plus(inc(I()), inc(J())), "i++, j++"},
        {plus(I(), inc(J())), "j++"},
        {unary(OP::UMINUS, plus(f(), icon(1))), "_g()"},
        {at(inc(name(p))), "p++"},
        {tree(OP::UMULT, volatile_int, inc(name(p))), "*p++"},
        {plus(name(vol), I()), "vol"},
        {address(name(vol)), "nothing"},
        {address(at(inc(name(p)))), "p++"},
        {address(member_of(tree(OP::UMULT, struct_t, inc(name(sp))))), "sp++"},
        {member_of(tree(OP::UMULT, struct_t, inc(name(sp)))), "sp++"},
        {comma(store(), J(), OP::COMMAOP), "i = 1"},
        {comma(I(), store(), OP::COMMAOP), "i = 1"},
        {comma(comma(I(), f(), OP::COMMAOP), inc(J()), OP::COMMAOP), "_g(), j++"},
        {intrinsic(OP::ICALL, "fun", comma(comma(inc(I()), J()), inc(K()))), "i++, k++"},
        {intrinsic(OP::ICALL, "def$assert", comma(I(), inc(J()))), "nothing"},
        {quest(I(), J(), K()), "nothing"},
        {quest(inc(I()), J(), K()), "i++"},
        {quest(I(), f(), K()), "i ? _g() : k"},
        {effect(OP::ANDAND, I(), J()), "nothing"},
        {effect(OP::ANDAND, inc(I()), J()), "i++"},
        {effect(OP::ANDAND, I(), f()), "i ? (_g(), 0) : 0"},
        {effect(OP::OROR, inc(I()), plus(f(), J())), "i++ ? 0 : (_g(), 0)"},
        {effect(OP::ANDAND, I(), effect(OP::OROR, J(), f())), "i ? (j ? 0 : (_g(), 0), 0) : 0"},
        {tree(OP::DDNODE, int_t, at(inc(name(p)))), "p++"},
        {comma(asg(I(), J()), asg(J(), K()), OP::PCOMMA), "PCOMMA"},
    };
    for (const auto &c : cases) {
        if (std::string_view(c.left) == "PCOMMA") {
            EXPECT_EQ(peel_for_effect(c.tree), c.tree) << "the prolog stays as it is";
            continue;
        }
        const std::string before = text(c.tree);
        const NODE *left = peel_for_effect(c.tree);
        EXPECT_EQ(text(left), c.left) << "of " << before;
        EXPECT_TRUE(!left || tree_has_side_effects(left)) << before;
    }
}

TEST_F(Queries, InvertibleComparisons) {
    const auto real = [this](int op) { return binary(op, name(x), name(x)); };
    const auto vector = [this](int op) { return binary(op, name(fv), name(fv)); };
    for (int op : {OP::LE, OP::LT, OP::GE, OP::GT, OP::ULE, OP::ULT, OP::UGE, OP::UGT}) {
        EXPECT_TRUE(tree_is_trivially_invertible(binary(op, I(), J())));
        EXPECT_FALSE(tree_is_trivially_invertible(real(op))) << "nan compares with nothing";
        EXPECT_FALSE(tree_is_trivially_invertible(vector(op)));
    }
    for (int op : {OP::EQ, OP::NEQ})
        EXPECT_TRUE(tree_is_trivially_invertible(real(op)));
    for (NODE *node : {binary(OP::ANDAND, I(), J()), mk_EXCLAIM(I()), plus(I(), J())})
        EXPECT_FALSE(tree_is_trivially_invertible(node));
}

TEST_F(Queries, AssignmentOpcodes) {
    std::string found;
    for (int op = 0; op < op_count; ++op)
        if (opcode_is_ASG(op)) (found += node_operator_name[op]) += ' ';
    EXPECT_EQ(found, "PLUSASG MINUSASG MULTASG ANDBASG ORBASG XORBASG ASG DIVASG MODASG SLLASG "
                     "SRLASG STASG ARASG ");
}

TEST_F(Queries, Arguments) {
    NODE *args[] = {I(), J(), K()};
    NODE *of_three = call(g, {args[0], args[1], args[2]}), *none = f(), *of_one = call(g, {I()});
    NODE *list = get_arguments_to_call(of_three);
    EXPECT_EQ(arg_list_count(list), 3);
    for (int n = 0; n < 3; ++n)
        EXPECT_EQ(arg_list_lookup(list, n), args[n]);
    EXPECT_EQ(arg_list_lookup(list, 3), nullptr);
    EXPECT_EQ(arg_list_lookup(list, -1), nullptr);
    EXPECT_EQ(arg_list_count(get_arguments_to_call(of_one)), 1);
    EXPECT_EQ(arg_list_lookup(of_one->right, 0), of_one->right);
    EXPECT_EQ(get_arguments_to_call(none), nullptr);
    EXPECT_EQ(arg_list_count(nullptr), 0);
    EXPECT_EQ(arg_list_lookup(nullptr, 0), nullptr);
    for (int op : {OP::ICALL, OP::MCALL}) {
        NODE *node = intrinsic(op, "f", I());
        EXPECT_EQ(get_arguments_to_call(node), node->left);
        EXPECT_EQ(get_callee_for_call(node), nullptr);
    }
    EXPECT_EQ(get_arguments_to_call(intrinsic(OP::UICALL, "f", nullptr)), nullptr);
    EXPECT_EQ(get_callee_for_call(of_three), g);
    EXPECT_EQ(get_callee_for_call(none), g);
    EXPECT_EQ(get_callee_for_call(tree(OP::UCALL, int_t, name(p))), nullptr) << "indirect";
    EXPECT_EQ(get_callee_for_call(plus(I(), J())), nullptr);
}

TEST_F(Queries, Constants) {
    NODE *real = tree(OP::FCON, float_t), *string = tree(OP::SCON, int_p);
    real->mk_fcon("1");
    string->mk_scon("a");
    SYMTAB *global_struct = global("_s", 2, struct_t);
    const struct {
        int line;
        NODE *tree;
        bool constant, global;
    } cases[] = {
        {__LINE__, icon(1), true, true},
        {__LINE__, real, true, true},
        {__LINE__, string, true, true},
        {__LINE__, plus(icon(1), unary(OP::UMINUS, icon(2))), true, true},
        {__LINE__, binary(OP::LT, icon(1), icon(2)), true, true},
        {__LINE__, quest(icon(1), icon(2), icon(3)), true, true},
        {__LINE__, binary(OP::DIV, icon(1), icon(0)), false, true},
        {__LINE__, I(), false, false},
        {__LINE__, plus(icon(1), I()), false, false},
        {__LINE__, name(global_int), false, true},
        {__LINE__, plus(name(global_int), icon(1)), false, true},
        {__LINE__, asg(name(global_int), icon(1)), false, false},
        {__LINE__, address(name(global_int)), true, true},
        {__LINE__, address(member_of(name(global_struct))), true, true},
        {__LINE__, address(name(kept)), true, false},
        {__LINE__, address(I()), false, false},
        {__LINE__, address(at(icon(16, int_p))), false, true},
        {__LINE__, tree(OP::PCONV, int_p, address(name(g))), true, true},
        {__LINE__, intrinsic(OP::ICALL, "f", icon(1)), false, true},
        {__LINE__, f(), false, false},
        {__LINE__, label(1), false, false},
    };
    for (const auto &c : cases) {
        EXPECT_EQ(expr_is_constant(c.tree), c.constant) << "line " << c.line;
        EXPECT_EQ(expr_is_globally_evaluable(c.tree), c.global) << "line " << c.line;
    }
}

TEST_F(Queries, Contents) {
    NODE *inner = at(name(p)), *sum = plus(inner, f()), *stmt = asg(I(), sum);
    EXPECT_TRUE(sym_appears_in_tree(p, stmt));
    EXPECT_TRUE(sym_appears_in_tree(g, stmt));
    EXPECT_FALSE(sym_appears_in_tree(j, stmt));
    EXPECT_FALSE(sym_appears_in_tree(j, nullptr));
    EXPECT_TRUE(tree_references_NAME(stmt, I()));
    EXPECT_FALSE(tree_references_NAME(sum, I()));
    EXPECT_TRUE(tree_is_subtree_of_tree(inner, stmt));
    EXPECT_TRUE(tree_is_subtree_of_tree(stmt, stmt));
    EXPECT_FALSE(tree_is_subtree_of_tree(stmt, sum));
    EXPECT_FALSE(tree_is_subtree_of_tree(at(name(p)), stmt)) << "only like one of its nodes";
    EXPECT_EQ(count_nodes_in_tree(nullptr), 0);
    EXPECT_EQ(count_nodes_in_tree(stmt), 8);
    EXPECT_EQ(count_calls_in_tree(stmt), 1);
    EXPECT_EQ(count_calls_in_tree(call(g, {f(), plus(f(), intrinsic(OP::ICALL, "f", I()))})), 3);
    NODE *mark = binary(OP::CSE_DUPE, J(), I());
    EXPECT_FALSE(sym_appears_in_tree(j, mark)) << "its left operand is only the temporary";
    EXPECT_TRUE(sym_appears_in_tree(i, mark));
    EXPECT_EQ(count_nodes_in_tree(mark), 1);
}

TEST_F(Queries, SharedNodes) {
    NODE *shared = plus(I(), J()), *sum = plus(shared, unary(OP::UMINUS, shared));
    log();
    EXPECT_FALSE(scan_for_sharing(sum));
    char warning[100];
    std::snprintf(warning, sizeof warning, "Warning:  node %p (%s) is shared\n",
                  static_cast<void *>(shared), opname(OP::PLUS));
    EXPECT_EQ(log(), warning) << "once, and nothing of what is below it";
    EXPECT_TRUE(dupchk(sum));
    EXPECT_THAT(log(), HasSubstr("\n\n!*!*!*!*!*!  Duplicate found in tree: "));
    NODE *clean = plus(I(), J());
    EXPECT_TRUE(scan_for_sharing(clean));
    EXPECT_FALSE(dupchk(clean));
    NODE *value = plus(I(), J());
    EXPECT_TRUE(
        scan_for_sharing(plus(binary(OP::CSE_ORIG, K(), value), binary(OP::CSE_DUPE, K(), value))));
    EXPECT_EQ(log(), "");
}

TEST_F(CompoundAssignments, FromPlainOnes) {
    const auto float_plus = [this](NODE *l, NODE *r) { return tree(OP::PLUS, float_t, l, r); };
    const auto pointer_plus = [this](NODE *l, NODE *r) { return tree(OP::PLUS, int_p, l, r); };
    NODE *mixed = tree(OP::FCON, float_t), *one = tree(OP::FCON, float_t);
    mixed->mk_fcon("1.5");
    one->mk_fcon("1");
    const auto convert = [this](TYPE *type, NODE *node) { return tree(OP::SCONV, type, node); };
    const auto sum = [](NODE *node, TYPE *type) {
        node->type = type;
        return node;
    };
    const struct {
        NODE *tree;
        const char *result;
    } cases[] = {
        {asg(I(), plus(I(), J())), "i += j"},
        {asg(I(), plus(J(), I())), "i += j"},
        {asg(I(), binary(OP::MINUS, I(), J())), "i -= j"},
        {asg(I(), binary(OP::MULT, J(), I())), "i *= j"},
        {asg(I(), binary(OP::ANDB, I(), J())), "i &= j"},
        {asg(I(), binary(OP::ORB, I(), J())), "i |= j"},
        {asg(I(), binary(OP::XORB, I(), J())), "i ^= j"},
        {asg(I(), binary(OP::DIV, I(), J())), "i /= j"},
        {asg(I(), binary(OP::MOD, I(), J())), "i %= j"},
        {asg(I(), binary(OP::SLL, I(), J())), "i <<= j"},
        {asg(I(), binary(OP::SRL, I(), J())), "i >>= j"},
        {asg(name(x), float_plus(name(x), one)), "x += 0x1p+0"},
        {asg(name(p), pointer_plus(name(p), I())), "p += i"},
        {asg(name(p), pointer_plus(I(), name(p))), "p += i"},
        {asg(at(name(p)), plus(at(name(p)), I())), "*p += i"},
        {asg(name(h), plus(name(h), I())), "h += i"},
        // These mean something else, or would.
        {asg(I(), binary(OP::MINUS, J(), I())), "i = j - i"},
        {asg(I(), binary(OP::DIV, J(), I())), "i = j / i"},
        {asg(I(), plus(J(), K())), "i = j + k"},
        {asg(I(), plus(I(), f())), "i = i + _g()"},
        {asg(at(inc(name(p))), plus(at(inc(name(p))), I())), "*p++ = *p++ + i"},
        {asg(name(vol), plus(name(vol), I())), "vol = vol + i"},
        {asg(I(), binary(OP::LT, I(), J())), "i = i < j"},
        {asg(I(), float_plus(I(), mixed)), "i = i + 0x1.8p+0"},
        {asg(name(u), sum(binary(OP::DIV, name(u), I()), int_t)), "u = u / i"},
        {asg(I(), tree(OP::DIV, tp->uint_type(), I(), name(u))), "i = i / u"},
        {asg(name(h), tree(OP::DIV, short_t, name(h), name(h))), "h = h / h"},
        {asg(I(), convert(int_t, plus(I(), J()))), "i = (int)(i + j)"},
        {I(), "i"},
        {tree(OP::STASG, struct_t, name(s), name(s)), "s = s"},
    };
    for (const auto &c : cases) {
        NODE *result = ASG_to_opASG(c.tree);
        EXPECT_EQ(result, c.tree);
        EXPECT_EQ(text(result), c.result);
    }
}

TEST_F(CompoundAssignments, ToPlainOnes) {
    const auto op = [this](int opcode, NODE *l, NODE *r) { return tree(opcode, l->type, l, r); };
    NODE *wrapped = tree(OP::DDNODE, int_t, at(name(p)));
    NODE *real = tree(OP::FCON, float_t);
    real->mk_fcon("1.5");
    const struct {
        NODE *tree;
        const char *result;
        TYPE *computed; // null: stays
    } cases[] = {
        {op(OP::PLUSASG, I(), J()), "i = i + j", int_t},
        {op(OP::MINUSASG, name(h), J()), "h = h - j", int_t},
        {op(OP::MULTASG, name(u), name(u)), "u = u * u", tp->uint_type()},
        {op(OP::DIVASG, name(x), name(x)), "x = x / x", float_t},
        {op(OP::PLUSASG, name(p), I()), "p = p + i", int_p},
        {op(OP::SLLASG, name(h), I()), "h = h << i", int_t},
        {op(OP::SRLASG, name(u), I()), "u = u >> i", tp->uint_type()},
        {op(OP::ANDBASG, I(), J()), "i = i & j", int_t},
        {op(OP::PLUSASG, name(vol), I()), "vol = vol + i", int_t},
        {op(OP::PLUSASG, member_of(name(s)), I()), "s.f = s.f + i", int_t},
        {op(OP::PLUSASG, I(), name(u)), "i = i + u", tp->uint_type()},
        // These stay.
        {op(OP::PLUSASG, at(name(p)), f()), "*p += _g()", nullptr},
        {op(OP::PLUSASG, at(inc(name(p))), I()), "*p++ += i", nullptr},
        {op(OP::PLUSASG, member_of(tree(OP::UMULT, struct_t, inc(name(sp)))), I()),
         "(*sp++).f += i", nullptr},
        {op(OP::PLUSASG, wrapped, I()), nullptr, nullptr},
        {op(OP::DIVASG, I(), name(u)), "i /= u", nullptr},
        {op(OP::PLUSASG, I(), real), "i += 0x1.8p+0", nullptr},
        {asg(I(), J()), "i = j", nullptr},
        {plus(I(), J()), "i + j", nullptr},
    };
    for (const auto &c : cases) {
        const std::string before = text(c.tree);
        const NODE *result = opASG_to_ASG(c.tree);
        EXPECT_EQ(result, c.tree);
        EXPECT_EQ(text(result), c.result ? c.result : before);
        if (!c.computed) continue;
        EXPECT_EQ(result->right->type, c.computed) << before;
        EXPECT_TRUE(scan_for_sharing(c.tree)) << "the target is a copy";
    }
}

TEST_F(CompoundAssignments, BackAndForth) {
    for (int op = 0; op < op_count; ++op) {
        if (op_of_opASG[op] == OP::ILLOP) continue;
        NODE *node = tree(op, int_t, at(name(p)), J());
        const std::string before = text(node);
        opASG_to_ASG(node);
        EXPECT_EQ(node->op, OP::ASG);
        EXPECT_EQ(node->right->op, op_of_opASG[op]);
        EXPECT_EQ(text(ASG_to_opASG(node)), before);
        EXPECT_EQ(count_nodes_in_tree(node), 4);
    }
}

TEST_F(Substitutions, Symbols) {
    NODE *node = asg(I(), plus(at(name(p)), I()));
    EXPECT_EQ(subst_sym_for_sym_in_tree(k, i, node), node);
    EXPECT_EQ(text(node), "k = *p + k");
    // Pairs are applied at once, so that an exchange is one.
    SYMPAIRLIST *pairs = mk_symplist(p, q, 0, mk_symplist(q, p, 0, nullptr));
    NODE *both = plus(at(name(p)), at(name(q)));
    EXPECT_EQ(text(subst_sym_pairs_in_tree(pairs, both)), "*q + *p");
}

TEST_F(Substitutions, ReadsOfAnLvalue) {
    const struct {
        NODE *to, *lvalue, *tree;
        const char *result;
    } cases[] = {
        {icon(5), I(), I(), "5"},
        {icon(5), I(), plus(I(), plus(J(), I())), "5 + (j + 5)"},
        {icon(5), I(), asg(I(), plus(I(), J())), "i = 5 + j"},
        {icon(5), I(), asg(at(plus(name(p), I())), I()), "*(p + 5) = 5"},
        {icon(5), I(), tree(OP::PLUSASG, int_t, I(), I()), "i += 5"},
        {icon(5), I(), plus(inc(I()), I()), "i++ + 5"},
        {icon(5), I(), address(I()), "&i"},
        {icon(5), I(), asg(tree(OP::IDENTITY, int_t, I()), I()), "IDENTITY(i) = 5"},
        {name(q), name(p), address(at(name(p))), "&*q"},
        {icon(5), at(name(p)), plus(at(name(p)), at(name(q))), "5 + *q"},
        {J(), member_of(name(s)), asg(member_of(name(s)), member_of(name(s))), "s.f = j"},
        {tree(OP::UMULT, struct_t, name(sp)), name(s), asg(member_of(name(s)), member_of(name(s))),
         "s.f = (*sp).f"},
        {icon(5), I(), tree(OP::SSA_USE, int_t, I()), "SSA_USE(i)"},
        {icon(5), I(), asg(tree(OP::DDNODE, int_t, I()), I()), "DDNODE(i) = 5"},
    };
    for (const auto &c : cases) {
        const NODE *result = subst_tree_for_lvalue_in_tree(c.to, c.lvalue, c.tree);
        EXPECT_EQ(text(result), c.result);
        EXPECT_FALSE(tree_is_subtree_of_tree(c.to, result)) << "copies go in";
    }
}

TEST_F(Substitutions, Identities) {
    const auto same = [this](NODE *node) { return unary(OP::IDENTITY, node); };
    NODE *inner = I();
    EXPECT_EQ(expunge_IDENTITY_ops_from_tree(same(same(inner))), inner);
    NODE *node = asg(I(), plus(same(J()), same(plus(I(), same(same(K()))))));
    EXPECT_EQ(text(expunge_IDENTITY_ops_from_tree(node)), "i = j + (i + k)");
    EXPECT_EQ(expunge_IDENTITY_ops_from_tree(nullptr), nullptr);
}

TEST_F(StatementLists, Insertion) {
    PSN *psn = mk_psn("f.c", 7, 1);
    LIST *last = mkelist(inc(K()), nullptr, nullptr), *list = mkelist(inc(I()), last, psn);
    BBLK *bb = mkbblock(list, nullptr, currfuninfo);
    insert_stmt_before_stmt_in_bb(inc(J()), last, bb);
    EXPECT_EQ(text(bb->statements), "i++; j++; k++; ");
    insert_stmt_before_stmt_in_bb(f(), list, bb);
    EXPECT_EQ(text(bb->statements), "_g(); i++; j++; k++; ");
    EXPECT_EQ(bb->statements->psn, psn) << "the position of the statement behind";
    insert_stmt_before_stmt_in_bb(f(), nullptr, bb);
    EXPECT_EQ(text(bb->statements), "_g(); i++; j++; k++; _g(); ");
    EXPECT_EXIT(insert_stmt_before_stmt_in_bb(f(), mkelist(f(), nullptr, nullptr), bb),
                ::testing::ExitedWithCode(1), "terminated abnormally");
}

TEST_F(StatementLists, PromotedCommas) {
    const auto both = [this](NODE *l, NODE *r) { return comma(l, r, OP::COMMAOP); };
    const auto list_of = [](std::initializer_list<NODE *> trees) {
        LIST *list = nullptr;
        for (NODE *node : trees)
            list = append_node_to_list(node, list);
        return list;
    };
    const struct {
        LIST *list;
        const char *result;
    } cases[] = {
        {nullptr, ""},
        {list_of({inc(I()), f()}), "i++; _g(); "},
        {list_of({both(inc(I()), inc(J())), f()}), "i++; j++; _g(); "},
        {list_of({both(both(inc(I()), inc(J())), inc(K()))}), "i++; j++; k++; "},
        {list_of({f(), both(inc(I()), both(inc(J()), inc(K()))), f()}),
         "_g(); i++; j++; k++; _g(); "},
        {list_of({both(both(inc(I()), f()), both(inc(J()), inc(K())))}), "i++; _g(); j++; k++; "},
        {list_of({both(inc(I()), J()), both(I(), inc(J()))}), "i++; j++; "},
        {list_of({both(I(), J()), f()}), "_g(); "},
        {list_of({both(I(), J())}), ""},
        {list_of({plus(both(inc(I()), J()), K())}), "(i++, j) + k; "},
    };
    for (const auto &c : cases)
        EXPECT_EQ(text(promote_toplevel_COMMAOPs_in_list(c.list)), c.result);
    PSN *psn = mk_psn("f.c", 7, 1);
    LIST *cell = mkelist(both(inc(I()), inc(J())), nullptr, psn);
    EXPECT_EQ(promote_toplevel_COMMAOPs_in_list(cell)->rest->psn, psn);
}
