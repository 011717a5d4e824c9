// Functions in which a call may come back more than once. A variable that has not changed since
// keeps its value over that, so what is computed from other variables must not move behind such a
// call.
#include "OPT5/scalar/scalar.h"

#include <algorithm>
#include <string_view>

namespace {
bool comes_back_twice(std::string_view name) {
    name.remove_prefix(std::min(name.find_first_not_of("_."), name.size()));
    constexpr std::string_view builtin = "builtin_";
    if (name.substr(0, builtin.size()) == builtin) name.remove_prefix(builtin.size());
    constexpr std::string_view names[] = {"setjmp", "sigsetjmp", "vfork", "getcontext"};
    return std::find(std::begin(names), std::end(names), name) != std::end(names);
}

bool calls_setjmp(const NODE *tree) {
    for (; tree; tree = tree->right) {
        if (const SYMTAB *callee = get_callee_for_call(tree))
            if (comes_back_twice(callee->name)) return true;
        if (calls_setjmp(tree->left)) return true;
    }
    return false;
}
} // namespace

bool function_calls_setjmp() {
    for (const BBLK *bb = currfuninfo->bb_list; bb; bb = bb->dflink)
        for (const LIST *cell = bb->statements; cell; cell = cell->rest)
            if (calls_setjmp(cell->first)) return true;
    return false;
}
