// Sums: PLUS, MINUS, UMINUS and NOTB of integers and pointers.
//
// A sum is taken apart into terms with factors and one constant, all modulo two to the width of the
// node: -x counts minus one times, ~x is -1 - x, x * C counts C times, and casts that keep the low
// bits are looked through. Terms with congruent trees are joined. The sum is then planned anew: the
// first term that is added, the others in their order, the constant last, or in front when all
// terms are subtracted. A tree that stands as its plan says is left alone, so a planned tree stays;
// any other is built again.
//
// Terms with side effects keep their places, and nothing is joined or moved past them.
#include "OPT5/scalar/simp_sum.h"

#include "OPT5/rep/type_pkg.h"

#include <algorithm>
#include <optional>
#include <utility>
#include <vector>

namespace {
struct TERM {
    NODE *operand;                    // as it stands in the sum
    NODE *tree;                       // what is counted: the operand, or what it multiplies
    INT65 factor;                     // of the tree, as a signed value
    bool subtracted;                  // the operand is subtracted
    bool is_whole;                    // the operand can be used again
    std::optional<bool> effects = {}; // whether the tree has side effects, once it was asked
};

// Operators that one look at a sum goes through; what is below counts as one term.
constexpr int most_operators = 24;

class SUM {
public:
    // Differences of pointers are taken apart as well, or are terms.
    SUM(NODE *root_, LOOP *loop_, CONTEXT *ctx_, bool keeps_differences_ = false)
        : root(root_), loop(loop_), ctx(ctx_), type(root_->type), bits(root_->type->size()),
          keeps_differences(keeps_differences_) {
        collect(root, false);
        constant = truncated(constant);
        join_terms();
        planned = plan();
    }

    // False when the terms, as they depend on each other, make no sum.
    bool is_planned() const { return planned; }
    // Builds the sum anew when it does not stand as planned. Null, and no change, otherwise.
    NODE *rebuilt() { return stands_as_planned() ? nullptr : build(); }

private:
    NODE *const root;
    LOOP *const loop;
    CONTEXT *const ctx;
    TYPE *const type;
    const std::uint32_t bits;
    const bool keeps_differences;
    bool planned = false;
    std::vector<TERM> terms, dropped;
    std::vector<NODE *> taken_apart; // nodes that go when the sum is built anew
    INT65 constant;
    int operators = 0;
    bool constant_first = false;

    INT65 truncated(const INT65 &value) const { return sign_extend_by_type_size(value, type); }

    // Whether some of the terms from `first` to `last` have side effects.
    bool has_effects(std::size_t first, std::size_t last) {
        for (std::size_t n = first; n <= last; ++n) {
            TERM &term = terms[n];
            if (!term.effects) term.effects = tree_has_side_effects(term.tree);
            if (*term.effects) return true;
        }
        return false;
    }

    // --- taking apart

    // Low bits of what the node gives follow from low bits of its operands.
    bool goes_through(const NODE *node) const {
        return is_modular_type(node->type) && node->type->size() >= bits;
    }

    // p - C in an integer type, C being a pointer: no sum has a place for p alone.
    static bool is_address_as_number(const NODE *node) {
        return node->op == OP::MINUS && !node->type->is_ptr() &&
               (is_ICON(node->left) || is_ICON(node->right)) &&
               (node->left->type->is_ptr() || node->right->type->is_ptr());
    }

    static bool is_difference_of_pointers(const NODE *node) {
        return node->op == OP::MINUS && !node->type->is_ptr() && node->left->type->is_ptr() &&
               node->right->type->is_ptr();
    }

    bool is_one_term(const NODE *node) const {
        return !goes_through(node) || is_address_as_number(node) || operators >= most_operators ||
               (keeps_differences && is_difference_of_pointers(node));
    }

    void collect(NODE *node, bool subtracted) {
        if (is_ICON(node) && is_modular_type(node->type)) return collect_constant(node, subtracted);
        if (node != root && is_one_term(node)) return collect_term(node, subtracted);
        switch (node->op) {
        case OP::PLUS:
        case OP::MINUS:
            take_apart(node);
            collect(node->left, subtracted);
            return collect(node->right, subtracted != (node->op == OP::MINUS));
        case OP::UMINUS: take_apart(node); return collect(node->left, !subtracted);
        case OP::NOTB:
            take_apart(node);
            constant = subtracted ? constant + 1 : constant - 1;
            return collect(node->left, !subtracted);
        case OP::SCONV:
        case OP::PCONV: return collect_cast(node, subtracted);
        default: return collect_term(node, subtracted);
        }
    }

    void take_apart(NODE *node) {
        ++operators;
        taken_apart.push_back(node);
    }

    void collect_constant(NODE *node, bool subtracted) {
        const INT65 value = constant_as(node, type);
        constant = subtracted ? constant - value : constant + value;
        taken_apart.push_back(node);
    }

