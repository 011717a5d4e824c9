// Known bits and ranges of values.
//
// One walk from the leaves up finds both at once: for each operator a function says what bits and
// range of its operands give, in the modular arithmetic of the node's type, and what one of the two
// says is carried over to the other. The walk goes max_depth operators down and takes everything
// below for any value of its type. A range that might wrap is dropped for that of the type.
#include "OPT5/scalar/simp_known.h"

#include "OPT5/rep/symbol.h"

#include <algorithm>
#include <bit>
#include <cstring>

namespace {
constexpr int max_depth = 7;

using I64 = std::int64_t;
using U32 = std::uint32_t;

// --- making facts

U32 low_mask(unsigned bits) {
    return bits >= 32 ? ~U32{0} : (U32{1} << bits) - 1;
}

// The number that the low bits of v are in the shape.
I64 read_as(VALUE_SHAPE shape, U32 v) {
    v &= shape.mask();
    const bool negative = shape.is_signed && v >> (shape.bits - 1) & 1;
    return negative ? static_cast<I64>(v) - (I64{1} << shape.bits) : static_cast<I64>(v);
}

FACTS nothing_known(VALUE_SHAPE shape) {
    FACTS f;
    f.shape = shape;
    if (shape.bits == 0) return f;
    f.lo = shape.min();
    f.hi = shape.max();
    return f;
}

// Carries over what the bits say of the range and the range of the bits. Facts that contradict each
// other are those of code that never runs.
FACTS settled(FACTS f) {
    const VALUE_SHAPE shape = f.shape;
    if (shape.bits == 0) return f;
    const U32 mask = shape.mask(), sign = shape.is_signed ? U32{1} << (shape.bits - 1) : 0;
    f.zeros &= mask;
    f.ones &= mask;
    if ((f.zeros & f.ones) != 0) return nothing_known(shape);
    f.lo = std::max(f.lo, read_as(shape, f.ones | (sign & ~f.zeros)));
    f.hi = std::min(f.hi, read_as(shape, (~f.zeros & mask & ~sign) | (sign & f.ones)));
    if (f.lo > f.hi) return nothing_known(shape);
    if ((f.lo < 0) == (f.hi < 0)) {
        const U32 lo = static_cast<U32>(f.lo) & mask, hi = static_cast<U32>(f.hi) & mask;
        const U32 common = mask & ~low_mask(static_cast<unsigned>(std::bit_width(lo ^ hi)));
        f.zeros |= common & ~lo;
        f.ones |= common & lo;
        if ((f.zeros & f.ones) != 0) return nothing_known(shape);
    }
    return f;
}

FACTS with_bits(VALUE_SHAPE shape, U32 zeros, U32 ones) {
    FACTS f = nothing_known(shape);
    f.zeros = zeros;
    f.ones = ones;
    return settled(f);
}

FACTS with_range(VALUE_SHAPE shape, I64 lo, I64 hi) {
    FACTS f = nothing_known(shape);
    if (lo >= f.lo && hi <= f.hi) {
        f.lo = lo;
        f.hi = hi;
    }
    return settled(f);
}

FACTS with_both(VALUE_SHAPE shape, U32 zeros, U32 ones, I64 lo, I64 hi) {
    FACTS f = with_range(shape, lo, hi);
    f.zeros |= zeros & shape.mask();
    f.ones |= ones & shape.mask();
    return settled(f);
}

FACTS constant(VALUE_SHAPE shape, U32 v) {
    return with_bits(shape, ~v, v);
}

// One of both values.
FACTS either(const FACTS &a, const FACTS &b) {
    FACTS f = a;
    f.zeros &= b.zeros;
    f.ones &= b.ones;
    f.lo = std::min(a.lo, b.lo);
    f.hi = std::max(a.hi, b.hi);
    return settled(f);
}

// The value in another shape: extended by its own sign, or cut. The same value if it fits.
FACTS converted(const FACTS &f, VALUE_SHAPE to) {
    if (to.bits == 0 || f.shape.bits == 0) return nothing_known(to);
    U32 zeros = f.zeros, ones = f.ones;
    if (to.bits > f.shape.bits) {
        const U32 above = to.mask() & ~f.shape.mask(), sign = U32{1} << (f.shape.bits - 1);
        if (!f.shape.is_signed || (zeros & sign) != 0)
            zeros |= above;
        else if ((ones & sign) != 0)
            ones |= above;
    }
    return with_both(to, zeros, ones, f.lo, f.hi);
}

// --- where other passes' knowledge comes in

// Narrows the facts by the ranges that are known of variables. Nobody collects yet what the loop
// around the tree and the context of symbolic evaluation could say.
FACTS narrowed_by_surroundings(const NODE *tree, const FACTS &facts, LOOP *, CONTEXT *) {
    I64 lo = 0, hi = 0;
    if (!KNOWN_RANGES::is_anything_in_force() || !KNOWN_RANGES::find(tree, &lo, &hi)) return facts;
    FACTS narrowed = facts;
    narrowed.lo = std::max(facts.lo, lo);
    narrowed.hi = std::min(facts.hi, hi);
    return settled(narrowed);
}

// --- the walk

class FACT_FINDER {
public:
    FACT_FINDER(LOOP *loop_, CONTEXT *ctx_) : loop(loop_), ctx(ctx_) {}
    FACTS find(const NODE *tree, int depth) const;
    FACTS find_as(const NODE *tree, VALUE_SHAPE shape, int depth) const {
        return converted(find(tree, depth), shape);
    }

private:
    LOOP *loop;
    CONTEXT *ctx;

