// When trees count as equal.
#include "OPT5/rep/pragmas.h"
#include "tests/rep/tree_fixture.h"

#include <random>

class Congruence : public TreeTest {
protected:
    void SetUp() override {
        TreeTest::SetUp();
        k = local("k", int_t);
        u = local("u", tp->uint_type());
    }
    NODE *I() { return name(i); }
    NODE *J() { return name(j); }
    NODE *K() { return name(k); }
    NODE *binary(int op, NODE *left, NODE *right) { return tree(op, int_t, left, right); }
    NODE *unary(int op, NODE *left) { return tree(op, int_t, left); }
    NODE *plus(NODE *left, NODE *right) { return binary(OP::PLUS, left, right); }
    NODE *fcon(const char *text) {
        NODE *node = tree(OP::FCON, float_t);
        node->mk_fcon(text);
        return node;
    }
    NODE *scon(std::string_view bytes) {
        NODE *node = tree(OP::SCON, tp->mk_ptr(tp->basic_int(TYPE::SCHAR)));
        node->mk_scon(bytes);
        return node;
    }
    NODE *intrinsic(int op, const char *text, NODE *args) {
        NODE *node = tree(op, int_t, args);
        node->mk_icall(text);
        return node;
    }
    NODE *mix(std::uintptr_t handle) {
        NODE *node = tree(OP::MIXVALUE, int_t);
        node->u.mix.handle = handle;
        return node;
    }
    NODE *member_of(NODE *object) { return tree(OP::STDOT, int_t, object, field()); }
    NODE *pragma(int kind, std::initializer_list<std::string_view> args) {
        NODE *node = tree(OP::PPRAGMA, void_t);
        node->u.ppragma.pragma = mk_pragma(kind, std::vector(args), nullptr);
        return node;
    }
    NODE *assembly(const char *text) {
        NODE *node = tree(OP::ASM, void_t);
        node->u.asm_ = {text, 36};
        return node;
    }

    enum ANSWER { never, se_ok_only, always };
    struct CASE {
        int line;
        NODE *first, *second;
        ANSWER expected;
    };
    static void check(const std::vector<CASE> &cases) {
        for (const CASE &c : cases) {
            SCOPED_TRACE("line " + std::to_string(c.line));
            for (int way = 0; way < 2; ++way) {
                const NODE *one = way ? c.second : c.first, *other = way ? c.first : c.second;
                EXPECT_EQ(trees_are_congruent(one, other), c.expected == always);
                EXPECT_EQ(trees_are_congruent_se_ok(one, other), c.expected != never);
            }
        }
    }

    SYMTAB *k, *u;
};
using Conditions = Congruence;
using Sums = Congruence;

TEST_F(Congruence, LeavesAndOperators) {
    NODE *high = icon(1);
    high->u.lval = INT65(0x100000001LL);
    NODE *negative = icon(1);
    negative->u.lval = INT65(1, 0, ~0u);
    check({
        {__LINE__, nullptr, nullptr, always},
        {__LINE__, I(), nullptr, never},
        {__LINE__, I(), I(), always},
        {__LINE__, I(), J(), never},
        {__LINE__, icon(1), icon(1), always},
        {__LINE__, icon(1), icon(2), never},
        {__LINE__, icon(1), high, never},
        {__LINE__, icon(1), negative, never},
        {__LINE__, icon(1), icon(1, short_t), never},
        {__LINE__, icon(1), icon(1, tp->uint_type()), never},
        {__LINE__, scon("abc"), scon("abc"), always},
        {__LINE__, scon("abc"), scon("abd"), never},
        {__LINE__, scon("abc"), scon(std::string_view("abc\0", 4)), never},
        {__LINE__, scon(""), scon(""), always},
        {__LINE__, fcon("1.5"), fcon("1.5"), always},
        {__LINE__, fcon("0"), fcon("-0"), never},
        {__LINE__, fcon("nan"), fcon("nan"), always},
        {__LINE__, binary(OP::MINUS, I(), J()), binary(OP::MINUS, I(), J()), always},
        {__LINE__, binary(OP::MINUS, I(), J()), binary(OP::MINUS, J(), I()), never},
        {__LINE__, binary(OP::MINUS, I(), J()), binary(OP::PLUS, I(), J()), never},
        {__LINE__, binary(OP::DIV, I(), J()), binary(OP::DIV, I(), K()), never},
        {__LINE__, tree(OP::UMULT, int_t, name(p)), tree(OP::UMULT, int_t, name(p)), always},
        {__LINE__, tree(OP::UMULT, int_t, name(p)), tree(OP::UMULT, int_t, name(q)), never},
        {__LINE__, tree(OP::UMULT, int_t, name(p), I()), tree(OP::UMULT, int_t, name(p)), never},
        {__LINE__, member_of(name(s)), member_of(name(s)), always},
        {__LINE__, intrinsic(OP::ICALL, "f", I()), intrinsic(OP::ICALL, "f", I()), always},
        {__LINE__, intrinsic(OP::ICALL, "f", I()), intrinsic(OP::ICALL, "g", I()), never},
        {__LINE__, tree(OP::SCONV, float_t, I()), tree(OP::SCONV, float_t, I()), always},
        {__LINE__, tree(OP::SCONV, short_t, I()), tree(OP::SCONV, int_t, I()), never},
        {__LINE__, tree(OP::EXPRSTUB, int_t), tree(OP::EXPRSTUB, int_t), never},
    });
    const NODE *stub = tree(OP::DDNODE, int_t, I());
    EXPECT_TRUE(trees_are_congruent(stub, stub)) << "itself, though a wrapper is not compared";
}

