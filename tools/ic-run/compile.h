// Compiles the trees of a program's functions to instructions over registers.
#pragma once

#include "tools/ic-run/program.h"

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

enum CODE : std::uint16_t {
#define CODE(name) CODE_##name,
#define BINARY(name, result) CODE_##name, CODE_##name##_I,
#define UNARY(name, result) CODE_##name,
#define JUMP(name, condition) CODE_##name, CODE_##name##_I,
#include "tools/ic-run/codes.def"
#undef CODE
#undef BINARY
#undef UNARY
#undef JUMP
};

struct INSN {
    std::uint16_t code = 0;
    std::uint16_t a = 0, b = 0, c = 0;
    std::uint32_t imm = 0, target = 0;
};

enum COST_CLASS : unsigned {
#define COST(name, cost, comment) COST_##name,
#include "OPT5/target/costs.def"
#undef COST
    COST_CLASSES
};
using COUNTS = std::array<std::uint64_t, COST_CLASSES>;

// How a value is passed.
enum class SHAPE_KIND : std::uint8_t { nothing, number, floating, record };
struct SHAPE {
    SHAPE_KIND kind = SHAPE_KIND::nothing;
    std::uint32_t units = 0;
    bool operator==(const SHAPE &) const = default;
};
SHAPE shape_of(const RUN_TYPE &type);
std::string shape_text(const SHAPE &shape); // for messages

struct CALL_SITE {
    std::uint32_t arguments = 0; // offset from fp of the callee's arguments
    std::uint32_t argument_units = 0;
    std::uint32_t result_place = 0;    // offset from fp for a result of class type
    std::uint16_t result_register = 0; // for any other
    bool result_used = false;
    SHAPE result;
    std::vector<SHAPE> shapes; // of the arguments
};

struct SWITCH_TABLE {
    struct CASE {
        std::uint32_t value, target;
    };
    std::vector<CASE> cases; // ascending
    std::uint32_t otherwise = 0;
};

struct SEGMENT {
    std::uint64_t nodes = 0;
    COUNTS counts{};
};

struct PLACE {
    std::uint32_t instruction; // first one of the statement
    IF_PSN position;
};

// What a call needs to know of a function, and its instructions if it has a body.
struct COMPILED_FUNCTION {
    std::vector<INSN> code;
    std::vector<PLACE> places;
    std::uint32_t frame_units = 0; // from fp: variables and arguments of calls
    std::uint32_t registers = 0;
    std::uint32_t first_segment = 0, segments = 0; // of COMPILED::segments
    std::vector<STATIC_OBJECT> variables; // offsets from fp (with checking)
    std::vector<SHAPE> params;
    SHAPE result;
    bool variadic = false, prototyped = false;
};

struct COMPILED {
    std::vector<COMPILED_FUNCTION> functions; // as PROGRAM::functions
    std::vector<CALL_SITE> sites;
    std::vector<SWITCH_TABLE> switches;
    std::vector<SEGMENT> segments;
    std::vector<std::string> messages;
};

struct RUN_OPTIONS {
    bool check = false, trace = false, count = false;
    bool list_costs = false; // of the functions; nothing is run
    std::uint64_t limit = 0; // nodes; 0: none
    bool counts_nodes() const { return count || list_costs || limit != 0; }
};

// May add string constants to the program's static objects.
COMPILED compile_program(PROGRAM &program, const RUN_OPTIONS &options);
