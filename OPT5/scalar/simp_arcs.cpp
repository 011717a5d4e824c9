#include "OPT5/scalar/simp_arcs.h"

#include "OPT5/builtins/bif.h"
#include "OPT5/driver/abort.h"
#include "OPT5/rep/type_pkg.h"
#include "OPT5/target/costs.h"

#include <algorithm>
#include <bit>

// --- arcs

std::optional<ARC> intersection(const ARC &a, const ARC &b) {
    if (a.is_full()) return b;
    if (b.is_full()) return a;
    // b in steps from the beginning of a, and what of it goes around to there.
    const std::uint64_t begin = a.cut(b.lo - a.lo), end = begin + b.count;
    const std::uint64_t around = end > a.ring() ? std::min(end - a.ring(), a.count) : 0;
    const std::uint64_t stop = std::min(end, a.count);
    const std::uint64_t straight = begin < stop ? stop - begin : 0;
    if (around && straight) return std::nullopt;
    if (around) return ARC{a.lo, around, a.width};
    return ARC{a.cut(a.lo + begin), straight, a.width};
}

std::optional<ARC> united(const ARC &a, const ARC &b) {
    const std::optional<ARC> neither = intersection(a.complement(), b.complement());
    if (!neither) return std::nullopt;
    return neither->complement();
}

unsigned arc_width(const TYPE *type) {
    const bool fits = (type->is_int_or_enum() || type->is_ptr()) && type->size() <= 32;
    return fits ? type->size() : 0;
}

ARC arc_of_type(const TYPE *type) {
    return {0, std::uint64_t{1} << type->size(), type->size()};
}

ARC arc_of_comparison(int op, std::uint64_t c, unsigned width) {
    const ARC ring{0, std::uint64_t{1} << width, width};
    const std::uint64_t all = ring.ring();
    // Signed values in their order begin half a turn away.
    const bool by_sign = op == OP::LT || op == OP::LE || op == OP::GT || op == OP::GE;
    const std::uint64_t least = by_sign ? all / 2 : 0;
    const std::uint64_t below = ring.cut(c - least); // values less than c
    switch (op) {
    case OP::EQ: return {c, 1, width};
    case OP::NEQ: return {ring.cut(c + 1), all - 1, width};
    case OP::LT:
    case OP::ULT: return {least, below, width};
    case OP::LE:
    case OP::ULE: return {least, below + 1, width};
    case OP::GT:
    case OP::UGT: return {ring.cut(c + 1), all - 1 - below, width};
    default: return {c, all - below, width};
    }
}

std::uint64_t arc_point(const NODE *icon, unsigned width) {
    return icon->u.lval.low64() & ((std::uint64_t{1} << width) - 1);
}

ARC arc_of_values(const NODE *tree, LOOP *loop, CONTEXT *ctx) {
    ARC all = arc_of_type(tree->type);
    INT65 lo, hi;
    find_value_range(tree, &lo, &hi, loop, ctx);
    const std::uint64_t count = (hi - lo).low64() + 1;
    if (count >= all.ring()) return all;
    return {all.cut(lo.low64()), count, all.width};
}

// The inverse of an odd number modulo 2^64, by Newton's iteration.
std::uint64_t odd_inverse(std::uint64_t odd) {
    std::uint64_t inverse = odd; // right in 3 bits
    for (int bits = 3; bits < 64; bits *= 2)
        inverse *= 2 - odd * inverse;
    return inverse;
}

// --- what operators do to arcs

