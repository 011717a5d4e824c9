// Evaluates trees without effects for many values of their variables at once. It gives what
// EVALUATOR gives, some hundred times as fast, so that all pairs of values of 16 bits can be tried.
#pragma once

#include "tests/simp/tree_evaluator.h"

#include <memory>
#include <span>

class BATCH_CODE {
public:
    static constexpr unsigned lanes = 512; // values that one run computes
    using LANES = std::uint32_t[lanes];
    // A variable of the world, and where its values for the next run lie.
    struct VARIABLE {
        std::uint32_t address;
        const std::uint32_t *values;
    };

    BATCH_CODE(const TREE_CODE &code, std::span<const VARIABLE> variables);
    bool is_known() const {
        return known_;
    } // else the tree has an operator that only EVALUATOR has
    // Reads the variables where the list says that they lie now, one that it had before.
    void run(std::span<const VARIABLE> variables);
    const std::uint32_t *values() const { return at_[root_]; }
    const std::uint32_t *traps() const { return at_[trap_]; } // not 0: there is no value

private:
    using CELL = TREE_CODE::CELL;
    using REGISTER = std::uint16_t;
    enum KIND : std::uint8_t {
        extend,
        cut,
        negate,
        invert,
        absolute,
        is_zero,
        is_not_zero,
        add,
        subtract,
        multiply,
        bit_and,
        bit_or,
        bit_xor,
        left32,
        left16,
        right32,
        right16,
        signed_right32,
        signed_right16,
        divide,
        divide_sign,
        modulo,
        modulo_sign,
        equal,
        not_equal,
        less,
        less_or_equal,
        less_sign,
        less_or_equal_sign,
        choose,       // a where c is not 0, else b
        trap_if_zero, // a, or 1 where b is 0 and c is not
        intrinsic,
    };
    struct STEP {
        KIND kind;
        REGISTER to, a, b, c;
        std::uint32_t (*apply)(std::uint32_t x, std::uint32_t y);
    };

    const CELL &cell(std::int32_t i) const { return code_.cells[static_cast<std::size_t>(i)]; }
    REGISTER new_register();
    REGISTER constant(std::uint32_t value);
    REGISTER step(KIND kind, REGISTER a, REGISTER b = 0, REGISTER c = 0);
    REGISTER unknown();
    // `active`: not 0 in the lanes in which the tree is evaluated at all.
    REGISTER value(std::int32_t i, REGISTER active);
    REGISTER value_as(std::int32_t i, const VALUE_TYPE &type, REGISTER active);
    REGISTER converted(REGISTER v, const VALUE_TYPE &from, const VALUE_TYPE &to);
    REGISTER truth(std::int32_t i, REGISTER active);
    REGISTER binary(const CELL &c, REGISTER active);
    REGISTER arithmetic(int op, const VALUE_TYPE &type, bool sign, REGISTER x, REGISTER y,
                        REGISTER active);
    REGISTER unary(const CELL &c, REGISTER active);
    REGISTER comparison(const CELL &c, REGISTER active);
    REGISTER call(const CELL &c, REGISTER active);
    static void run_step(const STEP &step, std::uint32_t *to, const std::uint32_t *a,
                         const std::uint32_t *b, const std::uint32_t *c);

    const TREE_CODE &code_;
    std::span<const VARIABLE> variables_;
    std::vector<STEP> steps_;
    std::vector<std::unique_ptr<std::uint32_t[]>> memory_;
    std::vector<const std::uint32_t *> at_; // of each register; the variables' come first
    std::vector<std::uint32_t *> own_;      // null for a variable's
    REGISTER trap_ = 0, root_ = 0;
    bool known_ = true;
};
