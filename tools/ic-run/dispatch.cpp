// The loop over instructions, once without and once with checks of every access. Jumps from each
// instruction's end to the next one's code, so that the processor predicts each on its own.
#include "tools/ic-run/interpreter.h"

#include "tools/ic-run/arithmetic.h"

#include <algorithm>
#include <cmath>

namespace {
constexpr std::uint32_t address_mask = MACHINE::memory_units - 1;

[[noreturn]] void trap(const char *text) {
    throw RUN_ERROR{RF_trap, text};
}

std::uint32_t divisor(std::uint32_t value) {
    if (value == 0) trap("division by zero");
    return value;
}

std::uint32_t switch_target(const SWITCH_TABLE &table, std::uint32_t value) {
    const auto found =
        std::lower_bound(table.cases.begin(), table.cases.end(), value,
                         [](const SWITCH_TABLE::CASE &c, std::uint32_t v) { return c.value < v; });
    return found != table.cases.end() && found->value == value ? found->target : table.otherwise;
}
} // namespace

template <bool CHECK> inline std::uint32_t INTERPRETER::get16(std::uint32_t address) {
    if constexpr (CHECK) return load16(address);
    return memory_[address & address_mask];
}

template <bool CHECK> inline std::uint32_t INTERPRETER::get32(std::uint32_t address) {
    if constexpr (CHECK) return load32(address);
    address &= address_mask;
    return memory_[address] | static_cast<std::uint32_t>(memory_[address + 1]) << 16;
}

template <bool CHECK> inline void INTERPRETER::set16(std::uint32_t address, std::uint32_t value) {
    if constexpr (CHECK) return store16(address, static_cast<std::uint16_t>(value));
    memory_[address & address_mask] = static_cast<std::uint16_t>(value);
}

template <bool CHECK> inline void INTERPRETER::set32(std::uint32_t address, std::uint32_t value) {
    if constexpr (CHECK) return store32(address, value);
    address &= address_mask;
    memory_[address] = static_cast<std::uint16_t>(value);
    memory_[address + 1] = static_cast<std::uint16_t>(value >> 16);
}

// A unit of bit-fields that is changed: some of its bits may never have been written.
void INTERPRETER::check_unit(std::uint32_t address, std::uint32_t units) {
    check_access(address & address_mask, units, false);
    if (units == 2) check_alignment(address);
}

// Arguments of a call to come lie in no object yet.
void INTERPRETER::put_argument(std::uint32_t to, std::uint32_t from, std::uint32_t units) {
    from &= address_mask;
    if (checking) check_access(from, units, false);
    for (std::uint32_t i = 0; i < units; ++i) {
        memory_[to + i] = memory_[(from + i) & address_mask];
        if (checking) written_[to + i] = written_[from + i];
    }
}

void INTERPRETER::call_without_frame(std::uint32_t index, const CALL_SITE &site, const INSN *next,
                                     std::uint32_t *registers) {
    const RUN_FUNCTION &function = program_.functions[index];
    std::uint32_t result = 0;
    if (function.special == RUN_FUNCTION::set_jump) {
        set_jump(site, next);
    } else if (function.special == RUN_FUNCTION::long_jump) {
        if (site.argument_units < 4) trap("longjmp without a buffer and a value");
        const std::uint32_t arguments = frames_.back().fp + site.arguments;
        const std::uint32_t value = get32<false>(arguments + 2);
        throw FAR_JUMP{jump_point(memory_[arguments]), value ? value : 1};
    } else {
        result = library_call(function, site, index);
    }
    if (site.result_used && site.result.kind != SHAPE_KIND::record)
        registers[site.result_register] = result;
}

