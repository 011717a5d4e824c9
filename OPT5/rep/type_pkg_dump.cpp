// What a package holds, for people. Everything comes in the order of unique ids.
#include "OPT5/rep/type_pkg.h"

#include <algorithm>

void TYPE::dump_based_list(std::FILE *stream) const {
    if (!based) return;
    std::vector<const TYPE *> types;
    for (const auto &[key, list] : *based)
        types.insert(types.end(), list.begin(), list.end());
    std::sort(types.begin(), types.end(),
              [](const TYPE *a, const TYPE *b) { return a->uid < b->uid; });
    for (const TYPE *type : types)
        std::fprintf(stream, "   %u: %s\n", type->uid, type->printstr().c_str());
}

void TYPE_PKG::dump_all(std::FILE *stream) const {
    for (const TYPE *type : registry)
        type->dump(stream);
}

void TYPE_PKG::print_stats(std::FILE *stream) const {
    static constexpr const char *names[] = {
        "void",      "integer",   "floating", "fixed point", "complex",           "pointer",
        "reference", "qualified", "typedef",  "array",       "pointer to member", "function",
        "enum",      "class",     "struct",   "union"};
    static_assert(std::size(names) == std::size(DB_STATS{}.registered));
    std::fprintf(stream, "\n%-18s%10s%10s\n", "types", "kept", "dupl.");
    for (std::size_t kind = 0; kind < std::size(names); ++kind)
        if (statistics.registered[kind] != 0)
            std::fprintf(stream, "%-18s%10u%10u\n", names[kind], statistics.registered[kind],
                         statistics.duplicates[kind]);
}
