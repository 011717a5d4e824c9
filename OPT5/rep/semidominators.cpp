// A start for the iteration over graphs with jumps into loops: the tree that follows from
// semidominators (T. Lengauer and R. Tarjan, 1979; the way from them to the tree is that of
// L. Georgiadis, "Linear-Time Algorithms for Dominators and Related Problems", 2005).
//
// Blocks are known by their place in preorder here. The semidominator of a block is the lowest
// place from which a way leads to the block over higher places only.
#include "OPT5/rep/bblk.h"

#include <algorithm>

namespace {
// The lowest semidominators on the ways up the walk's tree, through the places done so far; paths
// are shortened as they are asked for.
class LOWEST {
public:
    explicit LOWEST(std::vector<int> parents) : above(std::move(parents)), low(above.size(), 0) {}

    void set(int place, int semidominator) { low[place] = semidominator; }
    // Of `place` and what is above it, as far as it is done: behind the place `last`.
    int from(int place, int last) {
        if (place <= last) return place;
        path.clear();
        for (; above[place] > last; place = above[place])
            path.push_back(place);
        for (; !path.empty(); path.pop_back()) {
            const int below = path.back();
            low[below] = std::min(low[below], low[above[below]]);
            above[below] = above[above[below]];
            place = below;
        }
        return low[place];
    }

private:
    std::vector<int> above, low;
    std::vector<int> path;
};
} // namespace

void Dominator::TREE::hang_by_semidominators(EDGE_LIST sources) {
    const int count = static_cast<int>(blocks.size());
    std::vector<int> place(blocks.size(), 0), semidominator(blocks.size(), 0);
    for (int at = 1; at < count; ++at)
        place[preorder[at]] = at;
    LOWEST lowest(preorder_parent);
    for (int at = count - 1; at > 0; --at) {
        const BBLK *bb = blocks[preorder[at]];
        int low = is_root[bb->serial] ? 0 : preorder_parent[at];
        for (const EDGE *edge = bb->*sources; edge && low > 0; edge = edge->next)
            if (const int source = node_of(edge->bb))
                low = std::min(low, lowest.from(place[source], at));
        semidominator[at] = low;
        lowest.set(at, low);
    }
    // Upward in the tree places and numbers fall alike.
    for (int at = 1; at < count; ++at) {
        int n = preorder[preorder_parent[at]];
        while (place[n] > semidominator[at])
            n = place[jump[n]] >= semidominator[at] ? jump[n] : parent[n];
        hang(preorder[at], n);
    }
}
