// When two trees have the same value.
#include "OPT5/builtins/bif.h"
#include "OPT5/rep/bblk.h"
#include "OPT5/rep/bbutils.h"
#include "OPT5/rep/symbol.h"
#include "OPT5/simulfp/simul_fval.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <map>
#include <utility>

namespace {
bool has_reserved_handle(const NODE *node) {
    return node->op == OP::MIXVALUE && node->u.mix.handle <= 1;
}

// The node whose value this one stands for.
const NODE *see_through(const NODE *node) {
    while (node)
        switch (node->op) {
        case OP::CSE_DUPE:
        case OP::CSE_ORIG: node = node->right; break;
        case OP::OUIALIGN:
        case OP::NONALIGN:
        case OP::IDENTITY: node = node->left; break;
        default: return node;
        }
    return node;
}

// --- payloads

// A number says the same as a record, but those that the optimizer gives out come round again.
bool is_numbered(const LBL *label, std::int32_t number) {
    return label->index == number && number > 0;
}

bool same_block(const NODE *a, const NODE *b) {
    const auto &to_a = a->u.label, &to_b = b->u.label;
    if (!to_a.lbl && !to_b.lbl) return to_a.index == to_b.index;
    if (!to_a.lbl) return is_numbered(to_b.lbl, to_a.index);
    if (!to_b.lbl) return is_numbered(to_a.lbl, to_b.index);
    return to_a.lbl == to_b.lbl || (to_a.lbl->bb && to_a.lbl->bb == to_b.lbl->bb);
}

bool same_member(const NODE *a, const NODE *b) {
    const auto &to_a = a->u.field, &to_b = b->u.field;
    return to_a.mdata == to_b.mdata && to_a.csu->stds() == to_b.csu->stds();
}

bool same_pragma(const PRAGMA *a, const PRAGMA *b) {
    return a->kind == b->kind && a->count == b->count &&
           std::equal(a->args, a->args + a->count, b->args,
                      [](const char *x, const char *y) { return std::strcmp(x, y) == 0; });
}

// Whether two nodes of one opcode agree in all but their operands.
bool same_payload(const NODE *a, const NODE *b) {
    switch (a->op) {
    case OP::NAME: return a->u.name.sym == b->u.name.sym;
    case OP::LABEL:
    case OP::LABELDEF: return same_block(a, b);
    case OP::SCON: return a->scon_value() == b->scon_value();
    case OP::ICON:
    case OP::LCON:
    case OP::SKIP:
    case OP::SWITCH: return a->u.lval == b->u.lval;
    case OP::FCON: return f_bit_eq(*a->u.fcon.value, *b->u.fcon.value);
    case OP::FIELD: return same_member(a, b);
    case OP::PPRAGMA: return same_pragma(a->u.ppragma.pragma, b->u.ppragma.pragma);
    case OP::ASM:
        return a->u.asm_.kind == b->u.asm_.kind && std::strcmp(a->u.asm_.text, b->u.asm_.text) == 0;
    case OP::ICALL:
    case OP::UICALL:
    case OP::MCALL:
    case OP::UMCALL: return std::strcmp(a->icall_name(), b->icall_name()) == 0;
    case OP::CALL:
    case OP::UCALL:
        return a->u.call.num_vargs == b->u.call.num_vargs && a->u.call.eht_id == b->u.call.eht_id;
    case OP::MIXVALUE: return a->u.mix.handle == b->u.mix.handle && !has_reserved_handle(a);
    case OP::SSA_PHI:
    case OP::SSA_USE:
    case OP::SSA_DEF:
    case OP::SSA_MU:
    case OP::SSA_CHI: return a->u.ssa.var == b->u.ssa.var && a->u.ssa.phi_args == b->u.ssa.phi_args;
    case OP::DDNODE:
    case OP::EXPRSTUB: return false; // only itself
    default: return true;
    }
}

bool have_one_type(const NODE *a, const NODE *b) {
    if (a->type == b->type) return true;
    if (a->op == OP::NAME && b->op == OP::NAME && a->u.name.sym == b->u.name.sym)
        return compatible_types(a->type, b->type);
    return equiv_mtypes(a->type, b->type);
}

// The variable of a parameter that never changes holds the converted argument.
bool is_promoted_argument(const NODE *variable, const NODE *conversion) {
    if (variable->op != OP::NAME || (conversion->op != OP::SCONV && conversion->op != OP::PCONV &&
                                     conversion->op != OP::ISP2CHAR))
        return false;
    const NODE *argument = conversion->left;
    if (argument->op != OP::NAME) return false;
    const SYMTAB *to = variable->u.name.sym, *from = argument->u.name.sym;
    return to->level == 2 && from->level == 1 && symbol_is_immutable(to) &&
           std::strcmp(to->name, from->name) == 0;
}

bool may_have_effect(const NODE *node) {
    return side_effects[node->op] != SE_NONE && !is_pure_BIF_call(node);
}

bool has_commuting_arguments(const NODE *node) {
    const BIF_DESCRIPTOR *bif = find_BIF_descriptor_for_call(node);
    return bif && (bif->holds.flags & HOLDS_commutes_01) != 0 && node->left->op == OP::COMMA &&
           node->left->left->op != OP::COMMA;
}

bool can_regroup(const NODE *node) {
    switch (node->op) {
    case OP::PLUS:
    case OP::MULT:
    case OP::ANDB:
    case OP::ORB:
    case OP::XORB: return node->type->is_integer();
    default: return false;
    }
}

// --- truth values

// A condition without the operators that only test or negate it.
struct CONDITION {
    const NODE *tree;
    bool inverted;
};

bool is_zero(const NODE *node) {
    return node->op == OP::ICON && node->u.lval.is_zero();
}

CONDITION strip_tests(const NODE *tree, bool inverted) {
    for (;;) {
        tree = see_through(tree);
        if (tree->op == OP::EXCLAIM) {
            inverted = !inverted;
        } else if ((tree->op == OP::EQ || tree->op == OP::NEQ) && is_zero(tree->right)) {
            inverted ^= tree->op == OP::EQ;
        } else {
            return {tree, inverted};
        }
        tree = tree->left;
    }
}

// One comparison of two trees. Trying the operands of each operator in several orders and groupings
// would take exponential time, so what regrouping found of a pair of nodes is kept; past a limit it
// is not tried any more.
class COMPARISON {
public:
    explicit COMPARISON(bool se_allowed) : se_ok(se_allowed) {}