    // A cast of a sum that changes no low bit is looked through, one to a narrower type only for
    // the constant.
    void collect_cast(NODE *cast, bool subtracted) {
        NODE *from = cast->left;
        const bool is_sum = from->op == OP::PLUS || from->op == OP::MINUS ||
                            from->op == OP::UMINUS || from->op == OP::NOTB;
        if (!is_sum || !is_modular_type(from->type) || from->type->is_ptr() != cast->type->is_ptr())
            return collect_term(cast, subtracted);
        if (from->type->size() == cast->type->size()) {
            take_apart(cast);
            return collect(from, subtracted);
        }
        const bool cuts = from->type->size() > cast->type->size() && from->op == OP::PLUS;
        if (!cuts || !is_ICON(from->right)) return collect_term(cast, subtracted);
        take_apart(cast);
        take_apart(from);
        terms.push_back({from->left, from->left, subtracted ? -1 : 1, subtracted, true});
        collect_constant(from->right, subtracted);
    }

    void collect_term(NODE *node, bool subtracted) {
        TERM term{node, node, 1, subtracted, true};
        if (goes_through(node) && node->right && is_ICON(node->right) && !node->type->is_ptr()) {
            const INT65 own = icon_value(node->right);
            const bool shifts = node->op == OP::SLL && !own.is_negative() && own < INT65(bits) &&
                                node->left->type->size() >= node->type->size();
            if (node->op == OP::MULT || shifts) {
                term.tree = node->left;
                term.factor = shifts ? INT65(1) << own : own;
            }
        }
        term.factor = truncated(subtracted ? -term.factor : term.factor);
        terms.push_back(term);
    }

    // --- joining

    // The tree below casts that change no bit.
    const NODE *bare(const NODE *tree) const {
        while ((tree->op == OP::SCONV || tree->op == OP::PCONV) && is_modular_type(tree->type) &&
               is_modular_type(tree->left->type) && tree->type->size() >= bits &&
               tree->type->size() == tree->left->type->size())
            tree = tree->left;
        return tree;
    }

    bool same_value(const NODE *a, const NODE *b) const {
        a = bare(a);
        b = bare(b);
        return a->type->is_ptr() == b->type->is_ptr() && trees_are_congruent(a, b);
    }

    void join_terms() {
        for (std::size_t n = 0; n < terms.size(); ++n)
            for (std::size_t m = n + 1; m < terms.size();) {
                if (!same_value(terms[n].tree, terms[m].tree) || has_effects(n, m)) {
                    ++m;
                    continue;
                }
                terms[n].factor = truncated(terms[n].factor + terms[m].factor);
                terms[n].is_whole = false;
                dropped.push_back(terms[m]);
                terms.erase(terms.begin() + static_cast<std::ptrdiff_t>(m));
            }
        for (std::size_t n = terms.size(); n-- > 0;) {
            if (!terms[n].factor.is_zero() || has_effects(n, n)) continue;
            dropped.push_back(terms[n]);
            terms.erase(terms.begin() + static_cast<std::ptrdiff_t>(n));
        }
    }

    // --- planning

    static bool is_pointer(const TERM &term) { return term.tree->type->is_ptr(); }

    // Whether the term is subtracted in the plan. The most negative factor has no positive one.
    bool is_subtracted(const TERM &term) const {
        return term.factor.is_negative() && term.factor != truncated(-term.factor);
    }

    bool moves_to(std::size_t place, std::vector<TERM>::iterator term) {
        const auto to = terms.begin() + static_cast<std::ptrdiff_t>(place);
        if (to == term) return true;
        if (has_effects(place, static_cast<std::size_t>(term - terms.begin()))) return false;
        std::rotate(to, term, term + 1);
        return true;
    }

    // Brings the terms into their order. False when no such sum can be built.
    bool plan() {
        int added = 0, subtracted = 0, other = 0;
        for (const TERM &term : terms) {
            if (term.factor.is_zero()) return false; // an effect that keeps it
            if (is_pointer(term))
                ++(term.factor == INT65(1) ? added : term.factor == INT65(-1) ? subtracted : other);
        }
        if (other > 0 || added > 1) return false;
        if (type->is_ptr()) {
            if (subtracted > 0 || (added == 0 && !terms.empty())) return false;
        } else if (added != subtracted) {
            return false;
        }
        if (subtracted > 0) return plan_difference_of_pointers();
        const auto first = std::find_if(terms.begin(), terms.end(),
                                        [this](const TERM &term) { return !is_subtracted(term); });
        if (first != terms.end() && moves_to(0, first)) return true;
        constant_first = !constant.is_zero() && !terms.empty();
        return true;
    }

    bool plan_difference_of_pointers() {
        const auto minuend = std::find_if(terms.begin(), terms.end(), [](const TERM &term) {
            return is_pointer(term) && !term.factor.is_negative();
        });
        if (!moves_to(0, minuend)) return false;
        return moves_to(1, std::find_if(terms.begin() + 1, terms.end(), is_pointer));
    }

