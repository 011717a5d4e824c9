// Dominators and post-dominators of the flow graph: the iterative algorithm of K. Cooper, T. Harvey
// and K. Kennedy, "A Simple, Fast Dominance Algorithm", 2001.
//
// 1. Blocks are numbered in reverse postorder from the roots. Roots of the graph are the entry
// block
//    and the exception handlers; roots of the reversed graph are the blocks that end the function.
// 2. A block hangs below the block where the paths to all its predecessors part; blocks are gone
//    over in order until nothing changes: twice in a graph without jumps into loops. See grow for
//    the others.
// 3. Each node also knows an ancestor some powers of two above (E. Myers, "An Applicative
//    Random-Access Stack", 1983), so that long ladders of blocks do not cost their length squared.
//
// A block without a way out has no post-dominator and post-dominates nothing but itself.
#include "OPT5/driver/log.h"
#include "OPT5/rep/bblk.h"

#include <algorithm>

// --- the tree

int Dominator::TREE::node_of(const BBLK *bb) const {
    return bb && bb->serial < node.size() ? node[bb->serial] : 0;
}

bool Dominator::TREE::holds(int above, int below) const {
    return above && below && first[above] <= first[below] && first[below] <= last[above];
}

// A block that the tree does not hold, or that only the roots together dominate.
bool Dominator::TREE::is_stray(const BBLK *bb) const {
    const int n = node_of(bb);
    return n == 0 || (parent[n] == 0 && !is_root[bb->serial]);
}

// Numbers the blocks that the roots reach. The first root becomes node 1.
void Dominator::TREE::traverse(const std::vector<BBLK *> &roots, EDGE_LIST onward,
                               std::size_t block_count) {
    struct STEP {
        BBLK *bb;
        EDGE *next;
        int place; // in preorder
    };
    node.assign(block_count, 0);
    is_root.assign(block_count, false);
    preorder_parent.assign(1, 0);
    std::vector<BBLK *> entered = {nullptr}, postorder;
    std::vector<STEP> path;
    const auto enter = [&](BBLK *bb) {
        if (node[bb->serial]) return;
        node[bb->serial] = -1;
        preorder_parent.push_back(path.empty() ? 0 : path.back().place);
        path.push_back({bb, bb->*onward, static_cast<int>(entered.size())});
        entered.push_back(bb);
    };
    for (auto root = roots.rbegin(); root != roots.rend(); ++root) {
        is_root[(*root)->serial] = true;
        enter(*root);
        while (!path.empty()) {
            if (EDGE *edge = path.back().next) {
                path.back().next = edge->next;
                enter(edge->bb);
            } else {
                postorder.push_back(path.back().bb);
                path.pop_back();
            }
        }
    }
    blocks.assign(1, nullptr);
    blocks.insert(blocks.end(), postorder.rbegin(), postorder.rend());
    for (std::size_t n = 1; n < blocks.size(); ++n)
        node[blocks[n]->serial] = static_cast<int>(n);
    preorder.assign(1, 0);
    for (std::size_t place = 1; place < entered.size(); ++place)
        preorder.push_back(node[entered[place]->serial]);
}

void Dominator::TREE::hang(int n, int above) {
    parent[n] = above;
    depth[n] = depth[above] + 1;
    const int far = jump[above];
    jump[n] = depth[above] - depth[far] == depth[far] - depth[jump[far]] ? jump[far] : above;
}

// The first node from n upward whose number is not above the limit. While a pass is at node
// `limit`, what lies above it in number has not changed, so that a jump that stays there holds.
int Dominator::TREE::climb(int n, int limit) const {
    while (n > limit)
        n = jump[n] >= limit ? jump[n] : parent[n];
    return n;
}

// The nearest common ancestor of two nodes.
int Dominator::TREE::meet(int a, int b) const {
    if (depth[a] < depth[b]) std::swap(a, b);
    while (depth[a] > depth[b])
        a = depth[jump[a]] >= depth[b] ? jump[a] : parent[a];
    while (a != b) {
        const bool far = jump[a] != jump[b];
        a = far ? jump[a] : parent[a];
        b = far ? jump[b] : parent[b];
    }
    return a;
}