    bool trees(const NODE *a, const NODE *b) {
        for (;; a = a->left, b = b->left) {
            if (a == b) return !a || !has_reserved_handle(a);
            a = see_through(a);
            b = see_through(b);
            if (a == b) return !a || !has_reserved_handle(a);
            if (!a || !b) return false;
            if (!se_ok && (may_have_effect(a) || may_have_effect(b))) return false;
            if (!have_one_type(a, b)) return false;
            if (commute_inv[b->op] == a->op) {
                if (a->op == b->op && can_regroup(a)) return sums(a, b);
                if (exchanged(a, b)) return true;
            }
            if (a->op != b->op) return is_promoted_argument(a, b) || is_promoted_argument(b, a);
            if (!same_payload(a, b)) return false;
            if (!se_ok && (node_is_volatile_access(a) || node_is_volatile_access(b))) return false;
            if (a->op == OP::UAND && a->left->op == OP::STDOT && b->left->op == OP::STDOT)
                return addresses_of_members(a->left, b->left);
            if (a->op == OP::IF) return branches(a, b);
            if (has_commuting_arguments(a) && exchanged(a->left, b->left)) return true;
            if (!trees(a->right, b->right)) return false;
        }
    }

    bool conditions(CONDITION a, CONDITION b) {
        a = strip_tests(a.tree, a.inverted);
        b = strip_tests(b.tree, b.inverted);
        const int op_a = a.tree->op, op_b = b.tree->op;
        if ((op_a == OP::ANDAND || op_a == OP::OROR) && (op_b == OP::ANDAND || op_b == OP::OROR))
            return (op_a == op_b) == (a.inverted == b.inverted) &&
                   conditions({a.tree->left, a.inverted}, {b.tree->left, b.inverted}) &&
                   conditions({a.tree->right, a.inverted}, {b.tree->right, b.inverted});
        if (a.inverted == b.inverted) return trees(a.tree, b.tree);
        return inverse_comparisons(a.tree, b.tree);
    }

private:
    static constexpr std::size_t pair_limit = 4096;

