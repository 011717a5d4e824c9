// The checker and the printer of scope trees.
#include "OPT5/driver/log.h"
#include "OPT5/rep/symbol.h"

#include <boost/unordered_set.hpp>

#include <algorithm>
#include <cstring>
#include <string>
#include <tuple>

namespace {
// Complaints by number. A wrong position misleads reports, anything else misleads passes.
struct COMPLAINT {
    int number;
    bool is_error;
    const char *text;
};
constexpr COMPLAINT complaints[] = {
    {8, false, "Missing psnEntry or psnExit"},
    {10, true, "Scope is still open"},
    {11, false, "psnEntry follows psnExit"},
    {12, false, "psnEntry precedes psnEntry of the parent"},
    {13, false, "psnExit follows psnExit of the parent"},
    {14, true, "Parent link does not lead to the parent"},
    {15, true, "Depth is not that of the parent plus 1"},
    {16, true, "Scope number is not below scopeCount"},
    {17, true, "Scope number is that of another scope"},
    {18, true, "Depth is above scopeDepth"},
    {19, true, "Missing funinfo"},
    {20, true, "Scope of another function has no call site"},
    {21, true, "Symbol's scope is another one"},
    {22, true, "Symbol is in the list of another kind of type"},
    {23, true, "Symbol is listed more than once"},
    {24, true, "Local symbol in the level 0 scope"},
    {25, true, "Global symbol in a local scope"},
    {26, true, "Parameter symbol outside the level 1 scope"},
};

// Same file only: a block that begins in one file and ends in an included one has no order.
bool precedes(const PSN *a, const PSN *b) {
    if (!a || !b || a->file != b->file) return false;
    return std::tie(a->line, a->column) < std::tie(b->line, b->column);
}

class CHECKER {
public:
    explicit CHECKER(LS *root_) : root(root_) {
        for (const LS *open = currfuninfo->open_scope; open; open = open->parent)
            if (!open_scopes.insert(open).second) break;
    }

    int run() {
        pending.push_back({root, nullptr});
        while (!pending.empty()) {
            const auto [scope, parent] = pending.back();
            pending.pop_back();
            if (!seen.insert(scope).second) {
                complain(scope, 14); // reached twice: a cycle or a shared scope
                continue;
            }
            check_tree(scope, parent);
            check_positions(scope, parent);
            check_symbols(scope);
            if (scope->sibling && parent) pending.push_back({scope->sibling, parent});
            if (scope->child) pending.push_back({scope->child, scope});
        }
        return count;
    }

private:
    void complain(const LS *scope, int number) {
        const COMPLAINT &row =
            *std::find_if(std::begin(complaints), std::end(complaints),
                          [number](const COMPLAINT &c) { return c.number == number; });
        const std::string text = "#" + std::to_string(number) + " - " + row.text;
        dprintf("\n+++++ Scope %s in scope #%d: %s\n", row.is_error ? "error" : "warning",
                static_cast<int>(scope->scope_id), text.c_str());
        ++count;
    }

    void check_tree(const LS *scope, const LS *parent) {
        if (open_scopes.count(scope) != 0) complain(scope, 10);
        if (scope->parent != parent) complain(scope, 14);
        if (scope->depth != (parent ? parent->depth + 1 : 0)) complain(scope, 15);
        if (scope->scope_id >= currfuninfo->scopeCount) complain(scope, 16);
        if (!ids.insert(scope->scope_id).second) complain(scope, 17);
        if (scope->depth > currfuninfo->scopeDepth) complain(scope, 18);
        if (!scope->funinfo)
            complain(scope, 19);
        else if (scope->funinfo != root->funinfo && scope->callsite == 0)
            complain(scope, 20);
    }

    void check_positions(const LS *scope, const LS *parent) {
        if (!scope->psnEntry || !scope->psnExit) complain(scope, 8);
        if (precedes(scope->psnExit, scope->psnEntry)) complain(scope, 11);
        if (!parent || scope->callsite != parent->callsite) return; // inlined here from elsewhere
        if (precedes(scope->psnEntry, parent->psnEntry)) complain(scope, 12);
        if (precedes(parent->psnExit, scope->psnExit)) complain(scope, 13);
    }

    void check_symbols(LS *scope) {
        for (SYMLIST **list : {&scope->pointers, &scope->classes, &scope->arrays, &scope->others})
            for (const SYMLIST *cell = *list; cell; cell = cell->next) {
                const SYMTAB *sym = cell->sym;
                if (!symbols.insert(sym).second) {
                    complain(scope, 23);
                    break; // the cells behind may lead back here
                }
                if (&scope->list_for(sym->type) != list) complain(scope, 22);
                if (scope == root) {
                    if (sym->level != 0) complain(scope, 24);
                    continue;
                }
                if (sym->scope != scope) complain(scope, 21);
                if (sym->level == 0) complain(scope, 25);
                if (sym->level == 1 && scope->depth != 1) complain(scope, 26);
            }
    }

    LS *const root;
    int count = 0;
    std::vector<std::pair<LS *, const LS *>> pending; // scope and the scope that leads to it
    boost::unordered_set<const LS *> seen, open_scopes;
    boost::unordered_set<unsigned> ids;
    boost::unordered_set<const SYMTAB *> symbols;
};

void print_list(const char *title, const SYMLIST *list, int indent) {
    if (!list) return;
    dprintf("%*s%s:", indent, "", title);
    for (; list; list = list->next) {
        dprintf("  ");
        dump_symbol(list->sym);
    }
    dprintf("\n");
}
} // namespace

int LS::validate(LS *root) {
    return root && currfuninfo ? CHECKER(root).run() : 0;
}

void LS::print(const LS *root) {
    if (!root || !print_debug) return;
    dprintf("\nScopes of %s(): scopeCount: %u, (max) scopeDepth: %u\n",
            root->funinfo ? root->funinfo->name.c_str() : "?",
            currfuninfo ? currfuninfo->scopeCount : 0, currfuninfo ? currfuninfo->scopeDepth : 0);
    for (const LS *scope = root; scope; scope = scope->next_in_preorder(root)) {
        constexpr unsigned deepest_indent = 30; // keeps the log of a deep nest linear
        const int indent = static_cast<int>(2 * std::min(scope->depth, deepest_indent));
        dprintf("%*sSCOPE #%d, level %d", indent, "", static_cast<int>(scope->scope_id),
                static_cast<int>(scope->depth));
        if (const PSN *psn = scope->psnEntry)
            dprintf(", at line %lu, column %lu", static_cast<unsigned long>(psn->line),
                    static_cast<unsigned long>(psn->column));
        if (const PSN *psn = scope->psnExit)
            dprintf(" to line %lu, column %lu", static_cast<unsigned long>(psn->line),
                    static_cast<unsigned long>(psn->column));
        if (scope->callsite != 0)
            dprintf(", call site %u of %s()", scope->callsite,
                    scope->funinfo ? scope->funinfo->name.c_str() : "?");
        dprintf("\n");
        print_list("pointers", scope->pointers, indent + 2);
        print_list("classes", scope->classes, indent + 2);
        print_list("arrays", scope->arrays, indent + 2);
        print_list("others", scope->others, indent + 2);
    }
}
