// The tree simplifier's dispatcher.
//
// simp_tree takes a tree apart from the leaves up: a node is simplified when its operands are in
// normal form. simp_node gives the node its normalized type, hoists effects that stand in operands
// to a COMMAOP above the node, folds constants, fills in scopes, rewrites the few operators that
// have no rules of their own, and sends the rest to the routine that its table names. A routine
// that has made another operator of the root comes back through simp_node. Every rule that does so
// leaves fewer operators, or one of a lower rank (UMINUS above MULT above PLUS), or a constant
// further out, so that the way back ends.
#include "OPT5/driver/abort.h"
#include "OPT5/driver/log.h"
#include "OPT5/rep/bblk.h"
#include "OPT5/rep/node_pool.h"
#include "OPT5/rep/program.h"
#include "OPT5/rep/type_pkg.h"
#include "OPT5/scalar/simp_known.h"

#include <array>
#include <cstdio>
#include <vector>

namespace {
using ROUTINE = NODE *(*)(NODE *, LOOP *, CONTEXT *);

// --- the dispatch table

NODE *simp_NAME(NODE *tree, LOOP *, CONTEXT *) {
    fix_type_info(tree);
    return tree;
}

NODE *simp_inexact_DIV(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    return simp_DIV(tree, false, loop, ctx);
}

template <ROUTINE routine> NODE *after_type_info(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    fix_type_info(tree);
    return routine(tree, loop, ctx);
}

NODE *simp_call_and_types(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    return fix_pack_types(simp_call(tree, loop, ctx));
}

// (x = s) where x is s: what is left is the value.
NODE *simp_STASG(NODE *tree, LOOP *, CONTEXT *) {
    NODE *target = tree->left, *value = tree->right;
    if (target->op != value->op || !trees_are_congruent(target, value)) return tree;
    erase_tree(target);
    erase_node(tree);
    return value;
}

// The constant of PMCONV and PVCONV counts bits, the operator that takes its place counts units.
NODE *scale(NODE *tree, int op, LOOP *loop, CONTEXT *ctx) {
    constexpr int unit_shift = 4;
    NODE *bits = tree->right;
    if (!is_ICON(bits)) return tree;
    const INT65 value = icon_value(bits);
    const INT65 units = value.is_negative() ? -(-value >> unit_shift) : value >> unit_shift;
    if (tree->left->type->size() != tree->type->size() || tree->left->type->is_ptr())
        tree->left = simp_node(coerce_to_type(tree->type, tree->left), loop, ctx);
    tree->op = static_cast<std::uint8_t>(op);
    tree->right = make_ICON(units, tree->type);
    erase_node(bits);
    return simp_node(tree, loop, ctx);
}

NODE *simp_PMCONV(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    return scale(tree, OP::MULT, loop, ctx);
}

NODE *simp_PVCONV(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    return scale(tree, OP::DIV, loop, ctx);
}

NODE *simp_BRANCH(NODE *tree, LOOP *, CONTEXT *) {
    tree->type = tp->int_type();
    if (tree->left && tree->left->op == OP::LABEL) {
        tree->left->type = tp->int_type();
        tree->left->set_branch_hint(0);
    }
    return tree;
}

NODE *bad_opcode(NODE *tree, LOOP *, CONTEXT *) {
    constexpr const char *format = "\n\n   !!! Bad opcode in simplifier (%d) %s !!!\n";
    std::fprintf(stderr, format, tree->op, opname(tree->op));
    dprintf(format, tree->op, opname(tree->op));
    abort_optimizer();
}

struct ROW {
    int op;
    ROUTINE routine;
};

constexpr ROW rows[] = {
    {OP::NAME, simp_NAME},
    {OP::PLUS, simp_PLUS},
    {OP::PLUSASG, simp_opASG},
    {OP::MINUSASG, simp_opASG},
    {OP::MULTASG, simp_opASG},
    {OP::DIVASG, simp_opASG},
    {OP::MODASG, simp_opASG},
    {OP::ANDBASG, simp_opASG},
    {OP::ORBASG, simp_opASG},
    {OP::XORBASG, simp_opASG},
    {OP::SLLASG, simp_opASG},
    {OP::SRLASG, simp_opASG},
    {OP::MINUS, simp_MINUS},
    {OP::UMINUS, simp_unary},
    {OP::ABS, simp_unary},
    {OP::NOTB, simp_unary},
    {OP::SQRT, simp_unary},
    {OP::SQR, simp_unary},
    {OP::MULT, simp_MULT},
    {OP::UMULT, after_type_info<simp_UMULT>},
    {OP::ANDB, simp_ANDB},
    {OP::UAND, simp_UAND},
    {OP::ARGREF, simp_UAND},
    {OP::ORB, simp_ORB},
    {OP::XORB, simp_XORB},
    {OP::QUEST, simp_QUEST},
    {OP::ANDAND, simp_ANDAND},
    {OP::OROR, simp_OROR},
    {OP::SWITCH, simp_SWITCH},
    {OP::ASG, simp_ASG},
    {OP::COMMAOP, simp_COMMAOP},
    {OP::DIV, simp_inexact_DIV},
    {OP::MOD, simp_MOD},
    {OP::SLL, simp_shift},
    {OP::SRL, simp_shift},
    {OP::STDOT, after_type_info<simp_STDOT>},
    {OP::STREF, after_type_info<simp_STREF>},
    {OP::CALL, simp_call_and_types},
    {OP::UCALL, simp_call_and_types},
    {OP::ICALL, simp_intrinsic},
    {OP::UICALL, simp_call_and_types},
    {OP::MCALL, simp_call_and_types},
    {OP::UMCALL, simp_call_and_types},
    {OP::EXCLAIM, simp_EXCLAIM},
    {OP::EQ, simp_relop},
    {OP::NEQ, simp_relop},
    {OP::LE, simp_relop},
    {OP::LT, simp_relop},
    {OP::GE, simp_relop},
    {OP::GT, simp_relop},
    {OP::ULE, simp_relop},
    {OP::ULT, simp_relop},
    {OP::UGE, simp_relop},
    {OP::UGT, simp_relop},
    {OP::STASG, simp_STASG},
    {OP::SCONV, simp_SCONV},
    {OP::PCONV, simp_PCONV},
    {OP::PMCONV, simp_PMCONV},
    {OP::PVCONV, simp_PVCONV},
    {OP::ACONV, simp_ACONV},
    {OP::CBRANCH, simp_CBRANCH},
    {OP::BRANCH, simp_BRANCH},
    {OP::NASSERT, simp_ASSERT},
    {OP::ASSERT, simp_ASSERT},
    {OP::MEMCPY, simp_MEMCPY},
    {OP::COMPLEX, simp_complexop},
    {OP::REAL, simp_complexop},
    {OP::IMAG, simp_complexop},
    {OP::EXPT, simp_EXPT},
    {OP::CSE_DUPE, bad_opcode},
    {OP::CSE_ORIG, bad_opcode},
    {OP::ILLOP, bad_opcode},
    {OP::IF, simp_IF},
};

// By opcode; null: such a node stays as it is.
constexpr std::array<ROUTINE, op_count> routine_of_op = [] {
    std::array<ROUTINE, op_count> table{};
    for (const ROW &row : rows)
        table[static_cast<std::size_t>(row.op)] = row.routine;
    return table;
}();

// --- the steps before it

// Operators without a value of their own, and those that decide whether and where an operand is
// evaluated: an effect below them stays there.
bool keeps_effects_below(int op) {
    switch (op) {
    case OP::COLON:
    case OP::ANDAND:
    case OP::OROR:
    case OP::RETURN:
    case OP::URETURN:
    case OP::SWITCH:
    case OP::CASE:
    case OP::DEFAULT:
    case OP::IF:
    case OP::CBRANCH:
    case OP::BRANCH:
    case OP::COMMA:
    case OP::PCOMMA:
    case OP::COMMAOP:
    case OP::LOOP:
    case OP::ENDLOOP:
    case OP::ARGREF:
    case OP::STARG:
    case OP::NASSERT:
    case OP::ASSERT:
    case OP::SSA_PHI:
    case OP::SSA_USE:
    case OP::SSA_DEF:
    case OP::SSA_MU:
    case OP::SSA_CHI: return true;
    default: return false;
    }
}

// Effects that change named objects directly and nothing else.
bool stores_to_names_only(const NODE *effects) {
    for (; effects; effects = effects->left) {
        const bool assigns =
            opcode_is_ASG(effects->op) || effects->op == OP::PLUSPLUS || effects->op == OP::MINMIN;
        if (assigns ? effects->left->op != OP::NAME : node_has_own_effect(effects)) return false;
        if (!stores_to_names_only(effects->right)) return false;
    }
    return true;
}

// Whether the value is the same, and nothing else is different, when the effects run first.
bool value_may_follow(const NODE *value, const NODE *effects) {
    for (; value; value = value->left) {
        if (node_has_own_effect(value) || value->op == OP::ICALL || value->op == OP::UICALL)
            return false;
        switch (value->op) {
        case OP::UMULT:
        case OP::STDOT:
        case OP::STREF:
        case OP::DIV: // may trap, which the effects would come before
        case OP::MOD: return false;
        case OP::UAND:
            if (value->left->op == OP::NAME) return true;
            break;
        case OP::NAME: {
            const SYMTAB *sym = value->u.name.sym;
            const bool is_private = sym->level > 1 && (sym->sc == 4 || !(sym->attr & SA_aliased));
            if (sym_appears_in_tree(sym, effects)) return false;
            return is_private || stores_to_names_only(effects);
        }
        default: break;
        }
        if (value->right && !value_may_follow(value->right, effects)) return false;
    }
    return true;
}

// The same for the left operand of a node: of a target only the address comes first.
bool left_may_follow(const NODE *node, const NODE *effects) {
    const NODE *left = node->left;
    if (!opcode_is_ASG(node->op)) return value_may_follow(left, effects);
    while (left->op == OP::STDOT)
        left = left->left;
    if (left->op == OP::NAME) return true;
    const bool by_address = (left->op == OP::UMULT && !left->right) || left->op == OP::STREF;
    return by_address && value_may_follow(left->left, effects);
}

bool is_bitfield(const NODE *lvalue) {
    return (lvalue->op == OP::STDOT || lvalue->op == OP::STREF) &&
           (lvalue->right->op != OP::FIELD || lvalue->right->u.field.mdata->is_bitfield);
}

// (x = C), whose value is known without it. A bit-field keeps a part of C only.
bool is_constant_ASG(const NODE *tree) {
    return tree->op == OP::ASG && is_ICON(tree->right) && !is_bitfield(tree->left) &&
           (tree->type->is_int_or_enum() || tree->type->is_ptr());
}

// Splits op(a, b) where the operand is (e, x) or (x = C): the node gets the value and goes below a
// COMMAOP with the effect. Null when it stays.
NODE *hoist(NODE *tree, NODE *NODE::*operand, LOOP *loop, CONTEXT *ctx) {
    NODE *below = tree->*operand;
    if (!below) return nullptr;
    const bool is_right = operand == &NODE::right;
    if (below->op == OP::COMMAOP) {
        if (is_right && !left_may_follow(tree, below->left)) return nullptr;
        tree->*operand = below->right;
    } else if (is_constant_ASG(below)) {
        if (is_right && (tree->op == OP::ASG || tree->op == OP::INITLOOP)) return nullptr;
        if (is_right && !left_may_follow(tree, below)) return nullptr;
        tree->*operand = coerce_to_type(below->type, copy_tree(below->right, true));
        NODE *effect = below;
        below = maketree(OP::COMMAOP, effect, nullptr, tree->type, effect->scope);
    } else {
        return nullptr;
    }
    below->right = simp_node(tree, loop, ctx);
    below->type = below->right->type;
    return simp_node(below, loop, ctx);
}

bool is_vector_operation(const NODE *tree) {
    switch (tree->op) {
    case OP::VPACK:
    case OP::VPACKM:
    case OP::VPACK1P:
    case OP::VFIELD:
    case OP::VRCONV:
    case OP::VSCONV: return true;
    default: return tree->type && tree->type->is_vector();
    }
}

bool folds_on_its_left(const NODE *tree) {
    if (!tree->left) return false;
    return is_ICON(tree->left) || is_FCON(tree->left) ||
           (tree->op == OP::MULT && tree->left->op == OP::RECIP && is_FCON(tree->right));
}

// A node without a scope takes that of the operand that the statement is about.
void fill_in_scope(NODE *node) {
    if (opcode_is_ASG(node->op)) {
        if (!node->scope)
            node->scope = node->left->scope;
        else if (!node->left->scope)
            node->left->scope = node->scope;
        return;
    }
    if (node->scope) return;
    switch (node->op) {
    case OP::SWITCH:
    case OP::COMMAOP: node->scope = node->right->scope; break;
    case OP::COMMA: {
        NODE *first = node->left, *second = node->right;
        if (first->op != OP::LABEL || second->op != OP::LABEL) break;
        LS *shared = first->scope ? first->scope : second->scope;
        node->scope = shared;
        if (!first->scope) first->scope = shared;
        if (!second->scope) second->scope = shared;
        break;
    }
    case OP::CALL:
    case OP::UCALL:
        if (node->right) node->scope = node->right->scope;
        if (!node->scope && node->left->op == OP::UAND) node->scope = node->left->scope;
        break;
    case OP::IF:
        fill_in_scope(node->right);
        node->scope = node->right->scope;
        break;
    default: break;
    }
}

// The operands of the nodes between two marks do not belong to them.
bool has_own_operands(const NODE *node) {
    return node->op != OP::CSE_DUPE && node->op != OP::CSE_ORIG && node->op != OP::ILLOP;
}

struct FRAME {
    NODE *node;
    bool right_is_done;
};

// Rules lead back to the dispatcher; two that undid each other would do so forever. What is right
// to do takes a few levels, but for what the chain rules do to a tower.
constexpr int most_nested_calls = 1000;

class NESTED_CALL {
public:
    NESTED_CALL() : level(++depth) {}
    ~NESTED_CALL() { --depth; }
    NESTED_CALL(const NESTED_CALL &) = delete;
    NESTED_CALL &operator=(const NESTED_CALL &) = delete;
    const int level;

private:
    static int depth;
};
int NESTED_CALL::depth = 0;

// What must run of a tree whose value nobody uses; null when nothing must.
NODE *statement_of(NODE *tree) {
    return tree->op == OP::ICON ? erase_tree(tree) : peel_for_effect(tree);
}
} // namespace

