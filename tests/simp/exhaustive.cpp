#include "tests/simp/exhaustive.h"

#include "tools/ic-run/arithmetic.h"

#include "tests/simp/batch_evaluator.h"
#include "tests/simp/normal_form.h"
#include "tests/simp/proof.h"

#include <algorithm>
#include <cstring>

namespace {
constexpr std::uint32_t values_of_16_bits = 65536;
constexpr std::size_t most_findings = 10;

struct LETTER {
    char letter;
    SYMTAB *variable; // null: a constant
    std::uint32_t address;
};

bool is_variable(char letter) {
    return letter >= 'x' && letter <= 'z';
}

TYPE *type_of_name(const WORLD &world, std::string_view name) {
    for (TYPE *type : world.integers)
        if (type->printstr() == name) return type;
    return nullptr;
}

bool is_same(const TREE_CODE &a, const TREE_CODE &b) {
    return std::equal(a.cells.begin(), a.cells.end(), b.cells.begin(), b.cells.end(),
                      [](const TREE_CODE::CELL &x, const TREE_CODE::CELL &y) {
                          return x.op == y.op && x.type == y.type && x.left == y.left &&
                                 x.right == y.right && x.number == y.number && x.op != OP::ICALL &&
                                 x.is_volatile == y.is_volatile;
                      });
}

class SHAPE_PROOF {
public:
    SHAPE_PROOF(const EXHAUSTIVE_CASE &what, TYPE *base, WORLD &world)
        : what_(what), world_(world), base_(base), generator_(world, 1), environment_(world) {
        generator_.promotes = !what.narrow;
        for (const char letter : letters_of_pattern(what.shape))
            letters_.push_back({letter, is_variable(letter) ? free_variable() : nullptr, 0});
        // Constants first: with each of their values there is another tree.
        const auto first = std::stable_partition(letters_.begin(), letters_.end(),
                                                 [](const LETTER &one) { return !one.variable; });
        constants_ = static_cast<std::size_t>(first - letters_.begin());
        for (auto one = first; one != letters_.end(); ++one)
            one->address = world.address_of(one->variable);
        for (std::uint32_t v = 0; v < values_of_16_bits; v += what.step)
            values_.push_back(base->is_signed() ? extended16(v) : v);
        // The lanes behind the last value get it again.
        padded_ = values_;
        padded_.resize((values_.size() + BATCH_CODE::lanes - 1) / BATCH_CODE::lanes *
                           BATCH_CODE::lanes,
                       values_.back());
        for (std::uint32_t &v : padded_)
            if (base->size() == 16) v = low16(v);
    }

    EXHAUSTIVE_RESULT run() {
        if (letters_.empty() || letters_.size() > 2)
            result_.problem = "a shape of one or two letters is wanted";
        else
            choose_constants(0);
        return result_;
    }

private:
    SYMTAB *free_variable() const {
        for (SYMTAB *sym : world_.variables)
            if (sym->otype == base_ &&
                std::none_of(letters_.begin(), letters_.end(),
                             [sym](const LETTER &one) { return one.variable == sym; }))
                return sym;
        return nullptr;
    }

    void choose_constants(std::size_t n) {
        if (n == constants_) return prove_tree();
        for (const std::uint32_t v : values_) {
            chosen_[n] = v;
            choose_constants(n + 1);
        }
    }

    NODE *tree_of_letter(std::size_t n) {
        const LETTER &one = letters_[n];
        if (one.variable) return world_.name(one.variable);
        const bool is_count = std::strchr("kmn", one.letter) != nullptr;
        TYPE *type = is_count ? world_.int_t : generator_.promoted(base_)->normalized();
        return world_.icon(INT65(as_signed(chosen_[n])), type);
    }

    void prove_tree() {
        std::vector<PATTERN_LETTER> trees;
        for (std::size_t i = 0; i < letters_.size(); ++i)
            trees.push_back({letters_[i].letter, tree_of_letter(i)});
        NODE *tree = tree_of_pattern(generator_, what_.shape, base_, trees);
        NODE *result = what_.rewrite ? what_.rewrite(copy_tree(tree))
                                     : simplified(copy_tree(tree), ROOT_KIND::value);
        ++result_.trees;
        const TREE_CODE before(tree, world_), after(result, world_);
        std::uint64_t pairs = 1;
        for (std::size_t n = constants_; n < letters_.size(); ++n)
            pairs *= values_.size();
        if (is_same(before, after)) {
            ++result_.same_trees;
            result_.same_pairs += pairs;
        } else {
            result_.pairs += pairs;
            if (!before.problem.empty() || !after.problem.empty() || !agree(before, after)) {
                ++result_.differences;
                if (result_.findings.size() < most_findings)
                    result_.findings.push_back(std::string(stmt2infix(tree)) + " became " +
                                               typed_text(result) + ", differs " +
                                               environment_.describe(tree));
            }
        }
        world_.forget_trees();
    }

