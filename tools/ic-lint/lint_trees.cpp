// Rules of statement trees as they stand in a file: shapes, operands and types.
#include "tools/ic-lint/lint.h"

#include <charconv>
#include <cstdlib>

namespace {
std::string numbered(const char *text, std::int64_t n) {
    return std::string(text) + " " + std::to_string(n);
}

bool is_assignment(int op) {
    return side_effects[op] == SE_STORE || op == OP::ARASG;
}

bool is_jump(int op) {
    return op == OP::BRANCH || op == OP::CBRANCH || op == OP::SWITCH || op == OP::RETURN ||
           op == OP::URETURN;
}
} // namespace

bool LINTER::is_lvalue(int op) const {
    switch (op) {
    case OP::NAME:
    case OP::UMULT:
    case OP::STDOT:
    case OP::STREF:
    case OP::VFIELD:
    case OP::STFIELD:
    case OP::REAL:
    case OP::IMAG: return true;
    default: return false;
    }
}

bool LINTER::has_side_effects(const TREE &t, std::uint32_t i) const {
    for (std::uint32_t n = i; n < node(t, i).end; ++n) {
        const IF_RECORD &r = node(t, n);
        if (side_effects[r.selector] == SE_STORE || side_effects[r.selector] == SE_CONTROL)
            return true;
        switch (r.selector) {
        case OP::CALL:
        case OP::UCALL:
        case OP::MCALL:
        case OP::UMCALL:
        case OP::ICALL:
        case OP::UICALL:
        case OP::ARASG:
        case OP::NASSERT:
        case OP::ASSERT:
        case OP::MEMCPY:
        case OP::LOOP:
        case OP::ENDLOOP: return true;
        case OP::NAME:
        case OP::UMULT:
        case OP::STDOT:
        case OP::STREF:
            if (types.is_volatile(type_of(r))) return true;
            break;
        default: break;
        }
    }
    return false;
}

void LINTER::check_statement(std::uint32_t stmt) {
    const auto &records = m.sections[IF_BODY].records;
    const IF_RECORD &frame = records[stmt];
    if (frame.end <= stmt + 1) {
        report(frame, "has no tree");
        return;
    }
    const TREE t{IF_BODY, stmt + 1};
    const IF_RECORD &root = node(t, t.root);
    const bool first = !function.saw_statement;
    function.saw_statement = true;
    bool is_prolog = false;
    if (root.selector == OP::PCOMMA) {
        is_prolog = true;
        if (!first) report(root, "appears outside the argument prolog");
    } else if (first && root.selector == OP::ASG) {
        const IF_RECORD &source = node(t, right_of(t, t.root));
        is_prolog = source.selector == OP::NAME && m.number(source, IF_NODE::payload) == 1;
    }
    if (is_prolog) {
        check_prolog(t, t.root);
        return;
    }
    if (!has_side_effects(t, t.root) &&
        !(root.selector == OP::ICON && m.number(root, IF_NODE::payload) == 0))
        report(root, "is a statement without a side effect");
    check_tree(t, t.root, OP::ILLOP, STATEMENT);
}

// The argument prolog: a left-towered PCOMMA chain of assignments of level 1 parameters.
void LINTER::check_prolog(const TREE &t, std::uint32_t i) {
    for (; node(t, i).selector == OP::PCOMMA; i = left_of(i)) {
        const std::uint32_t right = right_of(t, i);
        if (node(t, right).selector == OP::PCOMMA) report(node(t, i), "is right-towered");
        if (node(t, right).selector != OP::ASG)
            report(node(t, right), "stands in an argument prolog");
        check_tree(t, right, OP::PCOMMA, PROLOG);
    }
    if (node(t, i).selector != OP::ASG) report(node(t, i), "stands in an argument prolog");
    check_tree(t, i, OP::PCOMMA, PROLOG);
}

