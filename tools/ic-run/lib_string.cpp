// Strings: one character a unit, compared as unsigned numbers of 16 bits.
#include "tools/ic-run/library.h"

#include <algorithm>
#include <bitset>

namespace {
std::uint32_t lib_strlen(LIBRARY_CALL &call) {
    return string_length(call.machine, call.word());
}

std::uint32_t lib_strcpy(LIBRARY_CALL &call) {
    const std::uint32_t to = call.word();
    const std::uint32_t from = call.word();
    call.machine.copy(to, from, string_length(call.machine, from) + 1);
    return to;
}

// Copies units up to the end of the string, at most `limit`; gives how many.
std::uint32_t copy_limited(MACHINE &machine, std::uint32_t to, std::uint32_t from,
                           std::uint32_t limit) {
    const std::u16string text = load_units(machine, from, limit);
    for (char16_t unit : text)
        machine.store16(to++, unit);
    return static_cast<std::uint32_t>(text.size());
}

std::uint32_t lib_strncpy(LIBRARY_CALL &call) {
    const std::uint32_t to = call.word();
    const std::uint32_t from = call.word();
    const std::uint32_t units = checked_units(call.dword(), "strncpy");
    std::uint32_t i = copy_limited(call.machine, to, from, units);
    for (; i < units; ++i)
        call.machine.store16(to + i, 0);
    return to;
}

std::uint32_t lib_strcat(LIBRARY_CALL &call) {
    const std::uint32_t to = call.word();
    const std::uint32_t from = call.word();
    const std::uint32_t end = to + string_length(call.machine, to);
    call.machine.copy(end, from, string_length(call.machine, from) + 1);
    return to;
}

std::uint32_t lib_strncat(LIBRARY_CALL &call) {
    const std::uint32_t to = call.word();
    const std::uint32_t from = call.word();
    const std::uint32_t end = to + string_length(call.machine, to);
    const std::uint32_t units = copy_limited(call.machine, end, from, call.dword());
    call.machine.store16(end + units, 0);
    return to;
}

std::uint32_t compare(LIBRARY_CALL &call, std::uint32_t a, std::uint32_t b, std::uint32_t limit) {
    for (std::uint32_t i = 0; i < limit; ++i) {
        if (i == MACHINE::memory_units) library_fault("a string without an end");
        const std::uint16_t left = call.machine.load16(a + i);
        const std::uint16_t right = call.machine.load16(b + i);
        if (left != right) return left < right ? ~0u : 1;
        if (!left) break;
    }
    return 0;
}

// The "C" locale collates by the characters' numbers: strcoll is strcmp.
std::uint32_t lib_strcmp(LIBRARY_CALL &call) {
    const std::uint32_t a = call.word();
    return compare(call, a, call.word(), ~0u);
}

std::uint32_t lib_strncmp(LIBRARY_CALL &call) {
    const std::uint32_t a = call.word();
    const std::uint32_t b = call.word();
    return compare(call, a, b, call.dword());
}

// Gives the length of the source; what does not fit in `limit` units is not stored.
std::uint32_t lib_strxfrm(LIBRARY_CALL &call) {
    const std::uint32_t to = call.word();
    const std::uint32_t from = call.word();
    const std::uint32_t limit = call.dword();
    const std::uint32_t length = string_length(call.machine, from);
    if (limit) call.machine.copy(to, from, std::min(limit, length + 1));
    return length;
}

std::uint32_t lib_strchr(LIBRARY_CALL &call) {
    const std::uint32_t at = call.word();
    const auto wanted = static_cast<std::uint16_t>(call.dword());
    for (std::uint32_t i = 0; i < MACHINE::memory_units; ++i) {
        const std::uint16_t unit = call.machine.load16(at + i);
        if (unit == wanted) return at + i;
        if (!unit) return 0;
    }
    library_fault("a string without an end");
}

std::uint32_t lib_strrchr(LIBRARY_CALL &call) {
    const std::uint32_t at = call.word();
    const auto wanted = static_cast<std::uint16_t>(call.dword());
    std::uint32_t i = string_length(call.machine, at) + 1;
    while (i--)
        if (call.machine.load16(at + i) == wanted) return at + i;
    return 0;
}

std::uint32_t lib_strstr(LIBRARY_CALL &call) {
    const std::uint32_t at = call.word();
    const std::u16string text = load_units(call.machine, at);
    const auto found = text.find(load_units(call.machine, call.word()));
    return found == std::u16string::npos ? 0 : at + static_cast<std::uint32_t>(found);
}

// A set of units given as a string.
class UNIT_SET {
public:
    UNIT_SET(MACHINE &machine, std::uint32_t address) {
        for (char16_t unit : load_units(machine, address))
            units_.set(unit);
    }
    bool has(std::uint16_t unit) const { return units_[unit]; }

private:
    std::bitset<65536> units_; // never the zero unit
};

// How many units at the start of a string are in the set, or are not.
std::uint32_t span(MACHINE &machine, std::uint32_t at, const UNIT_SET &set, bool in) {
    for (std::uint32_t i = 0; i < MACHINE::memory_units; ++i) {
        const std::uint16_t unit = machine.load16(at + i);
        if (!unit || set.has(unit) != in) return i;
    }
    library_fault("a string without an end");
}

std::uint32_t lib_strspn(LIBRARY_CALL &call) {
    const std::uint32_t at = call.word();
    return span(call.machine, at, UNIT_SET(call.machine, call.word()), true);
}

std::uint32_t lib_strcspn(LIBRARY_CALL &call) {
    const std::uint32_t at = call.word();
    return span(call.machine, at, UNIT_SET(call.machine, call.word()), false);
}

std::uint32_t lib_strpbrk(LIBRARY_CALL &call) {
    const std::uint32_t at = call.word();
    const std::uint32_t found =
        at + span(call.machine, at, UNIT_SET(call.machine, call.word()), false);
    return call.machine.load16(found) ? found : 0;
}

std::uint32_t lib_strtok(LIBRARY_CALL &call) {
    MACHINE &machine = call.machine;
    std::uint32_t at = call.word();
    const std::uint32_t separators = call.word();
    if (!at) at = machine.token_rest;
    if (!at) return 0;
    const UNIT_SET set(machine, separators);
    at += span(machine, at, set, true);
    if (!machine.load16(at)) {
        machine.token_rest = 0;
        return 0;
    }
    const std::uint32_t end = at + span(machine, at, set, false);
    machine.token_rest = 0;
    if (machine.load16(end)) {
        machine.store16(end, 0);
        machine.token_rest = end + 1;
    }
    return at;
}

// The text is kept in one block of the heap, which the next call overwrites.
std::uint32_t lib_strerror(LIBRARY_CALL &call) {
    constexpr std::uint32_t longest = 40;
    MACHINE &machine = call.machine;
    if (!machine.error_text) machine.error_text = machine.allocate(longest);
    if (!machine.error_text) return 0;
    const std::string text = error_message(static_cast<std::int32_t>(call.dword()));
    store_text(machine, machine.error_text, text);
    return machine.error_text;
}

constexpr LIBRARY_ENTRY entries[] = {
    {"strlen", lib_strlen},  {"strcpy", lib_strcpy},     {"strncpy", lib_strncpy},
    {"strcat", lib_strcat},  {"strncat", lib_strncat},   {"strcmp", lib_strcmp},
    {"strcoll", lib_strcmp}, {"strncmp", lib_strncmp},   {"strxfrm", lib_strxfrm},
    {"strchr", lib_strchr},  {"strrchr", lib_strrchr},   {"strstr", lib_strstr},
    {"strspn", lib_strspn},  {"strcspn", lib_strcspn},   {"strpbrk", lib_strpbrk},
    {"strtok", lib_strtok},  {"strerror", lib_strerror},
};
} // namespace

constexpr std::span<const LIBRARY_ENTRY> string_functions = entries;
