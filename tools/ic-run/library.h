// What the files of ic-run's C library share.
#pragma once

#include "tools/ic-run/machine.h"

#include <bit>

// A function of the library under its C name.
struct LIBRARY_ENTRY {
    std::string_view name;
    LIBRARY_FUNCTION function;
};

// One table a family; find_library_function searches them.
extern const std::span<const LIBRARY_ENTRY> memory_functions;
extern const std::span<const LIBRARY_ENTRY> string_functions;
extern const std::span<const LIBRARY_ENTRY> character_functions;
extern const std::span<const LIBRARY_ENTRY> number_functions;
extern const std::span<const LIBRARY_ENTRY> math_functions;
extern const std::span<const LIBRARY_ENTRY> stream_functions;
extern const std::span<const LIBRARY_ENTRY> print_functions;
extern const std::span<const LIBRARY_ENTRY> scan_functions;
extern const std::span<const LIBRARY_ENTRY> program_functions;

// Values of errno, those of the programs' <errno.h>.
enum ERROR_NUMBER : std::int32_t { EN_none = 0, EN_domain = 33, EN_range = 34, EN_sequence = 84 };

// Does nothing when the program has no errno.
void set_errno(MACHINE &machine, ERROR_NUMBER number);
std::string error_message(std::int32_t number);

// Ends the run because of what a program passed to a library function.
[[noreturn]] void library_fault(std::string text);

// `units` as a count of units of memory; more than the memory has ends the run. `function` is the
// C name for the message.
std::uint32_t checked_units(std::uint64_t units, std::string_view function);

// The units of a string before its zero unit. A string that fills the memory ends the run.
std::uint32_t string_length(MACHINE &machine, std::uint32_t address);
std::u16string load_units(MACHINE &machine, std::uint32_t address);
// At most `limit` units are looked at.
std::u16string load_units(MACHINE &machine, std::uint32_t address, std::uint32_t limit);
// Stores text, of units below 256, and a zero unit behind it.
void store_text(MACHINE &machine, std::uint32_t address, std::string_view text);

// The classes of characters of the "C" locale; false for all units that are not ASCII.
bool is_space(std::uint32_t unit);
bool is_digit(std::uint32_t unit);
// The value as a digit of base 36; 36 when it is none.
unsigned digit_value(std::uint32_t unit);

// The value of a FILE pointer: no address, only a number that tells the streams apart.
enum STREAM : std::uint16_t { STREAM_in = 1, STREAM_out = 2, STREAM_error = 3 };
// The next argument as a stream; ends the run when it is none.
STREAM stream_argument(LIBRARY_CALL &call);
// Writes the low 8 bits of each unit. False for the input stream.
bool put_units(MACHINE &machine, STREAM stream, std::u16string_view units);

inline std::uint32_t float_result(float value) {
    return std::bit_cast<std::uint32_t>(value);
}
