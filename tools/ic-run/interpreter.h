// Runs a compiled program.
#pragma once

#include "tools/ic-run/compile.h"

#include <cstdlib>
#include <map>
#include <memory>

struct RUN_PLACE {
    std::string function, file;
    std::uint32_t line = 0; // 0: unknown
};

class INTERPRETER final : public MACHINE {
public:
    // Program and code must outlive it.
    INTERPRETER(const PROGRAM &program, const COMPILED &code, const RUN_OPTIONS &options);

    // Runs the program to its end and gives its status; throws RUN_ERROR. `words` are what main
    // gets as argv, when it takes them; `words_address` is room for them (see words_room).
    int run(const std::vector<std::string> &words, std::uint32_t words_address);
    static std::uint32_t words_room(const std::vector<std::string> &words);

    std::uint32_t call(std::uint32_t function, std::span<const ARGUMENT> arguments) override;

    // Where the run was when it ended.
    const RUN_PLACE &place() const { return place_; }
    std::uint64_t nodes() const { return nodes_; }
    COUNTS counts() const;

private:
    struct FRAME {
        const COMPILED_FUNCTION *function;
        const INSN *next;        // where it goes on after the call it is in
        std::uint32_t fp, ap;    // first units of its variables and arguments
        std::uint32_t registers; // index of its first one
        std::uint32_t site;      // call site that called it
        std::uint32_t result_to; // address for a result of class type; 0: none is wanted
        std::uint32_t index;     // of the function
        std::uint64_t serial;    // tells frames apart that lay in the same place
    };
    // What setjmp has left, by the address of its buffer.
    struct JUMP_POINT {
        std::size_t depth;
        std::uint64_t serial;
        const INSN *next;
        std::uint16_t result_register;
        bool result_used;
    };
    // Thrown to give a jump to the call of execute() that runs its target's frame.
    struct FAR_JUMP {
        JUMP_POINT to;
        std::uint32_t value;
    };
    struct FREE {
        void operator()(void *p) const { std::free(p); }
    };

    void enter(std::uint32_t index, std::uint32_t ap, std::uint32_t argument_units,
               std::uint32_t site, std::uint32_t result_to);
    void leave();
    template <bool CHECK> std::uint32_t execute(std::size_t depth);
    template <bool CHECK> std::uint32_t dispatch(std::size_t depth, const INSN *&pc);
    template <bool CHECK> std::uint32_t get16(std::uint32_t address);
    template <bool CHECK> std::uint32_t get32(std::uint32_t address);
    template <bool CHECK> void set16(std::uint32_t address, std::uint32_t value);
    template <bool CHECK> void set32(std::uint32_t address, std::uint32_t value);
    void check_unit(std::uint32_t address, std::uint32_t units);
    void put_argument(std::uint32_t to, std::uint32_t from, std::uint32_t units);
    void call_without_frame(std::uint32_t index, const CALL_SITE &site, const INSN *next,
                            std::uint32_t *registers);
    std::uint32_t run_frames(std::size_t depth);
    std::uint32_t library_call(const RUN_FUNCTION &function, const CALL_SITE &site,
                               std::uint32_t index);
    std::uint32_t function_index(std::uint32_t number) const;
    void check_call(std::uint32_t index, const CALL_SITE &site) const;
    void set_jump(const CALL_SITE &site, const INSN *next);
    const JUMP_POINT &jump_point(std::uint32_t address) const;
    void locate(const INSN *pc);
    void trace(const INSN *pc);
    void name_place(const FRAME &frame, const INSN *pc, RUN_PLACE &place) const;
    void count_segment(std::uint32_t segment) {
        ++executions_[segment];
        nodes_ += code_.segments[segment].nodes;
        if (nodes_ > limit_) throw RUN_ERROR{RF_limit, "more steps than --limit allows"};
    }

    const PROGRAM &program_;
    const COMPILED &code_;
    const RUN_OPTIONS &options_;
    std::unique_ptr<std::uint32_t[], FREE> registers_;
    std::vector<FRAME> frames_;
    std::map<std::uint32_t, JUMP_POINT> jump_points_;
    std::uint64_t serial_ = 0;
    unsigned nesting_ = 0; // calls of execute() that are running
    bool located_ = false;
    RUN_PLACE place_;
    std::uint64_t nodes_ = 0, limit_;
    std::vector<std::uint64_t> executions_; // by segment
    std::uint64_t library_by_pointer_ = 0;  // calls counted as calls of the program's functions
};
