// Texts, formats and comparison of simulated floating values. The host's float and double have the
// target's formats, and its library rounds texts correctly; only a nan is taken apart by hand,
// since host arithmetic would not keep its bits.
#include "OPT5/simulfp/simul_fval.h"

#include "OPT5/icode/records/if_exit.h"
#include "OPT5/rep/types.h"

#include <bit>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <optional>
#include <string>

namespace {
static_assert(std::numeric_limits<float>::is_iec559 && std::numeric_limits<double>::is_iec559);

constexpr std::uint64_t sign_bit = std::uint64_t(1) << 63;
constexpr std::uint64_t fraction_mask = (std::uint64_t(1) << 52) - 1;
constexpr std::uint64_t quiet_bit = std::uint64_t(1) << 51;
constexpr std::uint64_t infinity_bits = ~(sign_bit | fraction_mask);
constexpr int narrower_fraction = 29; // bits that a binary32 has less
constexpr std::uint32_t single_infinity_bits = 0x7f800000, single_quiet_bit = 0x00400000;

bool is_nan(std::uint64_t bits) {
    return (bits & ~sign_bit) > infinity_bits;
}

// A nan keeps its high fraction bits, and stays a nan when those are all 0.
std::uint32_t narrow(std::uint64_t bits) {
    if (!is_nan(bits))
        return std::bit_cast<std::uint32_t>(static_cast<float>(std::bit_cast<double>(bits)));
    const auto sign = static_cast<std::uint32_t>((bits & sign_bit) >> 32);
    const auto fraction = static_cast<std::uint32_t>((bits & fraction_mask) >> narrower_fraction);
    return sign | single_infinity_bits | (fraction ? fraction : single_quiet_bit);
}

std::uint64_t widen(std::uint32_t bits) {
    const std::uint64_t sign = std::uint64_t(bits >> 31) << 63, magnitude = bits & 0x7fffffff;
    if (magnitude > single_infinity_bits)
        return sign | infinity_bits | (magnitude - single_infinity_bits) << narrower_fraction;
    return std::bit_cast<std::uint64_t>(static_cast<double>(std::bit_cast<float>(bits)));
}

simul_fval of_bits(std::uint64_t bits) {
    return {bits, narrow(bits), 0};
}

// The "(0x...)" behind a "nan".
std::optional<std::uint64_t> nan_fraction(std::string_view text) {
    if (!text.starts_with("(0x") || !text.ends_with(")")) return std::nullopt;
    text = text.substr(3, text.size() - 4);
    std::uint64_t fraction = 0;
    const auto [end, failure] =
        std::from_chars(text.data(), text.data() + text.size(), fraction, 16);
    if (failure != std::errc() || end != text.data() + text.size()) return std::nullopt;
    if (fraction == 0 || fraction > fraction_mask) return std::nullopt;
    return fraction;
}

std::optional<simul_fval> value_of_text(std::string_view text) {
    const bool negative = text.starts_with('-');
    if (negative || text.starts_with('+')) text.remove_prefix(1);
    const std::uint64_t sign = negative ? sign_bit : 0;
    if (text.starts_with("nan")) {
        text.remove_prefix(3);
        const auto fraction = text.empty() ? quiet_bit : nan_fraction(text);
        if (!fraction) return std::nullopt;
        return of_bits(sign | infinity_bits | *fraction);
    }
    if (text == "inf" || text == "infinity") return of_bits(sign | infinity_bits);
    // What is left begins with a digit or a point; the library would skip blanks and signs.
    if (text.find_first_of("0123456789.") != 0) return std::nullopt;
    const std::string terminated(text);
    char *end = nullptr;
    const double wide = std::strtod(terminated.c_str(), &end);
    if (end != terminated.c_str() + terminated.size()) return std::nullopt;
    const float single = std::strtof(terminated.c_str(), nullptr);
    return simul_fval{sign | std::bit_cast<std::uint64_t>(wide),
                      static_cast<std::uint32_t>(sign >> 32) | std::bit_cast<std::uint32_t>(single),
                      0};
}

bool is_single(const TYPE *type) {
    return type->size() == 32;
}
} // namespace

simul_fval f_atof(std::string_view text) {
    const auto value = value_of_text(text);
    if (!value) {
        std::printf("\nINTERNAL ERROR: Invalid floating constant in I-code, aborting\n");
        if_exit(1);
    }
    return *value;
}

simul_fval truncate_fval_to_target(const simul_fval &value, const TYPE *type) {
    return of_bits(is_single(type) ? widen(value.nearest_single) : value.bits);
}

const char *f_hex_text(const simul_fval &value) {
    static char text[40]; // "-0x1.", 13 digits, "p-1022"; "-nan(0x", 13 digits, ")"
    const std::uint64_t fraction = value.bits & fraction_mask;
    const char *sign = f_is_negative(value) ? "-" : "";
    if (!is_nan(value.bits))
        std::snprintf(text, sizeof text, "%a", std::bit_cast<double>(value.bits));
    else if (fraction == quiet_bit)
        std::snprintf(text, sizeof text, "%snan", sign);
    else
        std::snprintf(text, sizeof text, "%snan(0x%llx)", sign,
                      static_cast<unsigned long long>(fraction));
    return text;
}

bool f_bit_eq(const simul_fval &a, const simul_fval &b) {
    return a.bits == b.bits;
}

bool f_is_negative(const simul_fval &value) {
    return (value.bits & sign_bit) != 0;
}

FVAL_CLASS f_classify(const simul_fval &value, const TYPE *type) {
    const std::uint64_t magnitude = value.bits & ~sign_bit;
    const double smallest_normal =
        is_single(type) ? std::numeric_limits<float>::min() : std::numeric_limits<double>::min();
    if (magnitude > infinity_bits) return FVAL_CLASS::nan;
    if (magnitude == infinity_bits) return FVAL_CLASS::infinite;
    if (magnitude == 0) return FVAL_CLASS::zero;
    return std::bit_cast<double>(magnitude) < smallest_normal ? FVAL_CLASS::subnormal
                                                              : FVAL_CLASS::normal;
}