    FACTS by_operator(const NODE *tree, VALUE_SHAPE shape, int depth) const;
    FACTS of_cast(const NODE *tree, VALUE_SHAPE shape, int depth) const;
    FACTS of_shift(const NODE *tree, VALUE_SHAPE shape, int depth) const;
    FACTS of_intrinsic(const NODE *tree, VALUE_SHAPE shape, int depth) const;
};

FACTS truth_value(VALUE_SHAPE shape) {
    return with_range(shape, 0, 1);
}

unsigned trailing_zeros(const FACTS &f) {
    return std::min<unsigned>(static_cast<unsigned>(std::countr_one(f.zeros)), f.shape.bits);
}

// The bits of a + b + carry, from what is known of both: a bit of the sum is known where those of
// both operands are and the carry into it is the same for the least and the greatest operands.
void bits_of_sum(const FACTS &a, const FACTS &b, U32 carry, U32 *zeros, U32 *ones) {
    const U32 greatest = ~a.zeros + ~b.zeros + carry, least = a.ones + b.ones + carry;
    const U32 carry_zeros = ~(greatest ^ a.zeros ^ b.zeros), carry_ones = least ^ a.ones ^ b.ones;
    const U32 known = (a.zeros | a.ones) & (b.zeros | b.ones) & (carry_zeros | carry_ones);
    *zeros = ~greatest & known;
    *ones = least & known;
}

FACTS of_PLUS(VALUE_SHAPE shape, const FACTS &a, const FACTS &b) {
    U32 zeros = 0, ones = 0;
    bits_of_sum(a, b, 0, &zeros, &ones);
    return with_both(shape, zeros, ones, a.lo + b.lo, a.hi + b.hi);
}

FACTS of_MINUS(VALUE_SHAPE shape, const FACTS &a, const FACTS &b) {
    FACTS not_b = b; // a - b is a + ~b + 1
    std::swap(not_b.zeros, not_b.ones);
    U32 zeros = 0, ones = 0;
    bits_of_sum(a, not_b, 1, &zeros, &ones);
    return with_both(shape, zeros, ones, a.lo - b.hi, a.hi - b.lo);
}

FACTS of_MULT(VALUE_SHAPE shape, const FACTS &a, const FACTS &b) {
    const U32 zeros = low_mask(trailing_zeros(a) + trailing_zeros(b));
    // Low bits that are known of both factors are known of the product.
    const unsigned known = static_cast<unsigned>(
        std::min(std::countr_one(a.zeros | a.ones), std::countr_one(b.zeros | b.ones)));
    const U32 low = low_mask(known), product = a.ones * b.ones;
    FACTS f = with_bits(shape, zeros | (~product & low), product & low);
    I64 lo = 0, hi = 0;
    bool first = true;
    for (const I64 x : {a.lo, a.hi})
        for (const I64 y : {b.lo, b.hi}) {
            I64 p = 0;
            if (__builtin_mul_overflow(x, y, &p)) return f;
            lo = first ? p : std::min(lo, p);
            hi = first ? p : std::max(hi, p);
            first = false;
        }
    return with_both(shape, f.zeros, f.ones, lo, hi);
}

FACTS of_NOTB(VALUE_SHAPE shape, const FACTS &a) {
    return with_bits(shape, a.ones, a.zeros);
}

FACTS of_ABS(VALUE_SHAPE shape, const FACTS &a) {
    const U32 zeros = low_mask(trailing_zeros(a));
    if (a.lo >= 0) return a;
    if (a.lo == shape.min()) return with_bits(shape, zeros, 0); // its own negative
    const I64 least = a.hi < 0 ? -a.hi : 0;
    return with_both(shape, zeros, 0, least, std::max(-a.lo, a.hi));
}

// The divisor may be zero as far as is known: then there is no value.
FACTS of_DIV(VALUE_SHAPE shape, const FACTS &a, const FACTS &b) {
    I64 lo = std::min<I64>(a.lo, 0), hi = std::max<I64>(a.hi, 0);
    if (b.lo >= 1) {
        lo = a.lo < 0 ? a.lo / b.lo : a.lo / b.hi;
        hi = a.hi < 0 ? a.hi / b.hi : a.hi / b.lo;
    } else if (shape.is_signed) {
        const I64 most = std::max(a.lo < 0 ? -a.lo : a.lo, a.hi < 0 ? -a.hi : a.hi);
        const I64 least = b.hi < 0 ? -b.hi : 1; // magnitude of the divisor
        lo = -(most / least);
        hi = most / least;
    }
    return with_range(shape, lo, hi);
}

FACTS of_MOD(VALUE_SHAPE shape, const FACTS &a, const FACTS &b) {
    // What is subtracted is a multiple of b, so low bits stay as far as those of b are 0.
    const U32 low = low_mask(trailing_zeros(b));
    const I64 most = std::max(b.lo < 0 ? -b.lo : b.lo, b.hi < 0 ? -b.hi : b.hi) - 1;
    const I64 lo = a.lo < 0 ? std::max(a.lo, -most) : 0, hi = a.hi > 0 ? std::min(a.hi, most) : 0;
    if (most < 0) return nothing_known(shape); // always a trap
    return with_both(shape, a.zeros & low, a.ones & low, lo, hi);
}

FACTS of_min_or_max(VALUE_SHAPE shape, bool is_min, bool is_signed, const FACTS &a,
                    const FACTS &b) {
    const FACTS f = either(a, b);
    // Ranges are compared by the sign of the type; that of the operator must order them alike.
    if (is_signed != shape.is_signed) {
        const I64 top = I64{1} << (shape.bits - 1);
        if (f.lo < 0 || f.hi >= top) return f;
    }
    const I64 lo = is_min ? std::min(a.lo, b.lo) : std::max(a.lo, b.lo);
    const I64 hi = is_min ? std::min(a.hi, b.hi) : std::max(a.hi, b.hi);
    return with_both(shape, f.zeros, f.ones, lo, hi);
}

// What a read of an lvalue can give.
FACTS of_load(const NODE *lvalue, VALUE_SHAPE shape) {
    if (lvalue->type->is_bool()) return truth_value(shape);
    if (lvalue->op != OP::STDOT && lvalue->op != OP::STREF) return nothing_known(shape);
    if (lvalue->right->op != OP::FIELD) return nothing_known(shape);
    const fkMDATA *member = lvalue->right->u.field.mdata;
    const unsigned width = member->width;
    if (!member->is_bitfield || width == 0 || width >= shape.bits ||
        member->type->is_signed() != shape.is_signed)
        return nothing_known(shape);
    const VALUE_SHAPE field{width, shape.is_signed};
    return with_range(shape, field.min(), field.max());
}

FACTS FACT_FINDER::of_cast(const NODE *tree, VALUE_SHAPE shape, int depth) const {
    const FACTS from = find(tree->left, depth);
    if (!tree->type->is_bool() || tree->left->type->is_bool()) return converted(from, shape);
    if (from.shape.bits == 0) return truth_value(shape);
    if (from.ones != 0 || from.lo > 0 || from.hi < 0) return constant(shape, 1);
    return from.is_constant() ? constant(shape, 0) : truth_value(shape);
}

// The bits move; the left operand's own sign says what comes in from the left.
FACTS FACT_FINDER::of_shift(const NODE *tree, VALUE_SHAPE shape, int depth) const {
    const bool to_left = tree->op == OP::SLL;
    const VALUE_SHAPE moved{shape.bits, to_left ? shape.is_signed : tree->left->type->is_signed()};
    const FACTS a = find_as(tree->left, moved, depth);
    if (!is_ICON(tree->right)) {
        if (to_left) return with_bits(shape, low_mask(trailing_zeros(a)), 0);
        const FACTS f =
            with_range(moved, std::min<I64>(a.lo, 0), std::max<I64>(a.hi, a.hi < 0 ? -1 : 0));
        return converted(f, shape);
    }
    const INT65 count = icon_value(tree->right);
    const bool all_out = count.is_negative() || count >= INT65(shape.bits);
    if (to_left) {
        if (all_out) return constant(shape, 0);
        const unsigned n = count.u32();
        const I64 scale = I64{1} << n;
        return with_both(shape, a.zeros << n | low_mask(n), a.ones << n, a.lo * scale,
                         a.hi * scale);
    }
    if (all_out && !moved.is_signed) return constant(shape, 0);
    const unsigned n = all_out ? shape.bits - 1 : count.u32();
    U32 zeros = a.zeros >> n, ones = a.ones >> n;
    const U32 above = shape.mask() & ~(shape.mask() >> n), sign = U32{1} << (shape.bits - 1);
    if (!moved.is_signed || (a.zeros & sign) != 0)
        zeros |= above;
    else if ((a.ones & sign) != 0)
        ones |= above;
    return converted(with_both(moved, zeros, ones, a.lo >> n, a.hi >> n), shape);
}

struct MIN_MAX {
    const char *name;
    bool is_min, is_signed;
};
constexpr MIN_MAX min_max_intrinsics[] = {
    {"MIN", true, true},    {"MAX", false, true},    {"MINU", true, false},
    {"MAXU", false, false}, {"LMIN", true, true},    {"LMAX", false, true},
    {"LMINU", true, false}, {"LMAXU", false, false}, {"LLMIN", true, true},
    {"LLMAX", false, true}, {"LLMINU", true, false}, {"LLMAXU", false, false},
};

FACTS FACT_FINDER::of_intrinsic(const NODE *tree, VALUE_SHAPE shape, int depth) const {
    const NODE *args = tree->left;
    if (args->op != OP::COMMA || args->left->op == OP::COMMA) return nothing_known(shape);
    for (const MIN_MAX &row : min_max_intrinsics)
        if (std::strcmp(tree->icall_name(), row.name) == 0)
            return of_min_or_max(shape, row.is_min, row.is_signed,
                                 find_as(args->left, shape, depth),
                                 find_as(args->right, shape, depth));
    return nothing_known(shape);
}

FACTS FACT_FINDER::by_operator(const NODE *tree, VALUE_SHAPE shape, int depth) const {
    const auto left = [&] { return find_as(tree->left, shape, depth); };
    const auto right = [&] { return find_as(tree->right, shape, depth); };
    switch (tree->op) {
    case OP::PLUS: return of_PLUS(shape, left(), right());
    case OP::MINUS: return of_MINUS(shape, left(), right());
    case OP::UMINUS: return of_MINUS(shape, constant(shape, 0), left());
    case OP::MULT: return of_MULT(shape, left(), right());
    case OP::DIV: return of_DIV(shape, left(), right());
    case OP::MOD: return of_MOD(shape, left(), right());
    case OP::ABS: return of_ABS(shape, left());
    case OP::NOTB: return of_NOTB(shape, left());
    case OP::ANDB: {
        const FACTS a = left(), b = right();
        return with_bits(shape, a.zeros | b.zeros, a.ones & b.ones);
    }
    case OP::ORB: {
        const FACTS a = left(), b = right();
        return with_bits(shape, a.zeros & b.zeros, a.ones | b.ones);
    }
    case OP::XORB: {
        const FACTS a = left(), b = right();
        return with_bits(shape, (a.zeros & b.zeros) | (a.ones & b.ones),
                         (a.zeros & b.ones) | (a.ones & b.zeros));
    }
    case OP::SLL:
    case OP::SRL: return of_shift(tree, shape, depth);
    case OP::SCONV:
    case OP::PCONV: return of_cast(tree, shape, depth);
    case OP::QUEST:
        if (tree->right->op != OP::COLON) return nothing_known(shape);
        return either(find_as(tree->right->left, shape, depth),
                      find_as(tree->right->right, shape, depth));
    case OP::COMMAOP: return right();
    case OP::ASG:
        if (tree->left->op == OP::STDOT || tree->left->op == OP::STREF)
            return nothing_known(shape); // a bit-field may keep less
        return right();
    case OP::ICALL: return of_intrinsic(tree, shape, depth);
    case OP::DDNODE:
    case OP::IDENTITY: return left();
    default: return nothing_known(shape);
    }
}

// Without a look below the node.
FACTS of_node_alone(const NODE *tree, VALUE_SHAPE shape) {
    if (boolean_result[tree->op]) return truth_value(shape);
    switch (tree->op) {
    case OP::ICON: return constant(shape, icon_value(tree).u32());
    case OP::NAME:
    case OP::UMULT:
    case OP::STDOT:
    case OP::STREF: return of_load(tree, shape);
    case OP::SCONV:
    case OP::PCONV:
    case OP::CALL:
    case OP::UCALL: return tree->type->is_bool() ? truth_value(shape) : nothing_known(shape);
    default: return nothing_known(shape);
    }
}

bool has_value_of_operands(const NODE *tree) {
    if (!tree->left || boolean_result[tree->op]) return false;
    switch (tree->op) {
    case OP::UMULT:
    case OP::STDOT:
    case OP::STREF:
    case OP::CALL:
    case OP::UCALL: return false;
    default: return true;
    }
}

FACTS FACT_FINDER::find(const NODE *tree, int depth) const {
    const VALUE_SHAPE shape = value_shape(tree->type);
    if (shape.bits == 0) return {};
    const FACTS facts = depth > 0 && has_value_of_operands(tree)
                            ? by_operator(tree, shape, depth - 1)
                            : of_node_alone(tree, shape);
    return narrowed_by_surroundings(tree, facts, loop, ctx);
}

INT65 as_INT65(std::uint32_t bits) {
    return INT65(bits);
}
} // namespace

VALUE_SHAPE value_shape(const TYPE *type) {
    if (!type || !(type->is_int_or_enum() || type->is_ptr())) return {};
    const unsigned bits = type->size();
    if (bits == 0 || bits > widest_fact) return {};
    return {bits, type->is_signed()};
}

FACTS facts_of(const NODE *tree, LOOP *loop, CONTEXT *ctx) {
    return FACT_FINDER(loop, ctx).find(tree, max_depth);
}

FACTS facts_as(const NODE *tree, const TYPE *type, LOOP *loop, CONTEXT *ctx) {
    return FACT_FINDER(loop, ctx).find_as(tree, value_shape(type), max_depth);
}

INT65 find_known_zeros(const NODE *tree, const TYPE *type) {
    return as_INT65(facts_as(tree, type).zeros);
}

INT65 find_known_ones(const NODE *tree, const TYPE *type) {
    return as_INT65(facts_as(tree, type).ones);
}

INT65 find_known_zeros_in_ANDB(const NODE *tree, LOOP *loop, CONTEXT *ctx) {
    return as_INT65(facts_of(tree, loop, ctx).zeros);
}
