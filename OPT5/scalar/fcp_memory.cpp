// Fast copy propagation: what statements have changed.
#include "OPT5/scalar/fcp_memory.h"

namespace {
bool is_reached_by_pointers(const SYMTAB *sym) {
    return sym->level < 2 || (sym->sc != 1 && sym->sc != 4) || (sym->attr & SA_aliased);
}

bool is_only_named_scalar(const SYMTAB *sym) {
    return sym->type->is_scalar() && !is_reached_by_pointers(sym);
}

// Operators that do something that their opcode does not tell.
bool does_anything(const NODE *node) {
    switch (node->op) {
    case OP::ICALL: // without a descriptor these are calls
    case OP::UICALL: return true;
    case OP::NASSERT:
    case OP::PPRAGMA: return false;
    default: return side_effects[node->op] == SE_VARIES && node_has_own_effect(node);
    }
}
} // namespace

bool fcp_is_part(int op) {
    switch (op) {
    case OP::STDOT:
    case OP::STFIELD:
    case OP::VFIELD:
    case OP::REAL:
    case OP::IMAG:
    case OP::SIMDHI:
    case OP::SIMDLO:
    case OP::OUIALIGN:
    case OP::NONALIGN:
    case OP::IDENTITY:
    case OP::DDNODE: return true;
    default: return false;
    }
}

NODE *fcp_object_of(NODE *lvalue) {
    while (fcp_is_part(lvalue->op))
        lvalue = lvalue->left;
    return lvalue->op == OP::NAME ? lvalue : nullptr;
}

void FCP_MEMORY::note_effects(NODE *tree, const NODE *but_store, const NODE *but_call) {
    for (; tree; tree = tree->right) {
        if (fcp_is_definition(tree->op) || tree->op == OP::ARGREF) {
            if (tree != but_store) note_store(tree->left);
        } else if (does_anything(tree) && tree != but_call) {
            note_call(tree);
        }
        note_effects(tree->left, but_store, but_call);
    }
}

void FCP_MEMORY::note_change(SYMTAB *sym) const {
    FCP_SYMBOL *fields = fcp_symbol(sym);
    fcp_save(fields);
    fields->known.modified = now;
}

void FCP_MEMORY::note_store(NODE *lvalue) {
    const NODE *object = fcp_object_of(lvalue);
    if (object) {
        note_change(object->u.name.sym);
        if (is_only_named_scalar(object->u.name.sym)) return;
    } else if (lvalue->op != OP::UMULT && lvalue->op != OP::STREF) {
        note_names(lvalue);
    }
    recent.push_back({now, lvalue});
}

void FCP_MEMORY::note_again(NODE *stmt, std::size_t since) {
    recent.resize(since); // their trees may be gone
    note_effects(stmt, nullptr, nullptr);
}

// One of several objects is stored to.
void FCP_MEMORY::note_names(const NODE *tree) {
    for (; tree; tree = tree->right) {
        if (tree->op == OP::NAME) note_change(tree->u.name.sym);
        note_names(tree->left);
    }
}

// By what was done since then, as far as it is not too much to be looked at.
bool FCP_MEMORY::memory_is_unchanged(const NODE *lvalue, std::uint32_t then) const {
    constexpr int most = 24;
    int looked_at = 0;
    for (auto effect = recent.rbegin(); effect != recent.rend() && effect->when > then; ++effect) {
        if (!effect->node || ++looked_at > most) return false;
        const bool may_change = node_is_call(effect->node)
                                    ? call_may_modify_lvalue(effect->node, lvalue)
                                : loads_move ? lvalues_may_be_aliased(effect->node, lvalue, nullptr)
                                             : store_may_reach_load(effect->node, lvalue, nullptr);
        if (may_change) return false;
    }
    return true;
}

bool FCP_MEMORY::lvalue_is_unchanged(const NODE *lvalue, std::uint32_t then) const {
    const NODE *base = lvalue;
    while (base->op != OP::NAME && base->op != OP::UMULT && base->op != OP::STREF)
        base = base->left;
    if (base->op == OP::NAME) {
        const SYMTAB *sym = base->u.name.sym;
        const FCP_SYMBOL *fields = fcp_find_symbol(sym);
        const bool is_assigned = fields && fields->known.modified > then;
        if (is_only_named_scalar(sym)) return !is_assigned;
        if (!is_assigned && !is_reached_by_pointers(sym)) return true;
        return memory_is_unchanged(lvalue, then);
    }
    return memory_is_unchanged(lvalue, then) && is_unchanged(base->left, then) &&
           is_unchanged(base->right, then);
}

bool FCP_MEMORY::is_unchanged(const NODE *tree, std::uint32_t then) const {
    for (; tree; tree = tree->left)
        switch (tree->op) {
        case OP::NAME:
        case OP::STDOT:
        case OP::STREF:
        case OP::UMULT: return lvalue_is_unchanged(tree, then);
        case OP::UAND: {
            const NODE *lvalue = tree->left;
            while (lvalue->op == OP::STDOT)
                lvalue = lvalue->left;
            return lvalue->op == OP::NAME || is_unchanged(lvalue->left, then);
        }
        default:
            if (!is_unchanged(tree->right, then)) return false;
        }
    return true;
}
