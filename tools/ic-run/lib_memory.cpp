// malloc and its like, and the functions on blocks of memory. All sizes are units.
#include "tools/ic-run/library.h"

#include <algorithm>

namespace {
// Blocks of no units get an address of their own too.
std::uint32_t allocate(MACHINE &machine, std::uint64_t units) {
    if (units > MACHINE::memory_units) return 0;
    return machine.allocate(std::max<std::uint32_t>(static_cast<std::uint32_t>(units), 1));
}

void fill(MACHINE &machine, std::uint32_t to, std::uint16_t value, std::uint32_t units) {
    for (std::uint32_t i = 0; i < units; ++i)
        machine.store16(to + i, value);
}

std::uint32_t lib_malloc(LIBRARY_CALL &call) {
    return allocate(call.machine, call.dword());
}

std::uint32_t lib_calloc(LIBRARY_CALL &call) {
    const std::uint64_t count = call.dword();
    const std::uint64_t units = count * call.dword();
    const std::uint32_t block = allocate(call.machine, units);
    if (block) fill(call.machine, block, 0, static_cast<std::uint32_t>(units));
    return block;
}

std::uint32_t lib_free(LIBRARY_CALL &call) {
    call.machine.release(call.word());
    return 0;
}

// A size of 0 releases the block and gives null.
std::uint32_t lib_realloc(LIBRARY_CALL &call) {
    MACHINE &machine = call.machine;
    const std::uint32_t old = call.word();
    const std::uint32_t units = call.dword();
    if (!old) return allocate(machine, units);
    const std::uint32_t old_units = machine.allocated_units(old);
    if (!units || !old_units) {
        machine.release(old);
        return 0;
    }
    const std::uint32_t block = allocate(machine, units);
    if (!block) return 0;
    machine.copy(block, old, std::min(units, old_units));
    machine.release(old);
    return block;
}

std::uint32_t copy_block(LIBRARY_CALL &call, std::string_view function) {
    const std::uint32_t to = call.word();
    const std::uint32_t from = call.word();
    const std::uint32_t units = checked_units(call.dword(), function);
    if (units) call.machine.copy(to, from, units);
    return to;
}

// Blocks that overlap are copied as memmove does.
std::uint32_t lib_memcpy(LIBRARY_CALL &call) {
    return copy_block(call, "memcpy");
}
std::uint32_t lib_memmove(LIBRARY_CALL &call) {
    return copy_block(call, "memmove");
}

std::uint32_t lib_memset(LIBRARY_CALL &call) {
    const std::uint32_t to = call.word();
    const auto value = static_cast<std::uint16_t>(call.dword());
    fill(call.machine, to, value, checked_units(call.dword(), "memset"));
    return to;
}

std::uint32_t lib_memcmp(LIBRARY_CALL &call) {
    const std::uint32_t a = call.word();
    const std::uint32_t b = call.word();
    const std::uint32_t units = call.dword();
    // Behind the last unit of the memory nothing new can be found.
    for (std::uint32_t i = 0; i < std::min(units, MACHINE::memory_units); ++i) {
        const std::uint16_t left = call.machine.load16(a + i);
        const std::uint16_t right = call.machine.load16(b + i);
        if (left != right) return left < right ? ~0u : 1;
    }
    return 0;
}

std::uint32_t lib_memchr(LIBRARY_CALL &call) {
    const std::uint32_t at = call.word();
    const auto wanted = static_cast<std::uint16_t>(call.dword());
    const std::uint32_t units = std::min(call.dword(), MACHINE::memory_units);
    for (std::uint32_t i = 0; i < units; ++i)
        if (call.machine.load16(at + i) == wanted) return at + i;
    return 0;
}

constexpr LIBRARY_ENTRY entries[] = {
    {"malloc", lib_malloc}, {"calloc", lib_calloc}, {"realloc", lib_realloc},
    {"free", lib_free},     {"memcpy", lib_memcpy}, {"memmove", lib_memmove},
    {"memset", lib_memset}, {"memcmp", lib_memcmp}, {"memchr", lib_memchr},
};
} // namespace

constexpr std::span<const LIBRARY_ENTRY> memory_functions = entries;
