// What is known of values: tables of what must be known, and random trees on random values of which
// nothing untrue may be known.
#include "tests/simp/simp_fixture.h"

namespace {
// Expressions in the language of the fixture.
class EXPRESSIONS {
public:
    explicit EXPRESSIONS(unsigned seed) : random(seed) {}

    std::string next(int depth) {
        if (depth == 0 || random() % 8 == 0) return leaf();
        const std::string a = next(depth - 1), b = next(depth - 1);
        switch (random() % 12) {
        case 0: return pick({"-", "~", "!"}) + "(" + a + ")";
        case 1:
        case 2: return "(" + pick({"int", "unsigned", "short", "ushort", "bool"}) + ")(" + a + ")";
        case 3: return "(" + a + " ? " + b + " : " + next(depth - 1) + ")";
        case 4: return "((" + a + ")" + pick({" / ", " % "}) + constant() + ")";
        case 5: return "((" + a + ")" + pick({" / ", " % "}) + "(" + b + "))";
        case 6:
        case 7:
            return "((" + a + ")" + pick({" << ", " >> "}) + pick({"1", "3", "8", "15", "20"}) +
                   ")";
        case 8: return "((" + a + ")" + pick({" & ", " | ", " ^ "}) + constant() + ")";
        case 9: return "((" + a + ")" + pick({" + ", " - ", " * "}) + constant() + ")";
        case 10:
            return "((" + a + ")" + pick({" < ", " == ", " >= ", " && ", " || "}) + "(" + b + "))";
        default:
            return "((" + a + ")" + pick({" + ", " - ", " * ", " & ", " | ", " ^ "}) + "(" + b +
                   "))";
        }
    }

private:
    std::mt19937 random;

    std::string pick(std::initializer_list<const char *> of) {
        return *(of.begin() + random() % of.size());
    }
    std::string constant() {
        return pick({"1", "2", "3", "-1", "-4", "7", "8", "10", "255", "256", "-256", "32767",
                     "-32768", "65535", "65536", "2147483647", "1u", "240u", "4294967295u"});
    }
    std::string leaf() {
        return pick({"i", "j", "u", "v", "s", "t", "us", "ut", "b", "o.lo", "o.hi", "o.n", "1",
                     "-8", "255"});
    }
};

// The value as its type holds it.
std::int64_t number(std::uint32_t value, const TYPE *type) {
    if (type->size() == 16)
        return type->is_signed() ? static_cast<std::int16_t>(value) : std::int64_t{value};
    return type->is_signed() ? static_cast<std::int32_t>(value) : std::int64_t{value};
}

struct FACT_ROW {
    const char *text;
    std::uint32_t zeros, ones;
    long long lo, hi;
};
constexpr long long int_min = -2147483647LL - 1, int_max = 2147483647;

class FactsTest : public SimpTest {
protected:
    // Values of all variables; the edges of their types are frequent.
    void set_variables(TREE_MACHINE &machine, std::mt19937 &random) {
        static constexpr std::uint32_t edges[] = {
            0, 1, 0xffffffff, 0x80000000, 0x7fffffff, 0x8000, 0x7fff, 0xffff, 0x10000};
        for (const auto &[text, sym] : symbols) {
            if (sym->type->is_func()) continue;
            std::uint32_t value = random() % 2 ? edges[random() % std::size(edges)] : random();
            if (sym->type->is_bool()) value &= 1;
            if (sym->type->is_scalar())
                machine.set(sym, value);
            else
                for (std::uint32_t k = 0; k < sym->type->size() / 16; ++k)
                    machine.memory[machine.address_of(sym) + k] =
                        static_cast<std::uint16_t>(random());
        }
    }

    void expect_true_of_values(const std::string &text, std::mt19937 &random) {
        NODE *tree = parse(text);
        const INT65 zeros = find_known_zeros(tree, tree->type),
                    ones = find_known_ones(tree, tree->type);
        INT65 lo, hi;
        find_value_range(tree, &lo, &hi, nullptr, nullptr);
        for (int round = 0; round < 40; ++round) {
            TREE_MACHINE machine;
            set_variables(machine, random);
            const std::uint32_t bits = machine.value(tree);
            if (machine.trapped) continue;
            const INT65 value(number(bits, tree->type));
            const bool holds = (bits & zeros.u32()) == 0 && (ones.u32() & ~bits) == 0 &&
                               lo <= value && value <= hi;
            EXPECT_TRUE(holds) << text << " is " << int2text(value, nullptr) << ", not within "
                               << int2text(lo, nullptr) << " to " << int2text(hi, nullptr)
                               << ", zeros " << std::hex << zeros.u32() << " ones " << ones.u32();
            if (!holds) break;
        }
        erase_tree(tree);
    }
};
} // namespace

TEST_F(FactsTest, nothing_untrue_is_known) {
    std::mt19937 random(1);
    EXPRESSIONS expressions(2);
    for (int n = 0; n < 2000; ++n)
        expect_true_of_values(expressions.next(1 + n % 4), random);
}