NODE *simp_node(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    const NESTED_CALL call;
    if (call.level > most_nested_calls) {
        dprintf("simp_node: rules do not come to an end at %s\n", opname(tree->op));
        return tree;
    }
    if (tree->type) tree->type = tree->type->normalized();
    if (tree->op == OP::NAME) tree->u.name.decl_type = nullptr;
    if (tree->left && !keeps_effects_below(tree->op) && has_own_operands(tree))
        for (NODE *NODE::*operand : {&NODE::left, &NODE::right})
            if (NODE *hoisted = hoist(tree, operand, loop, ctx)) return hoisted;
    if (is_vector_operation(tree)) return simp_vector_node(tree, loop, ctx);
    if (folds_on_its_left(tree))
        if (NODE *folded = fold_node(tree, loop, ctx)) return folded;
    fill_in_scope(tree);
    const ROUTINE routine = routine_of_op[tree->op];
    return routine ? routine(tree, loop, ctx) : tree;
}

NODE *simp_tree(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    if (!tree) return nullptr;
    // What an assertion says is not simplified with what may be known from it.
    if (tree->op == OP::ASSERT && KNOWN_RANGES::is_anything_in_force()) {
        const NOTHING_KNOWN meanwhile;
        return simp_tree(tree, loop, ctx);
    }
    // The way down to the node at hand; towers lean left, but as deep as one pleases.
    std::vector<FRAME> path;
    NODE *node = tree;
    for (;;) {
        for (; node; node = has_own_operands(node) ? node->left : nullptr) {
            lean_left_in_advance(node);
            path.push_back({node, false});
        }
        // All below the left operand of path.back() is done.
        NODE *done = nullptr;
        while (!path.empty()) {
            FRAME &top = path.back();
            if (done) (top.right_is_done ? top.node->right : top.node->left) = done;
            if (!top.right_is_done && top.node->right && has_own_operands(top.node)) {
                top.right_is_done = true;
                node = top.node->right;
                break;
            }
            done = simp_node(top.node, loop, ctx);
            path.pop_back();
        }
        if (path.empty()) return done;
    }
}