TEST_F(Congruence, ReservedHandlesEqualNothing) {
    for (std::uintptr_t handle : {0, 1}) {
        const NODE *value = mix(handle);
        EXPECT_FALSE(trees_are_congruent(value, value));
        EXPECT_FALSE(trees_are_congruent(value, mix(handle), true));
    }
    check({{__LINE__, mix(2), mix(2), always}, {__LINE__, mix(2), mix(3), never}});
}

TEST_F(Congruence, Wrappers) {
    const auto sum = [this] { return plus(I(), J()); };
    NODE *value = sum();
    check({
        {__LINE__, unary(OP::OUIALIGN, I()), I(), always},
        {__LINE__, unary(OP::NONALIGN, I()), unary(OP::IDENTITY, I()), always},
        {__LINE__, unary(OP::IDENTITY, unary(OP::OUIALIGN, sum())), sum(), always},
        {__LINE__, unary(OP::IDENTITY, I()), J(), never},
        {__LINE__, binary(OP::CSE_ORIG, K(), value), binary(OP::CSE_DUPE, K(), value), always},
        {__LINE__, binary(OP::CSE_ORIG, K(), sum()), sum(), always},
        {__LINE__, binary(OP::CSE_ORIG, K(), sum()), K(), never},
    });
    const NODE *reserved = mix(0);
    EXPECT_FALSE(trees_are_congruent(unary(OP::IDENTITY, const_cast<NODE *>(reserved)), reserved));
}

TEST_F(Congruence, EffectsAndVolatiles) {
    const auto dd = [this] { return tree(OP::DDNODE, int_t, I()); };
    const auto volatile_int = vol->type;
    const auto indirect = [&] { return tree(OP::UMULT, volatile_int, name(p)); };
    check({
        {__LINE__, asg(I(), J()), asg(I(), J()), se_ok_only},
        {__LINE__, asg(I(), J()), asg(I(), K()), never},
        {__LINE__, plus(asg(I(), J()), K()), plus(asg(I(), J()), K()), se_ok_only},
        {__LINE__, call(g, {I()}), call(g, {I()}), se_ok_only},
        {__LINE__, call(va, {I()}, 1), call(va, {I()}, 2), never},
        {__LINE__, comma(I(), J(), OP::COMMAOP), comma(I(), J(), OP::COMMAOP), se_ok_only},
        {__LINE__, name(vol), name(vol), se_ok_only},
        {__LINE__, plus(name(vol), I()), plus(name(vol), I()), se_ok_only},
        {__LINE__, indirect(), indirect(), se_ok_only},
        {__LINE__, dd(), dd(), never},
        {__LINE__, pragma(PRG_UNROLL, {"4"}), pragma(PRG_UNROLL, {"4"}), se_ok_only},
        {__LINE__, pragma(PRG_UNROLL, {"4"}), pragma(PRG_UNROLL, {"5"}), never},
        {__LINE__, pragma(PRG_UNROLL, {"4"}), pragma(PRG_UNROLL, {"4", "4"}), never},
        {__LINE__, pragma(PRG_UNROLL, {}), pragma(PRG_MUST_ITERATE, {}), never},
        {__LINE__, assembly("nop"), assembly("nop"), se_ok_only},
        {__LINE__, assembly("nop"), assembly("nap"), never},
    });
    const NODE *itself = asg(I(), J());
    EXPECT_TRUE(trees_are_congruent(itself, itself)) << "one and the same node";
}

