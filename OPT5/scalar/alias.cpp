// Whether two lvalues may name the same memory.
//
// Each is taken apart into the variable that it lies in, or the pointer that leads to it, and a
// range of bits from there. Two variables are apart; in one variable the ranges decide. A pointer
// does not lead to a variable that no pointer holds the address of, nor does a parameter lead to a
// variable of this call. Two pointers are apart by `restrict`, by an assertion, or when one leads
// to a constant text. What is left is decided by the types.
#include "OPT5/driver/global_flags.h"
#include "OPT5/driver/log.h"
#include "OPT5/rep/ptr_groups.h"
#include "OPT5/scalar/alias_state.h"

#include <algorithm>

namespace {
constexpr std::int64_t unit_bits = 16;
constexpr std::int64_t memory_bits = unit_bits << 16; // addresses wrap there

std::int64_t size_of(const TYPE *type) {
    return type->is_complete() && !type->is_func() && type->size() > 0
               ? static_cast<std::int64_t>(type->size())
               : -1;
}

// --- lvalues

class RESOLVER {
public:
    MEMREF of(const NODE *lvalue);

private:
    const NODE *member(const NODE *access);
    const NODE *address(const NODE *tree);
    void lose_place(); // somewhere in the object, or around the pointer
    void step(const NODE *sum, const NODE *pointer);
    void enter(const NODE *lvalue);

