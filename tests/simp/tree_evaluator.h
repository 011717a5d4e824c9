// Evaluates trees as the page on icode says what they mean, with the arithmetic of ic-run, and
// records what they do. Nothing of the optimizer's own folding takes part.
#pragma once

#include "tests/simp/proof_world.h"

#include <string>
#include <vector>

// A type as values see it. Pointers are unsigned integers of one unit.
struct VALUE_TYPE {
    enum KIND : std::uint8_t { nothing, integer, floating, record } kind = nothing;
    bool is_signed = false, is_bool = false;
    std::uint32_t units = 0;

    VALUE_TYPE() = default;
    VALUE_TYPE(KIND k, bool sign, std::uint32_t n) : kind(k), is_signed(sign), units(n) {}
    explicit VALUE_TYPE(const TYPE *type);
    bool is_scalar() const { return kind == integer || kind == floating; }
    bool operator==(const VALUE_TYPE &) const = default;
};

// A tree made ready to be evaluated many times. The tree may be gone then, but for `node`.
class TREE_CODE {
public:
    TREE_CODE(const NODE *tree, WORLD &world);

    struct CELL {
        std::uint8_t op;
        bool is_volatile = false;
        VALUE_TYPE type;
        std::int32_t left = -1, right = -1; // -1: none
        std::uint32_t number = 0;           // constant, address, offset in units, label, callee
        std::uint8_t first = 0, width = 0;  // of a bit-field
        const WORLD::FUNCTION *function = nullptr;
        const NODE *node = nullptr;
    };
    std::vector<CELL> cells;              // cells[0] is the root, operands come later
    std::vector<std::uint32_t> constants; // that stand in it
    std::string problem;                  // why it cannot be evaluated; empty: it can

private:
    std::int32_t add(const NODE *tree);
    void fill(CELL &cell, const NODE *tree);
    void complain(const NODE *tree, const char *what);

    WORLD &world_;
};

// What was done, in order. Stores are recorded unit by unit, and only where they change memory;
// volatile ones always, and whole.
struct EFFECT {
    enum KIND : std::uint8_t { store, volatile_store, volatile_read, call, argument, trap } kind;
    std::uint32_t where, value;
    bool operator==(const EFFECT &) const = default;
};

// The state in which trees are evaluated: what memory holds, what calls give and do to memory, what
// volatile reads give. All of it follows from the seed, the slots and the constants.
class ENVIRONMENT {
public:
    explicit ENVIRONMENT(const WORLD &world) : world_(world) {}

    // Values are biased to the constants (and their neighbours), to the limits of types and to each
    // other. Seeds below `special_environments` give the same value to all variables.
    void begin(std::uint64_t seed, const std::vector<std::uint32_t> &constants);
    static constexpr std::uint64_t special_environments = 4;
    void restart(); // undoes what an evaluation has done
    void set(std::uint32_t address, std::uint32_t value, unsigned units); // before it

    std::uint32_t load(std::uint32_t address, unsigned units) const;
    void store(std::uint32_t address, std::uint32_t value, unsigned units);
    // What the next call or volatile read gives.
    std::uint32_t outside_value(const VALUE_TYPE &type);
    void change_memory();                         // as a called function may
    std::string describe(const NODE *tree) const; // the values of the variables in the tree

    std::vector<EFFECT> effects;
    bool trapped = false; // nothing is recorded behind a trap

private:
    std::uint32_t sample(const VALUE_TYPE &type, unsigned bits, CHANCE &chance) const;
    std::uint16_t unit(std::uint32_t address) const;

    struct CHANGE {
        std::uint16_t value;
        std::uint32_t when; // the restart during which it was made; earlier ones are void
    };
    const WORLD &world_;
    std::uint64_t seed_ = 0;
    std::uint32_t now_ = 0, outside_count_ = 0;
    std::vector<std::uint32_t> constants_;
    std::vector<std::uint16_t> memory_ = std::vector<std::uint16_t>(WORLD::end_of_places); // before
    std::vector<CHANGE> changes_ = std::vector<CHANGE>(WORLD::end_of_places);              // since
};

class EVALUATOR {
public:
    explicit EVALUATOR(ENVIRONMENT &environment) : env_(environment) {}
    // The value of the tree; of a statement that jumps the number of its label, 0 when it goes on
    // to the next one. `values`, if any, gets the value of each cell that was reached.
    struct REACHED {
        bool reached = false;
        std::uint32_t value = 0;
    };
    std::uint32_t run(const TREE_CODE &code, std::vector<REACHED> *values = nullptr);

private:
    using CELL = TREE_CODE::CELL;
    struct LVALUE {
        std::uint32_t address;
        std::uint8_t first, width;
        bool is_volatile;
        VALUE_TYPE type;
    };
    const CELL &cell(std::int32_t i) const { return code_->cells[static_cast<std::size_t>(i)]; }
    std::uint32_t value(std::int32_t i);
    std::uint32_t value_of(const CELL &c);
    std::uint32_t value_as(std::int32_t i, const VALUE_TYPE &type);
    std::uint32_t arithmetic(int op, const VALUE_TYPE &type, bool sign, std::uint32_t x,
                             std::uint32_t y);
    std::uint32_t binary(const CELL &c);
    std::uint32_t unary(const CELL &c);
    std::uint32_t comparison(const CELL &c);
    std::uint32_t assignment(const CELL &c);
    std::uint32_t compound(const CELL &c);
    std::uint32_t copy_class(const CELL &c);
    std::uint32_t copy_memory(const CELL &c);
    std::uint32_t call(const CELL &c);
    std::uint32_t intrinsic(const CELL &c);
    std::uint32_t switch_target(const CELL &c);
    bool truth(std::int32_t i);
    LVALUE lvalue(std::int32_t i);
    std::uint32_t load(const LVALUE &lv);
    std::uint32_t store(const LVALUE &lv, std::uint32_t value);
    void record(EFFECT::KIND kind, std::uint32_t where, std::uint32_t value);
    std::uint32_t trap();

    ENVIRONMENT &env_;
    const TREE_CODE *code_ = nullptr;
    std::vector<REACHED> *values_ = nullptr;
};

// An intrinsic of two operands, which are taken as the type.
struct MACHINE_INTRINSIC {
    std::string_view name;
    VALUE_TYPE type;
    std::uint32_t (*apply)(std::uint32_t x, std::uint32_t y);
};
const MACHINE_INTRINSIC *find_machine_intrinsic(const NODE *call); // null: none of that name

// A value converted as SCONV and PCONV do.
std::uint32_t converted_value(std::uint32_t value, const VALUE_TYPE &from, const VALUE_TYPE &to);
// Floats that are no numbers are all the same.
bool same_value(std::uint32_t a, std::uint32_t b, const VALUE_TYPE &type);
