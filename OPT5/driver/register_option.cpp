#include "OPT5/driver/register_option.h"

#include "OPT5/driver/abort.h"

#include <algorithm>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string.h>

namespace {
constexpr std::size_t key_limit = 512; // with the final zero
constexpr std::size_t growth = 100;    // pairs by which the array grows at least

struct ASSOC_PAIR {
    std::string key;
    int value;
};

// The pairs in use, by key. Inserts append, and the next look-up sorts: option lists come from the
// input file too, so that sorting on each insert could be made to take very long.
struct ASSOC_ARRAY {
    std::vector<ASSOC_PAIR> pairs;
    bool sorted = true;
};

ASSOC_ARRAY &assoc_array() {
    static ASSOC_ARRAY array;
    return array;
}

// Of several pairs with one key the one inserted last stays.
void sort_pairs(ASSOC_ARRAY &array) {
    std::vector<ASSOC_PAIR> &pairs = array.pairs;
    std::stable_sort(pairs.begin(), pairs.end(),
                     [](const ASSOC_PAIR &a, const ASSOC_PAIR &b) { return a.key < b.key; });
    const auto last_ones =
        std::unique(pairs.rbegin(), pairs.rend(),
                    [](const ASSOC_PAIR &a, const ASSOC_PAIR &b) { return a.key == b.key; });
    pairs.erase(pairs.begin(), last_ones.base());
    array.sorted = true;
}

ASSOC_PAIR *find_pair(const char *key) {
    ASSOC_ARRAY &array = assoc_array();
    if (!array.sorted) sort_pairs(array);
    std::size_t low = 0, high = array.pairs.size();
    while (low < high) {
        const std::size_t middle = (low + high) / 2;
        const int order = std::strcmp(key, array.pairs[middle].key.c_str());
        if (order == 0) return &array.pairs[middle];
        if (order < 0)
            high = middle;
        else
            low = middle + 1;
    }
    return nullptr;
}

void insert_pair(const char *key, int value) {
    ASSOC_ARRAY &array = assoc_array();
    if (array.sorted) {
        if (ASSOC_PAIR *pair = find_pair(key)) {
            pair->value = value;
            return;
        }
    }
    std::vector<ASSOC_PAIR> &pairs = array.pairs;
    if (pairs.size() == pairs.capacity()) { // repeated keys give their places back first
        sort_pairs(array);
        if (pairs.size() >= pairs.capacity() / 2)
            pairs.reserve(pairs.capacity() + std::max(growth, pairs.capacity() / 2));
    }
    pairs.push_back({key, value});
    array.sorted = false;
}

bool is_on(const char *prefix, const char *name) {
    char key[key_limit];
    const int length = std::snprintf(key, sizeof key, "%s:%s", prefix, name);
    if (length < 0 || static_cast<std::size_t>(length) >= sizeof key) return false;
    const ASSOC_PAIR *pair = find_pair(key);
    return pair && pair->value != 0;
}
} // namespace

bool pass_disable(const char *name) {
    return is_on("disable", name);
}
bool pass_enable(const char *name) {
    return is_on("enable", name);
}
bool pass_debug(const char *name) {
    return is_on("debug", name);
}

void process_debug_option(const char *prefix, const char *list) {
    std::string text = list;
    char *rest = text.data();
    while (char *element = strsep(&rest, ",")) {
        int value = 1;
        if (char *equals = std::strchr(element, '=')) {
            const long number = std::strtol(equals + 1, nullptr, 0);
            value = static_cast<int>(std::clamp<long>(number, INT_MIN, INT_MAX));
            *equals = '\0';
        }
        char key[key_limit];
        const int length = std::snprintf(key, sizeof key, "%s:%s", prefix, element);
        if (length < 0 || static_cast<std::size_t>(length) >= sizeof key)
            abort_optimizer("The name of a debug control is too long");
        insert_pair(key, value);
    }
}

void reset_debug_options() {
    assoc_array() = {};
}

std::vector<std::unique_ptr<const std::string>> &register_option::options() {
    static std::vector<std::unique_ptr<const std::string>> table;
    return table;
}

const char *register_option::find(const char *key) {
    for (const auto &known : options())
        if (*known == key) return known->c_str();
    return nullptr;
}

register_option::register_option(const char *key) : key_(find(key)) {
    if (!key_) key_ = options().emplace_back(std::make_unique<const std::string>(key))->c_str();
}

register_option::operator int() const {
    const ASSOC_PAIR *pair = find_pair(key_);
    return pair ? pair->value : 0;
}

bool register_option::is_given() const {
    return find_pair(key_) != nullptr;
}

register_option::operator bool() const {
    return static_cast<int>(*this) != 0;
}

register_option &register_option::operator=(int value) {
    insert_pair(key_, value);
    return *this;
}

bool register_option::is_registered(const char *key) {
    return find(key) != nullptr;
}
unsigned register_option::num() {
    return static_cast<unsigned>(options().size());
}
