// The simplifier on every value of 16 bits that the letters of a shape can have.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

struct NODE;

struct EXHAUSTIVE_CASE {
    std::string shape;                      // of one or two letters, see patterns.def
    std::string type = "short";             // of x, y and z in it
    bool narrow = false;                    // its operators work in that type
    unsigned step = 1;                      // every which value
    NODE *(*rewrite)(NODE *tree) = nullptr; // in place of the simplifier
};

struct EXHAUSTIVE_RESULT {
    std::string problem;               // why nothing was done; empty: it was
    std::uint64_t trees = 0;           // one for each value of the constants
    std::uint64_t same_trees = 0;      // that are what they were, and need no evaluation
    std::uint64_t pairs = 0;           // of values, for which both trees were evaluated
    std::uint64_t same_pairs = 0;      // of those that stayed
    std::uint64_t differences = 0;     // trees with a pair that differs
    std::vector<std::string> findings; // the first of these, each as a text

    EXHAUSTIVE_RESULT &operator+=(const EXHAUSTIVE_RESULT &other);
};

EXHAUSTIVE_RESULT prove_exhaustively(const EXHAUSTIVE_CASE &what);

// Every operator of two operands on two variables, on a variable and a constant, and on a constant
// and a variable; of short and unsigned short, in the type itself, in int, and in unsigned int.
std::vector<EXHAUSTIVE_CASE> all_binary_operators();
