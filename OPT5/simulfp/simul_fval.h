// simul_fval: the value of a floating constant, held bit by bit as the target would hold it.
#pragma once

#include <cstdint>
#include <string_view>

class TYPE;

// A plain value. The formats are IEEE-754 binary32 and binary64; a value of the narrower one is
// held widened, so `bits` alone tells two values of one type apart.
struct simul_fval {
    std::uint64_t bits = 0; // as binary64
    // The binary32 nearest to the number that was meant: of a text it need not be the one nearest
    // to `bits`, since rounding twice is not rounding once.
    std::uint32_t nearest_single = 0;
    std::uint32_t reserved = 0;
};
static_assert(sizeof(simul_fval) == 16, "the size is part of the record of a tree");

// In the format of a type, which decides what is subnormal.
enum class FVAL_CLASS : std::uint8_t { zero, subnormal, normal, infinite, nan };

// Reads a decimal or hexadecimal number, "inf", "infinity", "nan" or "nan(0x...)" (the 52 fraction
// bits of the binary64 pattern), with an optional sign. The result is not yet of any type: it goes
// through truncate_fval_to_target. Any other text ends the run with exit code 1.
simul_fval f_atof(std::string_view text);
// Rounds to nearest, ties to even, when the type is of 32 bits; types of any other size keep the
// binary64 value.
simul_fval truncate_fval_to_target(const simul_fval &value, const TYPE *type);
// The value in the form of "%a", "nan" and "nan(0x...)" as above; f_atof gives the same value back.
// The text stays good until the next call.
const char *f_hex_text(const simul_fval &value);

bool f_bit_eq(const simul_fval &a, const simul_fval &b); // a nan equals itself, 0 is not -0
bool f_is_negative(const simul_fval &value);             // by the sign bit
FVAL_CLASS f_classify(const simul_fval &value, const TYPE *type);
