// Demanded bits: what a mask around a tree, or the width of what it is assigned to, makes useless.
//
// The mask goes from the root down. At each operator it is first asked whether the operator can go:
// an operand that is neutral in the bits of the mask leaves the other one. Otherwise the mask goes
// on into the operands, as the bits of them that the masked bits of the result depend on: the same
// bits for ANDB and its kin, all bits up to the highest for operators that carry, moved bits for
// shifts. A node below which something was dropped is simplified again. The walk goes max_depth
// operators down.
#include "OPT5/rep/type_pkg.h"
#include "OPT5/scalar/simp_facts.h"

#include <bit>
#include <utility>

namespace {
constexpr int max_depth = 7;

using U32 = std::uint32_t;

U32 bits_up_to_highest(U32 mask) {
    return mask == 0 ? 0 : ~U32{0} >> std::countl_zero(mask);
}

U32 constant_bits(const NODE *icon) {
    return icon_value(icon).u32();
}

// A constant count within the width of the node; -1 otherwise.
int shift_count(const NODE *shift) {
    if (!is_ICON(shift->right)) return -1;
    const INT65 count = icon_value(shift->right);
    const bool inside = !count.is_negative() && count < INT65(shift->type->size());
    return inside ? static_cast<int>(count.u32()) : -1;
}

bool fills_node(const NODE *operand, const NODE *node) {
    return is_plain_int(operand->type) && operand->type->size() == node->type->size();
}

class MASK_PUSHER {
public:
    NODE *demanded(NODE *tree, U32 mask, int depth);
    bool changed = false;

private:
    NODE *without_operator(NODE *tree, U32 mask);
    bool push(NODE *node, NODE *NODE::*operand, U32 mask, int depth);
    bool push_into_operands(NODE *tree, U32 mask, int depth);
    bool push_into_cast(NODE *tree, U32 mask, int depth);
    bool push_into_SRL(NODE *tree, U32 mask, int depth);
};

// --- operators that a mask makes useless: the operand that gives the same bits, else null

bool can_go(const NODE *operand, U32 zeros_wanted, U32 ones_wanted) {
    if (tree_has_side_effects(operand)) return false;
    const FACTS f = facts_of(operand);
    return (zeros_wanted & ~f.zeros) == 0 && (ones_wanted & ~f.ones) == 0;
}

NODE *operand_of_binary(const NODE *tree, U32 zeros, U32 ones) {
    if (!fills_node(tree->left, tree) || !fills_node(tree->right, tree)) return nullptr;
    if (can_go(tree->right, zeros, ones)) return tree->left;
    const bool commutes = commute_inv[tree->op] == tree->op;
    return commutes && can_go(tree->left, zeros, ones) ? tree->right : nullptr;
}

// (x << n) >> n is x but for the n highest bits.
NODE *operand_of_shift_pair(const NODE *tree, U32 mask) {
    const NODE *inner = tree->left;
    const int n = shift_count(tree);
    if (n <= 0 || inner->op != OP::SLL || !fills_node(inner, tree) ||
        !fills_node(inner->left, inner) || shift_count(inner) != n)
        return nullptr;
    const U32 kept = value_shape(tree->type).mask() >> n;
    return (mask & ~kept) == 0 ? inner->left : nullptr;
}

// A value that is cut and extended again keeps its low bits.
NODE *operand_of_cast_pair(const NODE *tree, U32 mask) {
    const NODE *inner = tree->left;
    if (inner->op != OP::SCONV || !is_plain_int(inner->type) || !is_plain_int(inner->left->type))
        return nullptr;
    return (mask & ~value_shape(inner->type).mask()) == 0 ? inner->left : nullptr;
}

NODE *operand_that_does(const NODE *tree, U32 mask) {
    switch (tree->op) {
    case OP::ANDB: return operand_of_binary(tree, 0, mask);
    case OP::ORB:
    case OP::XORB: return operand_of_binary(tree, mask, 0);
    case OP::PLUS:
    case OP::MINUS: return operand_of_binary(tree, bits_up_to_highest(mask), 0);
    case OP::SRL: return operand_of_shift_pair(tree, mask);
    case OP::SCONV: return operand_of_cast_pair(tree, mask);
    default: return nullptr;
    }
}

// Takes the operand out of the tree and erases the rest.
NODE *take_out(NODE *operand, NODE *tree) {
    for (NODE *node = tree; node; node = node->left)
        for (NODE **link : {&node->left, &node->right})
            if (*link == operand) {
                *link = nullptr;
                if (link == &node->left) std::swap(node->left, node->right);
                erase_tree(tree);
                return operand;
            }
    return nullptr;
}

NODE *MASK_PUSHER::without_operator(NODE *tree, U32 mask) {
    NODE *operand = operand_that_does(tree, mask);
    if (!operand) return nullptr;
    TYPE *type = tree->type;
    changed = true;
    operand = take_out(operand, tree);
    if (value_shape(operand->type).bits == type->size() &&
        operand->type->is_signed() == type->is_signed())
        return operand;
    return simp_node(coerce_to_type(type, operand));
}

// --- the way into the operands; each gives true when something below the node has changed

bool MASK_PUSHER::push(NODE *node, NODE *NODE::*operand, U32 mask, int depth) {
    const bool before = std::exchange(changed, false);
    node->*operand = demanded(node->*operand, mask, depth - 1);
    const bool here = changed;
    changed = changed || before;
    return here;
}

bool MASK_PUSHER::push_into_cast(NODE *tree, U32 mask, int depth) {
    const VALUE_SHAPE from = value_shape(tree->left->type), to = value_shape(tree->type);
    if (!is_plain_int(tree->left->type)) return false;
    U32 wanted = mask & from.mask();
    if (from.is_signed && to.bits > from.bits && (mask & ~from.mask()) != 0)
        wanted |= U32{1} << (from.bits - 1);
    return push(tree, &NODE::left, wanted, depth);
}

bool MASK_PUSHER::push_into_SRL(NODE *tree, U32 mask, int depth) {
    const int n = shift_count(tree);
    if (n < 0 || !fills_node(tree->left, tree)) return false;
    const VALUE_SHAPE shape = value_shape(tree->left->type);
    U32 wanted = mask << n & shape.mask();
    if (shape.is_signed && (mask & ~(shape.mask() >> n)) != 0) wanted |= U32{1} << (shape.bits - 1);
    return push(tree, &NODE::left, wanted, depth);
}

bool MASK_PUSHER::push_into_operands(NODE *tree, U32 mask, int depth) {
    const U32 low = bits_up_to_highest(mask);
    const auto both = [&](U32 of_left, U32 of_right) {
        const bool left = fills_node(tree->left, tree) && push(tree, &NODE::left, of_left, depth);
        const bool right = tree->right && fills_node(tree->right, tree) &&
                           push(tree, &NODE::right, of_right, depth);
        return left || right;
    };
    switch (tree->op) {
    case OP::ANDB:
        return both(is_ICON(tree->right) ? mask & constant_bits(tree->right) : mask, mask);
    case OP::ORB:
        return both(is_ICON(tree->right) ? mask & ~constant_bits(tree->right) : mask, mask);
    case OP::XORB:
    case OP::NOTB: return both(mask, mask);
    case OP::PLUS:
    case OP::MINUS:
    case OP::UMINUS: return both(low, low);
    case OP::MULT: {
        // A factor that ends in zeros moves bits out.
        const FACTS f = facts_of(tree->right);
        const int zeros = f.shape.bits ? std::countr_one(f.zeros) : 0;
        return both(zeros < 32 ? low >> zeros : 0, low);
    }
    case OP::SLL: {
        const int n = shift_count(tree);
        return n >= 0 && fills_node(tree->left, tree) && push(tree, &NODE::left, mask >> n, depth);
    }
    case OP::SRL: return push_into_SRL(tree, mask, depth);
    case OP::SCONV: return push_into_cast(tree, mask, depth);
    case OP::QUEST: {
        NODE *arms = tree->right;
        if (arms->op != OP::COLON || !fills_node(arms->left, tree) ||
            !fills_node(arms->right, tree))
            return false;
        const bool left = push(arms, &NODE::left, mask, depth);
        return push(arms, &NODE::right, mask, depth) || left;
    }
    case OP::COMMAOP: return fills_node(tree->right, tree) && push(tree, &NODE::right, mask, depth);
    default: return false;
    }
}

NODE *MASK_PUSHER::demanded(NODE *tree, U32 mask, int depth) {
    while (depth > 0 && is_plain_int(tree->type) && tree->left) {
        mask &= value_shape(tree->type).mask();
        if (mask == 0 || mask == value_shape(tree->type).mask()) return tree;
        NODE *operand = without_operator(tree, mask);
        if (!operand) return push_into_operands(tree, mask, depth) ? simp_node(tree) : tree;
        tree = operand;
        --depth;
    }
    return tree;
}

// --- assignments

// The bits of a value that the target keeps; all when it is no integer.
U32 bits_kept(const NODE *lhs, VALUE_SHAPE of_rhs, int n) {
    unsigned bits = value_shape(lhs->type).bits;
    if ((lhs->op == OP::STDOT || lhs->op == OP::STREF) && lhs->right->op == OP::FIELD &&
        lhs->right->u.field.mdata->is_bitfield)
        bits = std::min<unsigned>(bits, lhs->right->u.field.mdata->width);
    if (n > 0) bits = std::min<unsigned>(bits, static_cast<unsigned>(n));
    if (bits == 0 || bits >= of_rhs.bits) return of_rhs.mask();
    return (U32{1} << bits) - 1;
}

// (bool)x for a bool, x being 0 or 1 in as many bits.
bool is_bool_already(const NODE *lhs, const NODE *rhs) {
    return lhs->type->is_bool() && rhs->op == OP::SCONV && rhs->type->is_bool() &&
           is_plain_int(rhs->left->type) && rhs->left->type->size() == rhs->type->size() &&
           value_fits_in_type(rhs->left, rhs->type, nullptr, nullptr);
}
} // namespace

NODE *drop_undemanded(NODE *tree, std::uint32_t mask, bool *changed) {
    MASK_PUSHER pusher;
    tree = pusher.demanded(tree, mask, max_depth);
    *changed = pusher.changed;
    return tree;
}

NODE *prop_mask_into_subtree(NODE *tree, const INT65 &mask) {
    bool changed = false;
    return drop_undemanded(tree, mask.u32(), &changed);
}

NODE *truncate_RHS_for_assignment(const NODE *lhs, NODE *rhs, int n) {
    const VALUE_SHAPE shape = value_shape(rhs->type);
    if (shape.bits == 0) return rhs;
    if (is_bool_already(lhs, rhs)) {
        NODE *value = rhs->left;
        erase_node(rhs);
        return value;
    }
    bool changed = false;
    return drop_undemanded(rhs, bits_kept(lhs, shape, n), &changed);
}
