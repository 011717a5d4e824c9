// The steps of the pipeline: pass, barrier_pass and their registry.
#pragma once

#include <boost/core/noncopyable.hpp>

#include <string>
#include <utility>
#include <vector>

// Gives each object a small number within its manager, in order of construction.
template <class T, class Manager> class serial_object : private boost::noncopyable {
public:
    unsigned number() const { return number_; }
    Manager *manager() const { return manager_; }

protected:
    explicit serial_object(Manager *manager)
        : number_(static_cast<unsigned>(manager->members.size())), manager_(manager) {}
    // To be called by the constructor of T, before another object of the manager is made.
    void enter(T *self) { manager_->members.push_back(self); }

private:
    unsigned number_;
    Manager *manager_;
};

class pass;

// Work that is done on a function while it is read, with numbers before those of the steps.
enum reading_work {
    no_work = -4,
    simplify_while_reading = -3,
    tidy_while_reading = -2,
    propagate_while_reading = -1
};
constexpr int inlining_step = 4, trailer_step = 52;
// False for all but the step (or the work while reading) that debug:only_step names, and for what
// comes behind the one that debug:last_step names.
bool step_has_effect(int number);

// All passes by number. Does not own them.
class pass_manager {
public:
    std::vector<pass *> members;
};

extern pass_manager global_pass_manager;

// One step: a name and a function of no arguments that works on the current function.
class pass : public serial_object<pass, pass_manager> {
public:
    // A step that is `needed` runs even when it shall have no effect: the writing stands on it, and
    // it asks step_has_effect() itself.
    pass(std::string name, void (*function)(), bool needed = false)
        : serial_object(&global_pass_manager), name_(std::move(name)), function_(function),
          needed_(needed) {
        enter(this);
    }
    virtual ~pass() = default;
    virtual bool is_barrier() const { return false; }
    // Runs the step, unless it shall have no effect; dumps the function before and after, and its
    // time and memory, to the log.
    void run();
    const std::string &name() const { return name_; }

private:
    std::string name_;
    void (*function_)();
    bool needed_;
};

// A step that runs once for the file when every function has come to it.
class barrier_pass : public pass {
public:
    barrier_pass(std::string name, void (*function)()) : pass(std::move(name), function, true) {}
    bool is_barrier() const override { return true; }
};

// The step table: numbers are indices of the result, and of global_pass_manager, which is emptied
// first. The passes live for the whole run.
std::vector<pass *> build_steps_table();

// Bodies that the rest of the driver calls too.
void step_intermission();
void step_pass_2_trailer();

// Makes the last step, "pass 2 trailer", and gives each function of `functions` the steps of the
// table and the trailer.
void fill_steps_table(const std::vector<pass *> &steps);
// Runs all steps: function by function up to the next barrier, the barrier once, and so on.
void run_steps();
