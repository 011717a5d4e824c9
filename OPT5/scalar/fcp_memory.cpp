// Fast copy propagation: what statements have changed.
#include "OPT5/scalar/fcp_memory.h"

namespace {
bool is_reached_by_pointers(const SYMTAB *sym) {
    return sym->level < 2 || (sym->sc != 1 && sym->sc != 4) || (sym->attr & SA_aliased);
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
            note_call();
        }
        note_effects(tree->left, but_store, but_call);
    }
}

void FCP_MEMORY::note_store(NODE *lvalue) {
    if (NODE *object = fcp_object_of(lvalue)) {
        SYMTAB *sym = object->u.name.sym;
        fcp_symbol(sym)->modified = now;
        if (is_reached_by_pointers(sym)) named_store = now;
        return;
    }
    if (lvalue->op != OP::UMULT && lvalue->op != OP::STREF) note_names(lvalue);
    indirect_store = now;
}

// One of several objects is stored to.
void FCP_MEMORY::note_names(const NODE *tree) {
    for (; tree; tree = tree->right) {
        if (tree->op == OP::NAME) fcp_symbol(tree->u.name.sym)->modified = named_store = now;
        note_names(tree->left);
    }
}

bool FCP_MEMORY::object_is_unchanged(const SYMTAB *sym, std::uint32_t then) const {
    const FCP_SYMBOL *fields = fcp_find_symbol(sym);
    if (fields && fields->modified > then) return false;
    return !is_reached_by_pointers(sym) || (indirect_store <= then && call <= then);
}

bool FCP_MEMORY::lvalue_is_unchanged(const NODE *lvalue, std::uint32_t then) const {
    for (; lvalue->op != OP::NAME; lvalue = lvalue->left) {
        if (lvalue->op == OP::UMULT || lvalue->op == OP::STREF)
            return indirect_store <= then && named_store <= then && call <= then &&
                   is_unchanged(lvalue->left, then) && is_unchanged(lvalue->right, then);
    }
    return object_is_unchanged(lvalue->u.name.sym, then);
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