void simp_all_trees() {
    if (!currfuninfo) return;
    for (BBLK *bb = currfuninfo->bb_list; bb; bb = bb->dflink) {
        for (LIST **link = &bb->statements; *link;) {
            LIST *cell = *link;
            cell->first = statement_of(simp_tree(cell->first));
            const bool is_alone = cell == bb->statements && !cell->rest;
            if (!cell->first && is_alone) cell->first = mk_ICON(0, tp->int_type());
            if (cell->first) {
                link = &cell->rest;
                continue;
            }
            *link = cell->rest;
            release_list_cell(cell);
        }
        bb->statements = promote_toplevel_COMMAOPs_in_list(bb->statements);
    }
}

NODE *simp_MIX_tree(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    return simp_tree(tree, loop, ctx);
}

// --- shared small steps

NODE *make_ICON(const INT65 &value, TYPE *type) {
    NODE *icon = maketree(OP::ICON, nullptr, nullptr, type->normalized(), nullptr);
    icon->u.lval = truncate_to_type(value, type);
    return icon;
}

NODE *turn_into_cast(NODE *tree) {
    OPTASSERT(tree->left && !tree->right);
    tree->op = tree->type->is_ptr() || tree->left->type->is_ptr() ? OP::PCONV : OP::SCONV;
    tree->type = tree->type->type_qualified()->normalized();
    return tree;
}

namespace {
bool is_pure_within(const NODE *tree, int &nodes) {
    for (; tree; tree = tree->left)
        if (--nodes < 0 || node_has_own_effect(tree) || !is_pure_within(tree->right, nodes))
            return false;
    return true;
}
} // namespace

bool is_small_and_pure(const NODE *tree) {
    int largest = 200;
    return is_pure_within(tree, largest);
}

NODE *with_effects(NODE *effects, NODE *value, LOOP *loop, CONTEXT *ctx) {
    effects = effects_of(effects);
    if (!effects) return value;
    return simp_node(mk_COMMAOP(effects, value), loop, ctx);
}