template <bool CHECK> std::uint32_t INTERPRETER::dispatch(std::size_t depth, const INSN *&pc) {
    static const void *const labels[] = {
#define CODE(name) &&do_##name,
#define BINARY(name, result) &&do_##name, &&do_##name##_I,
#define UNARY(name, result) &&do_##name,
#define JUMP(name, condition) &&do_##name, &&do_##name##_I,
#include "tools/ic-run/codes.def"
#undef CODE
#undef BINARY
#undef UNARY
#undef JUMP
    };
    const INSN *p = pc;
    struct KEEP_PLACE { // for messages, when an instruction throws
        const INSN *&to, *&from;
        ~KEEP_PLACE() { to = from; }
    } keep_place{pc, p};

    std::uint32_t *R = registers_.get() + frames_.back().registers;
    std::uint32_t fp = frames_.back().fp, ap = frames_.back().ap;
    const INSN *code = frames_.back().function->code.data();
    std::uint32_t result = 0;

#define NEXT goto *labels[(++p)->code]
#define GO(where)                                                                                  \
    do {                                                                                           \
        p = code + (where);                                                                        \
        goto *labels[p->code];                                                                     \
    } while (false)

    goto *labels[p->code];

do_LDI:
    R[p->a] = p->imm;
    NEXT;
do_LEAF:
    R[p->a] = low16(fp + p->imm);
    NEXT;
do_LEAA:
    R[p->a] = low16(ap + p->imm);
    NEXT;
do_LD16:
    R[p->a] = get16<CHECK>(R[p->b] + p->imm);
    NEXT;
do_LD32:
    R[p->a] = get32<CHECK>(R[p->b] + p->imm);
    NEXT;
do_LDF16:
    R[p->a] = get16<CHECK>(fp + p->imm);
    NEXT;
do_LDF32:
    R[p->a] = get32<CHECK>(fp + p->imm);
    NEXT;
do_LDA16:
    R[p->a] = get16<CHECK>(ap + p->imm);
    NEXT;
do_LDA32:
    R[p->a] = get32<CHECK>(ap + p->imm);
    NEXT;
do_LDS16:
    R[p->a] = get16<CHECK>(p->imm);
    NEXT;
do_LDS32:
    R[p->a] = get32<CHECK>(p->imm);
    NEXT;
do_LDU16:
    if constexpr (CHECK) check_unit(R[p->b] + p->imm, 1);
    R[p->a] = get16<false>(R[p->b] + p->imm);
    NEXT;
do_LDU32:
    if constexpr (CHECK) check_unit(R[p->b] + p->imm, 2);
    R[p->a] = get32<false>(R[p->b] + p->imm);
    NEXT;
do_ST16:
    set16<CHECK>(R[p->b] + p->imm, R[p->a]);
    NEXT;
do_ST32:
    set32<CHECK>(R[p->b] + p->imm, R[p->a]);
    NEXT;
do_STF16:
    set16<CHECK>(fp + p->imm, R[p->a]);
    NEXT;
do_STF32:
    set32<CHECK>(fp + p->imm, R[p->a]);
    NEXT;
do_STA16:
    set16<CHECK>(ap + p->imm, R[p->a]);
    NEXT;
do_STA32:
    set32<CHECK>(ap + p->imm, R[p->a]);
    NEXT;
do_STS16:
    set16<CHECK>(p->imm, R[p->a]);
    NEXT;
do_STS32:
    set32<CHECK>(p->imm, R[p->a]);
    NEXT;
do_PUT16:
    if constexpr (CHECK) written_[fp + p->imm] = true;
    set16<false>(fp + p->imm, R[p->a]);
    NEXT;
do_PUT32:
    if constexpr (CHECK) written_[fp + p->imm] = written_[fp + p->imm + 1] = true;
    set32<false>(fp + p->imm, R[p->a]);
    NEXT;
do_PUTC:
    put_argument(fp + p->target, R[p->a], p->imm);
    NEXT;
do_COPY:
    copy(R[p->a], R[p->b], p->imm);
    NEXT;
do_COPYR:
    copy(R[p->a], R[p->b], R[p->c]);
    NEXT;
do_GETU:
    R[p->a] = field_of(R[p->b], p->c & 0xff, p->c >> 8, false);
    NEXT;
do_GETS:
    R[p->a] = field_of(R[p->b], p->c & 0xff, p->c >> 8, true);
    NEXT;
do_SETB:
    R[p->a] = with_field(R[p->b], R[p->c], p->imm & 0xff, p->imm >> 8);
    NEXT;
do_DIVS32:
    R[p->a] = divide_signed(R[p->b], divisor(R[p->c]));
    NEXT;
do_DIVS16:
    R[p->a] = low16(divide_signed(extended16(R[p->b]), extended16(divisor(R[p->c]))));
    NEXT;
do_DIVU:
    R[p->a] = R[p->b] / divisor(R[p->c]);
    NEXT;
do_MODS32:
    R[p->a] = modulo_signed(R[p->b], divisor(R[p->c]));
    NEXT;
do_MODS16:
    R[p->a] = low16(modulo_signed(extended16(R[p->b]), extended16(divisor(R[p->c]))));
    NEXT;
do_MODU:
    R[p->a] = R[p->b] % divisor(R[p->c]);
    NEXT;
do_JMP:
    GO(p->target);
do_JZ:
    if (!R[p->a]) GO(p->target);
    NEXT;
do_JNZ:
    if (R[p->a]) GO(p->target);
    NEXT;
do_SWITCH:
    GO(switch_target(code_.switches[p->imm], R[p->a]));
do_CALL:
    result = p->imm;
    goto call_function;
do_CALLR:
    result = function_index(R[p->b]);
call_function : {
    const CALL_SITE &site = code_.sites[p->target];
    const std::uint32_t index = result;
    const RUN_FUNCTION &function = program_.functions[index];
    if (function.library || function.special != RUN_FUNCTION::ordinary) {
        if (p->code == CODE_CALLR) ++library_by_pointer_;
        frames_.back().next = p + 1;
        call_without_frame(index, site, p + 1, R);
        NEXT;
    }
    if constexpr (CHECK) check_call(index, site);
    frames_.back().next = p + 1;
    enter(index, fp + site.arguments, site.argument_units, p->target,
          site.result.kind == SHAPE_KIND::record ? fp + site.result_place : 0);
    const FRAME &frame = frames_.back();
    R = registers_.get() + frame.registers;
    fp = frame.fp;
    ap = frame.ap;
    code = frame.function->code.data();
    GO(0);
}
do_RET:
    result = R[p->a];
    goto return_to_caller;
do_RETC:
    if (frames_.back().result_to) copy(frames_.back().result_to, R[p->a], p->imm);
    goto return_to_caller;
do_RETV:
    if constexpr (CHECK) {
        const FRAME &frame = frames_.back();
        if (frame.site != ~0u && code_.sites[frame.site].result_used)
            throw RUN_ERROR{RF_check, "return without a value, which the caller uses"};
    }
    result = 0;
return_to_caller : {
    const std::uint32_t site_number = frames_.back().site;
    leave();
    if (frames_.size() == depth) return result;
    const FRAME &frame = frames_.back();
    const CALL_SITE &site = code_.sites[site_number];
    R = registers_.get() + frame.registers;
    fp = frame.fp;
    ap = frame.ap;
    code = frame.function->code.data();
    if (site.result_used && site.result.kind != SHAPE_KIND::record)
        R[site.result_register] = site.result.units == 1 ? low16(result) : result;
    p = frame.next;
    goto *labels[p->code];
}
do_BROKEN:
    throw RUN_ERROR{RF_check, "a promise does not hold"};
do_FAULT:
    trap(code_.messages[p->imm].c_str());
do_COUNT:
    count_segment(p->imm);
    NEXT;
do_TRACE:
    trace(p);
    NEXT;

#define BINARY(name, result_of)                                                                    \
    do_##name : {                                                                                  \
        const std::uint32_t x = R[p->b], y = R[p->c];                                              \
        R[p->a] = result_of;                                                                       \
        NEXT;                                                                                      \
    }                                                                                              \
    do_##name##_I : {                                                                              \
        const std::uint32_t x = R[p->b], y = p->imm;                                               \
        R[p->a] = result_of;                                                                       \
        NEXT;                                                                                      \
    }