    MEMREF ref;
    bool place_is_known = true;
};

void RESOLVER::lose_place() {
    place_is_known = false;
    ref.bits = -1;
}

// Gives the operand that holds the object of the member, or leads to it.
const NODE *RESOLVER::member(const NODE *access) {
    const NODE *field = access->right;
    if (!field || field->op != OP::FIELD || !field->u.field.mdata) {
        lose_place();
        return access->left;
    }
    ref.offset += field->u.field.mdata->offset;
    if (field->u.field.csu->is_union()) ref.type = field->u.field.csu;
    return access->left;
}

// The constant in a sum is in units, plain or as a product that scales an index.
void RESOLVER::step(const NODE *sum, const NODE *pointer) {
    const NODE *distance = pointer == sum->left ? sum->right : sum->left;
    std::int64_t bits = 0;
    if (distance->op == OP::ICON) {
        bits = distance->u.lval.s32() * unit_bits;
    } else if (distance->op == OP::PMCONV && distance->left->op == OP::ICON &&
               distance->right->op == OP::ICON) {
        bits = std::int64_t{distance->left->u.lval.s32()} * distance->right->u.lval.s32();
    } else {
        lose_place();
        return;
    }
    ref.offset += sum->op == OP::PLUS ? bits : -bits;
}

// An index stays within the array, or the array of arrays, that it goes into. An array at the end
// of its structure may go on behind it.
void RESOLVER::enter(const NODE *lvalue) {
    const bool is_member = lvalue->op == OP::STDOT || lvalue->op == OP::STREF;
    if (!is_member || lvalue->right->op != OP::FIELD) return;
    const fkMDATA *mdata = lvalue->right->u.field.mdata;
    const bool is_bounded = mdata && mdata->next && lvalue->type->is_array() &&
                            lvalue->type->stds()->sub.array.count > 1;
    if (place_is_known || !is_bounded || size_of(lvalue->type) < 0) return;
    place_is_known = true;
    ref.offset = 0;
    ref.bits = size_of(lvalue->type);
}

bool keeps_pointee(const TYPE *to, const TYPE *from) {
    TYPE *target = to->type_pointed_to(), *source = from->type_pointed_to();
    while (source->is_array() && !target->is_array())
        source = source->elem_type();
    return target->is_void() || source->is_void() || compatible_types(target, source, true);
}

// Gives the lvalue whose address it is, or null.
const NODE *RESOLVER::address(const NODE *tree) {
    while (tree->op != OP::UAND) {
        const NODE *pointer = pointer_below(tree);
        if (!pointer) {
            ref.root = tree;
            return nullptr;
        }
        if (tree->right) step(tree, pointer);
        if (tree->op == OP::PCONV && !keeps_pointee(tree->type, pointer->type)) ref.is_cast = true;
        tree = pointer;
    }
    enter(tree->left);
    return tree->left;
}

MEMREF RESOLVER::of(const NODE *lvalue) {
    ref.type = lvalue->type;
    ref.bits = size_of(lvalue->type);
    if ((lvalue->op == OP::STDOT || lvalue->op == OP::STREF) && lvalue->right->op == OP::FIELD &&
        lvalue->right->u.field.mdata && lvalue->right->u.field.mdata->is_bitfield)
        ref.bits = lvalue->right->u.field.mdata->width;
    while (lvalue) {
        switch (lvalue->op) {
        case OP::NAME:
            ref.object = lvalue->u.name.sym;
            if (ref.object->type->is_union()) ref.type = ref.object->type;
            if (place_is_known) return ref;
            ref.offset = 0;
            ref.bits = size_of(ref.object->type);
            return ref;
        case OP::STDOT: lvalue = member(lvalue); break;
        case OP::STREF: lvalue = address(member(lvalue)); break;
        case OP::UMULT:
            if (lvalue->right) lose_place();
            lvalue = address(lvalue->left);
            break;
        default: {
            const NODE *whole = whole_object(lvalue);
            if (whole == lvalue) return MEMREF();
            ref.bits = size_of(lvalue->type) < 0 ? -1 : size_of(lvalue->left->type);
            lvalue = lvalue->left;
        }
        }
    }
    if (!place_is_known) ref.bits = -1;
    return ref;
}

// --- pointers

// Whether the walk has seen every variable in the tree.
bool tree_is_known(const NODE *tree) {
    for (; tree; tree = tree->left) {
        if (tree->op == OP::NAME)
            return tree->u.name.sym->level == 0 ||
                   tree->u.name.sym->serial <= alias_state.last_serial;
        if (tree->right && !tree_is_known(tree->right)) return false;
    }
    return true;
}

const SYMTAB *fixed_parameter(const NODE *root) {
    return root->op == OP::NAME && is_fixed_parameter(root->u.name.sym) ? root->u.name.sym
                                                                        : nullptr;
}

bool pointer_may_lead_to(const NODE *root, const SYMTAB *sym, const LS *scope) {
    if (is_automatic(sym)) {
        if (fixed_parameter(root)) return false;
        if (scope && !scope->object_may_be_live_in_scope(sym)) return false;
    }
    if (some_pointer_leads_to(sym)) return true;
    return !sym->type->is_scalar() && !tree_is_known(root); // a new pointer may hold any address
}

// The restrict pointer of the whole call that the reference is made through, or null.
const SYMTAB *restricted_root(const NODE *root) {
    while (root && (root->op == OP::PLUSPLUS || root->op == OP::MINMIN))
        root = root->left;
    if (!root || root->op != OP::NAME) return nullptr;
    const SYMTAB *sym = root->u.name.sym;
    return !(sym->attr & SA_aliased) && alias_state.restricted_roots.count(sym) ? sym : nullptr;
}

// Whether no address that the restrict pointer may hold has come to the other reference, nor the
// other way round.
bool is_not_based_on(const MEMREF &other, const NODE *restricted) {
    const PTR_GROUPS *groups = currfuninfo ? currfuninfo->ptr_groups.get() : nullptr;
    const int group = groups ? groups->group_of(restricted) : PTR_GROUPS::unknown;
    if (group == PTR_GROUPS::unknown) return false;
    if (other.object) return groups->group_of_address(other.object) != group;
    const int others = groups->group_of(other.root);
    return others != PTR_GROUPS::unknown && others != group;
}

bool are_apart_by_restriction(const MEMREF &a, const MEMREF &b) {
    const SYMTAB *p = a.root ? fixed_parameter(a.root) : nullptr;
    const SYMTAB *q = b.root ? fixed_parameter(b.root) : nullptr;
    if (p && q && p != q && pointer_args_are_disjoint) return true;
    return (restricted_root(a.root) && is_not_based_on(b, a.root)) ||
           (restricted_root(b.root) && is_not_based_on(a, b.root));
}

const SYMTAB *pointer_variable(const NODE *tree) {
    while (const NODE *below = pointer_below(tree))
        tree = below;
    return tree->op == OP::NAME && tree->type->is_ptr() ? tree->u.name.sym : nullptr;
}

bool are_apart_by_assertion(const NODE *a, const NODE *b) {
    if (!a || !b || alias_state.assertions.empty()) return false;
    const SYMTAB *p = pointer_variable(a), *q = pointer_variable(b);
    return p && q && p != q && alias_state.assertions.count(std::minmax(p->serial, q->serial)) != 0;
}

// --- types

bool types_may_alias(TYPE *a, TYPE *b) {
    if (a->uid > b->uid) std::swap(a, b);
    auto &cache = alias_state.type_pairs;
    ALIAS_STATE::TYPE_PAIR &entry = cache[(a->uid * 31 + b->uid) % std::size(cache)];
    if (entry.a != a || entry.b != b || entry.chars_alias != chars_alias_other_types)
        entry = {a, b, chars_alias_other_types, type_may_alias_type(a, b)};
    return entry.answer;
}

// A variable holds what it was declared to hold. Memory behind pointers takes the type of the last
// store, so that only a load behind a store is bound to the type of that.
bool types_keep_apart(const MEMREF &a, const MEMREF &b, bool is_load_behind_store) {
    if (a.is_cast || b.is_cast) return false;
    if (!a.object && !b.object && !is_load_behind_store) return false;
    return !types_may_alias(a.type, b.type);
}

// --- the question

bool is_unknown(const MEMREF &ref) {
    return !ref.object && !ref.root;
}

// Without sets of possible targets all that is known is what the trees themselves say.
bool targets_may_overlap(const MEMREF &a, const MEMREF &b) {
    const auto is_text = [](const MEMREF &ref) { return ref.root && ref.root->op == OP::SCON; };
    if (a.object && b.object) return object_symbols_may_alias(a.object, b.object);
    return !(is_text(a) && b.object) && !(is_text(b) && a.object);
}

struct QUESTION {
    bool is_load_behind_store = false;
    bool takes_neighbours = false;
    bool has_types = true;
};

bool volatility_keeps_apart(const NODE *a, const NODE *b, bool *alias) {
    if (!currfuninfo || !(currfuninfo->flags & FUN_is_cpp)) return false;
    const bool is_volatile = node_is_volatile_access(a);
    if (!is_volatile && !node_is_volatile_access(b)) return false;
    *alias = is_volatile && node_is_volatile_access(b);
    return *alias || !compatible_types(a->type, b->type);
}

// The lvalues, and where they lie.
bool may_alias(const NODE *a, const MEMREF &x, const NODE *b, const MEMREF &y, QUESTION question) {
    bool alias = false;
    if (volatility_keeps_apart(a, b, &alias)) return alias;
    if (is_unknown(x) || is_unknown(y)) return true;
    if (!targets_may_overlap(x, y)) return false;
    if (x.object && y.object) return question.takes_neighbours || ranges_overlap(x, y);
    if (x.object || y.object) {
        const NODE *access = x.object ? b : a;
        if (!pointer_may_lead_to(x.object ? y.root : x.root, x.object ? x.object : y.object,
                                 access->scope))
            return false;
    } else {
        const SYMTAB *p = fixed_parameter(x.root);
        if (p && p == fixed_parameter(y.root))
            return question.takes_neighbours || ranges_overlap(x, y);
    }
    if (are_apart_by_restriction(x, y) || are_apart_by_assertion(x.root, y.root)) return false;
    return !question.has_types || !types_keep_apart(x, y, question.is_load_behind_store);
}

bool may_alias(const NODE *a, const NODE *b, QUESTION question) {
    return may_alias(a, resolve_lvalue(a), b, resolve_lvalue(b), question);
}
} // namespace

