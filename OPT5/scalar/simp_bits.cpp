// ANDB, ORB and XORB.
//
// Normal form: the constant on the right; one NOTB outside rather than two inside; NOTB rather than
// XORB with all ones; what both operands share stands once, outside; casts and shifts that both
// operands have stand outside. A mask has been pushed into what it masks, and bits that are known
// have made the operator go or become a simpler one.
#include "OPT5/rep/type_pkg.h"
#include "OPT5/scalar/simp_facts.h"

#include <utility>

namespace {
using U32 = std::uint32_t;

U32 mask_of(const NODE *tree) {
    return value_shape(tree->type).mask();
}

// The constant on the right, as bits of the node.
U32 right_bits(const NODE *tree) {
    return constant_as(tree->right, tree->type).u32() & mask_of(tree);
}

bool is_same_size(const NODE *operand, const NODE *tree) {
    return operand->type->is_int_or_enum() && operand->type->size() == tree->type->size();
}

bool is_pure(const NODE *tree) {
    return !tree_has_side_effects(tree);
}

NODE *take(NODE *node, NODE *NODE::*operand) {
    return std::exchange(node->*operand, nullptr);
}

// The node with the operand taken out of it goes.
NODE *taken_from(NODE *node, NODE *NODE::*operand) {
    NODE *kept = take(node, operand);
    if (!node->left) std::swap(node->left, node->right);
    erase_tree(node);
    return kept;
}

NODE *op_node(int op, NODE *left, NODE *right, const NODE *like) {
    return maketree(op, left, right, like->type, like->scope);
}

// --- with a constant on the right

// Nothing, or everything, is left of the operand.
NODE *constant_decides(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    const U32 c = right_bits(tree), all = mask_of(tree);
    switch (tree->op) {
    case OP::ANDB:
        if (c == 0) return becomes_constant(tree, 0, loop, ctx);
        return c == all ? becomes_left(tree, loop, ctx) : nullptr;
    case OP::ORB:
        if (c == all) return becomes_constant(tree, INT65(all), loop, ctx);
        return c == 0 ? becomes_left(tree, loop, ctx) : nullptr;
    default:
        if (c == 0) return becomes_left(tree, loop, ctx);
        if (c != all) return nullptr;
        tree->right = erase_tree(tree->right);
        tree->op = OP::NOTB;
        return simp_node(tree, loop, ctx);
    }
}

NODE *known_bits_decide(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    const FACTS f = facts_as(tree->left, tree->type, loop, ctx);
    const U32 c = right_bits(tree), all = mask_of(tree), known = f.zeros | f.ones;
    switch (tree->op) {
    case OP::ANDB:
        if ((~c & all & ~f.zeros) == 0) return becomes_left(tree, loop, ctx);
        return (c & ~known) == 0 ? becomes_constant(tree, INT65(c & f.ones), loop, ctx) : nullptr;
    case OP::ORB:
        if ((c & ~f.ones) == 0) return becomes_left(tree, loop, ctx);
        return (~c & all & ~known) == 0 ? becomes_constant(tree, INT65(c | f.ones), loop, ctx)
                                        : nullptr;
    default:
        if ((c & ~f.zeros) == 0) {
            tree->op = OP::ORB;
            return simp_node(tree, loop, ctx);
        }
        if ((c & ~f.ones) != 0) return nullptr;
        tree->op = OP::ANDB;
        return simp_node(set_right(tree, INT65(~c & all), tree->type), loop, ctx);
    }
}

// The operand need only have the bits that the constant leaves open.
NODE *constant_as_mask(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    if (tree->op == OP::XORB || !is_same_size(tree->left, tree)) return nullptr;
    const U32 c = right_bits(tree);
    bool changed = false;
    tree->left =
        drop_undemanded(tree->left, tree->op == OP::ANDB ? c : ~c & mask_of(tree), &changed);
    return changed ? simp_node(tree, loop, ctx) : nullptr;
}

// int(short y) & 0xffff is int((ushort)y).
NODE *mask_of_extension(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    NODE *extension = tree->left;
    if (tree->op != OP::ANDB || extension->op != OP::SCONV) return nullptr;
    const VALUE_SHAPE from = value_shape(extension->left->type);
    if (from.bits == 0 || from.bits >= tree->type->size() || !is_same_size(extension, tree) ||
        right_bits(tree) != from.mask())
        return nullptr;
    TYPE *narrow = wide_enough_int_type(from.bits, false);
    if (!narrow || narrow->size() != from.bits || narrow->is_bool()) return nullptr;
    extension->left = simp_node(coerce_to_type(narrow, extension->left), loop, ctx);
    tree->left = simp_node(extension, loop, ctx);
    return becomes_left(tree, loop, ctx);
}

// b ^ 1 of a comparison is the inverted comparison.
NODE *inverted_truth(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    NODE *left = tree->left;
    if (tree->op != OP::XORB || right_bits(tree) != 1 || !boolean_result[left->op] ||
        !left->type->is_int_or_enum())
        return nullptr;
    tree->left = simp_node(mk_EXCLAIM(left), loop, ctx);
    return becomes_left(tree, loop, ctx);
}

// ~x ^ C is x ^ ~C.
NODE *xor_of_NOTB(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    NODE *inverted = tree->left;
    if (tree->op != OP::XORB || inverted->op != OP::NOTB || !is_same_size(inverted, tree) ||
        !is_same_size(inverted->left, tree))
        return nullptr;
    tree->left = inverted->left;
    erase_node(inverted);
    return simp_node(set_right(tree, INT65(~right_bits(tree) & mask_of(tree)), tree->type), loop,
                     ctx);
}

// --- with two operands

bool is_complement(const NODE *a, const NODE *b) {
    return b->op == OP::NOTB && b->left->type->size() == a->type->size() &&
           trees_are_congruent(a, b->left);
}

NODE *of_equal_operands(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    if (!trees_are_congruent(tree->left, tree->right)) return nullptr;
    return tree->op == OP::XORB ? becomes_constant(tree, 0, loop, ctx)
                                : becomes_left(tree, loop, ctx);
}

NODE *of_complements(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    if (!is_complement(tree->left, tree->right) && !is_complement(tree->right, tree->left))
        return nullptr;
    return becomes_constant(tree, tree->op == OP::ANDB ? INT65(0) : INT65(mask_of(tree)), loop,
                            ctx);
}

// What is known of one operand makes it go: a & b with b all ones where a may be one.
NODE *of_covered_operands(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    const U32 all = mask_of(tree);
    const FACTS a = facts_as(tree->left, tree->type, loop, ctx),
                b = facts_as(tree->right, tree->type, loop, ctx);
    U32 zeros = 0, ones = 0; // of the result
    bool left = false, right = false;
    switch (tree->op) {
    case OP::ANDB:
        zeros = a.zeros | b.zeros;
        ones = a.ones & b.ones;
        left = (~a.zeros & ~b.ones & all) == 0;
        right = (~b.zeros & ~a.ones & all) == 0;
        break;
    case OP::ORB:
        zeros = a.zeros & b.zeros;
        ones = a.ones | b.ones;
        left = (~a.ones & ~b.zeros & all) == 0;
        right = (~b.ones & ~a.zeros & all) == 0;
        break;
    default: return nullptr;
    }
    if ((zeros | ones) == all) return becomes_constant(tree, INT65(ones), loop, ctx);
    if (!left && !right) return nullptr;
    if (!is_pure(left ? tree->right : tree->left)) return nullptr;
    if (!left) std::swap(tree->left, tree->right);
    return becomes_left(tree, loop, ctx);
}

// The operator that the other one distributes over: a & (a | b), a | (a & b).
int dual(int op) {
    return op == OP::ANDB ? OP::ORB : OP::ANDB;
}

// The operand of `of` that is not congruent to a; null when neither is congruent to it.
NODE *NODE::*other_than(const NODE *a, const NODE *of) {
    if (trees_are_congruent(a, of->left)) return &NODE::right;
    if (trees_are_congruent(a, of->right)) return &NODE::left;
    return nullptr;
}

// a op x, or x op a, x being on the side named. What stands twice must have one value; whether it
// has is asked last, as it takes a walk over all of it.
NODE *absorb(NODE *tree, NODE *NODE::*a_side, NODE *NODE::*x_side, LOOP *loop, CONTEXT *ctx) {
    NODE *a = tree->*a_side, *x = tree->*x_side;
    if (!is_same_size(a, tree) || !is_same_size(x, tree)) return nullptr;
    if (tree->op != OP::XORB && x->op == dual(tree->op)) {
        if (other_than(a, x)) {
            if (!is_pure(tree)) return nullptr;
            if (a_side == &NODE::right) std::swap(tree->left, tree->right);
            return becomes_left(tree, loop, ctx); // a & (a | b), a | (a & b)
        }
        // a & (~a | b) is a & b, a | (~a & b) is a | b.
        for (NODE *NODE::*side : {&NODE::left, &NODE::right})
            if ((is_complement(a, x->*side) || is_complement(x->*side, a)) && is_pure(tree)) {
                tree->*x_side = taken_from(x, side == &NODE::left ? &NODE::right : &NODE::left);
                return simp_node(tree, loop, ctx);
            }
        return nullptr;
    }
    if (x->op != OP::XORB || tree->op == OP::ANDB) return nullptr;
    NODE *NODE::*rest = other_than(a, x);
    if (!rest || !is_pure(tree)) return nullptr;
    if (tree->op == OP::ORB) { // a | (a ^ b) is a | b
        tree->*x_side = taken_from(x, rest);
        return simp_node(tree, loop, ctx);
    }
    NODE *left = taken_from(x, rest); // a ^ (a ^ b) is b
    tree->*x_side = left;
    if (x_side == &NODE::right) std::swap(tree->left, tree->right);
    return becomes_left(tree, loop, ctx);
}

NODE *of_absorbed_operand(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    NODE *result = absorb(tree, &NODE::left, &NODE::right, loop, ctx);
    return result ? result : absorb(tree, &NODE::right, &NODE::left, loop, ctx);
}

// ~a & ~b is ~(a | b), ~a | ~b is ~(a & b), ~a ^ ~b is a ^ b, and ~a ^ b is ~(a ^ b).
NODE *of_inverted_operands(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    NODE *a = tree->left, *b = tree->right;
    const auto is_inverted = [&](const NODE *x) {
        return x->op == OP::NOTB && is_same_size(x, tree) && is_same_size(x->left, tree);
    };
    const bool left = is_inverted(a), right = is_inverted(b);
    if (!(left && right) && !(tree->op == OP::XORB && (left || right))) return nullptr;
    if (left) {
        tree->left = a->left;
        erase_node(a);
    }
    if (right) {
        tree->right = b->left;
        erase_node(b);
    }
    if (tree->op != OP::XORB) tree->op = static_cast<std::uint8_t>(dual(tree->op));
    if (left && right && tree->op == OP::XORB) return simp_node(tree, loop, ctx);
    const NODE like = *tree;
    return simp_node(op_node(OP::NOTB, simp_node(tree, loop, ctx), nullptr, &like), loop, ctx);
}

// (a | b) ^ (a & b) is a ^ b; (a ^ b) | (a & b) is a | b.
NODE *of_two_ways_to_join(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    NODE *a = tree->left, *b = tree->right;
    if (tree->op == OP::ANDB || !is_same_size(a, tree) || !is_same_size(b, tree)) return nullptr;
    const int other = tree->op == OP::XORB ? OP::ORB : OP::XORB;
    if (a->op != OP::ANDB) std::swap(a, b);
    if (a->op != OP::ANDB || b->op != other) return nullptr;
    const bool straight =
        trees_are_congruent(a->left, b->left) && trees_are_congruent(a->right, b->right);
    const bool crossed =
        trees_are_congruent(a->left, b->right) && trees_are_congruent(a->right, b->left);
    if ((!straight && !crossed) || !is_pure(tree)) return nullptr;
    b->op = tree->op;
    tree->right = a; // to be dropped
    tree->left = simp_node(b, loop, ctx);
    return becomes_left(tree, loop, ctx);
}

// Whether op distributes over `over`, so that what both operands have in common goes outside.
bool distributes(int op, int over) {
    return op == OP::ANDB || (op == OP::ORB && over == OP::ANDB);
}

// (a & b) | (a & c) is a & (b | c), and so on.
NODE *of_common_operand(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    NODE *x = tree->left, *y = tree->right;
    const int inner = x->op;
    if (inner != y->op || (inner != OP::ANDB && inner != OP::ORB) || inner == tree->op ||
        !distributes(inner, tree->op) || !is_same_size(x, tree) || !is_same_size(y, tree))
        return nullptr;
    for (NODE *NODE::*common : {&NODE::left, &NODE::right}) {
        NODE *NODE::*rest_of_y = other_than(x->*common, y);
        if (!rest_of_y) continue;
        if (!is_small_and_pure(tree)) return nullptr;
        NODE *NODE::*rest_of_x = common == &NODE::left ? &NODE::right : &NODE::left;
        NODE *b = take(x, rest_of_x), *c = taken_from(y, rest_of_y), *a = x->*common;
        erase_node(x);
        tree->left = b;
        tree->right = c;
        const NODE like = *tree;
        NODE *joined = simp_node(tree, loop, ctx);
        return simp_node(op_node(inner, a, joined, &like), loop, ctx);
    }
    return nullptr;
}

bool is_bit_copy(const NODE *cast) {
    if (cast->op != OP::SCONV || cast->type->is_bool()) return false;
    const VALUE_SHAPE from = value_shape(cast->left->type), to = value_shape(cast->type);
    return from.bits != 0 && to.bits != 0 && !cast->left->type->is_bool() && from.bits <= to.bits;
}

// (T)a & (T)b is (T)(a & b) if the cast widens or only changes the sign.
NODE *of_equal_casts(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    NODE *x = tree->left, *y = tree->right;
    if (!is_bit_copy(x) || !is_bit_copy(y) || !is_same_size(x, tree) || !is_same_size(y, tree) ||
        !equiv_mtypes(x->left->type, y->left->type))
        return nullptr;
    TYPE *from = x->left->type->type_qualified()->normalized();
    tree->left = x->left;
    tree->right = y->left;
    erase_node(y);
    x->type = tree->type;
    tree->type = from;
    x->left = simp_node(tree, loop, ctx);
    return simp_node(x, loop, ctx);
}

// (T)a & C is (T)(a & C) if the cast only changes the sign.
NODE *of_sign_change(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    NODE *x = tree->left;
    if (!is_bit_copy(x) || !is_same_size(x, tree) || !is_same_size(x->left, tree)) return nullptr;
    TYPE *from = x->left->type->type_qualified()->normalized();
    const U32 c = right_bits(tree);
    x->type = tree->type;
    tree->left = x->left;
    tree->type = from;
    x->left = simp_node(set_right(tree, INT65(c), tree->type), loop, ctx);
    return simp_node(x, loop, ctx);
}

bool is_shift_by_constant(const NODE *tree) {
    if (tree->op == OP::MULT)
        return is_ICON(tree->right) && power_of_2(icon_value(tree->right)) > 0;
    return (tree->op == OP::SLL || tree->op == OP::SRL) && is_ICON(tree->right);
}

// (a >> n) & (b >> n) is (a & b) >> n; the same for << and for products with a power of two.
NODE *of_equal_shifts(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    NODE *x = tree->left, *y = tree->right;
    if (x->op != y->op || !is_shift_by_constant(x) || !trees_are_congruent(x->right, y->right) ||
        !equiv_mtypes(x->type, tree->type) || !equiv_mtypes(y->type, tree->type) ||
        !equiv_mtypes(x->left->type, tree->type) || !equiv_mtypes(y->left->type, tree->type))
        return nullptr;
    tree->left = x->left;
    tree->right = take(y, &NODE::left);
    std::swap(y->left, y->right);
    erase_tree(y);
    x->left = simp_node(tree, loop, ctx);
    return simp_node(x, loop, ctx);
}

// (a op b) op b, the chain leaning left.
NODE *of_repeated_operand(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    NODE *chain = tree->left;
    if (chain->op != tree->op || !is_same_size(chain, tree)) return nullptr;
    NODE *NODE::*rest = other_than(tree->right, chain);
    if (!rest || !is_pure(tree)) return nullptr;
    if (tree->op == OP::XORB) tree->left = taken_from(chain, rest);
    return becomes_left(tree, loop, ctx);
}

// (x < y) & (x != y), (x < 0) ^ (y < 0).
NODE *of_truths(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    if (!boolean_result[tree->right->op]) return nullptr;
    return tree->op == OP::XORB ? simp_different_truths(tree, loop, ctx)
                                : simp_joined_truths(tree, loop, ctx);
}

// (x >> n) & m of a signed x, or of an extended one, where m takes just the bits that x has left,
// needs no mask when the shift is unsigned.
NODE *mask_of_signed_shift(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    NODE *shift = tree->left;
    if (tree->op != OP::ANDB || shift->op != OP::SRL || !is_ICON(shift->right) ||
        !is_same_size(shift, tree) || !is_same_size(shift->left, tree) ||
        !shift->left->type->is_signed())
        return nullptr;
    const bool extended = shift->left->op == OP::SCONV && is_plain_int(shift->left->left->type) &&
                          shift->left->left->type->size() < tree->type->size();
    const NODE *x = extended ? shift->left->left : shift->left;
    const VALUE_SHAPE shape = value_shape(x->type);
    const INT65 n = icon_value(shift->right);
    if (!shape.is_signed || n < INT65(1) || n >= INT65(shape.bits) ||
        right_bits(tree) != shape.mask() >> n.u32())
        return nullptr;
    TYPE *type = wide_enough_int_type(shape.bits, false);
    if (!type || type->size() != shape.bits || type->is_bool()) return nullptr;
    if (extended) shift->left = take_operand(shift->left);
    shift->left = simp_node(coerce_to_type(type, shift->left), loop, ctx);
    shift->type = type->normalized();
    tree->left = simp_node(shift, loop, ctx);
    return becomes_left(tree, loop, ctx);
}

constexpr SIMP_RULE rules_with_constant[] = {
    constant_decides, known_bits_decide, constant_as_mask,  mask_of_extension,    inverted_truth,
    xor_of_NOTB,      of_sign_change,    simp_bit_function, mask_of_signed_shift,
};

constexpr SIMP_RULE rules_of_two[] = {
    of_equal_operands,    of_complements,      of_repeated_operand, of_covered_operands,
    of_inverted_operands, of_absorbed_operand, of_two_ways_to_join, of_common_operand,
    of_equal_casts,       of_equal_shifts,     simp_bit_function,   of_truths,
};

NODE *simp_bitwise(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    const int op = tree->op;
    tree = simp_assoc(tree, loop, ctx);
    if (tree->op != op || value_shape(tree->type).bits == 0 || tree->type->is_ptr() ||
        tree->type->is_bool())
        return tree;
    NODE *result = is_ICON(tree->right) ? apply_first(rules_with_constant, tree, loop, ctx)
                                        : apply_first(rules_of_two, tree, loop, ctx);
    return result ? result : tree;
}
} // namespace

NODE *simp_ANDB(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    return simp_bitwise(tree, loop, ctx);
}

NODE *simp_ORB(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    return simp_bitwise(tree, loop, ctx);
}

NODE *simp_XORB(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    return simp_bitwise(tree, loop, ctx);
}