// Where the node belongs by what is known so far; never below where it hangs.
int Dominator::TREE::join(int n, EDGE_LIST sources) const {
    constexpr int unknown = -1;
    if (is_root[blocks[n]->serial]) return 0;
    int above = parent[n];
    for (const EDGE *edge = blocks[n]->*sources; edge; edge = edge->next) {
        int source = node_of(edge->bb);
        if (source == 0 || parent[source] == unknown) continue;
        source = climb(source, n);
        if (source != n) above = above == unknown ? source : meet(above, source);
    }
    return above == unknown ? 0 : above;
}

// One pass over all nodes. Returns whether anything changed.
bool Dominator::TREE::improve(EDGE_LIST sources) {
    bool changed = false;
    for (int n = 1; n < static_cast<int>(blocks.size()); ++n) {
        const int above = join(n, sources);
        changed |= above != parent[n];
        hang(n, above);
    }
    return changed;
}

// The second pass changes nothing unless there are jumps into loops. With those it could take as
// many passes as there are jumps; they get a better start instead.
void Dominator::TREE::grow(EDGE_LIST sources) {
    parent.assign(blocks.size(), -1);
    depth.assign(blocks.size(), 0);
    jump.assign(blocks.size(), 0);
    parent[0] = 0;
    improve(sources);
    if (!improve(sources)) return;
    hang_by_semidominators(sources);
    while (improve(sources)) {
    }
}

// Children in the order of their numbers, and the walk over the tree, parents first. Parents have
// the lower numbers, so that plain sweeps do.
void Dominator::TREE::collect_walk() {
    const std::size_t count = blocks.size();
    children.assign(node.size(), {});
    walk.assign(count - 1, nullptr);
    first.assign(count, 0);
    last.assign(count, 0);
    std::vector<int> size(count, 1);
    for (std::size_t n = count; --n > 0;)
        size[parent[n]] += size[n];
    std::vector<int> next(count, 1);
    for (std::size_t n = 1; n < count; ++n) {
        BBLK *above = blocks[parent[n]];
        if (above) children[above->serial].push_back(blocks[n]);
        first[n] = next[parent[n]];
        next[parent[n]] += size[n];
        next[n] = first[n] + 1;
        last[n] = first[n] + size[n] - 1;
        walk[first[n] - 1] = blocks[n];
    }
}

void Dominator::TREE::print(const char *title) const {
    for (std::size_t n = 1; n < blocks.size(); ++n)
        dprintf("\t%s(%s) = %s\n", title, bb_name(blocks[n]).c_str(),
                bb_name(blocks[parent[n]]).c_str());
}

// --- the class

Dominator::Dominator(FUNINFO *of) : funinfo(of) {
    dprintf(" ==== Entering Dominator constructor ====\n");
    builder();
    dprintf(" ==== Exiting Dominator constructor ====\n");
}

void Dominator::rebuild() {
    dprintf(" ==== Entering Dominator rebuild ====\n");
    builder();
    dprintf(" ==== Exiting Dominator rebuild ====\n");
}

void Dominator::builder() {
    by_dfn.assign(1, nullptr);
    for (BBLK *bb = funinfo->bb_list; bb; bb = bb->dflink) {
        const std::size_t dfn = bb->dfn > 0 ? static_cast<std::size_t>(bb->dfn) : 0;
        if (dfn >= funinfo->blocks.size() + 1) continue;
        if (dfn >= by_dfn.size()) by_dfn.resize(dfn + 1, nullptr);
        if (dfn) by_dfn[dfn] = bb;
    }
    df_traverse();
    rdf_traverse();
    dom.grow(&BBLK::predecessors);
    postdom.grow(&BBLK::successors);
    generate_tree_walk();
    warn_of_strays();
}

// These two number all that the roots reach, along the edges and against them.
void Dominator::descend(const std::vector<BBLK *> &roots) {
    dom.traverse(roots, &BBLK::successors, funinfo->blocks.size());
}

void Dominator::ascend(const std::vector<BBLK *> &roots) {
    postdom.traverse(roots, &BBLK::predecessors, funinfo->blocks.size());
}

void Dominator::df_traverse() {
    std::vector<BBLK *> roots;
    if (funinfo->bb_list) {
        roots = handler_blocks(funinfo);
        roots.insert(roots.begin(), funinfo->bb_list);
    }
    descend(roots);
}