MEMREF resolve_lvalue(const NODE *lvalue) {
    return RESOLVER().of(lvalue);
}

bool ranges_overlap(const MEMREF &a, const MEMREF &b) {
    if (a.bits < 0 || b.bits < 0) return true;
    const std::int64_t distance = (b.offset - a.offset) & (memory_bits - 1);
    return distance == 0 || distance < a.bits || memory_bits - distance < b.bits;
}

bool some_pointer_leads_to(const SYMTAB *sym) {
    if (is_automatic(sym) && !(sym->attr & SA_aliased)) return false;
    return alias_vars || !(sym->attr & SA_no_escape);
}

bool lvalues_may_be_aliased(const NODE *a, const NODE *b, LOOP *) {
    return may_alias(a, b, {});
}

bool lvalues_may_be_aliased_for_SIMD(const NODE *a, const NODE *b, LOOP *) {
    return may_alias(a, b, {.takes_neighbours = true});
}

bool places_may_be_shared(const NODE *a, const NODE *b) {
    return may_alias(a, b, {.takes_neighbours = true, .has_types = false});
}

bool store_may_reach_load(const NODE *store, const NODE *load, LOOP *) {
    return may_alias(store, load, {.is_load_behind_store = true});
}

bool store_may_reach_load(const NODE *store, const MEMREF &to, const NODE *load,
                          const MEMREF &from) {
    return may_alias(store, to, load, from, {.is_load_behind_store = true});
}

