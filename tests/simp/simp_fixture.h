// What the tests of the simplifier share. A test is a table of {tree, what it becomes}, both as C:
//
//     becomes({{"i + 0", "i"}, {"(short)(i & 1)", "..."}});
//
// The text on the left is parsed with C's conversions, as the front end makes trees; what comes out
// is printed by stmt2infix. Each row is also run before and after on random values of the
// variables, and simplified a second time, which must change nothing.
//
// Variables: int i j k, unsigned u v w, short s t, unsigned short us ut, bool b, float x y z,
// int *p *q, short *sp, char-sized unsigned *up, struct st { int m; short n; int lo:5; unsigned
// hi:7; } o, o2, *op, int array a[8], volatile int vi, static int g. Functions: int f(...), short
// h(...), float r(...). Intrinsic operators are written as calls: ABS SQRT SQR PMCONV PVCONV.
// Types in casts: int unsigned short ushort char bool float intp shortp charp; what is normalized
// prints short as char.
#pragma once

#include "OPT5/rep/bblk.h"
#include "tests/rep/tree_fixture.h"
#include "tests/simp/tree_machine.h"

#include "OPT5/scalar/simp.h"

#include <cctype>
#include <random>

struct SIMP_ROW {
    const char *before, *after;
};

class SimpTest : public TreeTest {
protected:
    void SetUp() override {
        TreeTest::SetUp();
        reset_global_flags();
        print_debug = 0;
        uint_t = tp->uint_type();
        ushort_t = tp->basic_int(TYPE::USHORT);
        bool_t = tp->basic_int(TYPE::BOOL);
        TYPE *char_t = tp->basic_int(TYPE::SCHAR);
        types = {{"int", int_t},     {"unsigned", uint_t},
                 {"short", short_t}, {"ushort", ushort_t},
                 {"bool", bool_t},   {"float", float_t},
                 {"intp", int_p},    {"shortp", tp->mk_ptr(short_t)},
                 {"char", char_t},   {"charp", tp->mk_ptr(char_t)}};
        TYPE *st = tp->mk_struct("st", 96, 32, true);
        add_member(st, "m", int_t, 0, 0);
        add_member(st, "n", short_t, 32, 0);
        add_member(st, "lo", int_t, 64, 5);
        add_member(st, "hi", uint_t, 69, 7);
        st = tp->type_frozen(st);
        for (const char *n : {"i", "j", "k"})
            declare(n, int_t);
        for (const char *n : {"u", "v", "w"})
            declare(n, uint_t);
        for (const char *n : {"s", "t"})
            declare(n, short_t);
        for (const char *n : {"us", "ut"})
            declare(n, ushort_t);
        for (const char *n : {"x", "y", "z"})
            declare(n, float_t);
        for (const char *n : {"p", "q"})
            declare(n, int_p);
        for (const char *n : {"o", "o2"})
            declare(n, st);
        declare("b", bool_t);
        declare("sp", tp->mk_ptr(short_t));
        declare("up", tp->mk_ptr(uint_t));
        declare("op", tp->mk_ptr(st));
        declare("a", tp->mk_array(int_t, 8));
        declare("vi", tp->mk_qual(int_t, TQ_volatile));
        symbols["g"] = global("g", 3, int_t);
        symbols["f"] = global("f", 5, function(int_t));
        symbols["h"] = global("h", 5, function(short_t));
        symbols["r"] = global("r", 5, function(float_t));
    }

    // The C expression as a tree.
    NODE *parse(const std::string &text) {
        at = text.c_str();
        source = text;
        NODE *result = expression(0);
        skip_blanks();
        if (*at) fail("end");
        return result;
    }

    std::string simplified(const std::string &text) { return stmt2infix(simp_tree(parse(text))); }

    void becomes(std::initializer_list<SIMP_ROW> rows) {
        for (const SIMP_ROW &row : rows)
            check(row.before, row.after);
    }
    // The same as the simplifier leaves it, read from the text without being simplified.
    void stays(std::initializer_list<const char *> texts) {
        for (const char *text : texts)
            check(text, stmt2infix(parse(text)));
    }

    void check(const std::string &before, const std::string &after) {
        NODE *original = parse(before);
        NODE *result = simp_tree(parse(before));
        EXPECT_EQ(stmt2infix(result), after) << "of " << before;
        expect_same_meaning(original, result, before);
        const std::string once = stmt2infix(result);
        result = simp_tree(result);
        EXPECT_EQ(stmt2infix(result), once) << "the second time, of " << before;
        EXPECT_FALSE(dupchk(result)) << before;
        erase_tree(original);
        erase_tree(result);
    }

