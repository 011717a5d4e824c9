// Comparisons of integers with constants as sets of values. Private to the simplifier.
//
// The values of a type of n bits form a ring of 2^n; each comparison with a constant holds on an
// arc of it: x == C on one point, x < C from the least signed value to C - 1, and so on. What
// operators with a constant do to their operand turns, reflects, stretches or cuts the arc, so that
// a comparison of f(x) is one of x with another arc. Arcs that join, meet or miss each other tell
// what several comparisons of one value say together. The types have 32 bits at most.
#pragma once

#include "OPT5/scalar/simp_rules.h"

#include <cstdint>
#include <optional>

struct ARC {
    std::uint64_t lo = 0, count = 0; // lo, lo + 1, ... around the ring: count values
    unsigned width = 0;              // bits; 1 to 32

    std::uint64_t ring() const { return std::uint64_t{1} << width; }
    std::uint64_t cut(std::uint64_t v) const { return v & (ring() - 1); }
    std::uint64_t hi() const { return cut(lo + count - 1); } // of an arc that is not empty
    bool is_empty() const { return count == 0; }
    bool is_full() const { return count == ring(); }
    bool contains(std::uint64_t v) const { return cut(v - lo) < count; }
    bool is_point() const { return count == 1; }
    bool lacks_point() const { return count == ring() - 1; }
    ARC complement() const { return {cut(lo + count), ring() - count, width}; }
    ARC turned(std::uint64_t by) const { return {cut(lo + by), count, width}; }
    // The values v with c - v on this arc.
    ARC reflected(std::uint64_t c) const { return {cut(c - lo - count + 1), count, width}; }
    friend bool operator==(const ARC &a, const ARC &b) {
        return a.width == b.width && a.count == b.count &&
               (a.lo == b.lo || a.is_empty() || a.is_full());
    }
};

// Nothing when the result is no arc but two.
std::optional<ARC> intersection(const ARC &a, const ARC &b);
std::optional<ARC> united(const ARC &a, const ARC &b);

// Width of the type if it is an integer, enum or pointer that arcs are about, else 0.
unsigned arc_width(const TYPE *type);
ARC arc_of_type(const TYPE *type);
// Where `v op c` holds.
ARC arc_of_comparison(int op, std::uint64_t c, unsigned width);
// What is known of the tree's values.
ARC arc_of_values(const NODE *tree, LOOP *loop, CONTEXT *ctx);
// Bits of a constant.
std::uint64_t arc_point(const NODE *icon, unsigned width);

// "The value of *x lies on the arc."
struct ARC_TEST {
    NODE **x = nullptr;
    ARC arc;
};
// The comparison with a constant on its right, the value being its left operand as it stands.
std::optional<ARC_TEST> test_of_comparison(NODE *tree);
// Goes to the value's only operand that is no constant. False when there is no such test.
bool peel_test(ARC_TEST *test, LOOP *loop, CONTEXT *ctx);
std::uint64_t odd_inverse(std::uint64_t odd); // modulo 2^64
// Removes the part of a tree that the link leads to, and erases the rest.
NODE *take_from_tree(NODE **link, NODE *tree);

// A way to write a test: x op c, or (x - base) ULT c.
struct ARC_FORM {
    int op = 0; // ILLOP: always or never, by c
    std::uint64_t c = 0, base = 0;
    bool subtracts = false;
    bool casts = false; // x needs the other signedness
    int extra_cost() const;
    int extra_nodes() const { return subtracts + casts; }
};
// The simplest form of the test; `known` are the values that x has. Nothing when its type does not
// allow one.
std::optional<ARC_FORM> form_of_test(const TYPE *type, const ARC &arc, const ARC &known);
// Writes it; takes over x. The result is an int and is simplified but for its root.
NODE *write_test(NODE *x, const ARC_FORM &form, LS *scope, LOOP *loop, CONTEXT *ctx);