// Recursion is as deep as the tree, which the reader has bounded.
void LINTER::check_tree(const TREE &t, std::uint32_t i, int parent, POSITION position) {
    const IF_RECORD &r = node(t, i);
    if (!r.layout || r.damaged) return;
    check_typeref(r, type_of(r));
    check_node(t, i, parent, position);
    if (r.selector == OP::SWITCH) {
        check_tree(t, left_of(i), r.selector, VALUE);
        check_switch(t, i);
        return;
    }
    if (r.end == i + 1) return;
    const bool two = node(t, i + 1).end < r.end;
    POSITION left = position == PROLOG ? PROLOG : VALUE, right = left;
    if (r.selector == OP::UAND || is_assignment(r.selector) || r.selector == OP::STDOT)
        left = position == PROLOG ? PROLOG : LVALUE;
    if (r.selector == OP::BRANCH) left = LABELS;
    if (r.selector == OP::CBRANCH) right = LABELS;
    check_tree(t, left_of(i), r.selector, left);
    if (two) check_tree(t, right_of(t, i), r.selector, right);
}

void LINTER::check_node(const TREE &t, std::uint32_t i, int parent, POSITION position) {
    const IF_RECORD &r = node(t, i);
    const int op = r.selector;
    const std::uint32_t type = type_of(r);
    const int children = if_file_arity(op);
    const IF_RECORD *left = children >= 1 && !op_is_file_leaf(op) ? &node(t, left_of(i)) : nullptr;
    const IF_RECORD *right = left && children == 2 ? &node(t, right_of(t, i)) : nullptr;
    const std::uint32_t lt = left ? type_of(*left) : 0, rt = right ? type_of(*right) : 0;
    const auto require = [&](bool condition, const char *text) {
        if (!condition) report(r, text);
    };

    require(node_operator_name[op] != nullptr || op == OP::VREG, "is no opcode of a file");
    require(type != 0, "has no type");
    if (is_jump(op))
        require(parent == OP::ILLOP && position == STATEMENT, "stands below an operator");
    if (op == OP::COLON) require(parent == OP::QUEST, "appears outside a QUEST");
    if (op == OP::FIELD)
        require(parent == OP::STDOT || parent == OP::STREF || parent == OP::STFIELD ||
                    parent == OP::VFIELD,
                "stands outside STDOT and STREF");
    if (op == OP::LABEL)
        require(position == LABELS || parent == OP::EPVAL || parent == OP::SWITCH ||
                    parent == OP::CASE || parent == OP::DEFAULT || parent == OP::ENDLOOP ||
                    parent == OP::LOOP,
                "stands outside a jump");
    if (op == OP::CASE || op == OP::DEFAULT)
        require(parent == OP::SWITCH, "stands outside a SWITCH");
    if (op == OP::PCOMMA) require(position == PROLOG, "appears outside the argument prolog");
    if (op == OP::COMMA) {
        require(parent == OP::CALL || parent == OP::ICALL || parent == OP::MCALL ||
                    parent == OP::MEMCPY || parent == OP::COMMA,
                "stands outside an argument list");
        require(right->selector != OP::COMMA, "is right-towered");
    }

    switch (op) {
    case OP::LABEL:
        function.labels_referenced.emplace(m.number(r, IF_NODE::payload), r.offset);
        break;
    case OP::NAME: check_name(r, parent, position); break;
    case OP::ICON:
    case OP::LCON:
    case OP::FCON:
    case OP::SCON: check_constant(r); break;
    case OP::FIELD: check_member(r); break;
    case OP::PLUS:
    case OP::MINUS: check_additive(t, i, false); break;
    case OP::PLUSASG:
    case OP::MINUSASG:
    case OP::PLUSPLUS:
    case OP::MINMIN: check_additive(t, i, true); break;
    case OP::MULT:
    case OP::DIV:
    case OP::UMINUS:
    case OP::ABS:
    case OP::SQR:
    case OP::SQRT:
    case OP::RECIP:
        require(types.is_arithmetic(lt) && (!right || types.is_arithmetic(rt)),
                "has an operand that is not arithmetic");
        require(types.is_arithmetic(type), "has a type that is not arithmetic");
        break;
    case OP::MULTASG:
    case OP::DIVASG:
        require(is_lvalue(left->selector), "assigns to something that is no lvalue");
        require(types.is_arithmetic(lt) && types.is_arithmetic(rt),
                "has an operand that is not arithmetic");
        break;
    case OP::UMULT: require(types.is_pointer(lt), "follows something that is no pointer"); break;
    case OP::UAND:
        require(is_lvalue(left->selector), "takes the address of something that is no lvalue");
        require(types.is_pointer(type), "has a type that is no pointer");
        break;
    case OP::ANDB:
    case OP::ORB:
    case OP::XORB:
    case OP::MOD:
    case OP::SLL:
    case OP::SRL:
    case OP::ANDBASG:
    case OP::ORBASG:
    case OP::XORBASG:
    case OP::MODASG:
    case OP::SLLASG:
    case OP::SRLASG:
        require(types.is_integer_or_vector_of_integer(lt) &&
                    types.is_integer_or_vector_of_integer(rt),
                "has an operand that is no integer");
        if (is_assignment(op))
            require(is_lvalue(left->selector), "assigns to something that is no lvalue");
        break;
    case OP::NOTB:
        require(types.is_integer_or_vector_of_integer(lt), "has an operand that is no integer");
        break;
    case OP::EXCLAIM: require(types.is_scalar(lt), "has an operand that is no scalar"); break;
    case OP::ANDAND:
    case OP::OROR:
        require(types.is_scalar(lt) && types.is_scalar(rt), "has an operand that is no scalar");
        break;
    case OP::EQ:
    case OP::NEQ:
    case OP::LE:
    case OP::LT:
    case OP::GE:
    case OP::GT:
    case OP::ULE:
    case OP::ULT:
    case OP::UGE:
    case OP::UGT:
        require(types.is_scalar(lt) && types.is_scalar(rt), "compares something that is no scalar");
        require(types.size(lt) == types.size(rt), "compares values of different sizes");
        require(types.is_integer(type) || types.is_vector(type), "has a type that is no integer");
        break;
    case OP::QUEST:
        require(right->selector == OP::COLON || right->selector == OP::EPVAL, "has no COLON");
        require(types.is_scalar(lt), "has a condition that is no scalar");
        break;
    case OP::ASG:
        require(is_lvalue(left->selector), "assigns to something that is no lvalue");
        require(types.is_scalar(lt) && types.is_scalar(rt), "assigns something that is no scalar");
        require(types.size(lt) == types.size(rt), "assigns a value of another size");
        break;
    case OP::STASG:
        require(is_lvalue(left->selector), "assigns to something that is no lvalue");
        require(types.is_csu(lt) && types.is_csu(rt), "has an operand that is no class");
        break;
    case OP::ARASG:
        require(is_lvalue(left->selector) && types.is_array(lt),
                "assigns to something that is no array");
        break;
    case OP::STDOT:
        require(right->selector == OP::FIELD, "has no member");
        require(types.is_csu(lt), "selects from something that is no class");
        break;
    case OP::STREF:
        require(right->selector == OP::FIELD, "has no member");
        require(types.is_csu(types.pointee(lt)),
                "selects through something that is no pointer to a class");
        break;
    case OP::CALL:
    case OP::UCALL: check_call(t, i); break;
    case OP::SCONV:
        require(types.is_arithmetic(lt), "converts something that is not arithmetic");
        require(types.is_arithmetic(type), "converts to something that is not arithmetic");
        break;
    case OP::PCONV:
        require(types.is_scalar(lt), "converts something that is no scalar");
        require(types.is_pointer(type) || (types.is_integer(type) && types.is_pointer(lt)),
                "converts neither to nor from a pointer");
        break;
    case OP::PMCONV:
        require(types.is_integer(lt) && types.is_integer(type) && right->selector == OP::ICON,
                "does not scale an integer by a constant");
        break;
    case OP::PVCONV:
        require(types.is_integer(type) && right->selector == OP::ICON,
                "does not divide by a constant");
        break;
    case OP::BRANCH:
        require(left->selector == OP::LABEL || left->selector == OP::EPVAL, "has no label");
        break;
    case OP::CBRANCH:
        require(types.is_scalar(lt), "has a condition that is no scalar");
        require(right->selector == OP::LABEL || right->selector == OP::EPVAL, "has no label");
        break;
    case OP::RETURN:
    case OP::URETURN: {
        const bool names_function = left->selector == OP::NAME &&
                                    m.number(*left, IF_NODE::payload) == 0 &&
                                    m.number(*left, IF_NODE::payload + 1) == function.symbol_index;
        require(names_function, "does not name its function");
        const LINT_TYPE *of = types.stripped(function.symbol_type);
        if (op == OP::RETURN && of) {
            require(!types.is_void(of->base), "gives a value from a function without a result");
            require(types.size(rt) == types.size(of->base),
                    "gives a value of another size than the function's result");
        }
        break;
    }
    case OP::SWITCH:
        require(types.is_integer(lt), "switches on something that is no integer");
        break;
    case OP::CASE:
        require(left->selector == OP::ICON, "has no constant");
        require(right->selector == OP::LABEL || right->selector == OP::EPVAL, "has no label");
        break;
    case OP::DEFAULT:
        require(left->selector == OP::LABEL || left->selector == OP::EPVAL, "has no label");
        break;
    case OP::NASSERT:
    case OP::ASSERT: require(types.is_scalar(lt), "asserts something that is no scalar"); break;
    case OP::EPVAL:
        require(left->selector == OP::QUEST || left->selector == OP::COLON ||
                    left->selector == OP::LABEL,
                "counts something else than QUEST, COLON or LABEL");
        break;
    case OP::MEMCPY: {
        const bool three =
            left->selector == OP::COMMA && node(t, left_of(left_of(i))).selector == OP::COMMA;
        require(three, "has not three arguments");
        break;
    }
    default: break;
    }
}

