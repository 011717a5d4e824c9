// A machine of the interpreter without a program: calls library functions with arguments laid out
// as a program's call would.
#pragma once

#include "tools/ic-run/machine.h"

#include <gtest/gtest.h>

#include <bit>
#include <functional>
#include <string>
#include <vector>

struct POINTER {
    std::uint32_t address;
    bool operator==(const POINTER &) const = default;
};

class LIBRARY_MACHINE : public MACHINE {
public:
    using FUNCTION = std::function<std::uint32_t(std::span<const ARGUMENT>)>;

    explicit LIBRARY_MACHINE(bool check_accesses) : MACHINE(check_accesses) {
        stack_end_ = heap_bottom;
        heap_start_ = heap_top;
    }

    // An object at an even address, with a unit between it and the next one.
    std::uint32_t place(std::uint32_t units, bool written = true) {
        const std::uint32_t address = next_;
        next_ += (units + 2) & ~1u;
        EXPECT_LE(next_, std::uint32_t{arguments_at});
        begin_object(address, units, written);
        return address;
    }
    POINTER string(std::u16string_view text) {
        std::uint32_t address = place(static_cast<std::uint32_t>(text.size()) + 1);
        const POINTER start = {address};
        for (char16_t unit : text)
            store16(address++, unit);
        store16(address, 0);
        return start;
    }
    POINTER string(std::string_view text) {
        return string(std::u16string(text.begin(), text.end()));
    }
    void lay_out(const std::vector<std::uint16_t> &arguments) {
        end_objects(arguments_at, memory_units - arguments_at - heap_size);
        begin_object(arguments_at, static_cast<std::uint32_t>(arguments.size()), true);
        std::uint32_t at = arguments_at;
        for (std::uint16_t unit : arguments)
            store16(at++, unit);
    }
    // Fills the memory from address 1 with a unit.
    void flood(std::uint16_t unit) { std::fill(memory_, memory_ + memory_units, unit); }
    // The next place() begins at the start again.
    void forget_places() { next_ = 2; }

    std::uint32_t call(std::uint32_t function, std::span<const ARGUMENT> arguments) override {
        if (function >= functions.size()) throw RUN_ERROR{RF_trap, "no such function"};
        return functions[function](arguments);
    }

    std::vector<FUNCTION> functions; // of the program, by number
    static constexpr std::uint32_t arguments_at = 0xa000;
    static constexpr std::uint32_t heap_size = 0x4000, heap_bottom = 0xc000, heap_top = 0xfff0;

private:
    std::uint32_t next_ = 2;
};

// Arguments of a call, in units of memory.
class ARGUMENT_LIST {
public:
    explicit ARGUMENT_LIST(LIBRARY_MACHINE &machine) : machine_(machine) {}

    void add(POINTER p) { units_.push_back(static_cast<std::uint16_t>(p.address)); }
    void add(const char *text) { add(machine_.string(text)); }
    void add(const char16_t *text) { add(machine_.string(text)); }
    void add(std::uint32_t value) {
        if (units_.size() % 2) units_.push_back(0xdead);
        units_.push_back(static_cast<std::uint16_t>(value));
        units_.push_back(static_cast<std::uint16_t>(value >> 16));
    }
    void add(int value) { add(static_cast<std::uint32_t>(value)); }
    void add(long value) { add(static_cast<std::uint32_t>(value)); }
    void add(float value) { add(std::bit_cast<std::uint32_t>(value)); }
    void add(double value) { add(static_cast<float>(value)); }
    const std::vector<std::uint16_t> &units() const { return units_; }

private:
    LIBRARY_MACHINE &machine_;
    std::vector<std::uint16_t> units_;
};

class RunLibrary : public testing::Test {
protected:
    static constexpr POINTER in = {1}, out = {2}, error = {3}, null = {0};

    template <typename... ARGUMENTS>
    std::uint32_t run(std::string_view name, const ARGUMENTS &...arguments) {
        return run_on(machine, name, arguments...);
    }
    template <typename... ARGUMENTS>
    static std::uint32_t run_on(LIBRARY_MACHINE &on, std::string_view name,
                                const ARGUMENTS &...arguments) {
        ARGUMENT_LIST list(on);
        (list.add(arguments), ...);
        on.lay_out(list.units());
        return run_laid_out(on, name);
    }
    static std::uint32_t run_laid_out(LIBRARY_MACHINE &on, std::string_view name) {
        const LIBRARY_FUNCTION function = find_library_function(name);
        EXPECT_TRUE(function) << name;
        if (!function) return 0;
        LIBRARY_CALL call = {on, LIBRARY_MACHINE::arguments_at};
        return function(call);
    }
    template <typename... ARGUMENTS>
    float run_float(std::string_view name, const ARGUMENTS &...arguments) {
        return std::bit_cast<float>(run(name, arguments...));
    }
    template <typename... ARGUMENTS>
    std::int32_t run_int(std::string_view name, const ARGUMENTS &...arguments) {
        return static_cast<std::int32_t>(run(name, arguments...));
    }
    template <typename... ARGUMENTS>
    POINTER run_pointer(std::string_view name, const ARGUMENTS &...arguments) {
        return {run(name, arguments...) & 0xffff};
    }
    // What ends the run, -1 when nothing does.
    template <typename... ARGUMENTS>
    int fault(std::string_view name, const ARGUMENTS &...arguments) {
        return fault_on(machine, name, arguments...);
    }
    template <typename... ARGUMENTS>
    static int fault_on(LIBRARY_MACHINE &on, std::string_view name, const ARGUMENTS &...arguments) {
        try {
            run_on(on, name, arguments...);
        } catch (const RUN_ERROR &e) {
            EXPECT_FALSE(e.text.empty()) << name;
            return e.fault;
        }
        return -1;
    }
    std::string text_at(POINTER p) { return machine.load_string(p.address); }
    std::u16string units_at(std::uint32_t address, std::uint32_t units) {
        std::u16string text;
        for (std::uint32_t i = 0; i < units; ++i)
            text.push_back(machine.load16(address + i));
        return text;
    }

    LIBRARY_MACHINE machine{true};
};
