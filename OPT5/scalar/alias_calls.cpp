// What calls, and trees as a whole, may change. Of a call counts what its callee's record promises
// and what it can reach: variables by their names, and memory by pointers that it is given or that
// were kept from earlier calls.
#include "OPT5/builtins/bif.h"
#include "OPT5/rep/type_pkg.h"
#include "OPT5/scalar/alias_state.h"
#include "OPT5/scalar/scalar.h"

#include <cstring>

namespace {
bool is_intrinsic(const NODE *node) {
    return node->op == OP::ICALL || node->op == OP::UICALL || node->op == OP::MCALL ||
           node->op == OP::UMCALL;
}

// What the callee promises, as FUN_* flags.
std::uint32_t promises_of(const NODE *call) {
    if (is_intrinsic(call)) {
        // The marks of SSA form are no calls.
        const bool is_mark = std::strncmp(call->icall_name(), "def$", 4) == 0;
        const BIF_DESCRIPTOR *known = find_BIF_descriptor(call->icall_name());
        const bool is_pure = is_mark || (known && (known->flags & BIF_pure));
        return is_pure ? std::uint32_t{FUN_is_pure_fun} : 0;
    }
    const FUNINFO *callee = find_FUNINFO_for_call(call);
    return callee ? callee->flags : 0;
}

// How a call deals with memory, by the flags that promise that it does not.
struct ACCESS {
    std::uint32_t by_name, by_pointer;
};
constexpr ACCESS assigns{FUN_no_global_asg, FUN_no_ind_asg};
constexpr ACCESS uses{FUN_no_global_use, FUN_no_ind_use};

CALL_REACH reach_of(const NODE *call, ACCESS how) {
    const std::uint32_t promises = promises_of(call);
    if (promises & FUN_is_pure_fun) return {false, false};
    CALL_REACH reach{!(promises & how.by_name), !(promises & how.by_pointer)};
    // A promise about pointers that were kept need not speak of those that are passed.
    if (how.by_pointer == FUN_no_ind_asg) reach.by_pointer |= call_assigns_thru_byref_args(call);
    return reach;
}

bool callee_may_reach(const NODE *call, const NODE *lvalue, ACCESS how) {
    const CALL_REACH reach = reach_of(call, how);
    if (!reach.by_name && !reach.by_pointer) return false;
    const MEMREF ref = resolve_lvalue(lvalue);
    if (!ref.object) return true;
    return (reach.by_name && !is_automatic(ref.object)) ||
           (reach.by_pointer && some_pointer_leads_to(ref.object));
}

// MEMCPY(COMMA(COMMA(to, from), ICON units)) as the memory that it writes or reads.
bool copy_may_touch(const NODE *copy, const NODE *lvalue, bool writes) {
    const NODE *args = copy->left;
    if (args->op != OP::COMMA || args->left->op != OP::COMMA) return true;
    NODE place;
    place.op = OP::UMULT;
    place.left = writes ? args->left->left : args->left->right;
    place.type = tp->short_type(); // a unit of what is copied
    const MEMREF to = resolve_lvalue(&place), ref = resolve_lvalue(lvalue);
    if (!to.object || to.object != ref.object) return places_may_be_shared(&place, lvalue);
    MEMREF range = to;
    const NODE *units = args->right;
    if (range.bits >= 0) range.bits = units->op == OP::ICON ? units->u.lval.s32() * 16L : -1;
    return ranges_overlap(range, ref);
}

bool is_assignment(const NODE *node) {
    return opcode_is_ASG(node->op) || node->op == OP::PLUSPLUS || node->op == OP::MINMIN;
}

// Whether the effect that the node itself has may change the memory of the lvalue.
bool node_may_modify(const NODE *node, const NODE *lvalue) {
    if (is_assignment(node)) return lvalues_may_be_aliased(node->left, lvalue, nullptr);
    if (node_is_call(node)) return call_may_modify_lvalue(node, lvalue);
    switch (node->op) {
    case OP::ARGREF: return lvalues_may_be_aliased(node->left, lvalue, nullptr);
    case OP::ASM: return node->u.asm_.kind != 47; // a comment
    case OP::SSA_CHI: return true;
    default: return false;
    }
}

bool tree_may_modify_memory(const NODE *tree, const NODE *lvalue) {
    for (; tree; tree = tree->left) {
        if (node_may_modify(tree, lvalue)) return true;
        if (tree->right && tree_may_modify_memory(tree->right, lvalue)) return true;
    }
    return false;
}

bool has_any_effect(const NODE *tree) {
    for (; tree; tree = tree->left) {
        if (is_assignment(tree) || tree->op == OP::ASM || tree->op == OP::SSA_CHI ||
            tree->op == OP::ARGREF)
            return true;
        if (node_is_call(tree) && !(promises_of(tree) & FUN_is_pure_fun)) return true;
        if (tree->right && has_any_effect(tree->right)) return true;
    }
    return false;
}

// `is_address`: of the tree only the address is taken.
bool reads_may_change(const NODE *tree, const NODE *value, bool is_address) {
    for (; value; value = value->left) {
        if (node_is_call(value) && !(promises_of(value) & FUN_is_pure_fun)) return true;
        const bool reads = names_memory(value);
        if (reads && !is_address && tree_may_modify_memory(tree, value)) return true;
        if (value->right && value->op != OP::STDOT && value->op != OP::STREF &&
            reads_may_change(tree, value->right, false))
            return true;
        // The object of a member was looked at with it.
        is_address = value->op == OP::UAND || (value->op == OP::STDOT && reads);
    }
    return false;
}
} // namespace

