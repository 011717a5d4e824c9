// Calls, built-in functions, variable arguments.
#include "tools/ic-cc/ic_cc.h"

#include "clang/Basic/Builtins.h"

using namespace clang;

node *translator::call(const CallExpr *e) {
    if (unsigned id = e->getBuiltinCallee())
        if (node *n = builtin_call(e, id)) return n;
    const FunctionDecl *direct = e->getDirectCallee();
    if (direct && direct->getName() == "_nassert" && e->getNumArgs() == 1)
        return make(OP::NASSERT, types_.void_(), condition(e->getArg(0)));
    if (direct && (direct->getName() == "setjmp" || direct->getName() == "longjmp"))
        return refuse(e->getBeginLoc(), "'" + direct->getName().str() + "'");
    if (direct && direct->hasAttr<ReturnsTwiceAttr>())
        return refuse(e->getBeginLoc(), "a function that returns twice");
    node *callee = rvalue(e->getCallee());
    const type *ft = is_pointer(callee->ntype) ? strip(pointee(callee->ntype)) : nullptr;
    if (!ft || ft->kind != tkind::function) return refuse(e->getBeginLoc(), "this call");
    const type *result = unqualified(complete(ft->base));
    if (is_kind(result, tkind::enumeration)) result = strip(result)->base;
    node *args = nullptr;
    for (unsigned i = 0; i < e->getNumArgs(); ++i) {
        node *arg = rvalue(e->getArg(i));
        if (i < ft->params.size() && !is_record(ft->params[i]))
            arg = convert_tree(arg, ft->params[i]);
        args = args ? make(OP::COMMA, types_.int_(), args, arg) : arg;
    }
    if (!args) return make(OP::UCALL, result, callee);
    node *n = make(OP::CALL, result, callee, args);
    if (ft->variadic) n->value = e->getNumArgs() - static_cast<unsigned>(ft->params.size());
    return n;
}

// Null when the call is an ordinary one.
node *translator::builtin_call(const CallExpr *e, unsigned id) {
    auto one = [&](int op) { return make(op, value_type(e->getType()), rvalue(e->getArg(0))); };
    switch (id) {
    case Builtin::BI__builtin_va_start: return va_start(e);
    case Builtin::BI__builtin_va_end: {
        node *n = discarded(e->getArg(0));
        return n ? n : icon(0);
    }
    case Builtin::BI__builtin_va_copy: {
        node *to = lvalue(e->getArg(0)->IgnoreParenImpCasts());
        return assign(to, rvalue(e->getArg(1)));
    }
    case Builtin::BI__builtin_expect: {
        node *n = rvalue(e->getArg(0));
        node *expected = discarded(e->getArg(1));
        return expected ? comma(expected, n) : n;
    }
    case Builtin::BI__builtin_constant_p:
    case Builtin::BI__builtin_huge_val:
    case Builtin::BI__builtin_huge_valf:
    case Builtin::BI__builtin_inf:
    case Builtin::BI__builtin_inff:
    case Builtin::BI__builtin_nan:
    case Builtin::BI__builtin_nanf: {
        constant v;
        if (evaluate_call(e, v)) return constant_tree(v, v.ctype);
        return refuse(e->getBeginLoc(), "this constant");
    }
    case Builtin::BI__builtin_assume:
        return make(OP::NASSERT, types_.void_(), condition(e->getArg(0)));
    case Builtin::BI__builtin_unreachable: return make(OP::NASSERT, types_.void_(), icon(0));
    case Builtin::BI__builtin_abs:
    case Builtin::BI__builtin_labs:
    case Builtin::BI__builtin_llabs:
    case Builtin::BI__builtin_fabs:
    case Builtin::BI__builtin_fabsf:
    case Builtin::BI__builtin_fabsl: return one(OP::ABS);
    case Builtin::BI__builtin_sqrt:
    case Builtin::BI__builtin_sqrtf:
    case Builtin::BI__builtin_sqrtl: return one(OP::SQRT);
    default: break;
    }
    const FunctionDecl *callee = e->getDirectCallee();
    if (callee && callee->getName().startswith("__"))
        return refuse(e->getBeginLoc(), "the built-in function '" + callee->getName().str() + "'");
    return nullptr;
}

// The variable arguments lie directly behind the last named one.
node *translator::va_start(const CallExpr *e) {
    const auto *list = e->getArg(0)->IgnoreParenImpCasts();
    if (!fn_ || fn_->params.empty()) return refuse(e->getBeginLoc(), "this use of va_start");
    auto [decl, last] = fn_->params.back();
    node *to = lvalue(list);
    const type *char_pointer = types_.pointer(types_.integer(ikind::plain_char));
    node *start =
        make(OP::PCONV, char_pointer, make(OP::UAND, types_.pointer(last->stype), name(last)));
    node *behind =
        make(OP::PLUS, char_pointer, start, icon(size_of(last->stype, e->getBeginLoc())));
    return assign(to, convert_tree(behind, to->ntype));
}

// *(T *)list++, after the list has been aligned for a T of two units.
node *translator::va_arg(const VAArgExpr *e) {
    SourceLocation at = e->getBeginLoc();
    const type *t = complete(conv(e->getWrittenTypeInfo()->getTypeLoc()));
    if (is_array(t)) return refuse(at, "an argument of array type");
    node *before = nullptr;
    node *list = repeatable(lvalue(e->getSubExpr()->IgnoreParenImpCasts()), before);
    const type *list_type = unqualified(list->ntype);
    if (strip(t)->align > unit_bits) {
        const type *number = types_.integer(ikind::ushort_);
        node *address = make(OP::PCONV, number, copy_tree(list));
        node *up = make(OP::PLUS, number, address, icon(1, number));
        node *even = make(OP::ANDB, number, up, icon(0xfffe, number));
        before = comma(before, assign(copy_tree(list), make(OP::PCONV, list_type, even)));
    }
    node *old = make(OP::PLUSPLUS, list_type, list, icon(size_of(t, at)));
    return comma(before, deref(convert_tree(old, types_.pointer(t))));
}
