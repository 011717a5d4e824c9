// Tables of comparisons, truth values and choices, and comparisons of one variable run for each of
// its values.
#pragma once

#include "OPT5/builtins/bif.h"
#include "tests/simp/simp_fixture.h"

class CompareTest : public SimpTest {
protected:
    void SetUp() override {
        SimpTest::SetUp();
        init_BIF_descriptors();
        // Locals that can stay in registers, as most are.
        for (auto &[variable, sym] : symbols)
            if (sym->level && sym->type->is_scalar() && !sym->type->is_volatile())
                sym->attr &= static_cast<std::uint8_t>(~SA_aliased);
    }

    // The text with a variable in all places of "@".
    static std::string of_variable(std::string text, const char *variable) {
        for (std::size_t found; (found = text.find('@')) != std::string::npos;)
            text.replace(found, 1, variable);
        return text;
    }

    // Before and after for values of a 16-bit variable: all near 0 and near both ends of the signed
    // ones, and some of the others; or all.
    void same_values(const std::string &text, const char *variable, bool all = false) {
        const NODE *before = parse(text), *after = simp_tree(parse(text));
        TREE_MACHINE machine;
        for (std::uint32_t value = 0; value < 0x10000; ++value) {
            const std::uint32_t place = (value + 80) % 0x8000;
            if (!all && place > 340 && place % 251 != 0) continue;
            machine.set(symbols[variable], value);
            const std::uint32_t expected = machine.value(before), got = machine.value(after);
            if (expected == got) continue;
            ADD_FAILURE() << text << " is " << stmt2infix(after) << "\nfor " << value << ": " << got
                          << " instead of " << expected;
            return;
        }
    }
};
