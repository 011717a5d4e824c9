// simul_fval: the value of a floating constant, held bit by bit as the target would hold it.
#pragma once

#include "OPT5/rep/int65.h"

#include <cstdint>
#include <string_view>

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

// --- arithmetic, simul_arith.cpp. Operands and results are values of the type, in whose format each
// operation is exact but for one rounding to nearest, ties to even.
enum FVAL_ERROR : unsigned {
    FVE_inexact = 1,        // the result is not the true one
    FVE_overflow = 2,       // beyond the largest number of the format
    FVE_invalid = 4,        // a nan, or no value of an integer type
    FVE_divide_by_zero = 8, // infinity from finite operands
    FVE_serious = FVE_overflow | FVE_invalid | FVE_divide_by_zero,
};
// `errors` collects what happened and is never cleared; it may be null.
simul_fval f_add(const simul_fval &a, const simul_fval &b, const TYPE *type, unsigned *errors);
simul_fval f_sub(const simul_fval &a, const simul_fval &b, const TYPE *type, unsigned *errors);
simul_fval f_mul(const simul_fval &a, const simul_fval &b, const TYPE *type, unsigned *errors);
simul_fval f_div(const simul_fval &a, const simul_fval &b, const TYPE *type, unsigned *errors);
simul_fval f_sqrt(const simul_fval &a, const TYPE *type, unsigned *errors);
simul_fval f_neg(const simul_fval &a); // of any value, a nan too
simul_fval f_abs(const simul_fval &a);

enum class FVAL_ORDER : std::uint8_t { less, equal, greater, unordered };
FVAL_ORDER f_compare(const simul_fval &a, const simul_fval &b); // 0 equals -0

// The integer in the floating type. The value is the true one, not its bits.
simul_fval f_from_int(const INT65 &value, const TYPE *type, unsigned *errors);
// Truncated toward zero; outside the range of the integer type the low bits of that, and the error.
// Infinities and nans give 0.
INT65 f_to_int(const simul_fval &value, const TYPE *type, unsigned *errors);