void LINTER::check_name(const IF_RECORD &r, int parent, POSITION position) {
    const auto level = static_cast<std::int32_t>(m.number(r, IF_NODE::payload));
    const std::int64_t index = m.number(r, IF_NODE::payload + 1);
    const IF_SCOPES::SYMBOL *symbol = level < 0 ? nullptr : scopes.find(level, index);
    if (!symbol) {
        report(r, numbered("names symbol", level) + "." + std::to_string(index) +
                      ", which does not exist");
        return;
    }
    const auto declared = static_cast<std::uint32_t>(m.number(*symbol->record, IF_SYM::type));
    if (!types.is_function(declared) && types.size(declared) != types.size(type_of(r)))
        report(r, "has not the size of its symbol");
    const LINT_TYPE *of = types.stripped(function.symbol_type);
    const bool variadic = of && of->variadic;
    if (level == 1 && position != PROLOG && !types.is_csu(declared) && !types.is_array(declared) &&
        !(variadic && parent == OP::UAND))
        report(r, "names a parameter as passed outside the argument prolog");
}

void LINTER::check_constant(const IF_RECORD &r) {
    const std::uint32_t type = type_of(r);
    switch (r.selector) {
    case OP::ICON: {
        if (!types.is_integer(type) && !types.is_pointer(type))
            report(r, "has a type that is no integer");
        const std::int64_t value = m.number(r, IF_NODE::payload), bits = types.size(type);
        if (bits > 0 && bits < 32 &&
            (value < -(std::int64_t(1) << (bits - 1)) || value >= std::int64_t(1) << bits))
            report(r, numbered("does not fit its type:", value));
        break;
    }
    case OP::FCON: {
        if (!types.is_floating(type)) report(r, "has a type that is not floating");
        const std::string text(m.text(r, IF_NODE::payload));
        char *end = nullptr;
        std::strtod(text.c_str(), &end);
        if (text.empty() || *end) report(r, "holds no number: \"" + text + "\"");
        break;
    }
    case OP::LCON: {
        const std::string text(m.text(r, IF_NODE::payload));
        const std::size_t digits = text.starts_with("-") ? 1 : 0;
        if (text.size() == digits ||
            text.find_first_not_of("0123456789", digits) != std::string::npos)
            report(r, "holds no number: \"" + text + "\"");
        break;
    }
    default:
        if (!types.is_pointer(type) && !types.is_array(type))
            report(r, "has a type that is neither pointer nor array");
    }
}