    static bool stands_for(const NODE *operand, const TERM &term, bool subtracted) {
        return term.is_whole && term.operand == operand && term.subtracted == subtracted;
    }
    bool is_planned_constant(const NODE *node) const {
        return is_ICON(node) && node->type->size() >= bits &&
               constant_as(node, type) == truncate_to_type(constant, type);
    }
    bool is_negation(const TERM &term) const { return term.factor == INT65(-1); }
    // -1 - x in front is ~x.
    bool begins_with_NOTB() const {
        return constant_first && constant == INT65(-1) && is_negation(terms[0]);
    }

    // Walks down from the root, which is what the plan ends with.
    bool stands_as_planned() const {
        const NODE *node = root;
        if (terms.empty()) return is_planned_constant(node);
        if (!constant.is_zero() && !constant_first) {
            if (node->op != OP::PLUS || !is_planned_constant(node->right)) return false;
            node = node->left;
        }
        const bool begins_with_constant = constant_first && !begins_with_NOTB();
        for (std::size_t n = terms.size(); n-- > (begins_with_constant ? 0 : 1);) {
            const bool subtracted = is_subtracted(terms[n]);
            if (node->op != (subtracted ? OP::MINUS : OP::PLUS)) return false;
            if (!stands_for(node->right, terms[n], subtracted)) return false;
            node = node->left;
        }
        if (begins_with_constant) return is_planned_constant(node);
        if (is_negation(terms[0]))
            return node->op == (constant_first ? OP::NOTB : OP::UMINUS) &&
                   stands_for(node->left, terms[0], true);
        return stands_for(node, terms[0], false);
    }

    // --- building

    // The integer in which terms are added before a pointer is among them.
    TYPE *integer_type() const { return type->is_ptr() ? wide_enough_int_type(bits, true) : type; }

    NODE *fitted(NODE *tree) {
        if (tree->type->is_ptr() || tree->type->size() == bits) return tree;
        return simp_node(coerce_to_type(integer_type(), tree), loop, ctx);
    }

    // The term times its factor, or times minus its factor.
    NODE *operand_for(TERM &term, bool subtracted) {
        if (stands_for(term.operand, term, subtracted)) return fitted(term.operand);
        release_product(term);
        const INT65 factor = truncated(subtracted ? -term.factor : term.factor);
        NODE *tree = fitted(term.tree);
        if (factor == INT65(1)) return tree;
        TYPE *own = integer_type();
        NODE *product = maketree(OP::MULT, tree, make_ICON(factor, own), own, root->scope);
        return simp_node(product, loop, ctx);
    }

    static void release_product(const TERM &term) {
        if (term.operand == term.tree) return;
        erase_tree(term.operand->right);
        erase_node(term.operand);
    }

    // The sum so far is no more than an operand now.
    NODE *join(NODE *sum, NODE *operand, bool subtracted) {
        sum = simp_node(sum, loop, ctx);
        const bool of_pointers = sum->type->is_ptr() || operand->type->is_ptr();
        NODE *node = maketree(subtracted ? OP::MINUS : OP::PLUS, sum, operand,
                              of_pointers ? type : integer_type(), root->scope);
        if (!subtracted) swap_to_normal_order(node);
        return node;
    }

    NODE *build() {
        LS *const scope = root->scope;
        NODE *sum = nullptr;
        if (terms.empty() || (constant_first && !begins_with_NOTB()))
            sum = make_ICON(constant, terms.empty() ? type : integer_type());
        for (TERM &term : terms)
            sum = with_term(sum, term);
        if (!terms.empty() && !constant_first && !constant.is_zero())
            sum = join(sum, make_ICON(constant, integer_type()), false);
        for (NODE *node : taken_apart)
            erase_node(node);
        for (const TERM &term : dropped)
            erase_tree(term.operand);
        if (!sum->scope) sum->scope = scope;
        return equiv_mtypes(sum->type, type) ? sum
                                             : coerce_to_type(type, simp_node(sum, loop, ctx));
    }

    NODE *with_term(NODE *sum, TERM &term) {
        const bool subtracted = is_subtracted(term);
        if (sum) return join(sum, operand_for(term, subtracted), subtracted);
        if (!is_negation(term)) return operand_for(term, false);
        const int op = begins_with_NOTB() ? OP::NOTB : OP::UMINUS;
        return maketree(op, operand_for(term, true), nullptr, integer_type(), root->scope);
    }
};
} // namespace

NODE *rebuilt_sum(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    if (!is_modular_type(tree->type)) return nullptr;
    // A damaged file may have pointers of a size that no integer has.
    if (tree->type->is_ptr() && !wide_enough_int_type(tree->type->size(), true)) return nullptr;
    SUM sum(tree, loop, ctx);
    if (sum.is_planned()) return sum.rebuilt();
    SUM around_differences(tree, loop, ctx, true);
    return around_differences.is_planned() ? around_differences.rebuilt() : nullptr;
}
