// The low-level passes of one function and their manager.
#pragma once

#include <memory>
#include <string>
#include <vector>

namespace LIR {

class pass {
public:
    explicit pass(std::string name) : name_(std::move(name)) {}
    virtual ~pass() = default;
    virtual void run() = 0;
    const std::string &name() const { return name_; }

private:
    std::string name_;
};

// Brings the current function into its low-level form, runs the passes in order, and brings it
// back. Without a pass the function is left as it is.
class pass_manager {
public:
    explicit pass_manager(std::string name) : name_(std::move(name)) {}
    void add(std::unique_ptr<pass> p) { passes_.push_back(std::move(p)); }
    void run();

private:
    std::string name_;
    std::vector<std::unique_ptr<pass>> passes_;
};

} // namespace LIR

void LIR_enter_ssa(int kinds);
void LIR_dead_elim();
void LIR_exit_ssa(int kinds);
void LIR_checkpoint(const char *name);

// Enters SSA form, drops dead instructions and leaves SSA form again.
class LIR_ssa_pass : public LIR::pass {
public:
    LIR_ssa_pass() : LIR::pass("ssa") {}
    void run() override;
};
