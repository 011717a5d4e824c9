#include "tools/ic-run/interpreter.h"

#include "tools/ic-run/arithmetic.h"

#include <algorithm>
#include <cstdio>
#include <new>

namespace {
constexpr std::uint32_t register_limit = 1u << 23; // of all frames together
constexpr std::uint32_t linkage_units = 2;         // of a frame, between arguments and variables
constexpr unsigned nesting_limit = 200;
constexpr std::uint32_t no_site = ~0u;

[[noreturn]] void trap(const std::string &text) {
    throw RUN_ERROR{RF_trap, text};
}
[[noreturn]] void stack_overflow(const char *text) {
    throw RUN_ERROR{RF_stack_overflow, text};
}

std::uint32_t even(std::uint32_t n) {
    return (n + 1) & ~1u;
}
} // namespace

INTERPRETER::INTERPRETER(const PROGRAM &program, const COMPILED &code, const RUN_OPTIONS &options)
    : MACHINE(options.check), program_(program), code_(code), options_(options),
      registers_(static_cast<std::uint32_t *>(std::calloc(register_limit, sizeof(std::uint32_t)))),
      limit_(options.limit ? options.limit : ~std::uint64_t{0}), executions_(code.segments.size()) {
    if (!registers_) throw std::bad_alloc();
    std::copy(program.image.begin(), program.image.end(), memory_);
    for (const STATIC_OBJECT &object : program.objects)
        begin_object(object.address, object.units, true);
    errno_address = program.errno_address;
    stack_end_ = even(static_cast<std::uint32_t>(program.image.size()));
    heap_start_ =
        PROGRAM::function_number(program.functions.empty() ? 0 : program.functions.size() - 1) &
        ~1u;
}

// --- the program's start

std::uint32_t INTERPRETER::words_room(const std::vector<std::string> &words) {
    std::size_t units = words.size() + 1;
    for (const std::string &word : words)
        units += word.size() + 1;
    return static_cast<std::uint32_t>(std::min<std::size_t>(units, memory_units));
}

int INTERPRETER::run(const std::vector<std::string> &words, std::uint32_t words_address) {
    try {
        std::vector<ARGUMENT> arguments;
        const std::size_t wanted = code_.functions[program_.main].params.size();
        if (wanted >= 1) arguments.push_back({static_cast<std::uint32_t>(words.size()), 2});
        if (wanted >= 2) {
            std::uint32_t text = words_address + static_cast<std::uint32_t>(words.size()) + 1;
            for (std::size_t i = 0; i < words.size(); ++i) {
                store16(words_address + static_cast<std::uint32_t>(i),
                        static_cast<std::uint16_t>(text));
                for (char c : words[i])
                    store16(text++, static_cast<unsigned char>(c));
                store16(text++, 0);
            }
            arguments.push_back({words_address, 1});
        }
        for (const std::uint32_t start : program_.starts)
            call(PROGRAM::function_number(start), {});
        const std::uint32_t status = call(PROGRAM::function_number(program_.main), arguments);
        const bool has_status = code_.functions[program_.main].result.kind == SHAPE_KIND::number;
        run_exit_functions(*this);
        return has_status ? static_cast<int>(status & 0xff) : 0;
    } catch (const PROGRAM_EXIT &end) {
        return end.status & 0xff;
    }
}

// --- frames

void INTERPRETER::enter(std::uint32_t index, std::uint32_t ap, std::uint32_t argument_units,
                        std::uint32_t site, std::uint32_t result_to) {
    const COMPILED_FUNCTION &function = code_.functions[index];
    FRAME frame;
    frame.function = &function;
    frame.next = function.code.data();
    frame.index = index;
    frame.ap = ap;
    frame.fp = even(ap + argument_units) + linkage_units;
    frame.site = site;
    frame.result_to = result_to;
    frame.serial = ++serial_;
    frame.registers =
        frames_.empty() ? 0 : frames_.back().registers + frames_.back().function->registers + 1;
    if (frame.fp + function.frame_units > heap_start_) stack_overflow("the stack has met the heap");
    if (frame.registers + function.registers + 1 > register_limit)
        stack_overflow("the stack has no room for another frame");
    stack_end_ = frame.fp + function.frame_units;
    frames_.push_back(frame);
    if (!checking) return;
    mark_object(ap, argument_units);
    for (const STATIC_OBJECT &variable : function.variables)
        begin_object(frame.fp + variable.address, variable.units, false);
}

void INTERPRETER::leave() {
    const FRAME &frame = frames_.back();
    if (checking) end_objects(frame.ap, frame.fp + frame.function->frame_units - frame.ap);
    frames_.pop_back();
    if (!frames_.empty()) {
        const FRAME &caller = frames_.back();
        stack_end_ = caller.fp + caller.function->frame_units;
    }
}

std::uint32_t INTERPRETER::function_index(std::uint32_t number) const {
    const std::uint32_t index = memory_units - 1 - low16(number);
    if (index >= program_.functions.size())
        trap(low16(number) == 0 ? "call through a null pointer"
                                : "call of something that is no function, address " +
                                      std::to_string(low16(number)));
    return index;
}