namespace {
// Of the values that the operator can give, those on the arc; then this is where x lies, or
// nothing.
using PREIMAGE = std::optional<ARC>;

struct OPERATION {
    NODE *tree;      // the operator
    NODE *x;         // its operand that is no constant
    std::uint64_t c; // the constant, if there is one
    LOOP *loop;
    CONTEXT *ctx;
};

PREIMAGE of_PLUS(const OPERATION &o, const ARC &arc) {
    return arc.turned(0 - o.c);
}

PREIMAGE of_MINUS(const OPERATION &o, const ARC &arc) {
    return o.x == o.tree->left ? arc.turned(o.c) : arc.reflected(o.c);
}

PREIMAGE of_UMINUS(const OPERATION &, const ARC &arc) {
    return arc.reflected(0);
}

PREIMAGE of_NOTB(const OPERATION &, const ARC &arc) {
    return arc.reflected(~std::uint64_t{0});
}

// A map that is one to one keeps a point, and all but a point.
template <class Map> PREIMAGE of_point(const ARC &arc, Map map) {
    if (arc.is_point()) return ARC{arc.cut(map(arc.lo)), 1, arc.width};
    if (!arc.lacks_point()) return std::nullopt;
    const ARC point = arc.complement();
    return ARC{arc.cut(map(point.lo)), 1, arc.width}.complement();
}

PREIMAGE of_XORB(const OPERATION &o, const ARC &arc) {
    if (o.c == arc.ring() - 1) return of_NOTB(o, arc);
    if (o.c == arc.ring() / 2) return arc.turned(o.c);
    return of_point(arc, [&o](std::uint64_t v) { return v ^ o.c; });
}

PREIMAGE of_MULT(const OPERATION &o, const ARC &arc) {
    if (o.c % 2 == 0) return std::nullopt;
    const std::uint64_t inverse = odd_inverse(o.c);
    return of_point(arc, [inverse](std::uint64_t v) { return v * inverse; });
}

PREIMAGE of_SRL(const OPERATION &o, const ARC &arc) {
    if (o.c == 0 || o.c >= arc.width || o.x->type->size() != arc.width) return std::nullopt;
    const std::uint64_t values = arc.ring() >> o.c;
    const ARC image{o.x->type->is_signed() ? arc.cut(0 - values / 2) : 0, values, arc.width};
    const std::optional<ARC> hit = intersection(arc, image);
    if (!hit) return std::nullopt;
    return ARC{arc.cut(hit->lo << o.c), hit->count << o.c, arc.width};
}

// Quotients truncate: those from q on begin at q * d, or for q below 1 at q * d - (d - 1).
PREIMAGE of_DIV(const OPERATION &o, const ARC &arc) {
    const std::uint64_t half = arc.ring() / 2;
    const bool by_sign = o.tree->type->is_signed();
    if (o.x != o.tree->left || o.c == 0 || (by_sign && o.c >= half)) return std::nullopt;
    const auto d = static_cast<std::int64_t>(o.c);
    const auto least = by_sign ? -static_cast<std::int64_t>(half) : 0;
    const auto most = static_cast<std::int64_t>(arc.ring()) - 1 + least;
    const auto from = least / d, to = most / d;
    const ARC image{arc.cut(static_cast<std::uint64_t>(from)),
                    static_cast<std::uint64_t>(to - from + 1), arc.width};
    const std::optional<ARC> hit = intersection(arc, image);
    if (!hit) return std::nullopt;
    if (hit->is_empty()) return ARC{0, 0, arc.width};
    const auto first =
        from + static_cast<std::int64_t>(arc.cut(hit->lo - static_cast<std::uint64_t>(from)));
    const auto last = first + static_cast<std::int64_t>(hit->count) - 1;
    const auto begin = std::max(least, first > 0 ? first * d : first * d - (by_sign ? d - 1 : 0));
    const auto end = std::min(most, last >= 0 ? last * d + d - 1 : last * d);
    return ARC{arc.cut(static_cast<std::uint64_t>(begin)),
               static_cast<std::uint64_t>(end - begin + 1), arc.width};
}

// A mask that clears low bits alone makes blocks of values one.
PREIMAGE of_ANDB(const OPERATION &o, const ARC &arc) {
    const std::uint64_t block = arc.cut(~o.c) + 1;
    if (block == 1 || !std::has_single_bit(block) || block == arc.ring()) return std::nullopt;
    const std::uint64_t up = (0 - arc.lo) & (block - 1); // to the next block's beginning
    const std::uint64_t blocks = arc.count <= up ? 0 : (arc.count - up - 1) / block + 1;
    return ARC{arc.cut(arc.lo + up), std::min(blocks * block, arc.ring()), arc.width};
}

// |x|, where the least value stays what it is: 0 to half a ring, unsigned.
PREIMAGE of_ABS(const OPERATION &o, const ARC &arc) {
    if (!o.tree->type->is_signed()) return std::nullopt;
    const std::uint64_t half = arc.ring() / 2;
    const std::optional<ARC> hit = intersection(arc, {0, half + 1, arc.width});
    if (!hit || hit->is_empty()) return hit;
    if (hit->lo == 0) {
        if (hit->hi() == half) return arc_of_type(o.tree->type);
        return ARC{arc.cut(0 - hit->hi()), 2 * hit->hi() + 1, arc.width};
    }
    if (hit->hi() != half) return std::nullopt;
    return ARC{hit->lo, arc.ring() - 2 * hit->lo + 1, arc.width};
}

// To bool: whether the value is not zero.
PREIMAGE of_test(const ARC &arc, unsigned from) {
    const ARC zero{0, 1, from};
    const bool of_zero = arc.contains(0), of_others = arc.contains(1);
    if (of_zero == of_others) return ARC{0, of_zero ? zero.ring() : 0, from};
    return of_zero ? zero : zero.complement();
}

// The values of x, known to be few enough to be told apart by their low bits, whose low bits lie on
// the arc.
PREIMAGE of_truncation(const OPERATION &o, const ARC &arc) {
    const ARC known = arc_of_values(o.x, o.loop, o.ctx);
    if (known.count > arc.ring()) return std::nullopt;
    const std::uint64_t up = arc.cut(arc.lo - known.lo);
    if (up + arc.count > arc.ring()) return std::nullopt;
    return ARC{known.cut(known.lo + up), arc.count, known.width};
}

PREIMAGE of_conversion(const OPERATION &o, const ARC &arc) {
    const TYPE *to = o.tree->type, *from = o.x->type;
    const unsigned width = arc_width(from);
    if (!width) return std::nullopt;
    if (to->is_bool() && !from->is_bool()) return of_test(arc, width);
    if (width == arc.width) return arc;
    if (width > arc.width) return of_truncation(o, arc);
    const std::uint64_t values = std::uint64_t{1} << width;
    const bool by_sign = from->is_int_or_enum() && from->is_signed();
    const std::optional<ARC> hit =
        intersection(arc, {by_sign ? arc.cut(0 - values / 2) : 0, values, arc.width});
    if (!hit) return std::nullopt;
    return ARC{hit->lo & (values - 1), hit->count, width};
}

// The lesser, or greater, of x and a constant: beyond the constant all values are one.
PREIMAGE of_limit(const OPERATION &o, const ARC &arc) {
    const BIF_DESCRIPTOR *bif = find_BIF_descriptor_for_call(o.tree);
    const unsigned kinds = HOLDS_proper_minval | HOLDS_proper_maxval;
    if (!bif || (bif->holds.flags & kinds) == 0) return std::nullopt;
    const bool is_minimum = (bif->holds.flags & HOLDS_proper_minval) != 0;
    const TYPE *type = BIF_type(bif->result);
    if (arc_width(o.x->type) != arc.width || type->size() != arc.width) return std::nullopt;
    const bool by_sign = type->is_signed();
    const int within = is_minimum ? (by_sign ? OP::LT : OP::ULT) : (by_sign ? OP::GT : OP::UGT);
    const bool inside = arc.contains(o.c);
    const std::optional<ARC> hit =
        intersection(inside ? arc.complement() : arc, arc_of_comparison(within, o.c, arc.width));
    if (!hit) return std::nullopt;
    return inside ? hit->complement() : *hit;
}

struct ROW {
    int op;
    PREIMAGE (*preimage)(const OPERATION &, const ARC &);
    enum { unary, constant_right, constant_any } shape;
};
constexpr ROW rows[] = {
    {OP::PLUS, of_PLUS, ROW::constant_right}, {OP::MINUS, of_MINUS, ROW::constant_any},
    {OP::UMINUS, of_UMINUS, ROW::unary},      {OP::NOTB, of_NOTB, ROW::unary},
    {OP::XORB, of_XORB, ROW::constant_right}, {OP::MULT, of_MULT, ROW::constant_right},
    {OP::SRL, of_SRL, ROW::constant_right},   {OP::DIV, of_DIV, ROW::constant_right},
    {OP::ANDB, of_ANDB, ROW::constant_right}, {OP::ABS, of_ABS, ROW::unary},
    {OP::SCONV, of_conversion, ROW::unary},   {OP::PCONV, of_conversion, ROW::unary},
};

// The operator's operand that is no constant; null when there is none, or two.
NODE **only_operand(NODE *tree, const ROW &row, const NODE **constant) {
    *constant = nullptr;
    if (row.shape == ROW::unary) return &tree->left;
    if (is_ICON(tree->right)) {
        *constant = tree->right;
        return &tree->left;
    }
    if (row.shape == ROW::constant_any && is_ICON(tree->left)) {
        *constant = tree->left;
        return &tree->right;
    }
    return nullptr;
}
} // namespace