    const bool se_ok;
    std::map<std::pair<const NODE *, const NODE *>, bool> pairs; // looked up, never walked

    bool operands(const NODE *a, const NODE *b) {
        return trees(a->left, b->left) && trees(a->right, b->right);
    }
    bool exchanged(const NODE *a, const NODE *b) {
        return trees(a->left, b->right) && trees(a->right, b->left);
    }

    bool addresses_of_members(const NODE *a, const NODE *b) {
        for (; a->op == OP::STDOT && b->op == OP::STDOT; a = a->left, b = b->left)
            if (!same_member(a->right, b->right)) return false;
        return trees(a, b);
    }

    bool branches(const NODE *a, const NODE *b) {
        return (conditions({a->left, false}, {b->left, false}) && operands(a->right, b->right)) ||
               (conditions({a->left, false}, {b->left, true}) && exchanged(a->right, b->right));
    }

    // a holds exactly when b does not.
    bool inverse_comparisons(const NODE *a, const NODE *b) {
        if (!tree_is_trivially_invertible(a) || !tree_is_trivially_invertible(b)) return false;
        const int inverse = boolean_inv[a->op];
        return (inverse == b->op && operands(a, b)) ||
               (inverse == commute_inv[b->op] && exchanged(a, b));
    }

    // Operators of one kind whose operands may be exchanged and regrouped.
    bool sums(const NODE *a, const NODE *b) {
        const auto known = pairs.find({a, b});
        if (known != pairs.end()) return known->second;
        if (exchanged(a, b) || operands(a, b)) return true;
        if (!has_triples(a) || !has_triples(b) || pairs.size() >= pair_limit) return false;
        const bool result = regrouped(a, b);
        pairs.emplace(std::pair(a, b), result);
        return result;
    }

    bool regrouped(const NODE *a, const NODE *b) {
        for (const TRIPLE &of_a : triples(a))
            for (const TRIPLE &of_b : triples(b))
                if (of_a[0] && of_b[0] && same_operands(of_a, of_b)) return true;
        return false;
    }

    using TRIPLE = std::array<const NODE *, 3>; // all null: there is none

    static bool goes_on(const NODE *node, const NODE *operand) {
        return operand->op == node->op && equiv_mtypes(operand->type, node->type);
    }
    static bool has_triples(const NODE *node) {
        return goes_on(node, see_through(node->left)) || goes_on(node, see_through(node->right));
    }

    // The operands of (x op y) op z and of x op (y op z), where the node has that form.
    static std::array<TRIPLE, 2> triples(const NODE *node) {
        const NODE *left = see_through(node->left), *right = see_through(node->right);
        std::array<TRIPLE, 2> found{};
        if (goes_on(node, left)) found[0] = {left->left, left->right, right};
        if (goes_on(node, right)) found[1] = {left, right->left, right->right};
        return found;
    }

    bool same_operands(const TRIPLE &a, TRIPLE b) {
        for (const NODE *operand : a) {
            const auto match = std::find_if(b.begin(), b.end(),
                                            [&](const NODE *x) { return x && trees(operand, x); });
            if (match == b.end()) return false;
            *match = nullptr; // taken
        }
        return true;
    }
};
} // namespace

bool trees_are_congruent(const NODE *a, const NODE *b, bool se_ok) {
    return COMPARISON(se_ok).trees(a, b);
}

bool trees_are_congruent_se_ok(const NODE *a, const NODE *b) {
    return trees_are_congruent(a, b, true);
}

bool bools_are_congruent(const NODE *a, const NODE *b, bool se_ok) {
    return COMPARISON(se_ok).conditions({a, false}, {b, false});
}