    bool agree(const TREE_CODE &before, const TREE_CODE &after) {
        environment_.begin(9, {});
        std::vector<BATCH_CODE::VARIABLE> variables;
        for (std::size_t n = constants_; n < letters_.size(); ++n)
            variables.push_back({letters_[n].address, padded_.data()});
        BATCH_CODE batch_before(before, variables), batch_after(after, variables);
        if (batch_before.is_known() && batch_after.is_known())
            return agree_in_batches(batch_before, batch_after, variables);
        return agree_one_by_one(before, after, constants_);
    }

    // All but the last variable have one value in all lanes.
    bool agree_in_batches(BATCH_CODE &before, BATCH_CODE &after,
                          std::vector<BATCH_CODE::VARIABLE> &variables) {
        if (variables.empty()) return agree_in_lanes(before, after, variables, 1);
        if (variables.size() == 1) return agree_in_all_blocks(before, after, variables);
        for (const std::uint32_t v : values_) {
            std::fill_n(common_, BATCH_CODE::lanes, base_->size() == 16 ? low16(v) : v);
            variables[0].values = common_;
            if (!agree_in_all_blocks(before, after, variables)) return false;
        }
        return true;
    }

    bool agree_in_all_blocks(BATCH_CODE &before, BATCH_CODE &after,
                             std::vector<BATCH_CODE::VARIABLE> &variables) {
        for (std::size_t first = 0; first < values_.size(); first += BATCH_CODE::lanes) {
            variables.back().values = padded_.data() + first;
            if (!agree_in_lanes(before, after, variables, BATCH_CODE::lanes)) return false;
        }
        return true;
    }

    bool agree_in_lanes(BATCH_CODE &before, BATCH_CODE &after,
                        const std::vector<BATCH_CODE::VARIABLE> &variables, unsigned lanes) {
        before.run(variables);
        after.run(variables);
        const std::uint32_t *x = before.values(), *y = after.values(), *traps = before.traps(),
                            *new_traps = after.traps();
        std::uint32_t differs = 0;
        for (unsigned i = 0; i < BATCH_CODE::lanes; ++i)
            differs |= ((x[i] ^ y[i]) | new_traps[i]) & (traps[i] - 1);
        if (!differs) return true;
        for (unsigned i = 0; i < lanes; ++i)
            if (!traps[i] && (x[i] != y[i] || new_traps[i])) {
                for (const BATCH_CODE::VARIABLE &one : variables)
                    environment_.set(one.address, one.values[i], base_->size() / 16);
                return false;
            }
        return true;
    }

    // Of trees that do what only EVALUATOR knows.
    bool agree_one_by_one(const TREE_CODE &before, const TREE_CODE &after, std::size_t n) {
        if (n == letters_.size()) {
            EVALUATOR evaluator(environment_);
            const std::uint32_t x = evaluator.run(before);
            if (environment_.trapped) return true;
            const std::uint32_t y = evaluator.run(after);
            return same_value(x, y, before.cells[0].type) && !environment_.trapped;
        }
        return std::all_of(values_.begin(), values_.end(), [&](std::uint32_t v) {
            environment_.set(letters_[n].address, v, base_->size() / 16);
            return agree_one_by_one(before, after, n + 1);
        });
    }

    const EXHAUSTIVE_CASE &what_;
    WORLD &world_;
    TYPE *const base_;
    TREE_GENERATOR generator_;
    ENVIRONMENT environment_;
    std::vector<LETTER> letters_;
    std::size_t constants_ = 0; // of the letters, which come first
    std::uint32_t chosen_[2] = {};
    std::vector<std::uint32_t> values_, padded_;
    BATCH_CODE::LANES common_;
    EXHAUSTIVE_RESULT result_;
};
} // namespace

EXHAUSTIVE_RESULT &EXHAUSTIVE_RESULT::operator+=(const EXHAUSTIVE_RESULT &other) {
    trees += other.trees;
    same_trees += other.same_trees;
    pairs += other.pairs;
    same_pairs += other.same_pairs;
    differences += other.differences;
    return *this;
}

EXHAUSTIVE_RESULT prove_exhaustively(const EXHAUSTIVE_CASE &what) {
    WORLD world;
    if (TYPE *base = type_of_name(world, what.type)) return SHAPE_PROOF(what, base, world).run();
    EXHAUSTIVE_RESULT result;
    result.problem = "no type '" + what.type + "'";
    return result;
}

std::vector<EXHAUSTIVE_CASE> all_binary_operators() {
    static constexpr const char *operators[] = {"+",  "-", "*",  "/", "%",  "&",  "|",  "^",  "<<",
                                                ">>", "<", "<=", ">", ">=", "==", "!=", "&&", "||"};
    static constexpr const char *operands[][2] = {{"x", "y"}, {"x", "A"}, {"A", "x"}};
    static constexpr struct {
        const char *type, *cast;
        bool narrow;
    } kinds[] = {{"short", "", true},
                 {"unsigned short", "", true},
                 {"short", "", false},
                 {"unsigned short", "", false},
                 {"short", "(I)", false}};
    std::vector<EXHAUSTIVE_CASE> cases;
    for (const auto &kind : kinds)
        for (const char *op : operators)
            for (const auto &[left, right] : operands)
                cases.push_back({std::string(kind.cast) + left + op + kind.cast + right, kind.type,
                                 kind.narrow});
    return cases;
}