#define UNARY(name, result_of)                                                                     \
    do_##name : {                                                                                  \
        const std::uint32_t x = R[p->b];                                                           \
        R[p->a] = result_of;                                                                       \
        NEXT;                                                                                      \
    }
#define JUMP(name, condition)                                                                      \
    do_##name : {                                                                                  \
        const std::uint32_t x = R[p->a], y = R[p->b];                                              \
        if (condition) GO(p->target);                                                              \
        NEXT;                                                                                      \
    }                                                                                              \
    do_##name##_I : {                                                                              \
        const std::uint32_t x = R[p->a], y = p->imm;                                               \
        if (condition) GO(p->target);                                                              \
        NEXT;                                                                                      \
    }
#define CODE(name)
#include "tools/ic-run/codes.def"
#undef CODE
#undef BINARY
#undef UNARY
#undef JUMP
#undef NEXT
#undef GO
}

template <bool CHECK> std::uint32_t INTERPRETER::execute(std::size_t depth) {
    const INSN *pc = frames_.back().next;
    for (;;) {
        try {
            return dispatch<CHECK>(depth, pc);
        } catch (const FAR_JUMP &jump) {
            if (jump.to.depth < depth) throw;
            while (frames_.size() - 1 > jump.to.depth)
                leave();
            pc = jump.to.next;
            if (jump.to.result_used)
                registers_[frames_.back().registers + jump.to.result_register] = jump.value;
        } catch (const RUN_ERROR &) {
            locate(pc);
            throw;
        }
    }
}

// Runs until the frames above `depth` have ended.
std::uint32_t INTERPRETER::run_frames(std::size_t depth) {
    ++nesting_;
    struct NESTING {
        unsigned &count;
        ~NESTING() { --count; }
    } nesting{nesting_};
    return checking ? execute<true>(depth) : execute<false>(depth);
}