void LINTER::check_member(const IF_RECORD &r) {
    const auto owner = static_cast<std::uint32_t>(field(r, "class"));
    const LINT_TYPE *csu = types.stripped(owner);
    check_typeref(r, owner);
    if (!csu || !types.is_csu(owner))
        report(r, "names a member of something that is no class");
    else if (!csu->members.count(field(r, "member")))
        report(r, numbered("names member", field(r, "member")) + ", which its class has not");
    if (field(r, "kind") != 1) report(r, numbered("has kind", field(r, "kind")));
}

void LINTER::check_call(const TREE &t, std::uint32_t i) {
    const IF_RECORD &r = node(t, i);
    const std::uint32_t callee = type_of(node(t, left_of(i)));
    if (const std::int64_t eh = field(r, "eh"); eh != 0)
        function.eht_references.emplace(eh, r.offset);
    if (!types.is_pointer_to_function(callee)) {
        report(r, "calls something that is no pointer to function");
        return;
    }
    const LINT_TYPE *of = types.stripped(types.pointee(callee));
    std::int64_t args = 0;
    if (r.selector == OP::CALL) {
        args = 1;
        for (std::uint32_t a = right_of(t, i); node(t, a).selector == OP::COMMA; a = left_of(a))
            ++args;
    }
    std::int64_t named = static_cast<std::int64_t>(of->params.size());
    if (named == 1 && types.is_void(of->params[0])) named = 0;
    const std::int64_t extra = r.selector == OP::CALL ? field(r, "extra") : 0;
    if (!of->prototyped) return;
    if (!of->variadic && extra != 0)
        report(r, "has extra arguments for a function that takes none");
    if (args != named + extra)
        report(r, numbered("passes", args) +
                      numbered(" arguments where the function takes", named) +
                      numbered(" and the extra ones are", extra));
}

