// Intrinsics: the optimizer's folding and ic-run's arithmetic, each against the same definitions.
#include "OPT5/builtins/bif.h"
#include "OPT5/rep/bbutils.h"
#include "tests/rep/tree_fixture.h"
#include "tests/run/tool.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <functional>
#include <limits>

namespace {
using V = std::int64_t;
V clamp32(V v) {
    return std::clamp<V>(v, INT32_MIN, INT32_MAX);
}
V half(V v, int n) {
    return static_cast<std::int16_t>(static_cast<std::uint64_t>(v) >> (16 * n));
}
V clamp16(V v) {
    return std::clamp<V>(v, INT16_MIN, INT16_MAX);
}

struct INTEGER_CASE {
    const char *name, *type;
    bool is_signed, unary;
    std::function<V(V, V)> value;
};
const std::vector<INTEGER_CASE> &integer_cases() {
    static const auto least = [](V a, V b) { return std::min(a, b); };
    static const auto most = [](V a, V b) { return std::max(a, b); };
    static const std::vector<INTEGER_CASE> cases = {
        {"MIN", "int", true, false, least},
        {"MAX", "int", true, false, most},
        {"MINU", "unsigned", false, false, least},
        {"MAXU", "unsigned", false, false, most},
        {"LMIN", "long", true, false, least},
        {"LMAX", "long", true, false, most},
        {"LMINU", "unsigned_long", false, false, least},
        {"LMAXU", "unsigned_long", false, false, most},
        {"LLMIN", "long_long", true, false, least},
        {"LLMAX", "long_long", true, false, most},
        {"LLMINU", "unsigned_long_long", false, false, least},
        {"LLMAXU", "unsigned_long_long", false, false, most},
        {"_sadd", "int", true, false, [](V a, V b) { return clamp32(a + b); }},
        {"_ssub", "int", true, false, [](V a, V b) { return clamp32(a - b); }},
        {"_ssub2", "int", true, false,
         [](V a, V b) -> V {
             const V low = clamp16(half(a, 0) - half(b, 0)),
                     high = clamp16(half(a, 1) - half(b, 1));
             return static_cast<std::int32_t>(high * 0x10000 + (low & 0xffff));
         }},
        {"_sshl", "int", true, false, [](V a, V n) { return clamp32(a * (V{1} << (n & 31))); }},
        {"_abs", "int", true, true, [](V a, V) { return clamp32(a < 0 ? -a : a); }},
    };
    return cases;
}

V read(std::uint32_t bits, bool is_signed) {
    return is_signed ? V{static_cast<std::int32_t>(bits)} : V{bits};
}
constexpr std::uint32_t numbers[] = {0,          1,          2,          31,         32,
                                     0x7fff,     0x8000,     0xffff,     0x10000,    0x7fff8000,
                                     0x7fffffff, 0x80000000, 0x80007fff, 0xffff8000, 0xffffffff};

std::string icon_text(const std::string &type, V value) {
    return "(ICON:" + type + " " + std::to_string(value) + ")";
}

// Prints each tree's value; the trees are ints.
std::string program_of(const std::vector<std::string> &trees) {
    std::string text = "globals\n  sym _main int(void) sc=2 align=16\n"
                       "  sym _printf int(char.const*,...) sc=5 align=16\n"
                       "code\n  function _main\n    args\n    locals\n";
    for (const std::string &tree : trees)
        text += "    (CALL:int extra=1 (UAND:int(char.const*,...)* (NAME:int(char.const*,...) "
                "_printf)) (COMMA:int (PCONV:char.const* (SCON:char* \"%x\\n\")) " +
                tree + "))\n";
    return text + "    (RETURN:int (NAME:int(void) _main) (ICON:int 0))\n"
                  "    info 76\n  endfunction\n";
}

void expect_values(const std::vector<std::string> &trees, const std::string &expected) {
    SCRATCH scratch;
    const std::string text = (scratch / "t.ict").string(), file = (scratch / "t.ic").string();
    write_file(text, program_of(trees));
    expect_success(run_tool({"ic-as", "-o", file, text}, scratch), "ic-as");
    expect_success(run_tool({"ic-lint", file}, scratch), "ic-lint");
    const TOOL_RESULT result = run_tool({"ic-run", "--check", file}, scratch);
    EXPECT_EQ(result.exit_code, 0) << result.err;
    EXPECT_EQ(result.out, expected);
}

class Intrinsics : public TreeTest {
protected:
    void SetUp() override {
        TreeTest::SetUp();
        init_BIF_descriptors();
    }
    NODE *call_of(const char *intrinsic, std::initializer_list<NODE *> args, TYPE *type,
                  int op = OP::ICALL) {
        NODE *list = nullptr;
        for (NODE *arg : args)
            list = list ? comma(list, arg) : arg;
        NODE *node = mk_ICALL(intrinsic, list, type);
        if (list) node->op = static_cast<std::uint8_t>(op);
        return node;
    }
};

TEST(IntrinsicValues, IntegersFoldAndRunAsDefined) {
    init_BIF_descriptors();
    for (const INTEGER_CASE &c : integer_cases()) {
        const BIF_DESCRIPTOR *bif = find_BIF_descriptor(c.name);
        ASSERT_NE(bif, nullptr) << c.name;
        ASSERT_NE(bif->fold, nullptr) << c.name;
        EXPECT_EQ(bif->args.size(), c.unary ? 1u : 2u) << c.name;
        std::vector<std::string> trees;
        std::string expected;
        for (std::uint32_t x : numbers)
            for (std::uint32_t y : numbers) {
                const V a = read(x, c.is_signed), b = read(y, c.is_signed), value = c.value(a, b);
                const INT65 args[] = {INT65(a), INT65(b)};
                EXPECT_EQ(bif->fold(args), INT65(value)) << c.name << " " << a << " " << b;
                const std::string list = c.unary ? icon_text(c.type, a)
                                                 : "(COMMA:int " + icon_text(c.type, a) + " " +
                                                       icon_text(c.type, b) + ")";
                trees.push_back(std::string("(ICALL:") + c.type + " \"" + c.name + "\" " + list +
                                ")");
                char line[16];
                std::snprintf(line, sizeof line, "%x\n", static_cast<unsigned>(value));
                expected += line;
                if (c.unary) break;
            }
        SCOPED_TRACE(c.name);
        expect_values(trees, expected);
    }
}

// Bit by bit what the comparison and the choice give.
TEST(IntrinsicValues, FloatsAreTheChoiceThatTheyStandFor) {
    const std::pair<const char *, const char *> names[] = {{"FMIN", "LT"},  {"DMIN", "LT"},
                                                           {"LDMIN", "LT"}, {"FMAX", "GT"},
                                                           {"DMAX", "GT"},  {"LDMAX", "GT"}};
    const char *values[] = {"0x0p+0", "-0x0p+0", "0x1p+0", "-0x1p+0", "inf", "-inf", "nan"};
    std::vector<std::string> trees;
    std::string expected;
    for (const auto &[intrinsic, comparison] : names)
        for (const char *a : values)
            for (const char *b : values) {
                const auto fcon = [](const char *v) {
                    return std::string("(FCON:float ") + v + ")";
                };
                // 1/x tells the zeros apart, x == x what is no number.
                const auto shape = [](const std::string &v) {
                    return "(PLUS:int (MULT:int (GT:int (RECIP:float " + v +
                           ") (FCON:float 0x0p+0)) "
                           "(ICON:int 4)) (PLUS:int (MULT:int (LT:int " +
                           v +
                           " (FCON:float 0x0p+0)) "
                           "(ICON:int 2)) (EQ:int " +
                           v + " " + v + ")))";
                };
                const std::string of_float = std::string("(ICALL:float \"") + intrinsic +
                                             "\" (COMMA:int " + fcon(a) + " " + fcon(b) + "))";
                const std::string choice = std::string("(QUEST:float (") + comparison + ":int " +
                                           fcon(a) + " " + fcon(b) + ") (COLON:float " + fcon(a) +
                                           " " + fcon(b) + "))";
                trees.push_back("(EQ:int " + shape(of_float) + " " + shape(choice) + ")");
                expected += "1\n";
            }
    expect_values(trees, expected);
}

TEST_F(Intrinsics, TypesOfOperandsAreConvertedToThoseOfTheIntrinsic) {
    expect_values(
        {"(SCONV:int (ICALL:short \"MAX\" (COMMA:int (ICON:short -3) (ICON:char -1))))",
         "(SCONV:int (ICALL:unsigned_short \"_sadd\" (COMMA:int (ICON:int 65535) "
         "(ICON:unsigned_char 1))))",
         "(SCONV:int (ICALL:float \"FMAX\" (COMMA:int (ICON:int 3) (FCON:float 0x1p+2))))"},
        "ffffffff\n0\n4\n");
    const struct {
        NODE *tree;
        const char *expected;
    } cases[] = {
        {call_of("MIN", {name(i), icon(3)}, int_t), "MIN(i, 3)"},
        {call_of("MIN", {name(x), icon(3)}, short_t), "(char)MIN((int)x, 3)"},
        {call_of("FMIN", {name(i), name(x)}, float_t), "FMIN((float)i, x)"},
        {call_of("MIN", {name(x)}, float_t), "MIN(x)"},           // not that intrinsic
        {call_of("MIN", {name(p), icon(3)}, int_t), "MIN(p, 3)"}, // no numbers
        {call_of("other", {name(x)}, float_t), "other(x)"},
    };
    for (const auto &c : cases)
        EXPECT_STREQ(stmt2infix(fix_BIF_types(c.tree)), c.expected);
}

// A described call that is pure counts as an operator, whether it is an ICALL or an MCALL.
TEST_F(Intrinsics, PureCallsHaveNoEffect) {
    for (int op : {OP::ICALL, OP::MCALL}) {
        const auto min = [&](NODE *one, NODE *two) {
            return call_of("MIN", {one, two}, int_t, op);
        };
        const auto ssub = [&](NODE *one, NODE *two) {
            return call_of("_ssub", {one, two}, int_t, op);
        };
        EXPECT_FALSE(tree_has_side_effects(min(name(i), name(j))));
        EXPECT_TRUE(tree_has_side_effects(min(name(i), name(vol))));
        EXPECT_TRUE(trees_are_congruent(min(name(i), name(j)), min(name(j), name(i))));
        EXPECT_TRUE(trees_are_congruent(ssub(name(i), name(j)), ssub(name(i), name(j))));
        EXPECT_FALSE(trees_are_congruent(ssub(name(i), name(j)), ssub(name(j), name(i))));
        EXPECT_EQ(peel_for_effect(min(name(i), name(j))), nullptr);
    }
    EXPECT_TRUE(tree_has_side_effects(call_of("MIN", {name(i)}, int_t, OP::MCALL)));
    EXPECT_TRUE(tree_has_side_effects(mk_MCALL("__memory_barrier", nullptr, void_t)));
    EXPECT_TRUE(is_barrier_MCALL("__memory_barrier"));
    EXPECT_FALSE(is_barrier_MCALL("MIN"));
    EXPECT_FALSE(is_barrier_MCALL("memory_barrier"));
}

TEST_F(Intrinsics, DeclarationsAddWhatIsNotKnown) {
    MD_BIF truth;
    truth.flags = HOLDS_returns_1_or_0;
    const BIF_DECLARATION declarations[] = {
        {"_new", false, truth, 2}, {"_port", true, {}, 1}, {"MIN", true, {}, 99}};
    add_new_icalls_to_BIF(declarations);
    ASSERT_NE(find_BIF_descriptor("_new"), nullptr);
    EXPECT_EQ(find_BIF_descriptor("_new")->holds.flags, unsigned{HOLDS_returns_1_or_0});
    EXPECT_FALSE(tree_has_side_effects(call_of("_new", {name(i)}, int_t, OP::MCALL)));
    EXPECT_TRUE(tree_has_side_effects(call_of("_port", {name(i)}, int_t, OP::MCALL)));
    EXPECT_EQ(find_BIF_descriptor("MIN")->args.size(), 2u);
    init_BIF_descriptors();
    EXPECT_EQ(find_BIF_descriptor("_new"), nullptr);
}
} // namespace