ALIAS_KIND alias_kind_of(const NODE *lvalue, const MEMREF &ref) {
    ALIAS_KIND kind;
    const SYMTAB *pointer = nullptr;
    int group = PTR_GROUPS::unknown;
    bool is_seen = true;
    if (ref.object) {
        kind.domain = get_sym_def_for_decl(const_cast<SYMTAB *>(ref.object));
        kind.is_variable = true;
    } else if (ref.root) {
        kind.domain = fixed_parameter(ref.root);
        const PTR_GROUPS *groups = currfuninfo ? currfuninfo->ptr_groups.get() : nullptr;
        if (groups) group = groups->group_of(ref.root);
        pointer = kind.domain ? kind.domain : restricted_root(ref.root);
        if (!pointer && !alias_state.assertions.empty()) pointer = pointer_variable(ref.root);
        is_seen = tree_is_known(ref.root);
    }
    kind.answers_by_itself =
        currfuninfo && (currfuninfo->flags & FUN_is_cpp) && node_is_volatile_access(lvalue);
    const bool traits[] = {ref.is_cast, is_unknown(ref), is_seen,
                           ref.root && ref.root->op == OP::SCON, kind.answers_by_itself};
    unsigned word = 0;
    for (const bool trait : traits)
        word = word << 1 | static_cast<unsigned>(trait);
    kind.words = {ref.object, pointer, group, ref.type, ref.object ? nullptr : lvalue->scope, word};
    return kind;
}

bool unaliased_by_restriction(const NODE *a, const NODE *b, LOOP *) {
    return are_apart_by_restriction(resolve_lvalue(a), resolve_lvalue(b));
}

bool unaliased_by_scope(const NODE *a, const NODE *b) {
    const auto is_out_of_scope = [](const MEMREF &named, const NODE *access) {
        return named.object && access->scope &&
               !access->scope->object_may_be_live_in_scope(named.object);
    };
    return is_out_of_scope(resolve_lvalue(a), b) || is_out_of_scope(resolve_lvalue(b), a);
}

// A declaration and the definition of one name are two symbols.
bool object_symbols_may_alias(const SYMTAB *a, const SYMTAB *b) {
    if (a == b) return true;
    if (a->level != 0 || b->level != 0) return false;
    return get_sym_def_for_decl(const_cast<SYMTAB *>(a)) ==
           get_sym_def_for_decl(const_cast<SYMTAB *>(b));
}

bool pointers_are_antialiased(const NODE *a, const NODE *b) {
    return are_apart_by_assertion(a, b);
}

bool add_alias_assertion(const NODE *a, const NODE *b) {
    const SYMTAB *p = pointer_variable(a), *q = pointer_variable(b);
    const bool is_plain = p && q && p != q;
    if (print_debug) {
        constexpr std::size_t longest_text = 200;
        const std::string text = infix_text(a, longest_text);
        if (is_plain)
            dprintf("Adding an alias assertion that %s and", text.c_str());
        else
            dprintf("Failing to add alias assertion that %s and", text.c_str());
        dprintf("  %s don't share memory\n", infix_text(b, longest_text).c_str());
    }
    if (is_plain) alias_state.assertions.insert(std::minmax(p->serial, q->serial));
    return is_plain;
}

bool UMULT_PT_targets_may_overlap(const NODE *a, const NODE *b) {
    return targets_may_overlap(resolve_lvalue(a), resolve_lvalue(b));
}