TEST_F(Congruence, ExchangedOperands) {
    const struct {
        int op, other;
    } same[] = {
        {OP::PLUS, OP::PLUS}, {OP::MULT, OP::MULT}, {OP::ANDB, OP::ANDB}, {OP::ORB, OP::ORB},
        {OP::XORB, OP::XORB}, {OP::EQ, OP::EQ},     {OP::NEQ, OP::NEQ},   {OP::LE, OP::GE},
        {OP::LT, OP::GT},     {OP::ULE, OP::UGE},   {OP::UGT, OP::ULT},
    };
    for (const auto &c : same) {
        check({{c.op, binary(c.op, I(), J()), binary(c.other, J(), I()), always}});
        check({{c.op, binary(c.op, I(), J()), binary(c.other, J(), K()), never}});
        if (c.op != c.other)
            check({{c.op, binary(c.op, I(), J()), binary(c.other, I(), J()), never}});
    }
    for (int op : {OP::MINUS, OP::DIV, OP::SLL, OP::ANDAND, OP::COMMA})
        check({{op, binary(op, I(), J()), binary(op, J(), I()), never}});
    const auto sum = [this](NODE *l, NODE *r) { return tree(OP::PLUS, float_t, l, r); };
    check({
        {__LINE__, sum(name(x), fcon("1")), sum(fcon("1"), name(x)), always},
        {__LINE__, plus(binary(OP::MULT, I(), J()), K()), plus(K(), binary(OP::MULT, J(), I())),
         always},
    });
}

TEST_F(Congruence, NamesOfOneSymbol) {
    NODE *as_const = I();
    as_const->type = tp->mk_qual(int_t, TQ_const);
    NODE *as_float = I();
    as_float->type = float_t;
    NODE *open_array = name(a), *array = name(a);
    open_array->type = tp->mk_array(int_t, 0, 0, int_t->align(), false, false);
    check({
        {__LINE__, I(), as_const, always},
        {__LINE__, I(), as_float, never},
        {__LINE__, open_array, array, always},
    });
}

TEST_F(Congruence, PromotedArguments) {
    SYMTAB *fixed = level("n", tp->mk_qual(short_t, TQ_const), 2);
    SYMTAB *other_name = level("m", fixed->type, 2), *other_level = level("n", fixed->type, 3);
    const auto converted = [this](int op, TYPE *to, SYMTAB *from) {
        return tree(op, to, name(from));
    };
    SYMTAB *changes = level("n", short_t, 2);
    check({
        {__LINE__, name(fixed), converted(OP::SCONV, short_t, parm), always},
        {__LINE__, name(fixed), converted(OP::ISP2CHAR, short_t, parm), always},
        {__LINE__, name(fixed), converted(OP::SCONV, int_t, parm), never},
        {__LINE__, name(fixed), converted(OP::UMINUS, short_t, parm), never},
        {__LINE__, name(fixed), converted(OP::SCONV, short_t, body_parm), never},
        {__LINE__, name(fixed), tree(OP::SCONV, short_t, plus(name(parm), icon(1))), never},
        {__LINE__, name(changes), converted(OP::SCONV, short_t, parm), never},
        {__LINE__, name(other_name), converted(OP::SCONV, short_t, parm), never},
        {__LINE__, name(other_level), converted(OP::SCONV, short_t, parm), never},
    });
}

TEST_F(Congruence, AddressesOfMembers) {
    fkMDATA second;
    second.index = 1;
    second.name = "v";
    second.type = tp->mk_qual(int_t, TQ_volatile);
    TYPE *csu = tp->mk_struct("t", 32, 32, true);
    fkMDATA *volatile_member = tp->append_mdata(csu, second);
    csu = tp->type_frozen(csu);
    SYMTAB *t = local("t", csu);
    const auto part = [&] {
        NODE *node = tree(OP::FIELD, second.type);
        node->u.field = {csu, volatile_member};
        return tree(OP::STDOT, second.type, name(t), node);
    };
    check({
        {__LINE__, address(member_of(name(s))), address(member_of(name(s))), always},
        {__LINE__, address(member_of(name(s))), address(member_of(name(i))), never},
        {__LINE__, address(member_of(name(s))), address(name(s)), never},
        {__LINE__, part(), part(), se_ok_only},
        {__LINE__, address(part()), address(part()), always},
        {__LINE__, address(I()), address(I()), always},
        {__LINE__, address(I()), address(J()), never},
    });
}