// The case list: a left-towered COMMA chain of CASEs with one DEFAULT, last on the right.
void LINTER::check_switch(const TREE &t, std::uint32_t i) {
    const IF_RECORD &r = node(t, i);
    std::int64_t cases = 0, defaults = 0;
    std::set<std::int64_t> values;
    const auto element = [&](std::uint32_t e) {
        const IF_RECORD &c = node(t, e);
        if (c.selector == OP::DEFAULT) {
            ++defaults;
        } else if (c.selector == OP::CASE) {
            ++cases;
            const IF_RECORD &value = node(t, left_of(e));
            if (value.selector == OP::ICON &&
                !values.insert(m.number(value, IF_NODE::payload)).second)
                report(c, numbered("has value", m.number(value, IF_NODE::payload)) + " again");
        } else {
            report(c, "stands in the case list of a SWITCH");
            return;
        }
        check_tree(t, e, OP::SWITCH, LABELS);
    };
    std::uint32_t c = right_of(t, i);
    for (; node(t, c).selector == OP::COMMA; c = left_of(c))
        element(right_of(t, c));
    element(c);
    if (defaults > 1) report(r, "has several DEFAULTs");
    if (cases != field(r, "cases"))
        report(r, numbered("counts", field(r, "cases")) + numbered(" cases but has", cases));
}

void LINTER::check_additive(const TREE &t, std::uint32_t i, bool assigns) {
    const IF_RECORD &r = node(t, i);
    const IF_RECORD &left = node(t, left_of(i)), &right = node(t, right_of(t, i));
    std::uint32_t lt = type_of(left), rt = type_of(right);
    const bool subtracts = r.selector == OP::MINUS || r.selector == OP::MINUSASG;
    if (assigns && !is_lvalue(left.selector)) report(r, "assigns to something that is no lvalue");
    if ((r.selector == OP::PLUSPLUS || r.selector == OP::MINMIN) && right.selector != OP::ICON &&
        right.selector != OP::FCON)
        report(r, "steps by something that is no constant");
    if (r.selector == OP::PLUS && types.is_pointer(rt)) std::swap(lt, rt);
    if (subtracts && types.is_pointer(lt) && types.is_pointer(rt)) {
        if (!types.is_integer(type_of(r))) report(r, "is a difference of pointers but no integer");
    } else if (types.is_pointer(lt)) {
        if (!types.is_arithmetic(rt))
            report(r, "adds something that is not arithmetic to a pointer");
        if (!types.is_pointer(type_of(r))) report(r, "steps a pointer but is none");
    } else if (!types.is_arithmetic(lt) || !types.is_arithmetic(rt) ||
               !types.is_arithmetic(type_of(r))) {
        report(r, "has an operand or a type that is not arithmetic");
    }
}
