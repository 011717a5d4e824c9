#include "OPT5/lir/lir_pass_manager.h"

#include "OPT5/driver/abort.h"
#include "OPT5/driver/log.h"
#include "OPT5/rep/symbol.h"

void LIR::pass_manager::run() {
    for (const auto &p : passes_) {
        dprintf("LIR pass manager '%s': '%s'\n", name_.c_str(), p->name().c_str());
        p->run();
    }
}

void LIR_enter_ssa(int) {}
void LIR_dead_elim() {}
void LIR_exit_ssa(int) {}
void LIR_checkpoint(const char *) {}

void LIR_ssa_pass::run() {
    OPTASSERT(currfuninfo != nullptr);
    LIR_enter_ssa(24);
    LIR_checkpoint("ssa_enter");
    LIR_dead_elim();
    LIR_checkpoint("ssa_dce");
    LIR_exit_ssa(384);
}
