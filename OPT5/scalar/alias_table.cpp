// The table of which memory triples a store to one of them may change.
//
// Comparing all pairs would cost the square of their number in questions. Triples of one kind,
// those that differ in nothing that store_may_reach_load looks at but the range, answer alike to
// those of other kinds; so one question is asked for each pair of kinds. Kinds in different
// variables are apart without asking, and ranges decide within a variable, or behind a parameter
// that keeps its value. A scalar that no pointer leads to, as most are, meets only itself.
#include "OPT5/driver/log.h"
#include "OPT5/scalar/alias_state.h"

#include <boost/unordered_map.hpp>

#include <algorithm>

namespace {
std::string text_of(const NODE *tree) {
    constexpr std::size_t longest_text = 200;
    return infix_text(tree, longest_text);
}

void log_pair(const NODE *a, const NODE *b, bool there, bool back) {
    if (there)
        dprintf(" +++ alias test (1): add %s  to %s  MAY be aliased\n", text_of(b).c_str(),
                text_of(a).c_str());
    if (back)
        dprintf(" +++ alias test (2): add %s to  %s  MAY be aliased\n", text_of(a).c_str(),
                text_of(b).c_str());
    if (!there && !back)
        dprintf(" --- alias test: %s and %s NOT aliased\n", text_of(a).c_str(), text_of(b).c_str());
}

bool is_private(const NODE *lvalue) {
    if (lvalue->op != OP::NAME) return false;
    const SYMTAB *sym = lvalue->u.name.sym;
    return sym->type->is_scalar() && is_automatic(sym) && !(sym->attr & SA_aliased) &&
           !node_is_volatile_access(lvalue);
}

class KINDS {
public:
    KINDS(NODE **triples_, std::vector<BITVEC> &rows_) : triples(triples_), rows(rows_) {}
    void add(unsigned number);
    void fill_rows();

private:
    struct MEMBER {
        unsigned number;
        MEMREF ref;
    };
    struct KIND {
        ALIAS_KIND kind;
        std::vector<MEMBER> members;
    };
    bool may_reach(const MEMBER &store, const MEMBER &load) const;
    void relate(const KIND &a, const KIND &b);
    void relate_by_pairs(const KIND &a, const KIND &b);
    void relate_by_range(const KIND &a, const KIND &b);
    void add_all(const KIND &to, const KIND &members);

    NODE **const triples;
    std::vector<BITVEC> &rows;
    std::vector<KIND> kinds; // in the order of their first triples
    boost::unordered_map<ALIAS_KIND::WORDS, std::size_t> places; // looked up
};

void KINDS::add(unsigned number) {
    const MEMREF ref = resolve_lvalue(triples[number]);
    const ALIAS_KIND kind = alias_kind_of(triples[number], ref);
    const auto [place, is_new] = places.try_emplace(kind.words, kinds.size());
    if (is_new) kinds.push_back({kind, {}});
    kinds[place->second].members.push_back({number, ref});
}

void KINDS::add_all(const KIND &to, const KIND &members) {
    for (const MEMBER &member : members.members)
        rows[to.members.front().number].add(member.number);
}

void KINDS::relate_by_range(const KIND &a, const KIND &b) {
    for (const MEMBER &x : a.members)
        for (const MEMBER &y : b.members)
            if (ranges_overlap(x.ref, y.ref)) {
                rows[x.number].add(y.number);
                rows[y.number].add(x.number);
            }
}

bool KINDS::may_reach(const MEMBER &store, const MEMBER &load) const {
    return store_may_reach_load(triples[store.number], store.ref, triples[load.number], load.ref);
}

// The first member of each kind stands for all; the others get its row afterwards.
void KINDS::relate(const KIND &a, const KIND &b) {
    if (may_reach(a.members.front(), b.members.front())) add_all(a, b);
    if (&a != &b && may_reach(b.members.front(), a.members.front())) add_all(b, a);
}

void KINDS::relate_by_pairs(const KIND &a, const KIND &b) {
    for (const MEMBER &x : a.members)
        for (const MEMBER &y : b.members) {
            if (may_reach(x, y)) rows[x.number].add(y.number);
            if (may_reach(y, x)) rows[y.number].add(x.number);
        }
}

void KINDS::fill_rows() {
    using KIND_PAIR = std::pair<const KIND *, const KIND *>;
    std::vector<KIND_PAIR> by_range, by_pairs;
    for (std::size_t k = 0; k < kinds.size(); ++k)
        for (std::size_t m = k; m < kinds.size(); ++m) {
            const ALIAS_KIND &a = kinds[k].kind, &b = kinds[m].kind;
            if (a.answers_by_itself || b.answers_by_itself)
                by_pairs.push_back({&kinds[k], &kinds[m]});
            else if (a.domain && a.domain == b.domain)
                by_range.push_back({&kinds[k], &kinds[m]});
            else if (!a.is_variable || !b.is_variable)
                relate(kinds[k], kinds[m]);
        }
    for (const KIND &kind : kinds)
        for (std::size_t i = 1; i < kind.members.size(); ++i)
            rows[kind.members[i].number].merge(rows[kind.members.front().number]);
    for (const auto &[a, b] : by_range)
        relate_by_range(*a, *b);
    for (const auto &[a, b] : by_pairs)
        relate_by_pairs(*a, *b);
}
} // namespace

Triple_Alias_Table::Triple_Alias_Table(NODE **triples, int count) {
    dprintf(" Building triples_alias_table\n");
    const auto size = static_cast<unsigned>(count);
    std::vector<unsigned> names, others;
    KINDS kinds(triples, rows);
    rows.resize(size);
    for (unsigned n = 0; n < size; ++n) {
        if (!triples[n] || !names_memory(triples[n])) continue;
        rows[n] = BITVEC(size);
        if (is_private(triples[n])) {
            names.push_back(n);
            continue;
        }
        others.push_back(n);
        kinds.add(n);
    }
    const auto symbol_of = [&](unsigned n) { return triples[n]->u.name.sym; };
    std::stable_sort(names.begin(), names.end(), [&](unsigned a, unsigned b) {
        return symbol_of(a)->serial < symbol_of(b)->serial;
    });
    for (std::size_t k = 0; k < names.size(); ++k)
        for (std::size_t m = k + 1; m < names.size() && symbol_of(names[m]) == symbol_of(names[k]);
             ++m) {
            rows[names[k]].add(names[m]);
            rows[names[m]].add(names[k]);
        }
    kinds.fill_rows();
    for (unsigned n = 0; n < size; ++n)
        if (rows[n].size != 0) rows[n].add(n);
    if (!print_debug) return;
    for (std::size_t k = 0; k < others.size(); ++k)
        for (std::size_t m = k + 1; m < others.size(); ++m)
            log_pair(triples[others[k]], triples[others[m]], rows[others[k]].contains(others[m]),
                     rows[others[m]].contains(others[k]));
}

void Triple_Alias_Table::kill_aliases_of_lvalue(int n, BITVEC &set) const {
    if (n < 0 || static_cast<std::size_t>(n) >= rows.size()) return;
    const BITVEC &row = rows[static_cast<std::size_t>(n)];
    if (row.size != 0) set.merge(row);
}
