// Named switches for those who work on the optimizer: keys "debug:NAME", "disable:NAME" and
// "enable:NAME" with an integer value each.
#pragma once

#include <memory>
#include <string>
#include <vector>

// Whether the key has a value other than 0. A name that no option set is false.
bool pass_disable(const char *name);
bool pass_enable(const char *name);
bool pass_debug(const char *name);

// Sets the keys of a comma-separated list of names, each with an optional "=value" (default 1; the
// base goes by the prefix, 0x or 0). `prefix` is "debug", "disable" or "enable". A key of 512
// characters or more ends the run.
void process_debug_option(const char *prefix, const char *list);

// Forgets all values, so that one process can go through several runs.
void reset_debug_options();

// A control in the source: a static object that holds its key. Objects of the same key share it.
class register_option {
public:
    explicit register_option(const char *key); // in full, "debug:SIMD"

    operator int() const; // 0 when no value was set
    explicit operator bool() const;
    bool is_given() const; // whether a value was set, be it 0
    register_option &operator=(int value); // sets the value for the rest of the run
    void dump() const {}

    const char *text() const { return key_; }
    static bool is_registered(const char *key);
    static unsigned num(); // keys in the table

private:
    // Filled by the constructors of static objects in all source files, and so made at first use.
    // Owns the texts of the keys.
    static std::vector<std::unique_ptr<const std::string>> &options();
    static const char *find(const char *key); // the shared text, or null

    const char *key_;
};
