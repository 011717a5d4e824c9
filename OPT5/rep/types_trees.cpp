// The types of trees: what an operator gives, what an lvalue stands for, casts of pointers.
#include "OPT5/driver/abort.h"
#include "OPT5/rep/bbutils.h"
#include "OPT5/rep/symbol.h"
#include "OPT5/rep/type_pkg.h"

namespace {
TYPE *normalized_value_type(TYPE *type) {
    return type->is_enum() ? normalized_underlying_type(type) : type->normalized();
}

bool is_number(const TYPE *type) {
    return type->is_int_or_enum() || type->is_floating();
}

// Vectors and complex numbers are operands of their own kind alone.
TYPE *type_of_arithmetic(TYPE *left, TYPE *right, bool integers_only) {
    if (left->is_vector() || left->is_complex())
        return equiv_mtypes(left, right) ? essential_type(left) : nullptr;
    const bool fits = integers_only ? left->is_int_or_enum() && right->is_int_or_enum()
                                    : is_number(left) && is_number(right);
    return fits ? combined_type_for_types(left, right)->normalized() : nullptr;
}

TYPE *type_of_sum(TYPE *left, TYPE *right) {
    if (left->is_ptr() && right->is_int_or_enum()) return essential_type(left);
    if (right->is_ptr() && left->is_int_or_enum()) return essential_type(right);
    return type_of_arithmetic(left, right, false);
}

TYPE *type_of_difference(TYPE *left, TYPE *right) {
    if (left->is_ptr() && right->is_ptr()) return wide_enough_int_type(left->size(), true);
    return right->is_ptr() ? nullptr : type_of_sum(left, right);
}

TYPE *type_of_choice(TYPE *left, TYPE *right) {
    if (equiv_mtypes(left, right)) return essential_type(left);
    if (left->is_ptr() && right->is_ptr()) // to void if one is
        return essential_type(right->type_pointed_to()->is_void() ? right : left);
    if (left->is_ptr() && right->is_integer()) return essential_type(left);
    if (right->is_ptr() && left->is_integer()) return essential_type(right);
    return type_of_arithmetic(left, right, false);
}

TYPE *type_of_binary(int op, TYPE *left, TYPE *right) {
    switch (op) {
    case OP::PLUS: return type_of_sum(left, right);
    case OP::MINUS: return type_of_difference(left, right);
    case OP::MULT:
    case OP::DIV: return type_of_arithmetic(left, right, false);
    case OP::MOD:
    case OP::ANDB:
    case OP::ORB:
    case OP::XORB: return type_of_arithmetic(left, right, true);
    case OP::SLL:
    case OP::SRL:
        if (left->is_vector()) return essential_type(left);
        return left->is_int_or_enum() && right->is_int_or_enum() ? promoted_type(left)->normalized()
                                                                 : nullptr;
    case OP::ANDAND:
    case OP::OROR:
        return left->is_scalar() && right->is_scalar() ? tp->int_type()->normalized() : nullptr;
    case OP::COMMAOP:
    case OP::QUEST: return essential_type(right); // the right of a QUEST is its COLON
    case OP::COLON: return type_of_choice(left, right);
    case OP::COMPLEX:
        return is_number(left) && equiv_mtypes(left, right)
                   ? get_complex_type(normalized_value_type(left->stds()))->normalized()
                   : nullptr;
    default: break;
    }
    if (opcode_is_ASG(op) || op == OP::PLUSPLUS || op == OP::MINMIN)
        return essential_type(normalized_value_type(left));
    const bool compares = boolean_inv[op] != OP::ILLOP;
    return compares && left->is_scalar() && right->is_scalar() ? tp->int_type()->normalized()
                                                               : nullptr;
}

TYPE *type_of_unary(int op, TYPE *operand) {
    switch (op) {
    case OP::UMINUS:
    case OP::ABS:
    case OP::SQR:
        return is_number(operand) ? promoted_type(operand)->normalized()
                                  : type_of_arithmetic(operand, operand, false);
    case OP::NOTB:
        return operand->is_int_or_enum() ? promoted_type(operand)->normalized()
                                         : type_of_arithmetic(operand, operand, true);
    case OP::SQRT: return operand->is_floating() ? promoted_type(operand)->normalized() : nullptr;
    case OP::EXCLAIM: return operand->is_scalar() ? tp->int_type()->normalized() : nullptr;
    case OP::UAND: return tp->mk_ptr(operand)->normalized();
    case OP::UMULT:
        return operand->is_ptr() || operand->is_ref()
                   ? normalized_value_type(operand->type_pointed_to())
                   : nullptr;
    case OP::REAL:
    case OP::IMAG: return operand->is_complex() ? operand->part_type()->normalized() : nullptr;
    case OP::IDENTITY:
    case OP::OUIALIGN:
    case OP::NONALIGN: return operand->normalized();
    default: return nullptr;
    }
}

// The declared type of what the lvalue stands for; null when it is not known.
TYPE *declared_type(const NODE *lvalue) {
    // restrict is said of a pointer, not of what holds it.
    constexpr unsigned inherited =
        TQ_const | TQ_volatile | TQ_packed | TQ_near | TQ_far | TQ_ioport | TQ_onchip;
    TYPE *from = lvalue->left ? lvalue->left->type : nullptr;
    const bool by_address = lvalue->op == OP::UMULT || lvalue->op == OP::STREF;
    if (by_address)
        from = from && (from->is_ptr() || from->is_ref()) ? from->type_pointed_to() : nullptr;
    switch (lvalue->op) {
    case OP::NAME: return lvalue->u.name.sym ? lvalue->u.name.sym->type : nullptr;
    case OP::UMULT: return from;
    case OP::STDOT:
    case OP::STREF: break;
    default: return nullptr;
    }
    const NODE *field = lvalue->right;
    if (!from || !field || field->op != OP::FIELD || !field->u.field.mdata) return nullptr;
    TYPE *member = field->u.field.mdata->type;
    return member ? tp->mk_qual(member, from->qual_kind(false) & inherited) : nullptr;
}
} // namespace