std::optional<ARC_TEST> test_of_comparison(NODE *tree) {
    if (tree->op < OP::EQ || tree->op > OP::UGT || !is_ICON(tree->right)) return std::nullopt;
    const unsigned width = arc_width(tree->left->type);
    if (!width || tree->right->type->size() != width) return std::nullopt;
    return ARC_TEST{&tree->left, arc_of_comparison(tree->op, arc_point(tree->right, width), width)};
}

bool peel_test(ARC_TEST *test, LOOP *loop, CONTEXT *ctx) {
    NODE *tree = *test->x;
    const unsigned width = test->arc.width;
    if (tree->op == OP::ICALL) {
        NODE *args = tree->left;
        if (args->op != OP::COMMA || !is_ICON(args->right) || args->right->type->size() != width)
            return false;
        const PREIMAGE found =
            of_limit({tree, args->left, arc_point(args->right, width), loop, ctx}, test->arc);
        if (!found) return false;
        *test = {&args->left, *found};
        return true;
    }
    const auto *row = std::find_if(std::begin(rows), std::end(rows),
                                   [tree](const ROW &r) { return r.op == tree->op; });
    if (row == std::end(rows)) return false;
    const NODE *constant;
    NODE **x = only_operand(tree, *row, &constant);
    if (!x || !arc_width((*x)->type)) return false;
    const bool converts = tree->op == OP::SCONV || tree->op == OP::PCONV;
    if (!converts && (*x)->type->size() != width) return false;
    std::uint64_t c = 0;
    if (constant) {
        // A count has its own width; of a pointer's sum the constant is cut or extended.
        const bool counts = tree->op == OP::SRL;
        c = counts ? icon_value(constant).low64()
                   : constant_as(constant, tree->type).low64() & (test->arc.ring() - 1);
    }
    const OPERATION operation{tree, *x, c, loop, ctx};
    if (const PREIMAGE found = row->preimage(operation, test->arc)) {
        *test = {x, *found};
        return true;
    }
    // The values on the rest of the ring may come from an arc where these do not.
    const PREIMAGE others = row->preimage(operation, test->arc.complement());
    if (!others) return false;
    *test = {x, others->complement()};
    return true;
}