CALL_REACH assignments_of_call(const NODE *call) {
    return reach_of(call, assigns);
}

bool node_is_call(const NODE *node) {
    return node->op == OP::CALL || node->op == OP::UCALL || node->op == OP::MEMCPY ||
           is_intrinsic(node);
}

bool call_may_modify_lvalue(const NODE *call, const NODE *lvalue) {
    if (node_is_volatile_access(lvalue)) return true;
    if (call->op == OP::MEMCPY) return copy_may_touch(call, lvalue, true);
    return callee_may_reach(call, lvalue, assigns) && !lvalue_is_immutable(lvalue);
}

bool call_may_use_lvalue(const NODE *call, const NODE *lvalue) {
    if (node_is_volatile_access(lvalue)) return true;
    if (call->op == OP::MEMCPY) return copy_may_touch(call, lvalue, false);
    return callee_may_reach(call, lvalue, uses);
}

bool call_assigns_thru_byref_args(const NODE *call) {
    if (promises_of(call) & (FUN_no_byref_asg | FUN_is_pure_fun)) return false;
    SYMTAB *callee = get_callee_for_call(call);
    NODE *args = get_arguments_to_call(call);
    const int count = arg_list_count(args);
    const NODE *arg = args;
    for (int n = count - 1; n >= 0; --n) {
        const NODE *one = n > 0 ? arg->right : arg;
        const bool may_lead_out = one->type->is_ptr() || one->type->is_csu() ||
                                  one->type->is_array() || one->op == OP::ARGREF;
        if (may_lead_out && !(callee && byref_arg_is_not_assigned_thru(n, callee))) return true;
        if (n > 0) arg = arg->left;
    }
    return false;
}

bool byref_arg_is_not_assigned_thru(int n, SYMTAB *function) {
    const TYPE *type = function->type->is_func() ? function->type : nullptr;
    TYPE *parameter = type ? type_of_nth_parameter(type, n) : nullptr;
    if (!parameter) return false;
    const FUNINFO *callee = make_FUNINFO(skip_name_prefix(function->name));
    if (callee->flags & (FUN_no_byref_asg | FUN_is_pure_fun)) return true;
    return !parameter->is_ptr() && !parameter->is_ref() && !parameter->is_csu() &&
           !parameter->is_array();
}

void check_fun_for_byref_asgs(SYMTAB *sym) {
    if (!sym->type->is_func() || sym->type->is_vararg()) return;
    const auto &function = sym->type->stds()->sub.func;
    if (!function.flag2) return; // without prototype
    for (int n = 0; TYPE *parameter = type_of_nth_parameter(sym->type, n); ++n)
        if (!parameter->is_arithmetic() && !parameter->is_enum() && !parameter->is_void()) return;
    make_FUNINFO(skip_name_prefix(sym->name))->flags |= FUN_no_byref_asg;
}

bool tree_may_modify_value(const NODE *tree, const NODE *value) {
    return has_any_effect(tree) && reads_may_change(tree, value, false);
}

bool tree_may_modify_lvalue(const NODE *tree, const NODE *lvalue) {
    return tree_may_modify_value(tree, lvalue);
}
