// <ctype.h> in the "C" locale: units that are not ASCII belong to no class.
#include "tools/ic-run/library.h"

namespace {
bool is_upper(std::uint32_t c) {
    return c - 'A' < 26;
}
bool is_lower(std::uint32_t c) {
    return c - 'a' < 26;
}
bool is_alpha(std::uint32_t c) {
    return is_upper(c) || is_lower(c);
}
bool is_alnum(std::uint32_t c) {
    return is_alpha(c) || is_digit(c);
}
bool is_blank(std::uint32_t c) {
    return c == ' ' || c == '\t';
}
bool is_control(std::uint32_t c) {
    return c < 32 || c == 127;
}
bool is_graph(std::uint32_t c) {
    return c - 33 < 94;
}
bool is_print(std::uint32_t c) {
    return c - 32 < 95;
}
bool is_punct(std::uint32_t c) {
    return is_graph(c) && !is_alnum(c);
}
bool is_hex(std::uint32_t c) {
    return digit_value(c) < 16;
}

template <bool (*belongs)(std::uint32_t)> std::uint32_t test(LIBRARY_CALL &call) {
    return belongs(call.dword());
}

std::uint32_t lib_tolower(LIBRARY_CALL &call) {
    const std::uint32_t c = call.dword();
    return is_upper(c) ? c + ('a' - 'A') : c;
}

std::uint32_t lib_toupper(LIBRARY_CALL &call) {
    const std::uint32_t c = call.dword();
    return is_lower(c) ? c - ('a' - 'A') : c;
}

constexpr LIBRARY_ENTRY entries[] = {
    {"isalnum", test<is_alnum>},   {"isalpha", test<is_alpha>}, {"isblank", test<is_blank>},
    {"iscntrl", test<is_control>}, {"isdigit", test<is_digit>}, {"isgraph", test<is_graph>},
    {"islower", test<is_lower>},   {"isprint", test<is_print>}, {"ispunct", test<is_punct>},
    {"isspace", test<is_space>},   {"isupper", test<is_upper>}, {"isxdigit", test<is_hex>},
    {"tolower", lib_tolower},      {"toupper", lib_toupper},
};
} // namespace

bool is_space(std::uint32_t c) {
    return c == ' ' || c - '\t' < 5;
}

bool is_digit(std::uint32_t c) {
    return c - '0' < 10;
}

unsigned digit_value(std::uint32_t c) {
    if (is_digit(c)) return c - '0';
    if (is_lower(c)) return c - 'a' + 10;
    if (is_upper(c)) return c - 'A' + 10;
    return 36;
}

constexpr std::span<const LIBRARY_ENTRY> character_functions = entries;
