// Trees as one line of text, close to the C that they stand for.
#include "OPT5/rep/bbutils.h"
#include "OPT5/rep/dump_tree.h"

#include <limits>
#include <string>
#include <string_view>

namespace {
enum class FORM : std::uint8_t {
    FUNCTION,   // NAME(left, right)
    LEAF,       // its payload
    LEFT_ASSOC, // left op right
    RIGHT_ASSOC,
    PREFIX, // op left
    STEP,   // left op, an amount other than 1 behind
    CAST,   // (type)left
    MEMBER,
    LIST, // left, right
    CALL_,
    INTRINSIC,
    CHOICE, // left ? right
    WORD,   // a statement: word left right
    IF_,
    UNLESS, // if (!(left)) goto right
    SWITCH_,
    CASE_,
    QUOTED, // a word and its payload in parentheses
};

FORM form_of(const NODE *node) {
    switch (node->op) {
    case OP::LABEL:
    case OP::NAME:
    case OP::SCON:
    case OP::ICON:
    case OP::FCON:
    case OP::LCON:
    case OP::FIELD: return FORM::LEAF;
    case OP::UMINUS:
    case OP::UAND:
    case OP::EXCLAIM:
    case OP::NOTB: return FORM::PREFIX;
    case OP::UMULT: return node->right ? FORM::FUNCTION : FORM::PREFIX;
    case OP::PLUSPLUS:
    case OP::MINMIN: return FORM::STEP;
    case OP::SCONV:
    case OP::PCONV:
    case OP::ACONV: return FORM::CAST;
    case OP::STDOT:
    case OP::STREF: return FORM::MEMBER;
    case OP::COMMA:
    case OP::PCOMMA:
    case OP::COMMAOP: return FORM::LIST;
    case OP::CALL:
    case OP::UCALL: return FORM::CALL_;
    case OP::ICALL:
    case OP::UICALL:
    case OP::MCALL:
    case OP::UMCALL: return FORM::INTRINSIC;
    case OP::QUEST: return FORM::CHOICE;
    case OP::RETURN:
    case OP::URETURN:
    case OP::BRANCH: return FORM::WORD;
    case OP::IF: return FORM::IF_;
    case OP::CBRANCH: return FORM::UNLESS;
    case OP::SWITCH: return FORM::SWITCH_;
    case OP::CASE:
    case OP::DEFAULT: return FORM::CASE_;
    case OP::LABELDEF:
    case OP::SKIP:
    case OP::ASM:
    case OP::PPRAGMA: return FORM::QUOTED;
    case OP::COLON: return FORM::RIGHT_ASSOC;
    default: break;
    }
    // The other operators whose spelling is not a word.
    const char first = *opname(node->op);
    if (number_of_operands[node->op] != 2 || first == '_') return FORM::FUNCTION;
    if (opcode_is_ASG(node->op)) return FORM::RIGHT_ASSOC;
    const bool is_word = (first >= 'A' && first <= 'Z') || first == '?';
    const bool is_unsigned_comparison = boolean_inv[node->op] != OP::ILLOP;
    return is_word && !is_unsigned_comparison ? FORM::FUNCTION : FORM::LEFT_ASSOC;
}

// The spelling of an operator without its padding, and for a unary one without its "U".
std::string_view spelling(int op) {
    if (op == OP::STASG || op == OP::ARASG) op = OP::ASG;
    std::string_view text = opname(op);
    text = text.substr(0, text.find_last_not_of(' ') + 1);
    if (op == OP::UMINUS || op == OP::UMULT || op == OP::UAND) text.remove_prefix(1);
    return text;
}

constexpr int highest = 99; // binds tighter than any operator
constexpr int above_comma = 2;

class PRINTER {
public:
    explicit PRINTER(std::size_t limit_) : limit(limit_) {}

    // A tree that must bind at least as tight as `least` to go without parentheses.
    void expr(const NODE *node, int least) {
        if (out.size() > limit) return;
        if (!node) {
            out += "<NULL>";
            return;
        }
        while (node->op == OP::CSE_DUPE || node->op == OP::CSE_ORIG) {
            if (!node->right) break;
            node = node->right;
        }
        if (node->op == OP::ILLOP) {
            out += "?ILLOP?";
            return;
        }
        const FORM form = form_of(node);
        const bool in_parentheses = binding(node, form) < least;
        if (in_parentheses) out += '(';
        body(node, form);
        if (in_parentheses) out += ')';
    }

    std::string text() {
        if (out.size() > limit) {
            out.resize(limit);
            out += "...";
        }
        return std::move(out);
    }

private:
    static int binding(const NODE *node, FORM form) {
        switch (form) {
        case FORM::FUNCTION:
        case FORM::INTRINSIC:
        case FORM::QUOTED: return highest;
        case FORM::LEAF: {
            const bool is_minus = node->op == OP::ICON && node->u.lval.is_negative();
            return is_minus ? precedence[OP::UMINUS] : highest;
        }
        default: return precedence[node->op];
        }
    }

