// Names of classes and enums: those that stand in for a missing one, and encoded ones.
#include "OPT5/rep/type_pkg.h"

#include <cctype>

bool TYPE_PKG::is_fake_name(std::string_view name) {
    return name.starts_with(fake_name_prefix);
}

const char *TYPE_PKG::fix_fake_name(const char *name) {
    return is_fake_name(name) ? "<unnamed>" : name;
}

namespace {
// Takes the digits before the name off it; 0 without digits.
std::size_t take_number(std::string_view &name) {
    std::size_t n = 0;
    while (!name.empty() && std::isdigit(static_cast<unsigned char>(name[0])) && n < 1000) {
        n = n * 10 + static_cast<std::size_t>(name[0] - '0');
        name.remove_prefix(1);
    }
    return n;
}

// The name that the source writes, its parts joined by "::"; the same text if it is not encoded.
// Encoded are a length and a name of that length, or "Q", a count, "_" and that many of these; "__"
// and what describes template arguments may follow.
std::string decode_id(std::string_view encoded) {
    std::string_view rest = encoded;
    std::size_t parts = 1;
    if (rest.starts_with('Q')) {
        rest.remove_prefix(1);
        parts = take_number(rest);
        if (!rest.starts_with('_')) return std::string(encoded);
        rest.remove_prefix(1);
    }
    if (parts == 0) return std::string(encoded);
    std::string text;
    for (; parts > 0; --parts) {
        const std::size_t length = take_number(rest);
        if (length == 0 || length > rest.size()) return std::string(encoded);
        if (!text.empty()) text += "::";
        text += rest.substr(0, length);
        rest.remove_prefix(length);
    }
    return rest.empty() || rest.starts_with("__") ? text : std::string(encoded);
}
} // namespace

// One character stands before what is encoded.
bool TYPE_PKG::demangle_type_name(std::string_view name, std::string *own_name) {
    if (name.empty()) return false;
    name.remove_prefix(1);
    const std::string text = decode_id(name);
    if (text == name) return false;
    if (own_name) *own_name = text.substr(text.rfind(':') + 1); // all of it without a colon
    return true;
}
