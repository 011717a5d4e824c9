// Arithmetic on simulated floating values. The host's float and double have the target's formats
// and round as it does, so each operation is one host operation in the width of the type; binary32
// is never computed in double and rounded again. What went wrong is found from operands and result
// alone, without the host's floating-point environment.
#include "OPT5/simulfp/simul_fval.h"

#include "OPT5/rep/types.h"

#include <bit>
#include <cmath>
#include <limits>

static_assert(std::numeric_limits<float>::is_iec559 && std::numeric_limits<double>::is_iec559);

namespace {
constexpr std::uint64_t sign_bit = std::uint64_t(1) << 63;

double number(const simul_fval &value) {
    return std::bit_cast<double>(value.bits);
}

simul_fval value_of(double wide) {
    return {std::bit_cast<std::uint64_t>(wide),
            std::bit_cast<std::uint32_t>(static_cast<float>(wide)), 0};
}

void report(unsigned *errors, unsigned found) {
    if (errors) *errors |= found;
}

// The residue of an operation: 0 when, and only when, the result is the true one. A result that is
// subnormal, or a residue that would be, is taken for inexact.
template <class F> bool sum_is_exact(F a, F b, F sum) {
    const F of_b = sum - a, of_a = sum - of_b;
    return (a - of_a) + (b - of_b) == 0;
}
template <class F> bool is_tiny(F result) {
    constexpr F margin = std::numeric_limits<F>::min() / std::numeric_limits<F>::epsilon();
    return result != 0 && std::fabs(result) < margin;
}
template <class F> bool product_is_exact(F a, F b, F product) {
    if (product == 0) return a == 0 || b == 0;
    return !is_tiny(product) && std::fma(a, b, -product) == 0;
}
template <class F> bool quotient_is_exact(F a, F b, F quotient) {
    if (quotient == 0) return a == 0;
    return !is_tiny(a) && !is_tiny(quotient) && std::fma(quotient, b, -a) == 0;
}
template <class F> bool root_is_exact(F a, F root) {
    return a == 0 || (!is_tiny(a) && std::fma(root, root, -a) == 0);
}

// `is_exact` is asked about finite results of finite operands only.
template <class F, class Exact>
unsigned errors_of(F a, F b, F result, bool divides_by_zero, Exact is_exact) {
    if (std::isnan(result)) return FVE_invalid;
    if (!std::isfinite(a) || !std::isfinite(b)) return 0;
    if (divides_by_zero) return FVE_divide_by_zero;
    if (std::isinf(result)) return FVE_overflow | FVE_inexact;
    return is_exact() ? 0u : unsigned(FVE_inexact);
}

enum class OPERATION { add, mul, div, sqrt };

template <class F> simul_fval compute(OPERATION op, F a, F b, unsigned *errors) {
    F result = 0;
    unsigned found = 0;
    switch (op) {
    case OPERATION::add:
        result = a + b;
        found = errors_of(a, b, result, false, [&] { return sum_is_exact(a, b, result); });
        break;
    case OPERATION::mul:
        result = a * b;
        found = errors_of(a, b, result, false, [&] { return product_is_exact(a, b, result); });
        break;
    case OPERATION::div:
        result = a / b;
        found = errors_of(a, b, result, b == 0, [&] { return quotient_is_exact(a, b, result); });
        break;
    case OPERATION::sqrt:
        result = std::sqrt(a);
        found = errors_of(a, b, result, false, [&] { return root_is_exact(a, result); });
        break;
    }
    report(errors, found);
    return value_of(static_cast<double>(result));
}

simul_fval compute(OPERATION op, const simul_fval &a, const simul_fval &b, const TYPE *type,
                   unsigned *errors) {
    if (type->size() == 32)
        return compute(op, static_cast<float>(number(a)), static_cast<float>(number(b)), errors);
    return compute(op, number(a), number(b), errors);
}

simul_fval with_sign(const simul_fval &value, bool negative) {
    constexpr std::uint32_t single_sign = 0x80000000;
    return {(value.bits & ~sign_bit) | (negative ? sign_bit : 0),
            (value.nearest_single & ~single_sign) | (negative ? single_sign : 0), 0};
}
} // namespace

simul_fval f_add(const simul_fval &a, const simul_fval &b, const TYPE *type, unsigned *errors) {
    return compute(OPERATION::add, a, b, type, errors);
}

simul_fval f_sub(const simul_fval &a, const simul_fval &b, const TYPE *type, unsigned *errors) {
    return compute(OPERATION::add, a, f_neg(b), type, errors);
}

simul_fval f_mul(const simul_fval &a, const simul_fval &b, const TYPE *type, unsigned *errors) {
    return compute(OPERATION::mul, a, b, type, errors);
}

simul_fval f_div(const simul_fval &a, const simul_fval &b, const TYPE *type, unsigned *errors) {
    return compute(OPERATION::div, a, b, type, errors);
}

simul_fval f_sqrt(const simul_fval &a, const TYPE *type, unsigned *errors) {
    return compute(OPERATION::sqrt, a, {}, type, errors);
}

simul_fval f_neg(const simul_fval &a) {
    return with_sign(a, !f_is_negative(a));
}

simul_fval f_abs(const simul_fval &a) {
    return with_sign(a, false);
}

FVAL_ORDER f_compare(const simul_fval &a, const simul_fval &b) {
    const double left = number(a), right = number(b);
    return left < right    ? FVAL_ORDER::less
           : left > right  ? FVAL_ORDER::greater
           : left == right ? FVAL_ORDER::equal
                           : FVAL_ORDER::unordered;
}

simul_fval f_from_int(const INT65 &value, const TYPE *type, unsigned *errors) {
    const bool negative = value.is_negative();
    const std::uint64_t magnitude = (negative ? -value : value).low64();
    const bool single = type->size() == 32;
    double wide = single ? static_cast<double>(static_cast<float>(magnitude))
                         : static_cast<double>(magnitude);
    constexpr double two_to_64 = 18446744073709551616.0;
    if (magnitude == 0 && negative) wide = two_to_64;
    const bool exact =
        wide < two_to_64 ? static_cast<std::uint64_t>(wide) == magnitude : magnitude == 0;
    if (!exact) report(errors, FVE_inexact);
    return value_of(negative ? -wide : wide);
}

INT65 f_to_int(const simul_fval &value, const TYPE *type, unsigned *errors) {
    const double wide = number(value);
    if (!std::isfinite(wide)) {
        report(errors, FVE_invalid);
        return 0;
    }
    const double whole = std::trunc(wide);
    if (whole != wide) report(errors, FVE_inexact);
    constexpr double two_to_64 = 18446744073709551616.0;
    const double low = std::fmod(std::fabs(whole), two_to_64);
    const INT65 magnitude(static_cast<std::uint64_t>(low));
    const INT65 truncated = truncate_to_type(whole < 0 ? -magnitude : magnitude, type);
    const bool fits =
        std::fabs(whole) < two_to_64 && truncated == (whole < 0 ? -magnitude : magnitude);
    if (!fits) report(errors, FVE_invalid);
    return truncated;
}