    void body(const NODE *node, FORM form) {
        const int own = binding(node, form);
        switch (form) {
        case FORM::LEAF: append_payload(out, node); break;
        case FORM::LEFT_ASSOC: binary(node, own, own + 1); break;
        case FORM::RIGHT_ASSOC: binary(node, own + 1, own); break;
        case FORM::CHOICE: binary(node, own + 1, own); break;
        case FORM::PREFIX: prefix(node, own); break;
        case FORM::STEP: step(node, own); break;
        case FORM::CAST:
            out += '(';
            append_type(out, node->type);
            out += ')';
            expr(node->left, own);
            break;
        case FORM::MEMBER:
            expr(node->left, own);
            out += spelling(node->op);
            expr(node->right, own + 1);
            break;
        case FORM::LIST: list(node); break;
        case FORM::CALL_: call(node, own); break;
        case FORM::INTRINSIC:
            append_payload(out, node);
            arguments(node->left);
            break;
        case FORM::FUNCTION: function(node); break;
        case FORM::WORD: word(node); break;
        case FORM::IF_: branches(node); break;
        case FORM::UNLESS:
            out += "if (!(";
            expr(node->left, 0);
            out += ")) goto ";
            expr(node->right, 0);
            break;
        case FORM::SWITCH_:
            out += "switch (";
            expr(node->left, 0);
            out += ") {";
            expr(node->right, 0);
            out += '}';
            break;
        case FORM::CASE_: case_(node); break;
        case FORM::QUOTED: quoted(node); break;
        }
    }

    void binary(const NODE *node, int least_left, int least_right) {
        expr(node->left, least_left);
        out += ' ';
        out += spelling(node->op);
        out += ' ';
        expr(node->right, least_right);
    }

    void prefix(const NODE *node, int own) {
        out += spelling(node->op);
        const NODE *operand = node->left;
        const bool would_merge =
            operand && (node->op == OP::UMINUS || node->op == OP::UAND) &&
            (operand->op == node->op || (operand->op == OP::ICON && operand->u.lval.is_negative()));
        expr(operand, would_merge ? own + 1 : own);
    }

    void step(const NODE *node, int own) {
        expr(node->left, own);
        out += spelling(node->op);
        const NODE *amount = node->right;
        if (amount && amount->op == OP::ICON && amount->u.lval == INT65(1)) return;
        out += ' ';
        expr(amount, own + 1);
    }

    // Every element is shut off by its commas, a comma operator among arguments by parentheses.
    void list(const NODE *node) {
        const bool goes_on = node->left && node->left->op == node->op;
        expr(node->left, goes_on || node->op == OP::COMMAOP ? 0 : least_of_element(node->left));
        out += ", ";
        expr(node->right, least_of_element(node->right));
    }

    static int least_of_element(const NODE *element) {
        const bool is_case = element && (element->op == OP::CASE || element->op == OP::DEFAULT);
        return is_case ? 0 : above_comma;
    }

    void arguments(const NODE *args) {
        out += '(';
        if (args) expr(args, args->op == OP::COMMA ? 0 : above_comma);
        out += ')';
    }

    void call(const NODE *node, int own) {
        const NODE *callee = skip_ssa_operators(node->left);
        const bool is_direct = callee && callee->op == OP::UAND;
        if (is_direct) {
            expr(callee->left, own);
        } else {
            out += "(*";
            expr(callee, precedence[OP::UMULT]);
            out += ')';
        }
        arguments(node->op == OP::CALL ? node->right : nullptr);
    }

    void function(const NODE *node) {
        if (node->op == OP::UMULT)
            out += "U*2";
        else if (const char *name = node_operator_name[node->op])
            out += name;
        else
            out += "?NODE?";
        if (!node->left && !node->right) return;
        out += '(';
        expr(node->left, node->right ? above_comma : 0);
        if (node->right) {
            out += ", ";
            expr(node->right, above_comma);
        }
        out += ')';
    }

    void word(const NODE *node) {
        if (node->op == OP::BRANCH) {
            out += "goto ";
            expr(node->left, 0);
            return;
        }
        out += "return";
        if (node->op == OP::URETURN) return;
        out += ' ';
        expr(node->right, 0);
    }

    void branches(const NODE *node) {
        out += "if (";
        expr(node->left, 0);
        out += ") goto ";
        const NODE *arms = node->right;
        const bool is_pair = arms && arms->op == OP::COMMA;
        expr(is_pair ? arms->left : arms, 0);
        if (!is_pair) return;
        out += " else goto ";
        expr(arms->right, 0);
    }

    void case_(const NODE *node) {
        if (node->op == OP::DEFAULT) {
            out += "default: ";
            expr(node->left, 0);
            return;
        }
        out += "case ";
        expr(node->left, 0);
        out += ": ";
        expr(node->right, 0);
    }

    void quoted(const NODE *node) {
        switch (node->op) {
        case OP::ASM: out += "asm("; break;
        case OP::SKIP: out += "SKIP("; break;
        case OP::PPRAGMA: out += "#pragma "; break;
        default: break;
        }
        append_payload(out, node);
        if (node->op == OP::ASM || node->op == OP::SKIP) out += ')';
        if (node->op == OP::LABELDEF) out += ':';
    }

    std::string out;
    const std::size_t limit;
};
} // namespace

std::string infix_text(const NODE *tree, std::size_t limit) {
    PRINTER printer(limit);
    printer.expr(tree, 0);
    return printer.text();
}

const char *stmt2infix(const NODE *tree) {
    static std::string buffer;
    buffer = infix_text(tree, std::numeric_limits<std::size_t>::max());
    return buffer.c_str();
}
