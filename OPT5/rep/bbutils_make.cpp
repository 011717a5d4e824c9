// Constructors of tree nodes and of statement lists.
#include "OPT5/driver/abort.h"
#include "OPT5/rep/bblk.h"
#include "OPT5/rep/bbutils.h"
#include "OPT5/rep/node_pool.h"
#include "OPT5/rep/symbol.h"
#include "OPT5/rep/type_pkg.h"

namespace {
// Stores the integer payload where the opcode keeps it.
void store_integer(NODE *node, const INT65 &val) {
    switch (node->op) {
    case OP::LABEL:
    case OP::LABELDEF: node->u.label.index = val.s32(); break;
    case OP::SCON: node->u.scon.length = val.u32(); break;
    case OP::ASM: node->u.asm_.kind = val.u32(); break;
    case OP::CALL:
    case OP::UCALL: node->u.call.num_vargs = val.u32(); break;
    case OP::NAME:
    case OP::FCON:
    case OP::FIELD:
    case OP::ICALL:
    case OP::UICALL:
    case OP::MCALL:
    case OP::UMCALL:
    case OP::PPRAGMA:
    case OP::STASG:
    case OP::DDNODE:
    case OP::MIXVALUE:
    case OP::QUEST:
    case OP::COLON:
    case OP::EPVAL:
    case OP::SSA_PHI:
    case OP::SSA_USE:
    case OP::SSA_DEF:
    case OP::SSA_MU:
    case OP::SSA_CHI: OPTASSERT(val.is_zero()); break;
    default: node->u.lval = val;
    }
}

NODE *mk_intrinsic(int op, int op_without_args, const char *name, NODE *args, TYPE *type) {
    NODE *call = maketree(args ? op : op_without_args, args, nullptr, type, nullptr);
    call->mk_icall(name);
    return call;
}
} // namespace

NODE *maketree(int op, NODE *left, NODE *right, TYPE *type, LS *ls) {
    NODE *node = pool_node();
    node->op = static_cast<std::uint8_t>(op);
    if (op == OP::SCONV || op == OP::PCONV || op == OP::ACONV) type = type->type_qualified();
    node->type = type;
    node->left = left;
    node->right = right;
    node->scope = ls;
    node->set_edge_profile_value(~0u);
    return node;
}

NODE *mktree(int op, NODE *left, NODE *right, TYPE *type, SYMTAB *sym, INT65 val) {
    NODE *node = maketree(op, left, right, type, nullptr);
    if (sym) {
        OPTASSERT(op == OP::NAME);
        node->u.name = {sym, sym->type};
    } else {
        store_integer(node, val);
    }
    return node;
}

NODE *mk_ASG(NODE *lhs, NODE *rhs) {
    TYPE *type = lhs->type;
    const int op = type->is_array() && !type->is_vector() ? OP::ARASG
                   : type->is_csu()                       ? OP::STASG
                                                          : OP::ASG;
    NODE *asg = maketree(op, lhs, rhs, type, lhs->scope);
    if (op == OP::STASG) asg->u.stasg.csu = type;
    return asg;
}

NODE *mk_COMMAOP(NODE *a, NODE *b) {
    return a ? maketree(OP::COMMAOP, a, b, b->type, nullptr) : b;
}

NODE *mk_EXCLAIM(NODE *x) {
    return maketree(OP::EXCLAIM, x, nullptr, tp->int_type(), nullptr);
}

NODE *mk_ICALL(const char *name, NODE *args, TYPE *type) {
    return mk_intrinsic(OP::ICALL, OP::UICALL, name, args, type);
}

NODE *mk_MCALL(const char *name, NODE *args, TYPE *type) {
    return mk_intrinsic(OP::MCALL, OP::UMCALL, name, args, type);
}

NODE *mk_ICON(INT65 val, TYPE *type) {
    if (type->is_ptr()) type = tp->short_type();
    OPTASSERT(type->is_int_or_enum());
    return mktree(OP::ICON, nullptr, nullptr, type, nullptr, truncate_to_type(val, type));
}

NODE *mk_MINUS(NODE *a, NODE *b) {
    if (!b) return a;
    if (!a) return maketree(OP::UMINUS, b, nullptr, promoted_type(b->type), nullptr);
    TYPE *type = a->type->is_ptr() ? tp->short_type() : combined_type(a, b);
    return maketree(OP::MINUS, a, b, type, nullptr);
}

NODE *mk_NAME(SYMTAB *sym, LS *ls) {
    NODE *name = maketree(OP::NAME, nullptr, nullptr, sym->type, ls ? ls : sym->scope);
    name->u.name = {sym, sym->type};
    return name;
}

NODE *mk_LABELDEF(LBL *lbl) {
    NODE *def = maketree(OP::LABELDEF, nullptr, nullptr, tp->int_type(), nullptr);
    def->u.label = {lbl, lbl->index, ~0u};
    return def;
}

NODE *mk_LABELREF(INT65 index, unsigned profile) {
    NODE *label = mktree(OP::LABEL, nullptr, nullptr, tp->int_type(), nullptr, index);
    label->set_edge_profile_value(profile);
    return label;
}

NODE *mk_LABELREF_to_bb(BBLK *bb, LS *ls) {
    if (!bb->label) bb->label = mklabel(0, nullptr, bb);
    NODE *label = maketree(OP::LABEL, nullptr, nullptr, tp->int_type(), ls);
    label->u.label.lbl = bb->label;
    return label;
}

NODE *mk_IF(NODE *cond, INT65 t_index, unsigned t_profile, INT65 f_index, unsigned f_profile,
            LS *ls) {
    NODE *t_label = mk_LABELREF(t_index, t_profile), *f_label = mk_LABELREF(f_index, f_profile);
    t_label->scope = f_label->scope = ls;
    NODE *arms = maketree(OP::COMMA, t_label, f_label, tp->int_type(), ls);
    return maketree(OP::IF, cond, arms, tp->int_type(), ls);
}

NODE *mk_BRANCH(BBLK *bb, LS *ls) {
    return maketree(OP::BRANCH, mk_LABELREF_to_bb(bb, ls), nullptr, tp->int_type(), ls);
}

// --- lists

LIST *mklist(NODE *node, LIST *rest, unsigned a, unsigned b) {
    LIST *cell = pool_list_cell();
    *cell = {node, rest, nullptr, static_cast<std::uint16_t>(a), static_cast<std::uint16_t>(b)};
    return cell;
}

LIST *mkelist(NODE *node, LIST *rest, PSN *psn) {
    LIST *cell = pool_list_cell();
    *cell = {node, rest, psn, 0, 0};
    return cell;
}

LIST *append_node_to_list(NODE *node, LIST *list) {
    LIST *cell = mkelist(node, nullptr, nullptr);
    if (!list) return cell;
    LIST *last = list;
    while (last->rest)
        last = last->rest;
    last->rest = cell;
    return list;
}
