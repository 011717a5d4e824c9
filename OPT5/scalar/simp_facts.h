// What is known of the value of an integer or pointer tree: bits and range. Private to the
// simplifier; the public questions are in simp.h.
#pragma once

#include "OPT5/scalar/simp_rules.h"

// Types of more bits than this are not looked at.
inline constexpr unsigned widest_fact = 32;

struct VALUE_SHAPE {
    unsigned bits = 0; // 0: no value that anything can be known of
    bool is_signed = false;
    std::int64_t min() const { return is_signed ? -(std::int64_t{1} << (bits - 1)) : 0; }
    std::int64_t max() const { return (std::int64_t{1} << (is_signed ? bits - 1 : bits)) - 1; }
    std::uint32_t mask() const {
        return static_cast<std::uint32_t>(~std::uint64_t{0} >> (64 - bits));
    }
};
VALUE_SHAPE value_shape(const TYPE *type);

// Integers and enums whose conversions keep low bits; no bool, which asks for all of them.
inline bool is_plain_int(const TYPE *type) {
    return value_shape(type).bits != 0 && !type->is_ptr() && !type->is_bool();
}

// Bits that are always 0 or 1, and the least and greatest value as the shape reads the bits.
struct FACTS {
    VALUE_SHAPE shape;
    std::uint32_t zeros = 0, ones = 0;
    std::int64_t lo = 0, hi = 0;

    bool is_constant() const { return shape.bits != 0 && lo == hi; }
    // The least and greatest of the bits read as an unsigned number.
    std::uint32_t least_bits() const { return ones; }
    std::uint32_t greatest_bits() const { return ~zeros & shape.mask(); }
};

// Of the tree's value as its own type; shape.bits is 0 when it is no integer and no pointer. The
// look goes a bounded way down, so that asking at each node of a tree stays linear.
FACTS facts_of(const NODE *tree, LOOP *loop = nullptr, CONTEXT *ctx = nullptr);
// Of the same value converted to the type of a node whose operand it is.
FACTS facts_as(const NODE *tree, const TYPE *type, LOOP *loop = nullptr, CONTEXT *ctx = nullptr);

// prop_mask_into_subtree for a mask of at most widest_fact bits; says whether it has changed the
// tree.
NODE *drop_undemanded(NODE *tree, std::uint32_t mask, bool *changed);

// --- shared small steps of the rules that use facts
// Puts a constant in the place of the right operand.
inline NODE *set_right(NODE *tree, const INT65 &value, TYPE *type) {
    erase_tree(tree->right);
    tree->right = make_ICON(value, type);
    return tree;
}
// The left operand of a node that goes.
inline NODE *skip_node(NODE *node) {
    NODE *below = node->left;
    erase_node(node);
    return below;
}
