// Names of classes and enums: those that stand in for a missing one, and encoded ones.
#include "OPT5/rep/type_pkg.h"

#include <cctype>

bool TYPE_PKG::is_fake_name(std::string_view name) {
    return name.starts_with(fake_name_prefix);
}

const char *TYPE_PKG::fix_fake_name(const char *name) {
    return is_fake_name(name) ? "<unnamed>" : name;
}

// Encoded are a length and a name of that length, or "Q", a count, "_" and that many of these;
// "__" and what describes template arguments may follow. One character stands before.
bool TYPE_PKG::demangle_type_name(std::string_view name) {
    if (name.empty()) return false;
    name.remove_prefix(1);
    const auto number = [&name]() -> std::size_t {
        std::size_t n = 0;
        while (!name.empty() && std::isdigit(static_cast<unsigned char>(name[0])) && n < 1000) {
            n = n * 10 + static_cast<std::size_t>(name[0] - '0');
            name.remove_prefix(1);
        }
        return n;
    };
    std::size_t parts = 1;
    if (name.starts_with('Q')) {
        name.remove_prefix(1);
        parts = number();
        if (!name.starts_with('_')) return false;
        name.remove_prefix(1);
    }
    if (parts == 0) return false;
    for (; parts > 0; --parts) {
        const std::size_t length = number();
        if (length == 0 || length > name.size()) return false;
        name.remove_prefix(length);
    }
    return name.empty() || name.starts_with("__");
}
