// Lexical scopes: opening and closing while a function is read, symbols, and queries.
//
// The scopes of a function form a tree: the root (level 0) lists the global variables that the
// function refers to, its one child holds the parameters as passed, that one's child is the
// outermost block, and each nested block adds a level. Nesting may be 10,000 deep and siblings any
// number, so nothing here recurses.
#include "OPT5/rep/symbol_pool.h"

#include "OPT5/driver/abort.h"
#include "OPT5/rep/program.h"
#include "OPT5/rep/ptr_groups.h"

#include <boost/container/small_vector.hpp>
#include <boost/unordered_set.hpp>

#include <algorithm>
#include <cstring>
#include <tuple>

namespace {
// What the root used last lists already, so that a reference to a global costs constant time.
struct {
    const LS *root = nullptr;
    boost::unordered_set<const SYMTAB *> listed;
} root_globals;

void list_global(LS *root, SYMTAB *sym) {
    if (root_globals.root != root) {
        root_globals.root = root;
        root_globals.listed.clear();
        for (const SYMLIST *list : {root->pointers, root->classes, root->arrays, root->others})
            for (; list; list = list->next)
                root_globals.listed.insert(list->sym);
    }
    if (!root_globals.listed.insert(sym).second) return;
    SYMLIST *&list = root->list_for(sym->type);
    list = mk_symlist(sym, list);
}

template <class Visit> void for_each_node(NODE *tree, Visit visit) {
    boost::container::small_vector<NODE *, 64> rest;
    for (NODE *node = tree; node;) {
        visit(node);
        if (node->left && node->right) rest.push_back(node->right);
        if (node->left || node->right) {
            node = node->left ? node->left : node->right;
        } else if (!rest.empty()) {
            node = rest.back();
            rest.pop_back();
        } else {
            node = nullptr;
        }
    }
}

LS *reverse_siblings(LS *scope) {
    LS *reversed = nullptr;
    while (scope) {
        LS *next = std::exchange(scope->sibling, reversed);
        reversed = std::exchange(scope, next);
    }
    return reversed;
}

void require_current_root(const LS *scope) {
    if (!scope || !currfuninfo || scope != currfuninfo->root_scope) abort_optimizer();
}

// The first scope of the current function. It is the root, with number and depth 0.
void begin_tree(FUNINFO *funinfo, LS *scope, const SYMTAB *func) {
    if (func != currfunc) abort_optimizer();
    funinfo->root_scope = scope;
    funinfo->open_scope = nullptr;
    funinfo->scopeCount = funinfo->scopeDepth = 1;
    make_PTR_GROUPS(funinfo);
    funinfo->snmap.reset();
    funinfo->spmap.reset();
}

void number_inner_scope(FUNINFO *funinfo, LS *scope, const SYMTAB *func) {
    const LS *outer = funinfo->open_scope;
    if (!outer || !func->type->is_func()) abort_optimizer();
    scope->scope_id = funinfo->scopeCount++;
    scope->depth = outer->depth + 1;
    funinfo->scopeDepth = std::max(funinfo->scopeDepth, scope->depth);
}
} // namespace

void LS::open(PSN *psn, SYMTAB *func, unsigned callsite) {
    FUNINFO *const funinfo = currfuninfo;
    if (!funinfo || !func) abort_optimizer();
    LS *scope = pool_new<LS>();
    if (funinfo->root_scope)
        number_inner_scope(funinfo, scope, func);
    else
        begin_tree(funinfo, scope, func);
    if (lex < 2) {
        funinfo->saved_scopeCount = funinfo->scopeCount;
        funinfo->saved_scopeDepth = funinfo->scopeDepth;
    }
    scope->parent = funinfo->open_scope;
    if (scope->parent) scope->sibling = std::exchange(scope->parent->child, scope);
    scope->psnEntry = psn;
    scope->funinfo = make_FUNINFO(skip_name_prefix(func->name));
    scope->callsite = callsite;
    funinfo->open_scope = scope;
}

void LS::close(PSN *psn, SYMTAB *func, unsigned callsite) {
    LS *scope = currfuninfo && currfuninfo->root_scope ? currfuninfo->open_scope : nullptr;
    if (!scope || !func || scope->callsite != callsite ||
        scope->funinfo->name != skip_name_prefix(func->name))
        abort_optimizer();
    scope->psnExit = psn;
    for (SYMLIST **list : {&scope->pointers, &scope->classes, &scope->arrays, &scope->others})
        *list = revsymlist(*list);
    scope->child = reverse_siblings(scope->child);
    currfuninfo->open_scope = scope->parent;
}

SYMLIST *&LS::list_for(const TYPE *type) {
    if (!type) return others;
    if (type->is_ptr() || type->is_ref()) return pointers;
    if (type->is_csu()) return classes;
    return type->is_array() ? arrays : others;
}

void LS::add_symbol(SYMTAB *sym) {
    if (!sym->scope && currfuninfo) sym->scope = currfuninfo->open_scope;
    if (!sym->scope) return;
    SYMLIST *&list = sym->scope->list_for(sym->type);
    list = mk_symlist(sym, list);
}

