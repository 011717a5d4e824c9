// Random trees of right types. A third of them grow around patterns: small shapes that rewrites
// look for, written like C, see patterns.def.
#pragma once

#include "tests/simp/proof_world.h"

#include <span>
#include <string>
#include <string_view>

enum class ROOT_KIND : std::uint8_t { value, condition, statement, control };

struct RANDOM_TREE {
    NODE *tree = nullptr;
    ROOT_KIND kind = ROOT_KIND::value;
};

class TREE_GENERATOR {
public:
    TREE_GENERATOR(WORLD &world, std::uint64_t seed) : w_(world), chance_(seed) {}

    RANDOM_TREE any();
    NODE *value(TYPE *type, int depth);
    NODE *leaf(TYPE *type);
    NODE *constant(TYPE *type);
    NODE *lvalue(TYPE *type, int depth); // of exactly this type
    NODE *effect(int depth);             // something to be a statement
    NODE *condition(int depth);          // of any scalar type
    NODE *truth_value(int depth);        // 0 or 1, an int
    // A cast to the type where the value has another one.
    NODE *converted(NODE *tree, TYPE *type);
    // The operator on two values, in the type that C computes it in; without promotion in the first
    // operand's own type, as the optimizer may.
    NODE *arithmetic(int op, NODE *left, NODE *right);
    TYPE *promoted(TYPE *type) {
        return promotes || type->is_enum() ? promoted_type(type) : type->stds();
    }
    bool promotes = true;
    CHANCE &chance() { return chance_; }
    WORLD &world() { return w_; }

private:
    NODE *integer(TYPE *type, int depth);
    NODE *computed_integer(TYPE *type, int depth);
    NODE *intrinsic(const char *name, TYPE *type, int depth);
    NODE *int_value(int depth); // what only has the type int
    NODE *real(TYPE *type, int depth);
    NODE *pointer(TYPE *type, int depth);
    NODE *common(TYPE *type,
                 int depth); // what values of all types can be made by; null: not this time
    NODE *operand(TYPE *type, int depth);
    NODE *count(TYPE *type, int depth);
    NODE *shift(int op, TYPE *type, int depth);
    NODE *call(TYPE *type, int depth);
    NODE *assignment(TYPE *type, int depth);
    NODE *class_effect();
    NODE *struct_lvalue(bool pointer_to_it, int depth);
    NODE *control(int depth);
    NODE *variable(TYPE *type); // null: there is none
    TYPE *scalar_type();

    WORLD &w_;
    CHANCE chance_;
};

std::span<const std::string_view> tree_patterns();
// The tree of a pattern. Letters: x y z are values (the same each time), p q pointers, A to D
// constants, k m n counts of shifts, P Q powers of two, M a mask of low bits. (T) before an operand
// is a cast: T one of c (signed char), C (unsigned char), s, S (short), i, I (int), f (float), or
// t and v, each one type in a pattern. `base` is the type of x, y and z.
NODE *tree_of_pattern(TREE_GENERATOR &generator, std::string_view pattern, TYPE *base, int depth);
std::string letters_of_pattern(std::string_view pattern); // each once, without those of casts
// With operands given: letter[i] stands for what make[i] gives. For exhaustive proofs.
struct PATTERN_LETTER {
    char letter;
    NODE *tree; // a copy of it is used
};
NODE *tree_of_pattern(TREE_GENERATOR &generator, std::string_view pattern, TYPE *base,
                      std::span<const PATTERN_LETTER> letters);