TEST_F(Congruence, LabelsByBlock) {
    BBLK *here = mkbblock(nullptr, nullptr, currfuninfo);
    BBLK *there = mkbblock(nullptr, nullptr, currfuninfo);
    NODE *first = mk_LABELREF_to_bb(here, nullptr);
    LBL alias;
    alias.bb = here;
    alias.index = 999;
    NODE *by_alias = tree(OP::LABEL, int_t);
    by_alias->u.label.lbl = &alias;
    NODE *numbered = mk_LABELDEF(mklabel(3, nullptr, nullptr));
    numbered->op = OP::LABEL;
    check({
        {__LINE__, numbered, label(3), always},
        {__LINE__, numbered, label(4), never},
        {__LINE__, first, label(here->label->index), never},
        {__LINE__, first, mk_LABELREF_to_bb(here, nullptr), always},
        {__LINE__, first, by_alias, always},
        {__LINE__, first, mk_LABELREF_to_bb(there, nullptr), never},
        {__LINE__, label(3), label(3), always},
        {__LINE__, label(3), label(4), never},
    });
}

TEST_F(Conditions, AsTruthValues) {
    const auto relation = [this](int op) { return binary(op, I(), J()); };
    const auto no = [](NODE *node) { return mk_EXCLAIM(node); };
    const auto test = [this](int op, NODE *node) { return binary(op, node, icon(0)); };
    const auto real = [this](int op) { return binary(op, name(x), fcon("1")); };
    const struct {
        int line;
        NODE *first, *second;
        bool expected;
    } cases[] = {
        {__LINE__, I(), I(), true},
        {__LINE__, I(), J(), false},
        {__LINE__, I(), no(I()), false},
        {__LINE__, I(), no(no(I())), true},
        {__LINE__, I(), test(OP::NEQ, I()), true},
        {__LINE__, no(I()), test(OP::EQ, I()), true},
        {__LINE__, I(), test(OP::EQ, test(OP::EQ, I())), true},
        {__LINE__, I(), binary(OP::NEQ, I(), icon(1)), false},
        {__LINE__, no(relation(OP::LT)), relation(OP::GE), true},
        {__LINE__, no(relation(OP::LT)), binary(OP::LE, J(), I()), true},
        {__LINE__, no(relation(OP::LT)), relation(OP::GT), false},
        {__LINE__, no(relation(OP::EQ)), relation(OP::NEQ), true},
        {__LINE__, no(relation(OP::ULT)), relation(OP::UGE), true},
        {__LINE__, no(relation(OP::LT)), relation(OP::UGE), false},
        {__LINE__, no(real(OP::LT)), real(OP::GE), false},
        {__LINE__, no(real(OP::LT)), no(real(OP::LT)), true},
        {__LINE__, no(real(OP::EQ)), real(OP::NEQ), true},
        {__LINE__, binary(OP::ANDAND, I(), J()), binary(OP::ANDAND, test(OP::NEQ, I()), J()), true},
        {__LINE__, binary(OP::ANDAND, I(), J()), binary(OP::ANDAND, J(), I()), false},
        {__LINE__, binary(OP::ANDAND, I(), J()), binary(OP::OROR, I(), J()), false},
        {__LINE__, no(binary(OP::ANDAND, I(), J())), binary(OP::OROR, no(I()), no(J())), true},
        {__LINE__, no(binary(OP::ANDAND, I(), J())), binary(OP::OROR, I(), J()), false},
        {__LINE__, no(binary(OP::ANDAND, I(), J())), binary(OP::ANDAND, no(I()), no(J())), false},
    };
    for (const auto &c : cases) {
        EXPECT_EQ(bools_are_congruent(c.first, c.second), c.expected) << "line " << c.line;
        EXPECT_EQ(bools_are_congruent(c.second, c.first), c.expected) << "line " << c.line;
    }
    EXPECT_FALSE(bools_are_congruent(asg(I(), J()), asg(I(), J())));
    EXPECT_TRUE(bools_are_congruent(asg(I(), J()), asg(I(), J()), true));
}