TEST_F(FactsTest, simplified_trees_mean_the_same) {
    EXPRESSIONS expressions(3);
    for (int n = 0; n < 400; ++n) {
        const std::string text = expressions.next(1 + n % 4);
        NODE *original = parse(text), *result = simp_tree(parse(text));
        expect_same_meaning(original, result, text);
        erase_tree(original);
        erase_tree(result);
    }
}

TEST_F(FactsTest, bits_and_ranges) {
    const FACT_ROW rows[] = {
        {"i", 0, 0, int_min, int_max},
        {"us + 1", 0xfffe0000, 0, 1, 65536},
        {"(us & 240) + (ut & 15)", 0xffffff00, 0, 0, 255},
        {"i * 8", 7, 0, int_min, int_max - 7},
        {"i * 8 + 5", 2, 5, int_min + 5, int_max - 2},
        {"8 - (i & 7) * 8", 0x7, 0, -48, 8},
        {"s * t", 0, 0, -1073709056, 1073741824},
        {"us >> 4", 0xfffff000, 0, 0, 4095},
        {"s >> 4", 0, 0, -2048, 2047},
        {"u >> 28", 0xfffffff0, 0, 0, 15},
        {"i << 4 | 3", 12, 3, int_min + 3, int_max - 12},
        {"us << 4", 0xfff0000f, 0, 0, 1048560},
        {"~(us & 255)", 0, 0xffffff00, -256, -1},
        {"(short)(i & 255)", 0xff00, 0, 0, 255},
        {"(ushort)s", 0, 0, 0, 65535},
        {"(int)(ushort)(i | 32768)", 0xffff0000, 32768, 32768, 65535},
        {"(int)(short)(i | 32768)", 0, 0xffff8000, -32768, -1},
        {"i ? 4 : 12", 0xfffffff3, 4, 4, 12},
        {"i < j", 0xfffffffe, 0, 0, 1},
        {"b + 1", 0xfffffffc, 0, 1, 2},
        {"(bool)(i | 1)", 0xfffffffe, 1, 1, 1},
        {"u / 16u", 0xf0000000, 0, 0, 268435455},
        {"i / 16", 0, 0, -134217728, 134217727},
        {"i / -1", 0, 0, int_min, int_max},
        {"i % 10", 0, 0, -9, 9},
        {"us % 10", 0xfffffff0, 0, 0, 9},
        {"i % j", 0, 0, int_min + 1, int_max},
        {"o.lo", 0, 0, -16, 15},
        {"o.hi", 0xffffff80, 0, 0, 127},
        {"(i = 5)", 0xfffffffa, 5, 5, 5},
        {"ABS(s)", 0xffff0000, 0, 0, 32768},
        {"ABS(i)", 0, 0, int_min, int_max},
        {"(i & 48) ^ 16", 0xffffffcf, 0, 0, 48},
    };
    for (const FACT_ROW &row : rows) {
        NODE *tree = parse(row.text);
        INT65 lo, hi;
        find_value_range(tree, &lo, &hi, nullptr, nullptr);
        EXPECT_EQ(find_known_zeros(tree, tree->type), INT65(row.zeros)) << row.text;
        EXPECT_EQ(find_known_ones(tree, tree->type), INT65(row.ones)) << row.text;
        EXPECT_STREQ(int2text(lo, nullptr), int2text(INT65(row.lo), nullptr)) << row.text;
        EXPECT_STREQ(int2text(hi, nullptr), int2text(INT65(row.hi), nullptr)) << row.text;
        erase_tree(tree);
    }
}

TEST_F(FactsTest, questions) {
    const auto overflows = [&](const char *text) {
        return expr_product_may_overflow(parse(text), nullptr, nullptr);
    };
    EXPECT_FALSE(overflows("s * t"));
    EXPECT_TRUE(overflows("us * ut"));
    EXPECT_FALSE(overflows("(unsigned)us * (unsigned)ut"));
    EXPECT_TRUE(overflows("i * -1"));
    const auto is_half = [&](const char *text) {
        return tree_is_16x16_mpy(parse(text), nullptr, nullptr);
    };
    EXPECT_TRUE(is_half("s * 7"));
    EXPECT_TRUE(is_half("us * 65535"));
    EXPECT_FALSE(is_half("us * -1"));
    EXPECT_FALSE(is_half("s * i"));
    const auto divides = [&](int c, const char *text) {
        return constant_divides_expr(c, parse(text), nullptr, nullptr);
    };
    EXPECT_TRUE(divides(8, "i * 8 + j * 16"));
    EXPECT_TRUE(divides(-8, "(i << 3) - 8"));
    EXPECT_FALSE(divides(3, "i * 3")); // may wrap
    EXPECT_TRUE(divides(3, "s * 3 + (t ? 6 : us * 9)"));
    EXPECT_FALSE(divides(3, "3u + (unsigned)(s * 3)")); // a negative product wraps
    EXPECT_FALSE(divides(0, "i * 0"));
    NODE *min = mk_ICALL("MIN", comma(parse("i & 255"), parse("7")), int_t);
    EXPECT_TRUE(value_fits_in_type(min, short_t, nullptr, nullptr));
    INT65 lo, hi;
    find_value_range(min, &lo, &hi, nullptr, nullptr);
    EXPECT_EQ(hi, INT65(7));
    EXPECT_EQ(lo, INT65(0));
}
