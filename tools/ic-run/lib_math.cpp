// <math.h>: all floating types are binary32, and each function is the host's function on float.
#include "tools/ic-run/library.h"

#include <cmath>

namespace {
template <float (*function)(float)> std::uint32_t unary(LIBRARY_CALL &call) {
    return float_result(function(call.real()));
}

template <float (*function)(float, float)> std::uint32_t binary(LIBRARY_CALL &call) {
    const float x = call.real();
    return float_result(function(x, call.real()));
}

std::uint32_t lib_frexp(LIBRARY_CALL &call) {
    const float x = call.real();
    int exponent = 0; // also for infinities and NaNs
    const float fraction = std::frexp(x, &exponent);
    call.machine.store32(call.word(), static_cast<std::uint32_t>(exponent));
    return float_result(fraction);
}

std::uint32_t lib_ldexp(LIBRARY_CALL &call) {
    const float x = call.real();
    return float_result(std::ldexp(x, static_cast<std::int32_t>(call.dword())));
}

std::uint32_t lib_modf(LIBRARY_CALL &call) {
    const float x = call.real();
    float whole = 0;
    const float fraction = std::modf(x, &whole);
    call.machine.store_float(call.word(), whole);
    return float_result(fraction);
}

// Outside the range of long the low bits of the rounded value; 0 for infinities and NaNs.
std::uint32_t lib_lround(LIBRARY_CALL &call) {
    const double rounded = std::round(call.real());
    if (!std::isfinite(rounded)) return 0;
    return static_cast<std::uint32_t>(static_cast<std::int64_t>(std::fmod(rounded, 0x1p32)));
}

constexpr LIBRARY_ENTRY entries[] = {
    {"acos", unary<std::acos>},
    {"acosf", unary<std::acos>},
    {"asin", unary<std::asin>},
    {"asinf", unary<std::asin>},
    {"atan", unary<std::atan>},
    {"atanf", unary<std::atan>},
    {"ceil", unary<std::ceil>},
    {"ceilf", unary<std::ceil>},
    {"cos", unary<std::cos>},
    {"cosf", unary<std::cos>},
    {"cosh", unary<std::cosh>},
    {"coshf", unary<std::cosh>},
    {"exp", unary<std::exp>},
    {"expf", unary<std::exp>},
    {"exp2", unary<std::exp2>},
    {"exp2f", unary<std::exp2>},
    {"fabs", unary<std::fabs>},
    {"fabsf", unary<std::fabs>},
    {"floor", unary<std::floor>},
    {"floorf", unary<std::floor>},
    {"log", unary<std::log>},
    {"logf", unary<std::log>},
    {"log10", unary<std::log10>},
    {"log10f", unary<std::log10>},
    {"log2", unary<std::log2>},
    {"log2f", unary<std::log2>},
    {"round", unary<std::round>},
    {"roundf", unary<std::round>},
    {"sin", unary<std::sin>},
    {"sinf", unary<std::sin>},
    {"sinh", unary<std::sinh>},
    {"sinhf", unary<std::sinh>},
    {"sqrt", unary<std::sqrt>},
    {"sqrtf", unary<std::sqrt>},
    {"tan", unary<std::tan>},
    {"tanf", unary<std::tan>},
    {"tanh", unary<std::tanh>},
    {"tanhf", unary<std::tanh>},
    {"trunc", unary<std::trunc>},
    {"truncf", unary<std::trunc>},
    {"atan2", binary<std::atan2>},
    {"atan2f", binary<std::atan2>},
    {"copysign", binary<std::copysign>},
    {"copysignf", binary<std::copysign>},
    {"fmax", binary<std::fmax>},
    {"fmaxf", binary<std::fmax>},
    {"fmin", binary<std::fmin>},
    {"fminf", binary<std::fmin>},
    {"fmod", binary<std::fmod>},
    {"fmodf", binary<std::fmod>},
    {"hypot", binary<std::hypot>},
    {"hypotf", binary<std::hypot>},
    {"pow", binary<std::pow>},
    {"powf", binary<std::pow>},
    {"frexp", lib_frexp},
    {"frexpf", lib_frexp},
    {"ldexp", lib_ldexp},
    {"ldexpf", lib_ldexp},
    {"modf", lib_modf},
    {"modff", lib_modf},
    {"lround", lib_lround},
    {"lroundf", lib_lround},
};
} // namespace

constexpr std::span<const LIBRARY_ENTRY> math_functions = entries;