NODE *take_from_tree(NODE **link, NODE *tree) {
    NODE *part = *link;
    if (part == tree) return part;
    *link = maketree(OP::NOP, nullptr, nullptr, part->type, nullptr); // a leaf in its place
    erase_tree(tree);
    return part;
}

// --- forms of tests

int ARC_FORM::extra_cost() const {
    return subtracts ? cost_of_arithmetic : 0;
}

namespace {
// The arc as the values below, or above, one of them in the order that begins at `least`.
bool is_one_sided(const ARC &arc, const ARC &known, std::uint64_t least, bool by_sign,
                  ARC_FORM *form) {
    // The values that x has, in this order.
    const std::uint64_t first = arc.cut(known.lo - least), last = first + known.count - 1;
    if (last >= arc.ring()) return false;
    const std::uint64_t begin = arc.cut(arc.lo - least), end = begin + arc.count - 1;
    if (end >= arc.ring()) return false;
    if (begin <= first) {
        form->op = by_sign ? OP::LT : OP::ULT;
        form->c = arc.cut(end + 1 + least);
        return true;
    }
    if (end >= last) {
        form->op = by_sign ? OP::GT : OP::UGT;
        form->c = arc.cut(begin - 1 + least);
        return true;
    }
    return false;
}
} // namespace