TYPE *type_for_PMCONV(TYPE *pointer, TYPE *index) {
    return wide_enough_int_type(pointer->size(), index->is_signed());
}

TYPE *operator_type_for_operand_types(int op, TYPE *left, TYPE *right) {
    if (!left) return nullptr;
    return right ? type_of_binary(op, left, right) : type_of_unary(op, left);
}

void fix_type_info(NODE *lvalue) {
    TYPE *declared = declared_type(lvalue);
    if (!declared || !lvalue->type) return;
    TYPE *type = normalized_value_type(declared);
    if (essential_type(type) != essential_type(normalized_value_type(lvalue->type))) return;
    // An access that was said to be volatile stays so.
    if (lvalue->type->is_volatile()) type = tp->mk_qual(type, TQ_volatile)->normalized();
    lvalue->type = type;
}

NODE *push_down_pointer_cast(TYPE *type, NODE *tree) {
    OPTASSERT(type->is_ptr());
    TYPE *to = type->normalized();
    if (!tree->type->is_ptr() || tree->type->size() != to->size()) return coerce_to_type(to, tree);
    if (tree->type->normalized() == to) return tree;
    switch (tree->op) {
    case OP::ICON: tree->type = to; return tree;
    case OP::PCONV: {
        NODE *value = tree->left;
        if (value->type->is_int_or_enum()) {
            tree->type = to;
            return tree;
        }
        if (!value->type->is_ptr() || value->type->size() != to->size()) break;
        erase_node(tree);
        return push_down_pointer_cast(to, value);
    }
    case OP::PLUS:
    case OP::MINUS: {
        NODE *&pointer = tree->left->type->is_ptr() ? tree->left : tree->right;
        if (!pointer->type->is_ptr() || (tree->op == OP::MINUS && &pointer != &tree->left)) break;
        tree->type = to;
        pointer = push_down_pointer_cast(to, pointer);
        return tree;
    }
    case OP::COMMAOP:
        tree->type = to;
        tree->right = push_down_pointer_cast(to, tree->right);
        return tree;
    case OP::QUEST: {
        NODE *arms = tree->right;
        if (arms->op != OP::COLON) break;
        tree->type = arms->type = to;
        arms->left = push_down_pointer_cast(to, arms->left);
        arms->right = push_down_pointer_cast(to, arms->right);
        return tree;
    }
    default: break;
    }
    return maketree(OP::PCONV, tree, nullptr, to, tree->scope);
}
