// The step loop: function-major between barriers.
#include "OPT5/driver/abort.h"
#include "OPT5/driver/driver.h"
#include "OPT5/driver/log.h"
#include "OPT5/driver/pass.h"
#include "OPT5/driver/register_option.h"

#include <algorithm>
#include <deque>
#include <string>
#include <unordered_map>

namespace {
// Remaining steps of each function. Looked up by symbol, never walked.
std::unordered_map<SYMTAB *, std::deque<pass *>> steps_table;

void enter_function(SYMTAB *func) {
    currfuninfo = make_FUNINFO(skip_name_prefix(func->name));
    currfunc = func;
    if (currfuninfo->symbol != func)
        currfuninfo->symbol = get_sym_def_for_decl(currfuninfo->symbol);
    if (currfunc != currfuninfo->symbol)
        optassert("currfunc == currfuninfo->symbol", __FILE__, __LINE__);
}

void run_up_to_barrier(SYMTAB *func) {
    std::deque<pass *> &steps = steps_table[func];
    bool first = true;
    while (!steps.empty() && !steps.front()->is_barrier()) {
        if (print_debug && first) begin_function_log();
        first = false;
        pass *step = steps.front();
        step->run();
        steps.pop_front();
    }
    restore_debug_log();
}

// The barrier at which all functions stand, removed from their lists; null when none has steps
// left.
pass *take_common_barrier() {
    pass *barrier = nullptr;
    for (SYMTAB *func : functions) {
        std::deque<pass *> &steps = steps_table[func];
        if (steps.empty()) continue;
        if (!barrier) barrier = steps.front();
        if (barrier != steps.front())
            optassert("barrier_pass == passes.front()", __FILE__, __LINE__);
        steps.pop_front();
    }
    return barrier;
}
} // namespace

void fill_steps_table(const std::vector<pass *> &steps) {
    steps_table.clear();
    pass *trailer = new pass("pass 2 trailer", step_pass_2_trailer, true);
    for (SYMTAB *func : functions) {
        steps_table[func].assign(steps.begin(), steps.end());
        steps_table[func].push_back(trailer);
    }
}

void run_steps() {
    const auto has_steps = [](SYMTAB *func) { return !steps_table[func].empty(); };
    while (std::any_of(functions.begin(), functions.end(), has_steps)) {
        for (SYMTAB *func : functions) {
            enter_function(func);
            run_up_to_barrier(func);
        }
        currfunc = nullptr;
        currfuninfo = nullptr;
        if (pass *barrier = take_common_barrier()) barrier->run();
    }
}
