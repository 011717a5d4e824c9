// Questions about the loop hierarchy, and the variables of loops.
#include "OPT5/rep/loop.h"

#include <utility>

namespace {
void collect_innermost(const LOOP *loop, std::vector<BBLK *> &heads) {
    if (!loop->first_child) heads.push_back(loop->head);
    for (const LOOP *child = loop->first_child; child; child = child->sibling)
        collect_innermost(child, heads);
}

template <class RECORD> RECORD *find_record(const SYMTAB *sym, RECORD *list) {
    while (list && list->sym != sym)
        list = list->next;
    return list;
}

// The variables that a tree names, and those of them that it may change by name.
class VARIABLES {
public:
    explicit VARIABLES(LOOP *loop_) : loop(loop_) {}

    void visit(const NODE *tree, bool is_target) {
        for (; tree; tree = tree->right) {
            if (tree->op == OP::NAME) {
                SYMTAB *sym = tree->u.name.sym;
                (is_target || !keeps_its_value(sym) ? loop->region_variables
                                                    : loop->region_constants)
                    .insert(sym);
                return;
            }
            const bool stores = opcode_is_ASG(tree->op) || tree->op == OP::PLUSPLUS ||
                                tree->op == OP::MINMIN || tree->op == OP::ARGREF;
            // A member's object is what an assignment to the member changes.
            visit(tree->left, stores || (is_target && tree->op == OP::STDOT));
            is_target = false;
        }
    }

private:
    // While nothing in the loop names it as a target: what has no address is changed in no other
    // way.
    static bool keeps_its_value(const SYMTAB *sym) {
        if (symbol_is_immutable(sym)) return true;
        return sym->level != 0 && !(sym->attr & SA_aliased) &&
               !type_may_contain_volatile(sym->type);
    }

    LOOP *const loop;
};

bool is_multiple_of_IV(const NODE *tree, const LOOP *loop) {
    while (tree->op == OP::SCONV || tree->op == OP::UMINUS)
        tree = tree->left;
    if (tree->op == OP::MULT)
        return (tree->right->op == OP::ICON && is_multiple_of_IV(tree->left, loop)) ||
               (tree->left->op == OP::ICON && is_multiple_of_IV(tree->right, loop));
    return tree->op == OP::NAME && find_LOOPIV_for_IV(tree->u.name.sym, loop);
}

// Calls visit(node) for the operands of chains to the left and to the right without recursion along
// the left spine.
bool all_nodes(const NODE *tree, bool (*ok)(const NODE *, const LOOP *, bool), const LOOP *loop,
               bool memory_ok) {
    for (; tree; tree = tree->left) {
        if (!ok(tree, loop, memory_ok)) return false;
        if (tree->right && !all_nodes(tree->right, ok, loop, memory_ok)) return false;
    }
    return true;
}

bool node_is_RC(const NODE *node, const LOOP *loop, bool memory_ok) {
    switch (node->op) {
    case OP::NAME: return sym_is_RC_in_loop(node->u.name.sym, loop);
    case OP::UMULT: return memory_ok && lvalue_is_immutable(node);
    case OP::STREF: return memory_ok && lvalue_is_immutable(node);
    default: return true;
    }
}
} // namespace

LOOP *innermost_common_loop(LOOP *a, LOOP *b) {
    while (a != b) {
        LOOP *&deeper = a->level < b->level ? b : a;
        deeper = deeper->parent;
    }
    return a;
}

bool loop_is_subloop_of_loop(const LOOP *inner, const LOOP *outer) {
    while (inner && inner != outer)
        inner = inner->parent;
    return inner != nullptr;
}

bool loop_has_subloops(const LOOP *loop) {
    return loop->first_child != nullptr;
}

bool loop_is_innermost(const LOOP *loop) {
    return !loop->is_root() && !loop->first_child;
}

EDGE *build_list_of_innermost_loop_headers(const LOOP *loop, EDGE *list) {
    std::vector<BBLK *> heads;
    for (const LOOP *child = loop->first_child; child; child = child->sibling)
        collect_innermost(child, heads);
    if (!loop->is_root() && !loop->first_child) heads.push_back(loop->head);
    for (auto head = heads.rbegin(); head != heads.rend(); ++head)
        list = mkedge(*head, list, -1.0);
    return list;
}

BBLK *find_dominator_bb_for_sym(const SYMTAB *sym, const LOOP *loop) {
    BBLK *common = nullptr;
    for (const EDGE *edge = loop->contents; edge; edge = edge->next)
        for (const LIST *cell = edge->bb->statements; cell; cell = cell->rest) {
            if (!sym_appears_in_tree(sym, cell->first)) continue;
            common = common ? find_dominator_bb(common, edge->bb) : edge->bb;
            break;
        }
    return common;
}

