// What the simplifier claims to know of values, held against the values that trees have.
#pragma once

#include "tests/simp/tree_evaluator.h"

#include <string>
#include <vector>

// The claims about each subtree of a tree.
class FACTS {
public:
    explicit FACTS(const TREE_CODE &code);
    // The first claim that the values of an evaluation contradict; empty: none.
    std::string contradiction(const std::vector<EVALUATOR::REACHED> &values) const;

private:
    struct CLAIMS {
        std::size_t cell;
        INT65 lo, hi;
        struct BITS {
            const TYPE *type;
            INT65 zeros, ones;
        };
        std::vector<BITS> bits;
        std::vector<const TYPE *> fits_in;
        std::vector<int> divisors;
        bool is_0_or_1, never_overflows, is_exact;
    };
    std::string contradiction(const CLAIMS &claims,
                              const std::vector<EVALUATOR::REACHED> &values) const;

    const TREE_CODE &code_;
    std::vector<CLAIMS> claims_;
};
