// The compiler of one function.
#pragma once

#include "OPT5/icode/records/opcodes.h"
#include "tools/ic-run/compile.h"

class FUNCTION_COMPILER {
public:
    FUNCTION_COMPILER(PROGRAM &program, COMPILED &out, const RUN_OPTIONS &options,
                      std::size_t index);
    void run();

private:
    using REG = std::uint16_t;
    static constexpr int no_hint = -1;

    struct LOCAL {
        const RUN_TYPE *type = nullptr;
        std::int32_t level = 0;
        bool scalar_only = false; // a scalar whose address nobody takes: can stay in a register
        bool in_register = false;
        REG reg = 0;
        std::uint32_t offset = 0; // from fp; of a parameter as passed, from ap
    };
    // Where an lvalue lies.
    struct LVALUE {
        enum { in_register, frame, argument, fixed, indirect } where = fixed;
        REG reg = 0; // in_register, indirect
        std::uint32_t offset = 0;
        const RUN_TYPE *type = nullptr;
        unsigned first = 0, width = 0; // of a bit-field; width 0: none
        bool cheap = false;            // can stay in a register
    };
    struct LABEL {
        static constexpr std::uint32_t unknown = ~0u;
        std::uint32_t position = unknown;
    };

    // Records.
    const IF_RECORD &node(std::uint32_t i) const { return records_[i]; }
    int op(std::uint32_t i) const { return records_[i].selector; }
    std::uint32_t left(std::uint32_t i) const { return i + 1; }
    std::uint32_t right(std::uint32_t i) const { return records_[i + 1].end; }
    std::int64_t payload(std::uint32_t i, unsigned slot = 0) const {
        return model_.number(records_[i], IF_NODE::payload + slot);
    }
    const RUN_TYPE &type(std::uint32_t i) const {
        return file_.type(model_.number(records_[i], IF_NODE::type));
    }
    const LOCAL *local_of(std::uint32_t i) const; // of a NAME; null at file level
    const RUN_FUNCTION *function_of(std::uint32_t i, std::uint32_t &index) const; // of a NAME
    bool stores_within(std::uint32_t i) const; // whether the tree stores something

    // Preparation.
    void find_locals();
    void find_scalars();
    void find_stores();
    void place_locals();
    std::uint32_t frame_room(std::uint32_t units, std::uint32_t align);

    // Statements.
    void statement(std::uint32_t i);
    void switch_statement(std::uint32_t i);
    void return_statement(std::uint32_t i);
    void finish();

    // Effects and values. A value that is asked for may come in any register; with a hint it is
    // computed into that one where something is computed at all.
    void effect(std::uint32_t i);
    REG value(std::uint32_t i, int hint = no_hint);
    REG value_as(std::uint32_t i, const RUN_TYPE &to, int hint = no_hint);
    void value_into(std::uint32_t i, const RUN_TYPE &to, REG reg);
    REG kept(REG reg, std::uint32_t next); // a copy where `next` could change a variable
    static bool needs_conversion(const RUN_TYPE &from, const RUN_TYPE &to);
    REG convert(REG reg, const RUN_TYPE &from, const RUN_TYPE &to, int hint);
    REG conversion(std::uint32_t i, int hint);
    bool constant_operand(std::uint32_t i, const RUN_TYPE &to, std::uint32_t &value) const;
    REG constant(std::uint32_t i, int hint);
    REG binary(std::uint32_t i, int hint);
    REG unary(std::uint32_t i, int hint);
    REG comparison(std::uint32_t i, int hint);
    REG truth(std::uint32_t i, int hint);
    REG choice(std::uint32_t i, int hint, bool wanted);
    REG scaling(std::uint32_t i, int hint);
    REG apply(int opcode, const RUN_TYPE &t, bool sign, REG x, REG y, int hint);
    REG apply_constant(int opcode, const RUN_TYPE &t, bool sign, REG x, std::uint32_t y, int hint);
    static COST_CLASS class_of(int opcode, const RUN_TYPE &t);
    REG assignment(std::uint32_t i, bool wanted);
    REG compound(std::uint32_t i, bool wanted);
    REG class_assignment(std::uint32_t i);
    REG copy_memory(std::uint32_t i);
    REG call(std::uint32_t i, bool wanted, int hint);
    REG intrinsic(std::uint32_t i, int hint);
    void branch(std::uint32_t i, bool sense, std::uint32_t label);
    bool comparing_branch(std::uint32_t i, bool sense, std::uint32_t label);
    REG fault(const std::string &text);

    // Lvalues. lvalue() does not count its outermost node: its user knows what it does.
    LVALUE lvalue(std::uint32_t i);
    LVALUE pointed(std::uint32_t i); // what a tree of pointer type points to
    void select_member(LVALUE &lv, std::uint32_t field);
    LVALUE safe(LVALUE lv, std::uint32_t next); // stays what it is while `next` runs
    REG address(const LVALUE &lv, int hint);
    REG load(const LVALUE &lv, int hint);
    REG load_bits(const LVALUE &lv, int hint);
    REG store(LVALUE lv, REG value, bool wanted); // gives the stored value
    REG load_and_count(std::uint32_t i, int hint);

    // Instructions.
    INSN &emit(CODE code, REG a = 0, REG b = 0, REG c = 0, std::uint32_t imm = 0);
    REG new_register();
    REG destination(int hint) { return hint == no_hint ? new_register() : static_cast<REG>(hint); }
    // Frees the registers from `mark` on but for the value in `reg`, which it gives.
    REG settle(REG reg, std::uint32_t mark);
    bool is_variable(REG reg) const { return reg < variables_; }
    REG emit_constant(std::uint32_t value, int hint);
    std::uint32_t new_label();
    void bind(std::uint32_t label);
    void jump(CODE code, std::uint32_t label, REG a = 0, REG b = 0, std::uint32_t imm = 0);
    std::uint32_t label_of(std::uint32_t i); // of a LABEL node
    std::uint32_t label_numbered(std::int64_t number);

    void count(COST_CLASS cost, std::uint64_t times = 1);
    void count_node(COST_CLASS cost);
    void new_segment();

    PROGRAM &program_;
    COMPILED &out_;
    const RUN_OPTIONS &options_;
    COMPILED_FUNCTION &function_;
    const RUN_FUNCTION &source_;
    const RUN_FILE &file_;
    const IF_MODEL &model_;
    const std::vector<IF_RECORD> &records_;

    std::vector<LOCAL> locals_;
    std::vector<std::uint32_t> next_store_; // by record from source_.first: the next that stores
    std::uint32_t variables_ = 0;           // registers of variables; temporaries lie above
    std::uint32_t top_ = 0;                 // first free register
    std::uint64_t frame_ = 0;               // units of variables and results so far
    std::uint64_t outgoing_ = 0, most_outgoing_ = 0; // units for arguments, now and at most
    std::vector<std::uint32_t> outgoing_uses_;       // instructions that lack the frame's size
    std::size_t first_site_;
    std::vector<LABEL> labels_;
    std::unordered_map<std::int64_t, std::uint32_t> label_numbers_;
    std::size_t first_switch_;
    std::uint32_t segment_ = 0;
    bool segment_begins_ = false; // nothing has been emitted since COUNT
};
