// Fast copy propagation: how often each local is defined and used.
#include "OPT5/icode/if.h"
#include "OPT5/rep/type_pkg.h"
#include "OPT5/scalar/alias.h"
#include "OPT5/scalar/fcp.h"

#include <deque>
#include <limits>

namespace {
// Storage for the working fields; a symbol that has some is in `owners`.
std::deque<FCP_SYMBOL> all_fields;
std::vector<SYMTAB *> owners;

class COUNTER {
public:
    void count(NODE *tree) {
        for (; tree; tree = tree->right)
            switch (tree->op) {
            case OP::ICON:
            case OP::URETURN: return;
            case OP::NAME: use(tree); return;
            case OP::UAND: address_of(tree->left); return;
            case OP::ARGREF:
                define(tree->left, nullptr);
                if (tree->left->op == OP::NAME) use(tree->left);
                return;
            case OP::IF:
            case OP::SWITCH: count(tree->left); return;
            case OP::RETURN: break;
            case OP::CALL:
            case OP::UCALL:
                if (!get_callee_for_call(tree)) count(tree->left);
                break;
            case OP::UMULT:
                if (NODE *name = disguised_global(tree)) {
                    use(name);
                    return;
                }
                count(tree->left);
                break;
            default:
                if (fcp_is_definition(tree->op))
                    define(tree->left, tree);
                else
                    count(tree->left);
            }
    }
    const NODE *root = nullptr; // the statement
    bool is_prolog = false, is_in_entry = false, is_in_EHT = false;

private:
    void use(NODE *name) {
        SYMTAB *sym = name->u.name.sym;
        if (!sym) return;
        if (sym->type->is_func()) {
            take_function(sym);
            return;
        }
        if (name->type->is_ptr() && !(sym->type->qual_kind(false) & TQ_restrict) &&
            (name->type->qual_kind(false) & TQ_restrict))
            name->type = tp->remove_known_qual(name->type, TQ_restrict);
        FCP_SYMBOL *fields = fcp_find_symbol(sym);
        if (!fields) return;
        fields->is_in_EHT |= is_in_EHT;
        ++sym->refcount;
    }

    static void take_function(SYMTAB *sym) {
        make_FUNINFO(skip_name_prefix(sym->name))->flags |= FUN_is_anonymous;
    }

    // The whole object behind an lvalue whose address leaves the tree.
    void address_of(NODE *lvalue) {
        while (lvalue->op == OP::STDOT)
            lvalue = lvalue->left;
        if (lvalue->op != OP::NAME) {
            count(lvalue);
            return;
        }
        SYMTAB *sym = lvalue->u.name.sym;
        if (!sym) return;
        if (sym->type->is_func()) {
            take_function(sym);
            return;
        }
        if (sym->level > 0) sym->attr |= SA_aliased;
        use(lvalue);
        if (FCP_SYMBOL *fields = fcp_find_symbol(sym)) exclude(fields);
    }

    static void exclude(FCP_SYMBOL *fields) {
        fields->defs = -1;
        fields->def = nullptr;
    }

    void define(NODE *target, NODE *tree) {
        if (target->op != OP::NAME) {
            // An object of which a part is assigned to counts as used.
            count(target);
            const NODE *object = fcp_object_of(target);
            if (FCP_SYMBOL *whole = object ? fcp_find_symbol(object->u.name.sym) : nullptr)
                exclude(whole);
            return;
        }
        // The value of a step or compound assignment comes from its target.
        const bool is_plain =
            tree && (tree->op == OP::ASG || tree->op == OP::STASG || tree->op == OP::ARASG);
        if (tree && !is_plain && tree != root) use(target);
        FCP_SYMBOL *fields = fcp_find_symbol(target->u.name.sym);
        if (!fields) return;
        fields->is_in_EHT |= is_in_EHT;
        fields->is_from_prolog |= is_prolog;
        if (fields->defs < 0) return;
        if (!tree) {
            exclude(fields); // written through a reference
            return;
        }
        if (fields->defs < std::numeric_limits<std::int16_t>::max()) ++fields->defs;
        fields->def = tree;
        fields->is_settled = is_in_entry; // with other definitions this counts for nothing
    }

    // *&g of a global scalar, read as it is declared.
    static NODE *disguised_global(const NODE *tree) {
        if (tree->right || tree->left->op != OP::UAND || tree->left->left->op != OP::NAME)
            return nullptr;
        NODE *name = tree->left->left;
        const SYMTAB *sym = name->u.name.sym;
        const bool agrees = sym && sym->level == 0 && sym->type->is_scalar() &&
                            compatible_types(tree->type, sym->type) &&
                            tree->type->is_volatile() == sym->type->is_volatile();
        return agrees ? name : nullptr;
    }
};

} // namespace

FCP_SYMBOL *fcp_find_symbol(const SYMTAB *sym) {
    return sym ? static_cast<FCP_SYMBOL *>(sym->pass_words[0]) : nullptr;
}

FCP_SYMBOL *fcp_symbol(SYMTAB *sym) {
    if (FCP_SYMBOL *known = fcp_find_symbol(sym)) return known;
    owners.push_back(sym);
    sym->pass_words[0] = &all_fields.emplace_back();
    return &all_fields.back();
}

void fcp_forget_symbols() {
    for (SYMTAB *sym : owners)
        sym->pass_words[0] = nullptr;
    owners.clear();
    all_fields.clear();
}

bool fcp_is_plain_local(const SYMTAB *sym) {
    return sym && sym->level >= 2 && (sym->sc == 1 || sym->sc == 4) && !(sym->attr & SA_aliased) &&
           !type_may_contain_volatile(sym->type);
}

bool fcp_is_definition(int op) {
    return opcode_is_ASG(op) || op == OP::PLUSPLUS || op == OP::MINMIN || op == OP::STARG ||
           op == OP::SSA_DEF;
}

void fcp_count_function() {
    fcp_forget_symbols();
    for (SYMTAB *sym = currfuninfo->symbols; sym; sym = sym->next) {
        sym->refcount = 0;
        FCP_SYMBOL *fields = fcp_symbol(sym);
        fields->is_listed = true;
        if (sym->level < 2 || (sym->sc != 1 && sym->sc != 4)) continue;
        sym->attr &= static_cast<std::uint8_t>(~SA_aliased);
        fields->defs = 0;
    }
    COUNTER counter;
    for (BBLK *bb = currfuninfo->bb_list; bb; bb = bb->dflink)
        for (LIST *cell = bb->statements; cell; cell = cell->rest) {
            counter.is_prolog = bb == currfuninfo->bb_list && cell == bb->statements &&
                                tree_is_arg_prolog(cell->first);
            counter.is_in_entry = bb == currfuninfo->bb_list && !bb->predecessors;
            counter.root = cell->first;
            counter.count(cell->first);
        }
    counter.is_prolog = counter.is_in_entry = false;
    counter.root = nullptr;
    counter.is_in_EHT = true;
    for (unsigned i = 0; i < currfuninfo->eht_size; ++i)
        if (currfuninfo->eht[i].cleanup) counter.count(currfuninfo->eht[i].cleanup);
    mark_aliased_vector_and_complex_symbols(nullptr, 1);
}