void Dominator::rdf_traverse() {
    std::vector<BBLK *> roots;
    for (BBLK *bb = funinfo->bb_list; bb; bb = bb->dflink)
        if (!bb->successors) roots.insert(bb->is_exit ? roots.begin() : roots.end(), bb);
    ascend(roots);
    for (BBLK *bb = funinfo->bb_list; bb; bb = bb->dflink)
        bb->rdfn = postdom.node_of(bb);
}

void Dominator::generate_tree_walk() {
    dom.collect_walk();
    postdom.collect_walk();
    for (BBLK *bb = funinfo->bb_list; bb; bb = bb->dflink) {
        bb->descendants = erase_edge_list(bb->descendants);
        const std::vector<BBLK *> &children = dominator_children(bb);
        for (auto child = children.rbegin(); child != children.rend(); ++child)
            bb->descendants = mkedge(*child, bb->descendants, -1.0);
    }
}

void Dominator::warn_of_strays() const {
    if (!print_debug) return;
    for (const BBLK *bb = funinfo->bb_list; bb; bb = bb->dflink) {
        if (dom.is_stray(bb))
            dprintf("**** >>>> WARNING: BB%d doesn't have a dominator\n", bb->dfn);
        if (postdom.is_stray(bb))
            dprintf("**** >>>> WARNING: BB%d doesn't have a postdominator\n", bb->dfn);
    }
}

BBLK *Dominator::immediate_dominator(const BBLK *bb) const {
    return dom.blocks[dom.parent[dom.node_of(bb)]];
}

BBLK *Dominator::immediate_post_dominator(const BBLK *bb) const {
    return postdom.blocks[postdom.parent[postdom.node_of(bb)]];
}

bool Dominator::dominates(const BBLK *a, const BBLK *b) const {
    return a == b || dom.holds(dom.node_of(a), dom.node_of(b));
}

bool Dominator::post_dominates(const BBLK *a, const BBLK *b) const {
    return a == b || postdom.holds(postdom.node_of(a), postdom.node_of(b));
}

BBLK *Dominator::intersect(const BBLK *a, const BBLK *b) const {
    return dom.blocks[dom.meet(dom.node_of(a), dom.node_of(b))];
}

BBLK *Dominator::post_intersect(const BBLK *a, const BBLK *b) const {
    return postdom.blocks[postdom.meet(postdom.node_of(a), postdom.node_of(b))];
}

static const std::vector<BBLK *> no_children;

const std::vector<BBLK *> &Dominator::dominator_children(const BBLK *bb) const {
    return dom.node_of(bb) ? dom.children[bb->serial] : no_children;
}

const std::vector<BBLK *> &Dominator::post_dominator_children(const BBLK *bb) const {
    return postdom.node_of(bb) ? postdom.children[bb->serial] : no_children;
}

BBLK *Dominator::DFSblock(int dfn) const {
    if (dfn > 0 && static_cast<std::size_t>(dfn) < by_dfn.size() && by_dfn[dfn]) return by_dfn[dfn];
    dprintf(" Error attempting to find BB with dfn=%d (currfuninfo->bb_count=%d)\n", dfn,
            funinfo->bb_count);
    return nullptr;
}

void Dominator::print_IDOM() const {
    dom.print("IDOM");
}

void Dominator::print_POSTDOM() const {
    postdom.print("POSTDOM");
}

// --- of the current function

void compute_dominators(bool force) {
    if (!currfuninfo->dominator)
        currfuninfo->dominator = new Dominator(currfuninfo);
    else if (force || currfuninfo->dominator_is_stale)
        currfuninfo->dominator->rebuild();
    currfuninfo->dominator_is_stale = false;
}

bool bb_dominates_bb(const BBLK *a, const BBLK *b) {
    compute_dominators(false);
    return currfuninfo->dominator->dominates(a, b);
}

bool bb_post_dominates_bb(const BBLK *a, const BBLK *b) {
    compute_dominators(false);
    return currfuninfo->dominator->post_dominates(a, b);
}

BBLK *find_dominator_bb(BBLK *a, BBLK *b) {
    compute_dominators(false);
    return currfuninfo->dominator->intersect(a, b);
}