TEST_F(Conditions, Branches) {
    const auto branch = [](NODE *condition, int yes, int no) {
        return mk_IF(condition, yes, ~0u, no, ~0u, nullptr);
    };
    const auto less = [this] { return binary(OP::LT, I(), J()); };
    const auto not_less = [this] { return binary(OP::GE, I(), J()); };
    check({
        {__LINE__, branch(less(), 1, 2), branch(less(), 1, 2), se_ok_only},
        {__LINE__, branch(less(), 1, 2), branch(less(), 2, 1), never},
        {__LINE__, branch(less(), 1, 2), branch(not_less(), 2, 1), se_ok_only},
        {__LINE__, branch(less(), 1, 2), branch(not_less(), 1, 2), never},
        {__LINE__, branch(less(), 1, 2), branch(mk_EXCLAIM(less()), 2, 1), se_ok_only},
        {__LINE__, branch(I(), 1, 2), branch(binary(OP::EQ, I(), icon(0)), 2, 1), se_ok_only},
        {__LINE__, branch(I(), 1, 2), branch(I(), 1, 3), never},
    });
}

TEST_F(Sums, RegroupedOperands) {
    for (int op : {OP::PLUS, OP::MULT, OP::ANDB, OP::ORB, OP::XORB}) {
        const auto b = [&](NODE *l, NODE *r) { return binary(op, l, r); };
        const auto left = [&] { return b(b(I(), J()), K()); };
        check({
            {op, left(), b(I(), b(J(), K())), always},
            {op, left(), b(b(K(), I()), J()), always},
            {op, left(), b(K(), b(I(), J())), always},
            {op, left(), b(J(), b(K(), I())), always},
            {op, left(), b(b(I(), J()), J()), never},
            {op, left(), b(b(I(), I()), J()), never},
            {op, b(b(I(), I()), J()), b(b(I(), J()), J()), never},
            {op, left(), b(I(), J()), never},
            {op, b(left(), icon(1)), b(b(icon(1), K()), b(J(), I())), always},
            // Three operands are regrouped, not four.
            {op, b(left(), icon(1)), b(b(I(), icon(1)), b(J(), K())), never},
        });
        const auto f = [&](NODE *l, NODE *r) { return tree(op, float_t, l, r); };
        check({{op, f(f(name(x), fcon("1")), fcon("2")), f(name(x), f(fcon("1"), fcon("2"))),
                never}});
    }
    const auto minus = [this](NODE *l, NODE *r) { return binary(OP::MINUS, l, r); };
    const auto wide = [this](NODE *l, NODE *r) { return plus(l, tree(OP::SCONV, int_t, r)); };
    check({
        {__LINE__, minus(minus(I(), J()), K()), minus(I(), minus(J(), K())), never},
        {__LINE__, plus(binary(OP::MULT, I(), J()), K()), binary(OP::MULT, I(), plus(J(), K())),
         never},
        // A sum of another type wraps elsewhere.
        {__LINE__, wide(I(), tree(OP::PLUS, short_t, icon(1, short_t), icon(2, short_t))),
         plus(plus(I(), icon(1)), icon(2)), never},
    });
}

// Sums that differ deep down, where trying each order of each pair would never end.
TEST_F(Sums, LongOnesAreDecided) {
    const auto tower = [this](int n, bool to_left, int lowest) {
        NODE *sum = icon(lowest);
        while (--n > 0) {
            NODE *term = binary(OP::MULT, I(), icon(n));
            sum = to_left ? plus(sum, term) : plus(term, sum);
        }
        return sum;
    };
    EXPECT_TRUE(trees_are_congruent(tower(200, true, 1), tower(200, true, 1)));
    EXPECT_TRUE(trees_are_congruent(tower(200, true, 1), tower(200, false, 1)));
    EXPECT_FALSE(trees_are_congruent(tower(200, true, 1), tower(200, true, 2)));
    EXPECT_FALSE(trees_are_congruent(tower(200, true, 1), tower(200, false, 2)));
    EXPECT_FALSE(trees_are_congruent(tower(200, true, 1), tower(199, true, 1)));
    const auto balanced = [this](auto &self, int depth, int &leaf) -> NODE * {
        if (depth == 0) return icon(leaf++ % 3);
        NODE *left = self(self, depth - 1, leaf);
        return plus(left, self(self, depth - 1, leaf));
    };
    int first = 0, second = 1;
    NODE *one = balanced(balanced, 8, first), *other = balanced(balanced, 8, second);
    EXPECT_TRUE(trees_are_congruent(one, copy_tree(one)));
    trees_are_congruent(one, other); // of 0, 1, 2 and of 1, 2, 0: comes to an end
}

