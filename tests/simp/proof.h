// One random tree is simplified and compared with what it was; a tree that differs is made as small
// as it can be.
#pragma once

#include "tests/simp/tree_evaluator.h"
#include "tests/simp/tree_generator.h"

#include <functional>
#include <string>

struct FINDING {
    enum KIND : std::uint8_t {
        none,
        invalid_tree, // the generator's own: the tree was not right before
        value,
        effects,
        type,      // the result's is another one
        refused,   // the result cannot be evaluated
        validator, // complaints about the result
        form,      // the normal form is broken
        unstable,  // simplifying again changes the tree
        fact,      // something claimed of a value in the result is not so
        crash,     // the run ended (only with guards)
    } kind = none;
    std::string text;
    std::uint64_t environment = 0;
    explicit operator bool() const { return kind != none; }
};
const char *finding_name(FINDING::KIND kind);

// Rewrites that other passes use on their own.
struct SINGLE_REWRITE {
    const char *name;
    NODE *(*rewrite)(NODE *tree, ROOT_KIND kind);
    bool keeps_value = true; // else the effects alone
};
std::span<const SINGLE_REWRITE> single_rewrites();
// The simplifier of the optimizer.
NODE *simplified(NODE *tree, ROOT_KIND kind);

class PROOF {
public:
    // What is to be proved: takes a tree over and gives what stands for it.
    using REWRITE = std::function<NODE *(NODE *tree, ROOT_KIND kind)>;

    PROOF(WORLD &world, REWRITE rewrite)
        : world_(world), rewrite_(std::move(rewrite)), environment_(world) {}
    // Of a rewrite that promises nothing of the form of its result.
    PROOF(WORLD &world, const SINGLE_REWRITE &one) : PROOF(world, one.rewrite) {
        checks_form = checks_facts = false;
        compares_values = one.keeps_value;
    }

    // The tree stays as it is. `changed`, if any, tells whether anything was rewritten.
    FINDING check(const RANDOM_TREE &of, std::uint64_t seed, bool *changed = nullptr);
    // The same in a process of its own, which may crash or run forever.
    FINDING check_guarded(const RANDOM_TREE &of, std::uint64_t seed);
    // The smallest tree found that has a finding of the same kind.
    RANDOM_TREE smallest(const RANDOM_TREE &of, std::uint64_t seed, FINDING &finding);
    // Both trees as text, and the environment in which they differ.
    std::string report(const RANDOM_TREE &of, const FINDING &finding);

    unsigned environments = 10; // in which each tree is evaluated
    bool checks_form = true;    // normal form and stability too
    bool checks_facts = true;   // and what is claimed of the values in the result
    bool compares_values = true;

private:
    FINDING compare(const TREE_CODE &before, const TREE_CODE &after, ROOT_KIND kind,
                    std::uint64_t seed);

    WORLD &world_;
    REWRITE rewrite_;
    ENVIRONMENT environment_;
};
