// Assignments in all their forms.
#include "tools/ic-cc/ic_cc.h"

using namespace clang;

node *translator::assign(node *target, node *source) {
    const type *t = unqualified(target->ntype);
    int op = is_record(t) ? OP::STASG : is_array(t) ? OP::ARASG : OP::ASG;
    return make(op, t, target, source);
}

static int compound_opcode(BinaryOperatorKind op) {
    switch (op) {
    case BO_AddAssign: return OP::PLUSASG;
    case BO_SubAssign: return OP::MINUSASG;
    case BO_MulAssign: return OP::MULTASG;
    case BO_DivAssign: return OP::DIVASG;
    case BO_RemAssign: return OP::MODASG;
    case BO_ShlAssign: return OP::SLLASG;
    case BO_ShrAssign: return OP::SRLASG;
    case BO_AndAssign: return OP::ANDBASG;
    case BO_OrAssign: return OP::ORBASG;
    default: return OP::XORBASG;
    }
}

// True where the low bits of the result come from the low bits of the operands alone.
static bool is_modular(int op) {
    return op != OP::DIVASG && op != OP::MODASG && op != OP::SRLASG;
}

// x op= y computes in the promoted type of x. Where C computes in another type and the result could
// differ, it becomes x = (type of x)((computation type)x op y).
node *translator::compound_assign(const CompoundAssignOperator *e) {
    int op = compound_opcode(e->getOpcode());
    node *target = lvalue(e->getLHS());
    if (hoists(e->getRHS())) target = settled_lvalue(target);
    node *source = rvalue(e->getRHS());
    return below_commas(target, [&](node *lv) -> node * {
        const type *t = unqualified(lv->ntype);
        if (is_pointer(t)) return make(op, t, lv, scaled(source, t, e->getOperatorLoc()));
        const type *own = promoted(t);
        const type *computed = value_type(e->getComputationLHSType());
        bool shift = op == OP::SLLASG || op == OP::SRLASG;
        bool both_float = ::is_floating(own) && ::is_floating(computed);
        bool both_integer = is_integer(own) && is_integer(computed);
        bool same = own == computed || both_float ||
                    (both_integer && (is_modular(op) || is_signed(own) == is_signed(computed)));
        if (same && !is_bool(t)) return make(op, t, lv, shift ? source : convert_tree(source, own));
        node *before = nullptr;
        lv = repeatable(lv, before);
        node *old = convert_tree(copy_tree(lv), computed);
        node *result = make(op_of_opASG[op], computed, old, source);
        return comma(before, assign(lv, convert_tree(result, t)));
    });
}

node *translator::increment(const UnaryOperator *e, bool value_wanted) {
    node *target = lvalue(e->getSubExpr());
    bool up = e->isIncrementOp();
    return below_commas(target, [&](node *lv) -> node * {
        const type *t = unqualified(lv->ntype);
        bool postfix = e->isPostfix() && value_wanted;
        if (is_bool(t) || (::is_floating(t) && postfix)) {
            node *before = nullptr;
            lv = repeatable(lv, before);
            node *one = ::is_floating(t) ? fcon(1, strip(t)) : icon(1);
            const type *work = promoted(t);
            symbol *saved = postfix ? temporary(t) : nullptr;
            if (saved) before = comma(before, assign(name(saved), copy_tree(lv)));
            node *old = convert_tree(saved ? name(saved) : copy_tree(lv), work);
            node *next = make(up ? OP::PLUS : OP::MINUS, work, old, one);
            node *store = comma(before, assign(lv, convert_tree(next, t)));
            return saved ? comma(store, name(saved)) : store;
        }
        node *step;
        if (is_pointer(t))
            step = icon(units(stride_bits(t, e->getOperatorLoc())));
        else if (::is_floating(t))
            step = fcon(1, strip(t));
        else
            step = icon(1, promoted(t));
        int op = postfix ? (up ? OP::PLUSPLUS : OP::MINMIN) : (up ? OP::PLUSASG : OP::MINUSASG);
        return make(op, t, lv, step);
    });
}
