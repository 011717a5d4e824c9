#include "tests/simp/facts.h"

#include "OPT5/scalar/simp.h"

namespace {
bool has_value(const NODE *tree) {
    switch (tree->op) {
    case OP::COMMA:
    case OP::COLON:
    case OP::LABEL:
    case OP::FIELD:
    case OP::CASE:
    case OP::DEFAULT: return false;
    default: return side_effects[tree->op] != SE_CONTROL;
    }
}

// What a value of the type stands for. INT65 takes pointers as short.
std::int64_t number(std::uint32_t value, const VALUE_TYPE &type, bool is_pointer = false) {
    if (!type.is_signed && !is_pointer) return value;
    return type.units == 1 ? static_cast<std::int16_t>(value) : static_cast<std::int32_t>(value);
}

bool is_within(std::int64_t value, const TYPE *type) {
    return INT65(value) >= int_type_min(type) && INT65(value) <= int_type_max(type);
}
} // namespace

FACTS::FACTS(const TREE_CODE &code) : code_(code) {
    const TYPE *types[] = {tp->basic_int(TYPE::SCHAR), tp->basic_int(TYPE::UCHAR), tp->int_type(),
                           tp->uint_type()};
    for (std::size_t i = 0; i < code.cells.size(); ++i) {
        const NODE *tree = code.cells[i].node;
        if (code.cells[i].type.kind != VALUE_TYPE::integer || !has_value(tree)) continue;
        CLAIMS claims{};
        claims.cell = i;
        claims.is_0_or_1 = returns_1_or_0(tree);
        find_value_range(tree, &claims.lo, &claims.hi, nullptr, nullptr);
        for (const TYPE *type : types) {
            claims.bits.push_back(
                {type, find_known_zeros(tree, type), find_known_ones(tree, type)});
            if (!tree->type->is_ptr() && value_fits_in_type(tree, type, nullptr, nullptr))
                claims.fits_in.push_back(type);
        }
        for (int divisor : {2, 3, 4, 5, 6, 8, 16, 256})
            if (!tree->type->is_ptr() &&
                constant_divides_expr(INT65(divisor), tree, nullptr, nullptr))
                claims.divisors.push_back(divisor);
        const bool is_number = tree->type->is_integer();
        claims.never_overflows =
            is_number &&
            ((tree->op == OP::MULT && !expr_product_may_overflow(tree, nullptr, nullptr)) ||
             ((tree->op == OP::PLUS || tree->op == OP::MINUS) &&
              !expr_sum_may_overflow(tree, nullptr, nullptr)));
        claims.is_exact =
            is_number && tree->op == OP::DIV && integer_DIV_is_exact(tree, nullptr, nullptr);
        claims_.push_back(std::move(claims));
    }
}

std::string FACTS::contradiction(const std::vector<EVALUATOR::REACHED> &values) const {
    for (const CLAIMS &claims : claims_) {
        if (!values[claims.cell].reached) continue;
        const std::string found = contradiction(claims, values);
        if (!found.empty()) return found + " of " + stmt2infix(code_.cells[claims.cell].node);
    }
    return {};
}

std::string FACTS::contradiction(const CLAIMS &claims,
                                 const std::vector<EVALUATOR::REACHED> &values) const {
    const TREE_CODE::CELL &cell = code_.cells[claims.cell];
    const std::uint32_t value = values[claims.cell].value;
    const std::int64_t is = number(value, cell.type, cell.node->type->is_ptr());
    const auto said = [is](const std::string &what) {
        return what + " (" + std::to_string(is) + ")";
    };
    if (claims.is_0_or_1 && is != 0 && is != 1) return said("returns_1_or_0");
    if (INT65(is) < claims.lo || INT65(is) > claims.hi)
        return said(std::string("range ") + int2text(claims.lo, nullptr) + " to " +
                    int2text(claims.hi, nullptr));
    for (const auto &bits : claims.bits) {
        const INT65 as_type(converted_value(value, cell.type, VALUE_TYPE(bits.type)));
        if (!(as_type & bits.zeros).is_zero())
            return said(std::string("known zeros ") + int2text(bits.zeros, nullptr, 16));
        if (!((as_type & bits.ones) == bits.ones))
            return said(std::string("known ones ") + int2text(bits.ones, nullptr, 16));
    }
    for (const TYPE *type : claims.fits_in)
        if (!is_within(is, type)) return said("value_fits_in_type " + type->printstr());
    for (int divisor : claims.divisors)
        if (is % divisor != 0) return said("constant_divides_expr " + std::to_string(divisor));
    if (!claims.never_overflows && !claims.is_exact) return {};
    const auto operand = [&](std::int32_t i) {
        const auto at = static_cast<std::size_t>(i);
        const TREE_CODE::CELL &of = code_.cells[at];
        return number(converted_value(values[at].value, of.type, cell.type), cell.type);
    };
    const std::int64_t x = operand(cell.left), y = operand(cell.right);
    if (claims.is_exact) return y != 0 && x % y != 0 ? said("integer_DIV_is_exact") : "";
    std::int64_t result = 0;
    const bool too_large = cell.op == OP::MULT   ? __builtin_mul_overflow(x, y, &result)
                           : cell.op == OP::PLUS ? __builtin_add_overflow(x, y, &result)
                                                 : __builtin_sub_overflow(x, y, &result);
    return too_large || result != is ? said("no overflow") : "";
}