std::uint32_t INTERPRETER::call(std::uint32_t function, std::span<const ARGUMENT> arguments) {
    const std::uint32_t index = function_index(function);
    const RUN_FUNCTION &callee = program_.functions[index];
    const std::uint32_t ap = even(stack_end_), outer_end = stack_end_;
    std::uint32_t at = ap;
    for (const ARGUMENT &argument : arguments) {
        if (argument.units == 2) at = even(at);
        if (at + argument.units > heap_start_) stack_overflow("the stack has met the heap");
        memory_[at] = static_cast<std::uint16_t>(argument.value);
        if (argument.units == 2) memory_[at + 1] = static_cast<std::uint16_t>(argument.value >> 16);
        if (checking) std::fill_n(written_.begin() + at, argument.units, true);
        at += argument.units;
    }
    if (callee.library) {
        stack_end_ = at;
        mark_object(ap, at - ap);
        LIBRARY_CALL library{*this, ap};
        const std::uint32_t result = callee.library(library);
        end_objects(ap, at - ap);
        stack_end_ = outer_end;
        return result;
    }
    if (nesting_ >= nesting_limit)
        stack_overflow("functions that the library calls are nested too deep");
    const std::size_t depth = frames_.size();
    enter(index, ap, at - ap, no_site, 0);
    const std::uint32_t result = run_frames(depth);
    stack_end_ = outer_end;
    return result;
}

// --- calls

// What makes a call undefined although it can be run.
void INTERPRETER::check_call(std::uint32_t index, const CALL_SITE &site) const {
    const COMPILED_FUNCTION &callee = code_.functions[index];
    const std::string name = "call of '" + program_.functions[index].name + "' ";
    const auto fail = [&](const std::string &text) { throw RUN_ERROR{RF_check, name + text}; };
    if (site.result_used && !(site.result == callee.result))
        fail("takes " + shape_text(site.result) + " as result, the function gives " +
             shape_text(callee.result));
    if (!callee.prototyped) return;
    const std::size_t given = site.shapes.size(), named = callee.params.size();
    if (given < named || (given > named && !callee.variadic))
        fail("with " + std::to_string(given) + " arguments, the function has " +
             std::to_string(named));
    for (std::size_t i = 0; i < named; ++i)
        if (!(site.shapes[i] == callee.params[i]))
            fail("gives " + shape_text(site.shapes[i]) + " as argument " + std::to_string(i + 1) +
                 ", the function takes " + shape_text(callee.params[i]));
}

std::uint32_t INTERPRETER::library_call(const RUN_FUNCTION &function, const CALL_SITE &site,
                                        std::uint32_t index) {
    const FRAME &frame = frames_.back();
    const std::uint32_t ap = frame.fp + site.arguments;
    const std::uint32_t result_to =
        site.result.kind == SHAPE_KIND::record ? frame.fp + site.result_place : 0;
    if (checking) {
        check_call(index, site);
        mark_object(ap, site.argument_units);
    }
    LIBRARY_CALL library{*this, ap, result_to};
    const std::uint32_t result = function.library(library);
    end_objects(ap, site.argument_units);
    return site.result.units == 1 ? low16(result) : result;
}

void INTERPRETER::set_jump(const CALL_SITE &site, const INSN *next) {
    if (site.argument_units < 1) trap("setjmp without a buffer");
    const FRAME &frame = frames_.back();
    jump_points_[memory_[frame.fp + site.arguments]] = {frames_.size() - 1, frame.serial, next,
                                                        site.result_register, site.result_used};
}

const INTERPRETER::JUMP_POINT &INTERPRETER::jump_point(std::uint32_t address) const {
    const auto found = jump_points_.find(address);
    if (found == jump_points_.end()) trap("longjmp to a buffer that setjmp has not filled");
    const JUMP_POINT &point = found->second;
    if (point.depth >= frames_.size() || frames_[point.depth].serial != point.serial)
        trap("longjmp to a function that has ended");
    return point;
}

// --- places

void INTERPRETER::name_place(const FRAME &frame, const INSN *pc, RUN_PLACE &place) const {
    const RUN_FUNCTION &function = program_.functions[frame.index];
    place.function = function.name;
    place.file = function.file->name;
    place.line = 0;
    const auto at = static_cast<std::uint32_t>(pc - frame.function->code.data());
    const auto &places = frame.function->places;
    auto behind = std::upper_bound(
        places.begin(), places.end(), at,
        [](std::uint32_t instruction, const PLACE &p) { return instruction < p.instruction; });
    if (behind == places.begin() || std::prev(behind)->position.file == 0) return;
    const IF_PSN position = std::prev(behind)->position;
    place.file = function.file->model->file_name(position.file);
    place.line = position.line;
}

// Notes the place of an error where it happened, which is the innermost one.
void INTERPRETER::locate(const INSN *pc) {
    if (located_) return;
    located_ = true;
    name_place(frames_.back(), pc, place_);
}

void INTERPRETER::trace(const INSN *pc) {
    RUN_PLACE place;
    name_place(frames_.back(), pc, place);
    put(2, place.function + ", " + place.file + ":" + std::to_string(place.line) + "\n");
}

COUNTS INTERPRETER::counts() const {
    COUNTS sum{};
    for (std::size_t s = 0; s < executions_.size(); ++s)
        for (std::size_t c = 0; c < sum.size(); ++c)
            sum[c] += executions_[s] * code_.segments[s].counts[c];
    sum[COST_call] -= library_by_pointer_;
    sum[COST_library] += library_by_pointer_;
    return sum;
}
