// Numbers from strings, absolute values, random numbers.
#include "tools/ic-run/library.h"

#include <cerrno>
#include <cstdlib>

namespace {
// What stands at the start of a string, after white space.
struct INTEGER_TEXT {
    std::uint32_t end;       // behind the number; the start of the string when there is none
    std::uint64_t magnitude; // stays at 2^33 or above once it has got there
    bool negative;
};

INTEGER_TEXT read_integer(MACHINE &machine, std::uint32_t start, std::uint32_t base) {
    std::uint32_t at = start;
    auto skip = [&] {
        if (++at - start > MACHINE::memory_units) library_fault("a string without an end");
    };
    INTEGER_TEXT result = {start, 0, false};
    if (base == 1 || base > 36) return result;
    while (is_space(machine.load16(at)))
        skip();
    const std::uint16_t sign = machine.load16(at);
    if (sign == '-' || sign == '+') {
        result.negative = sign == '-';
        skip();
    }
    if (machine.load16(at) == '0' && (base == 0 || base == 16)) {
        if ((machine.load16(at + 1) | 0x20) == 'x' && digit_value(machine.load16(at + 2)) < 16) {
            at += 2;
            base = 16;
        } else if (base == 0) {
            base = 8;
        }
    } else if (base == 0) {
        base = 10;
    }
    for (unsigned digit; (digit = digit_value(machine.load16(at))) < base;) {
        if (result.magnitude >> 33 == 0) result.magnitude = result.magnitude * base + digit;
        skip();
        result.end = at;
    }
    return result;
}

std::uint32_t signed_value(MACHINE &machine, const INTEGER_TEXT &text) {
    const std::uint64_t limit = text.negative ? 0x80000000 : 0x7fffffff;
    if (text.magnitude > limit) {
        set_errno(machine, EN_range);
        return static_cast<std::uint32_t>(limit);
    }
    const auto value = static_cast<std::uint32_t>(text.magnitude);
    return text.negative ? -value : value;
}

std::uint32_t unsigned_value(MACHINE &machine, const INTEGER_TEXT &text) {
    if (text.magnitude > 0xffffffff) {
        set_errno(machine, EN_range);
        return 0xffffffff;
    }
    const auto value = static_cast<std::uint32_t>(text.magnitude);
    return text.negative ? -value : value;
}

// strtol and its like: long and long long have 32 bits.
template <std::uint32_t (*value)(MACHINE &, const INTEGER_TEXT &)>
std::uint32_t string_to_integer(LIBRARY_CALL &call) {
    const std::uint32_t start = call.word();
    const std::uint32_t end = call.word();
    const INTEGER_TEXT text = read_integer(call.machine, start, call.dword());
    if (end) call.machine.store16(end, static_cast<std::uint16_t>(text.end));
    return value(call.machine, text);
}

std::uint32_t lib_atoi(LIBRARY_CALL &call) {
    return signed_value(call.machine, read_integer(call.machine, call.word(), 10));
}

// The host reads what can belong to a number, rounding to binary32 once.
float read_float(MACHINE &machine, std::uint32_t start, std::uint32_t &end) {
    std::uint32_t at = start;
    while (is_space(machine.load16(at)))
        if (++at - start > MACHINE::memory_units) library_fault("a string without an end");
    std::string text;
    for (std::uint16_t unit; (unit = machine.load16(at + static_cast<std::uint32_t>(text.size())));
         text.push_back(static_cast<char>(unit))) {
        const bool possible = digit_value(unit) < 36 || unit == '+' || unit == '-' || unit == '.' ||
                              unit == '(' || unit == ')' || unit == '_';
        if (!possible) break;
        if (text.size() == MACHINE::memory_units) library_fault("a string without an end");
    }
    char *behind = nullptr;
    errno = 0;
    const float value = std::strtof(text.c_str(), &behind);
    if (errno == ERANGE) set_errno(machine, EN_range);
    const auto length = static_cast<std::uint32_t>(behind - text.c_str());
    end = length ? at + length : start;
    return value;
}

std::uint32_t lib_strtod(LIBRARY_CALL &call) {
    const std::uint32_t start = call.word();
    const std::uint32_t end = call.word();
    std::uint32_t behind = 0;
    const float value = read_float(call.machine, start, behind);
    if (end) call.machine.store16(end, static_cast<std::uint16_t>(behind));
    return float_result(value);
}

std::uint32_t lib_atof(LIBRARY_CALL &call) {
    std::uint32_t behind = 0;
    return float_result(read_float(call.machine, call.word(), behind));
}

// The least number is its own absolute value.
std::uint32_t lib_abs(LIBRARY_CALL &call) {
    const std::uint32_t value = call.dword();
    return value >> 31 ? -value : value;
}

// Quotient and remainder as members of the result, in this order.
std::uint32_t lib_div(LIBRARY_CALL &call) {
    const std::int64_t a = static_cast<std::int32_t>(call.dword());
    const std::int64_t b = static_cast<std::int32_t>(call.dword());
    if (b == 0) library_fault("div: division by zero");
    call.machine.store32(call.result, static_cast<std::uint32_t>(a / b));
    call.machine.store32(call.result + 2, static_cast<std::uint32_t>(a % b));
    return 0;
}

// The generator that the C standard gives as its example: x = x * 1103515245 + 12345, of which
// bits 16 to 30 are the random number.
std::uint32_t lib_rand(LIBRARY_CALL &call) {
    std::uint32_t &state = call.machine.random_state;
    state = state * 1103515245 + 12345;
    return state >> 16 & 0x7fff;
}

std::uint32_t lib_srand(LIBRARY_CALL &call) {
    call.machine.random_state = call.dword();
    return 0;
}

constexpr LIBRARY_ENTRY entries[] = {
    {"strtol", string_to_integer<signed_value>},
    {"strtoll", string_to_integer<signed_value>},
    {"strtoul", string_to_integer<unsigned_value>},
    {"strtoull", string_to_integer<unsigned_value>},
    {"atoi", lib_atoi},
    {"atol", lib_atoi},
    {"atoll", lib_atoi},
    {"strtod", lib_strtod},
    {"strtof", lib_strtod},
    {"atof", lib_atof},
    {"abs", lib_abs},
    {"labs", lib_abs},
    {"llabs", lib_abs},
    {"div", lib_div},
    {"ldiv", lib_div},
    {"rand", lib_rand},
    {"srand", lib_srand},
};
} // namespace

constexpr std::span<const LIBRARY_ENTRY> number_functions = entries;