    void expect_same_meaning(const NODE *original, const NODE *result, const std::string &what) {
        static constexpr std::uint32_t odd[] = {0,          1,          2,      3,      0xffffffff,
                                                0x80000000, 0x7fffffff, 0x8000, 0x7fff, 0xffff,
                                                0x10000,    31,         32};
        std::mt19937 random(12345);
        for (int round = 0; round < 60; ++round) {
            TREE_MACHINE before, after;
            for (const auto &[sym_name, sym] : symbols) {
                std::uint32_t value = round % 2 ? odd[random() % std::size(odd)] : random();
                if (sym->type->is_floating())
                    value = float_bits(static_cast<float>(static_cast<std::int32_t>(random())) /
                                       65536.0f);
                if (sym->type->is_ptr()) value = 2 * (100 + random() % 8);
                if (sym->type->is_bool()) value &= 1;
                if (sym->type->is_func()) continue;
                for (TREE_MACHINE *machine : {&before, &after}) {
                    if (sym->type->is_scalar())
                        machine->set(sym, value);
                    else
                        (void)machine->address_of(sym);
                }
            }
            for (std::size_t n = 200; n < 240; ++n)
                before.memory[n] = after.memory[n] = static_cast<std::uint16_t>(random());
            const std::uint32_t x_before = before.value(original), x_after = after.value(result);
            if (before.trapped) continue;
            const bool bits = before.memory == after.memory && before.trace == after.trace;
            if (x_before == x_after && bits && !after.trapped &&
                original->type->size() == result->type->size())
                continue;
            ADD_FAILURE() << what << "\nbefore: " << x_before << " " << before.trace
                          << "\nafter:  " << x_after << " " << after.trace;
            return;
        }
    }

    TYPE *uint_t = nullptr, *ushort_t = nullptr, *bool_t = nullptr;
    std::map<std::string, SYMTAB *> symbols;
    std::map<std::string, TYPE *> types;

private:
    const char *at = nullptr;
    std::string source;

    void declare(const char *n, TYPE *type) { symbols[n] = local(n, type); }
    static TYPE *function(TYPE *result) {
        return tp->type_frozen(tp->mk_func(result, false, false, 0, false));
    }
    static void add_member(TYPE *st, const char *member_name, TYPE *type, int offset,
                           unsigned width) {
        fkMDATA m;
        m.index = static_cast<std::uint32_t>(m.index + 1);
        for (const fkMDATA *e = st->get_csu()->mdata; e; e = e->next)
            ++m.index;
        m.name = member_name;
        m.type = type;
        m.offset = offset;
        m.width = width;
        m.is_bitfield = width != 0;
        tp->append_mdata(st, m);
    }

    // --- the parser
    [[noreturn]] void fail(const char *expected) {
        ADD_FAILURE() << "in \"" << source << "\" at \"" << at << "\": expected " << expected;
        throw std::runtime_error("bad test");
    }
    void skip_blanks() {
        while (*at == ' ')
            ++at;
    }
    bool accept(const std::string &token) {
        skip_blanks();
        if (std::strncmp(at, token.c_str(), token.size()) != 0) return false;
        at += token.size();
        return true;
    }
    void need(const char *token) {
        if (!accept(token)) fail(token);
    }
    std::string word() {
        skip_blanks();
        std::string text;
        while (std::isalnum(static_cast<unsigned char>(*at)) || *at == '_')
            text += *at++;
        return text;
    }

    struct OPERATOR {
        const char *text;
        int level, op;
        bool assigns;
    };
    // The longest spellings first.
    static constexpr OPERATOR operators[] = {
        {"<<=", 1, OP::SLLASG, true}, {">>=", 1, OP::SRLASG, true}, {"&&", 4, OP::ANDAND, false},
        {"||", 3, OP::OROR, false},   {"==", 8, OP::EQ, false},     {"!=", 8, OP::NEQ, false},
        {"<=", 9, OP::LE, false},     {">=", 9, OP::GE, false},     {"<<", 10, OP::SLL, false},
        {">>", 10, OP::SRL, false},   {"+=", 1, OP::PLUSASG, true}, {"-=", 1, OP::MINUSASG, true},
        {"*=", 1, OP::MULTASG, true}, {"/=", 1, OP::DIVASG, true},  {"%=", 1, OP::MODASG, true},
        {"&=", 1, OP::ANDBASG, true}, {"|=", 1, OP::ORBASG, true},  {"^=", 1, OP::XORBASG, true},
        {"+", 11, OP::PLUS, false},   {"-", 11, OP::MINUS, false},  {"*", 12, OP::MULT, false},
        {"/", 12, OP::DIV, false},    {"%", 12, OP::MOD, false},    {"&", 7, OP::ANDB, false},
        {"|", 5, OP::ORB, false},     {"^", 6, OP::XORB, false},    {"<", 9, OP::LT, false},
        {">", 9, OP::GT, false},      {"=", 1, OP::ASG, true},      {"?", 2, OP::QUEST, false},
        {",", 0, OP::COMMAOP, false},
    };