LOOPIV *alloc_LOOPIV(LOOP *loop, SYMTAB *sym) {
    LOOPIV *iv = new LOOPIV;
    iv->loop = loop;
    iv->sym = sym;
    return iv;
}

LOOPLV *alloc_LOOPLV(LOOP *loop, SYMTAB *sym) {
    LOOPLV *lv = new LOOPLV;
    lv->loop = loop;
    lv->sym = sym;
    return lv;
}

LOOPIV *copy_LOOPIV_list(const LOOPIV *list, LOOP *loop) {
    const auto copy = [](const NODE *tree) { return tree ? copy_tree(tree) : nullptr; };
    LOOPIV *head = nullptr, **end = &head;
    for (; list; list = list->next, end = &(*end)->next) {
        *end = alloc_LOOPIV(loop, list->sym);
        (*end)->init = copy(list->init);
        (*end)->last = copy(list->last);
        (*end)->incr = copy(list->incr);
        (*end)->norm = copy(list->norm);
        (*end)->flags = list->flags;
    }
    return head;
}

LOOPLV *copy_LOOPLV_list(const LOOPLV *list, LOOP *loop) {
    LOOPLV *head = nullptr, **end = &head;
    for (; list; list = list->next, end = &(*end)->next) {
        *end = new LOOPLV(*list);
        (*end)->next = nullptr;
        (*end)->loop = loop;
    }
    return head;
}

LOOPIV *erase_LOOPIV_list(LOOPIV *list) {
    while (list) {
        for (NODE *tree : {list->init, list->last, list->incr, list->norm})
            if (tree) erase_tree(tree);
        delete std::exchange(list, list->next);
    }
    return nullptr;
}

LOOPLV *erase_LOOPLV_list(LOOPLV *list) {
    while (list)
        delete std::exchange(list, list->next);
    return nullptr;
}

LOOPLV *remove_sym_from_LOOPLV_list(const SYMTAB *sym, LOOPLV *list) {
    for (LOOPLV **link = &list; *link; link = &(*link)->next) {
        if ((*link)->sym != sym) continue;
        delete std::exchange(*link, (*link)->next);
        break;
    }
    return list;
}

LOOPIV *find_LOOPIV_for_IV(const SYMTAB *sym, const LOOP *loop) {
    return find_record(sym, loop->ivs);
}

LOOPLV *find_LOOPLV_for_LV(const SYMTAB *sym, const LOOP *loop) {
    return find_record(sym, loop->lvs);
}

SYMTAB *find_LCV_for_loop(const LOOP *loop) {
    return loop->LCV ? loop->LCV->sym : nullptr;
}

LOOP *find_loop_for_LCV(const SYMTAB *sym, LOOP *loop) {
    while (loop && find_LCV_for_loop(loop) != sym)
        loop = loop->parent;
    return loop;
}

void find_region_constants(LOOP *loop) {
    loop->region_constants.clear();
    loop->region_variables.clear();
    VARIABLES variables(loop);
    for (const EDGE *edge = loop->contents; edge; edge = edge->next)
        if (edge->bb->loop == loop)
            for (const LIST *cell = edge->bb->statements; cell; cell = cell->rest)
                variables.visit(cell->first, false);
    for (LOOP *child = loop->first_child; child; child = child->sibling) {
        find_region_constants(child);
        loop->region_constants.insert(child->region_constants.begin(),
                                      child->region_constants.end());
        loop->region_variables.insert(child->region_variables.begin(),
                                      child->region_variables.end());
    }
    for (SYMTAB *sym : loop->region_variables)
        loop->region_constants.erase(sym);
}

void make_sym_RC_in_loop(SYMTAB *sym, LOOP *loop) {
    loop->region_variables.erase(sym);
    loop->region_constants.insert(sym);
    for (LOOP *child = loop->first_child; child; child = child->sibling)
        make_sym_RC_in_loop(sym, child);
}

bool sym_is_RC_in_loop(const SYMTAB *sym, const LOOP *loop) {
    return loop->region_constants.count(const_cast<SYMTAB *>(sym)) != 0;
}

bool tree_is_RC_in_loop(const NODE *tree, const LOOP *loop, bool memory_ok) {
    return !tree_has_side_effects(tree) && all_nodes(tree, node_is_RC, loop, memory_ok);
}

bool expr_is_affine_in_loop(const NODE *tree, const LOOP *loop) {
    for (;;) {
        switch (tree->op) {
        case OP::PLUS:
        case OP::MINUS:
            if (!expr_is_affine_in_loop(tree->right, loop)) return false;
            [[fallthrough]];
        case OP::UMINUS:
        case OP::PCONV: tree = tree->left; break;
        default: return is_multiple_of_IV(tree, loop) || tree_is_RC_in_loop(tree, loop, false);
        }
    }
}
