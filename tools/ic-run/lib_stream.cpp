// Characters and lines on the three streams. A character written is the low 8 bits of its unit.
#include "tools/ic-run/library.h"

namespace {
constexpr std::uint32_t end_of_file = ~0u;

std::uint32_t put_one(MACHINE &machine, STREAM stream, std::uint32_t character) {
    const auto unit = static_cast<char16_t>(character);
    return put_units(machine, stream, {&unit, 1}) ? unit : end_of_file;
}

std::uint32_t get_one(MACHINE &machine, STREAM stream) {
    return stream == STREAM_in ? static_cast<std::uint32_t>(machine.get()) : end_of_file;
}

std::uint32_t lib_putchar(LIBRARY_CALL &call) {
    return put_one(call.machine, STREAM_out, call.dword());
}

std::uint32_t lib_fputc(LIBRARY_CALL &call) {
    const std::uint32_t character = call.dword();
    return put_one(call.machine, stream_argument(call), character);
}

std::uint32_t lib_puts(LIBRARY_CALL &call) {
    put_units(call.machine, STREAM_out, load_units(call.machine, call.word()) + u'\n');
    return 0;
}

std::uint32_t lib_fputs(LIBRARY_CALL &call) {
    const std::uint32_t string = call.word();
    const STREAM stream = stream_argument(call);
    return put_units(call.machine, stream, load_units(call.machine, string)) ? 0 : end_of_file;
}

std::uint32_t lib_getchar(LIBRARY_CALL &call) {
    return get_one(call.machine, STREAM_in);
}

std::uint32_t lib_fgetc(LIBRARY_CALL &call) {
    return get_one(call.machine, stream_argument(call));
}

std::uint32_t lib_fgets(LIBRARY_CALL &call) {
    const std::uint32_t to = call.word();
    const auto room = static_cast<std::int32_t>(call.dword());
    const STREAM stream = stream_argument(call);
    if (room <= 0) return 0;
    std::uint32_t length = 0;
    while (length + 1 < static_cast<std::uint32_t>(room)) {
        const std::uint32_t character = get_one(call.machine, stream);
        if (character == end_of_file) break;
        call.machine.store16(to + checked_units(length, "fgets"),
                             static_cast<std::uint16_t>(character));
        ++length;
        if (character == '\n') break;
    }
    if (!length && room > 1) return 0;
    call.machine.store16(to + length, 0);
    return to;
}

// Null stands for all streams.
std::uint32_t lib_fflush(LIBRARY_CALL &call) {
    LIBRARY_CALL look_ahead = call;
    if (look_ahead.word()) stream_argument(call);
    call.machine.flush();
    return 0;
}

std::uint32_t lib_perror(LIBRARY_CALL &call) {
    MACHINE &machine = call.machine;
    const std::uint32_t string = call.word();
    std::u16string text;
    if (string) text = load_units(machine, string);
    if (!text.empty()) text += u": ";
    std::int32_t number = EN_none;
    if (machine.errno_address)
        number = static_cast<std::int32_t>(machine.load32(machine.errno_address));
    const std::string message = error_message(number);
    text.append(message.begin(), message.end());
    put_units(machine, STREAM_error, text + u'\n');
    return 0;
}

constexpr LIBRARY_ENTRY entries[] = {
    {"putchar", lib_putchar}, {"putc", lib_fputc},    {"fputc", lib_fputc},
    {"puts", lib_puts},       {"fputs", lib_fputs},   {"getchar", lib_getchar},
    {"getc", lib_fgetc},      {"fgetc", lib_fgetc},   {"fgets", lib_fgets},
    {"fflush", lib_fflush},   {"perror", lib_perror},
};
} // namespace

STREAM stream_argument(LIBRARY_CALL &call) {
    const std::uint16_t number = call.word();
    if (number < STREAM_in || number > STREAM_error)
        library_fault("a stream that is none of stdin, stdout and stderr");
    return static_cast<STREAM>(number);
}

bool put_units(MACHINE &machine, STREAM stream, std::u16string_view units) {
    if (stream == STREAM_in) return false;
    std::string text;
    text.reserve(units.size());
    for (char16_t unit : units)
        text.push_back(static_cast<char>(unit));
    machine.put(stream == STREAM_out ? 1 : 2, text);
    return true;
}

constexpr std::span<const LIBRARY_ENTRY> stream_functions = entries;