    NODE *expression(int least) {
        NODE *left = prefix();
        for (;;) {
            skip_blanks();
            const OPERATOR *found = nullptr;
            for (const OPERATOR &row : operators)
                if (!found && std::strncmp(at, row.text, std::strlen(row.text)) == 0) found = &row;
            if (!found || found->level < least) return left;
            at += std::strlen(found->text);
            if (found->op == OP::QUEST) {
                NODE *first = expression(1);
                need(":");
                NODE *second = expression(2);
                TYPE *type = equiv_mtypes(first->type, second->type) ? first->type
                                                                     : combined_type(first, second);
                NODE *arms = maketree(OP::COLON, coerce_to_type(type, first),
                                      coerce_to_type(type, second), type, nullptr);
                left = maketree(OP::QUEST, left, arms, type, nullptr);
            } else {
                NODE *right = expression(found->assigns ? found->level : found->level + 1);
                left = found->assigns ? assignment(found->op, left, right)
                                      : binary(found->op, left, right);
            }
        }
    }

    // An index in the units of what the pointer points to.
    NODE *scaled(const TYPE *pointer, NODE *index) {
        TYPE *type = type_for_PMCONV(const_cast<TYPE *>(pointer), index->type);
        return maketree(OP::PMCONV, coerce_to_type(type, index),
                        mk_ICON(INT65(pointer->type_pointed_to()->size()), int_t), type, nullptr);
    }

    NODE *assignment(int op, NODE *left, NODE *right) {
        if (op == OP::ASG && left->type->is_csu()) return mk_ASG(left, right);
        TYPE *type = left->type->type_qualified();
        if (op == OP::ASG)
            right = coerce_to_type(type, right);
        else if (left->type->is_ptr())
            right = scaled(left->type, right);
        return maketree(op, left, right, type, nullptr);
    }

    NODE *binary(int op, NODE *left, NODE *right) {
        if (op == OP::COMMAOP) return mk_COMMAOP(left, right);
        if (op == OP::ANDAND || op == OP::OROR) return maketree(op, left, right, int_t, nullptr);
        if (op == OP::SLL || op == OP::SRL) {
            TYPE *type = promoted_type(left->type->type_qualified());
            return maketree(op, coerce_to_type(type, left), coerce_to_type(int_t, right), type,
                            nullptr);
        }
        const bool left_ptr = left->type->is_ptr(), right_ptr = right->type->is_ptr();
        const bool compares = op >= OP::EQ && op <= OP::UGT;
        if (left_ptr && right_ptr && op == OP::MINUS) {
            NODE *difference = maketree(OP::MINUS, left, right, short_t, nullptr);
            NODE *bits = mk_ICON(INT65(left->type->type_pointed_to()->size()), int_t);
            return maketree(OP::PVCONV, difference, bits, short_t, nullptr);
        }
        if (!compares && left_ptr)
            return maketree(op, left, scaled(left->type, right), left->type->type_qualified(),
                            nullptr);
        if (!compares && right_ptr)
            return maketree(op, scaled(right->type, left), right, right->type->type_qualified(),
                            nullptr);
        if (!left_ptr && !right_ptr) {
            TYPE *type = combined_type(left, right);
            left = coerce_to_type(type, left);
            right = coerce_to_type(type, right);
            if (!compares) return maketree(op, left, right, type, nullptr);
        }
        const bool is_unsigned =
            op >= OP::LE && !left->type->is_floating() && !left->type->is_signed();
        return maketree(is_unsigned ? op + (OP::ULE - OP::LE) : op, left, right, int_t, nullptr);
    }

    NODE *unary(int op, NODE *operand) {
        TYPE *type = op == OP::EXCLAIM ? int_t : promoted_type(operand->type->type_qualified());
        if (op != OP::EXCLAIM) operand = coerce_to_type(type, operand);
        return maketree(op, operand, nullptr, type, nullptr);
    }

    NODE *prefix() {
        if (accept("!")) return unary(OP::EXCLAIM, prefix());
        if (accept("~")) return unary(OP::NOTB, prefix());
        if (accept("-")) return unary(OP::UMINUS, prefix());
        if (accept("*")) {
            NODE *pointer = prefix();
            return maketree(OP::UMULT, pointer, nullptr, pointer->type->type_pointed_to(), nullptr);
        }
        if (accept("&")) {
            NODE *lvalue = prefix();
            return maketree(OP::UAND, lvalue, nullptr, tp->mk_ptr(lvalue->type), nullptr);
        }
        skip_blanks();
        if (*at == '(') {
            const char *const start = at++;
            const auto type = types.find(word());
            if (type != types.end() && accept(")")) {
                NODE *operand = prefix();
                const bool address = type->second->is_ptr() || operand->type->is_ptr();
                return maketree(address ? OP::PCONV : OP::SCONV, operand, nullptr, type->second,
                                nullptr);
            }
            at = start;
        }
        return postfix(primary());
    }

