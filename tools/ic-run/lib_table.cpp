// The library's functions and objects by name, and what its families share.
#include "tools/ic-run/library.h"

#include <array>
#include <unordered_map>

LIBRARY_FUNCTION find_library_function(std::string_view name) {
    static const auto table = [] {
        std::unordered_map<std::string_view, LIBRARY_FUNCTION> functions;
        for (std::span<const LIBRARY_ENTRY> family :
             {memory_functions, string_functions, character_functions, number_functions,
              math_functions, stream_functions, print_functions, scan_functions, program_functions})
            for (const LIBRARY_ENTRY &entry : family)
                functions.emplace(entry.name, entry.function);
        return functions;
    }();
    auto found = table.find(name);
    return found == table.end() ? nullptr : found->second;
}

std::span<const LIBRARY_OBJECT> library_objects() {
    static constexpr std::array<LIBRARY_OBJECT, 4> objects = {{
        {"errno", 2, EN_none},
        {"stdin", 1, STREAM_in},
        {"stdout", 1, STREAM_out},
        {"stderr", 1, STREAM_error},
    }};
    return objects;
}

void set_errno(MACHINE &machine, ERROR_NUMBER number) {
    if (machine.errno_address) machine.store32(machine.errno_address, number);
}

std::string error_message(std::int32_t number) {
    switch (number) {
    case EN_none: return "No error";
    case EN_domain: return "Argument out of domain";
    case EN_range: return "Result out of range";
    case EN_sequence: return "Invalid character sequence";
    default: return "Unknown error " + std::to_string(number);
    }
}

void library_fault(std::string text) {
    throw RUN_ERROR{RF_trap, std::move(text)};
}

std::uint32_t checked_units(std::uint64_t units, std::string_view function) {
    if (units > MACHINE::memory_units)
        library_fault(std::string(function) + ": " + std::to_string(units) +
                      " units are more than the memory has");
    return static_cast<std::uint32_t>(units);
}

std::u16string load_units(MACHINE &machine, std::uint32_t address, std::uint32_t limit) {
    std::u16string units;
    while (units.size() < limit) {
        const char16_t unit = machine.load16(address++);
        if (!unit) break;
        units.push_back(unit);
        if (units.size() == MACHINE::memory_units) library_fault("a string without an end");
    }
    return units;
}

std::u16string load_units(MACHINE &machine, std::uint32_t address) {
    return load_units(machine, address, ~0u);
}

std::uint32_t string_length(MACHINE &machine, std::uint32_t address) {
    std::uint32_t length = 0;
    while (machine.load16(address + length))
        if (++length == MACHINE::memory_units) library_fault("a string without an end");
    return length;
}

void store_text(MACHINE &machine, std::uint32_t address, std::string_view text) {
    for (char c : text)
        machine.store16(address++, static_cast<unsigned char>(c));
    machine.store16(address, 0);
}