TEST_F(Congruence, AsDeepAsAFileAllows) {
    NODE *sum = I(), *chain = name(p), *right = I();
    for (int n = 1; n < 10000; ++n) {
        sum = plus(sum, icon(n));
        right = plus(icon(n), right);
        chain = tree(OP::UMULT, int_p, chain);
    }
    for (NODE *node : {sum, chain, right}) {
        NODE *copy = copy_tree(node), *changed = copy_tree(node);
        EXPECT_TRUE(trees_are_congruent(node, copy));
        NODE *lowest = changed;
        while (lowest->left && lowest->op != OP::NAME)
            lowest = lowest->left->op == OP::ICON ? lowest->right : lowest->left;
        lowest->u.name.sym = k;
        EXPECT_FALSE(trees_are_congruent(node, changed));
    }
}

// Congruent trees have one value, and a tree stays congruent when operands are exchanged.
TEST_F(Congruence, AgreesWithValues) {
    constexpr int ops[] = {OP::PLUS, OP::MULT, OP::ANDB, OP::ORB, OP::XORB, OP::MINUS,
                           OP::LT,   OP::GE,   OP::GT,   OP::LE,  OP::EQ};
    std::mt19937 random(7);
    const auto pick = [&random](unsigned n) { return random() % n; };
    const auto make = [&](auto &self, int depth) -> NODE * {
        if (depth == 0 || pick(5) == 0)
            return pick(2) ? name(pick(2) ? i : j) : icon(static_cast<int>(pick(2)));
        NODE *left = self(self, depth - 1);
        return binary(ops[pick(pick(2) ? 2 : std::size(ops))], left, self(self, depth - 1));
    };
    const auto shuffle = [&](NODE *node) {
        const auto walk = [&](auto &self, NODE *t) -> void {
            if (!t) return;
            if (commute_inv[t->op] != OP::ILLOP && pick(2)) {
                t->op = commute_inv[t->op];
                std::swap(t->left, t->right);
            }
            self(self, t->left);
            self(self, t->right);
        };
        walk(walk, node);
        return node;
    };
    const auto value = [&](const NODE *node, unsigned vi, unsigned vj) {
        const auto eval = [&](auto &self, const NODE *t) -> std::uint32_t {
            if (t->op == OP::ICON) return t->icon_uvalue();
            if (t->op == OP::NAME) return t->u.name.sym == i ? vi : vj;
            const std::uint32_t l = self(self, t->left), r = self(self, t->right);
            const auto sl = static_cast<std::int32_t>(l), sr = static_cast<std::int32_t>(r);
            switch (t->op) {
            case OP::PLUS: return l + r;
            case OP::MINUS: return l - r;
            case OP::MULT: return l * r;
            case OP::ANDB: return l & r;
            case OP::ORB: return l | r;
            case OP::XORB: return l ^ r;
            case OP::LT: return sl < sr;
            case OP::LE: return sl <= sr;
            case OP::GT: return sl > sr;
            case OP::GE: return sl >= sr;
            default: return l == r;
            }
        };
        return eval(eval, node);
    };
    int found = 0;
    for (int n = 0; n < 20000; ++n) {
        NODE *one = make(make, 3), *other = make(make, 3);
        NODE *shuffled = shuffle(copy_tree(one));
        ASSERT_TRUE(trees_are_congruent(one, shuffled)) << stmt2infix(one);
        const bool congruent = trees_are_congruent(one, other);
        ASSERT_EQ(trees_are_congruent(other, one), congruent);
        found += congruent;
        const bool equal_conditions = bools_are_congruent(one, other);
        for (unsigned probe = 0; probe < 4; ++probe) {
            const auto vi = static_cast<unsigned>(random()), vj = static_cast<unsigned>(random());
            const std::uint32_t first = value(one, vi, vj), second = value(other, vi, vj);
            ASSERT_TRUE(!congruent || first == second) << stmt2infix(one);
            ASSERT_TRUE(!equal_conditions || (first != 0) == (second != 0)) << stmt2infix(one);
        }
        for (NODE *node : {one, other, shuffled})
            erase_tree(node);
    }
    EXPECT_GT(found, 100) << "enough pairs to say something";
}