    NODE *primary() {
        skip_blanks();
        if (accept("(")) {
            NODE *inside = expression(0);
            need(")");
            return inside;
        }
        if (std::isdigit(static_cast<unsigned char>(*at))) return constant();
        const std::string text = word();
        static const std::map<std::string, int> intrinsics = {{"ABS", OP::ABS},
                                                              {"SQRT", OP::SQRT},
                                                              {"SQR", OP::SQR},
                                                              {"PMCONV", OP::PMCONV},
                                                              {"PVCONV", OP::PVCONV}};
        if (const auto found = intrinsics.find(text); found != intrinsics.end()) {
            need("(");
            NODE *operand = expression(1);
            NODE *bits = accept(",") ? expression(1) : nullptr;
            need(")");
            if (!bits) return unary(found->second, operand);
            return maketree(found->second, operand, bits, operand->type->type_qualified(), nullptr);
        }
        const auto found = symbols.find(text);
        if (found == symbols.end()) fail("a name");
        NODE *node = mk_NAME(found->second, nullptr);
        if (node->type->is_array()) {
            TYPE *pointer = tp->mk_ptr(node->type->elem_type());
            node = maketree(OP::PCONV,
                            maketree(OP::UAND, node, nullptr, tp->mk_ptr(node->type), nullptr),
                            nullptr, pointer, nullptr);
        }
        return node;
    }

    NODE *constant() {
        const char *end = at;
        while (
            std::isalnum(static_cast<unsigned char>(*end)) || *end == '.' ||
            ((*end == '-' || *end == '+') && (end[-1] == 'p' || (end[-1] == 'e' && at[1] != 'x'))))
            ++end;
        std::string text(at, end);
        at = end;
        const bool hex = text.size() > 1 && text[1] == 'x';
        if (text.find('.') != std::string::npos || (hex && text.find('p') != std::string::npos)) {
            NODE *fcon = maketree(OP::FCON, nullptr, nullptr, float_t, nullptr);
            fcon->mk_fcon(text);
            return fcon;
        }
        const bool is_unsigned = text.back() == 'u';
        return mk_ICON(INT65(std::stoll(text, nullptr, 0)), is_unsigned ? uint_t : int_t);
    }

    NODE *postfix(NODE *node) {
        for (;;) {
            if (accept("++"))
                node = step(OP::PLUSPLUS, node);
            else if (accept("--"))
                node = step(OP::MINMIN, node);
            else if (accept("->"))
                node = member_of(OP::STREF, node, node->type->type_pointed_to());
            else if (accept("[")) {
                node = binary(OP::PLUS, node, expression(0));
                need("]");
                node = maketree(OP::UMULT, node, nullptr, node->type->type_pointed_to(), nullptr);
            } else if (node->op != OP::ICON && accept("."))
                node = member_of(OP::STDOT, node, node->type);
            else if (node->type->is_func() && accept("("))
                node = call_of(node);
            else
                return node;
        }
    }
    NODE *step(int op, NODE *lvalue) {
        const bool pointer = lvalue->type->is_ptr();
        const int units =
            pointer ? static_cast<int>(lvalue->type->type_pointed_to()->size() / 16) : 1;
        return maketree(op, lvalue, mk_ICON(units, int_t), lvalue->type->type_qualified(), nullptr);
    }
    NODE *member_of(int op, NODE *object, TYPE *st) {
        const std::string text = word();
        for (fkMDATA *m = st->get_csu()->mdata; m; m = m->next) {
            if (text != m->name) continue;
            NODE *field_node = maketree(OP::FIELD, nullptr, nullptr, m->type, nullptr);
            field_node->u.field = {st->stds(), m};
            return maketree(op, object, field_node, m->type, nullptr);
        }
        fail("a member");
    }
    NODE *call_of(NODE *callee) {
        NODE *args = nullptr;
        while (!accept(")")) {
            NODE *arg = expression(1);
            args = args ? maketree(OP::COMMA, args, arg, int_t, nullptr) : arg;
            if (!accept(",")) {
                need(")");
                break;
            }
        }
        TYPE *result = callee->type->return_type();
        NODE *node =
            maketree(args ? OP::CALL : OP::UCALL,
                     maketree(OP::UAND, callee, nullptr, tp->mk_ptr(callee->type), nullptr), args,
                     result, nullptr);
        node->mk_call(0, 0);
        return node;
    }
};
