// Ranges of variables that are known from outside the tree that is simplified. Private to the
// simplifier.
#pragma once

#include "OPT5/scalar/simp_facts.h"

// In force from its construction to its end; those made later stand inside. Nothing of the tree may
// change the variables meanwhile.
class KNOWN_RANGES {
public:
    KNOWN_RANGES();
    ~KNOWN_RANGES();
    KNOWN_RANGES(const KNOWN_RANGES &) = delete;
    KNOWN_RANGES &operator=(const KNOWN_RANGES &) = delete;

    // The tree's value, as a value of its type, lies from lo to hi.
    void add(const NODE *tree, std::int64_t lo, std::int64_t hi);
    // The condition, which has no effects, holds or does not.
    void add_condition(const NODE *condition, bool holds, int depth = 6);
    bool says_something_of(const NODE *tree) const;
    // The tree with constants where it reads variables of one value.
    NODE *with_constants(NODE *tree) const;

    static bool is_anything_in_force() { return in_force != nullptr; }
    // What is in force says of a tree; false: nothing.
    static bool find(const NODE *tree, std::int64_t *lo, std::int64_t *hi);

private:
    friend class NOTHING_KNOWN;
    void add_variable(const NODE *name, std::int64_t lo, std::int64_t hi);
    void add_comparison(const NODE *comparison, int op);

    struct ENTRY {
        SYMTAB *sym;
        const TYPE *type;
        std::int64_t lo, hi;
    };
    static constexpr unsigned most = 8;
    ENTRY entries_[most];
    unsigned count_ = 0;
    KNOWN_RANGES *outer_;
    static KNOWN_RANGES *in_force;
};

// Puts aside what is known, and back at its end.
class NOTHING_KNOWN {
public:
    NOTHING_KNOWN() : known_(KNOWN_RANGES::in_force) { KNOWN_RANGES::in_force = nullptr; }
    ~NOTHING_KNOWN() { KNOWN_RANGES::in_force = known_; }
    NOTHING_KNOWN(const NOTHING_KNOWN &) = delete;
    NOTHING_KNOWN &operator=(const NOTHING_KNOWN &) = delete;

private:
    KNOWN_RANGES *const known_;
};

// Simplifies a tree in normal form again with what `known`, which is in force, says.
NODE *simp_with_known_ranges(NODE *tree, const KNOWN_RANGES &known, bool *changed, LOOP *loop,
                             CONTEXT *ctx);
// Simplifies a tree in normal form that is evaluated only when the condition holds, or does not.
// True: it has changed.
bool simp_under_condition(NODE *&tree, const NODE *condition, bool holds, LOOP *loop, CONTEXT *ctx);