// One point, all but a point, one side in the order of the type, one side in the other order, and
// else the distance from the first value on.
std::optional<ARC_FORM> form_of_test(const TYPE *type, const ARC &arc, const ARC &known) {
    ARC_FORM form;
    const std::optional<ARC> hit = intersection(arc, known);
    const std::optional<ARC> missed = intersection(arc.complement(), known);
    if (hit && hit->is_empty()) return ARC_FORM{OP::ILLOP, 0};
    if (missed && missed->is_empty()) return ARC_FORM{OP::ILLOP, 1};
    // Of two values, comparing with 0 is the simpler way.
    if (missed && missed->is_point() && missed->lo == 0) return ARC_FORM{OP::NEQ, 0};
    if (hit && hit->is_point()) return ARC_FORM{OP::EQ, hit->lo};
    if (missed && missed->is_point()) return ARC_FORM{OP::NEQ, missed->lo};

    const bool is_pointer = type->is_ptr();
    const bool by_sign = !is_pointer && type->is_signed();
    const ARC all{0, arc.ring(), arc.width};
    const std::uint64_t half = arc.ring() / 2;
    for (const bool other : {false, true})
        for (const ARC &values : {all, known}) {
            const bool use_sign = by_sign != other;
            if (is_pointer && use_sign) continue;
            if (values.is_full() && !is_one_sided(arc, {use_sign ? half : 0, arc.ring(), arc.width},
                                                  use_sign ? half : 0, use_sign, &form))
                continue;
            if (!values.is_full() &&
                (!hit || !is_one_sided(*hit, values, use_sign ? half : 0, use_sign, &form)))
                continue;
            form.casts = other;
            return form;
        }
    if (is_pointer) return std::nullopt;
    form.op = OP::ULT;
    form.base = arc.lo;
    form.c = arc.count;
    form.subtracts = true;
    form.casts = by_sign;
    return form;
}

NODE *write_test(NODE *x, const ARC_FORM &form, LS *scope, LOOP *loop, CONTEXT *ctx) {
    TYPE *int_type = tp->int_type();
    if (form.op == OP::ILLOP) return with_effects(x, make_ICON(INT65(form.c), int_type), loop, ctx);
    TYPE *type = x->type->type_qualified();
    if (form.subtracts) {
        x = maketree(OP::PLUS, x, make_ICON(INT65(0) - INT65(form.base), type), type, scope);
        x = simp_node(x, loop, ctx);
    }
    if (form.casts) {
        type = type->is_signed() ? tp->mk_unsigned(type) : tp->mk_signed(type);
        x = simp_node(maketree(OP::SCONV, x, nullptr, type->normalized(), scope), loop, ctx);
    }
    return maketree(form.op, x, make_ICON(INT65(form.c), type), int_type, scope);
}