void LS::remove_symbol(SYMTAB *sym) {
    LS *scope = std::exchange(sym->scope, nullptr);
    if (!scope) return;
    for (SYMLIST **list : {&scope->pointers, &scope->classes, &scope->arrays, &scope->others})
        *list = remove_sym_from_symlist(sym, *list);
}

void LS::initialize_scopes_and_ptrs_from_tree(NODE *tree) {
    LS *const root = currfuninfo ? currfuninfo->root_scope : nullptr;
    if (!root) return;
    LS *where = currfuninfo->open_scope ? currfuninfo->open_scope : root->level_2_scope();
    for_each_node(tree, [root, where](NODE *node) {
        node->scope = where;
        if (node->op != OP::NAME) return;
        SYMTAB *sym = node->u.name.sym;
        if (sym && sym->level == 0 && sym->type && !sym->type->is_func()) list_global(root, sym);
    });
}

void LS::assign_scope_to_tree(LS *ls, NODE *tree) {
    for_each_node(tree, [ls](NODE *node) { node->scope = ls; });
}

// --- queries

bool LS::encloses(const LS *other) const {
    while (other && other->depth > depth)
        other = other->parent;
    return other == this;
}

bool LS::is_strictly_contained_by(const LS *other) const {
    return other && other != this && other->encloses(this);
}

LS *LS::innermost_common_scope(LS *a, LS *b) {
    if (!a || !b) return a ? a : b;
    while (a != b && a && b) {
        LS *&deeper = a->depth >= b->depth ? a : b;
        deeper = deeper->parent;
    }
    return a && b ? a : nullptr;
}

bool LS::object_may_be_live_in_scope(const SYMTAB *sym) const {
    const bool outlives_its_scope = sym->level == 0 || sym->sc == 2 || sym->sc == 3 || sym->sc == 5;
    return outlives_its_scope || !sym->scope || sym->scope->encloses(this) || encloses(sym->scope);
}

LS *LS::level_0_scope() {
    require_current_root(this);
    return this;
}

LS *LS::level_1_scope() {
    require_current_root(this);
    return child;
}

LS *LS::level_2_scope() {
    require_current_root(this);
    return child ? child->child : nullptr;
}

bool psn_is_within_psn_range(const PSN *p, const PSN *first, const PSN *last) {
    if (!p || !first || !last) return false;
    const auto place = [](const PSN *psn) { return std::tie(psn->line, psn->column); };
    return place(first) <= place(p) && place(p) <= place(last);
}

LS *LS::next_in_preorder(const LS *top) const {
    if (child) return child;
    const LS *scope = this;
    while (scope != top && !scope->sibling)
        scope = scope->parent;
    return scope == top ? nullptr : scope->sibling;
}

// --- copies for inlining

LS *LS::copy_scope_tree(LS *root, LS *parent) {
    for (LS *scope = root; scope; scope = scope->next_in_preorder(root)) {
        LS *copy = scope->copied_to = pool_new<LS>(*scope);
        copy->copied_to = nullptr;
        if (scope->parent) {
            copy->pointers = copy->classes = copy->arrays = copy->others = nullptr;
            continue;
        }
        for (SYMLIST **list : {&copy->pointers, &copy->classes, &copy->arrays, &copy->others})
            for (SYMLIST **cell = list; *cell; cell = &(*cell)->next)
                *cell = pool_new<SYMLIST>(**cell);
    }
    // Links, now that every scope has its copy.
    for (LS *scope = root; scope; scope = scope->next_in_preorder(root)) {
        LS *copy = scope->copied_to;
        copy->parent = scope == root ? parent : scope->parent->copied_to;
        copy->child = scope->child ? scope->child->copied_to : nullptr;
        copy->sibling = scope != root && scope->sibling ? scope->sibling->copied_to : nullptr;
    }
    if (parent) root->copied_to->sibling = std::exchange(parent->child, root->copied_to);
    return root->copied_to;
}

void LS::offset_scope(unsigned ids, unsigned depths) {
    for (LS *scope = this; scope; scope = scope->next_in_preorder(this)) {
        scope->scope_id += ids;
        scope->depth += depths;
    }
}

void LS::splice_scope(LS *into) {
    LS *const root = currfuninfo->root_scope;
    OPTASSERT(root != nullptr);
    for (SYMLIST **list : {&pointers, &classes, &arrays, &others})
        for (SYMLIST *cell = std::exchange(*list, nullptr); cell; cell = cell->next)
            list_global(root, cell->sym);
    LS *last = nullptr;
    for (LS *scope = child; scope; scope = scope->sibling) {
        scope->parent = into;
        last = scope;
    }
    if (last) last->sibling = std::exchange(into->child, std::exchange(child, nullptr));
}

void LS::integrate_integrable_scopes(LS *integrable, unsigned callsite_) {
    LS *copy = copy_scope_tree(integrable, nullptr);
    copy->offset_scope(currfuninfo->scopeCount, depth);
    for (LS *scope = copy; scope; scope = scope->next_in_preorder(copy)) {
        scope->callsite = callsite_;
        currfuninfo->scopeCount = std::max(currfuninfo->scopeCount, scope->scope_id + 1);
        currfuninfo->scopeDepth = std::max(currfuninfo->scopeDepth, scope->depth);
    }
    copy->splice_scope(this);
}

void reset_scopes() {
    root_globals.root = nullptr;
    root_globals.listed.clear();
}
