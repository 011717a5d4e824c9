// Calls and variable arguments.
#include "tools/ic-cc/ic_cc.h"

using namespace clang;

node *translator::call(const CallExpr *e) {
    if (unsigned id = e->getBuiltinCallee())
        if (node *n = builtin_call(e, id)) return n;
    const FunctionDecl *direct = e->getDirectCallee();
    if (direct && direct->getName() == "_nassert" && e->getNumArgs() == 1)
        return make(OP::NASSERT, types_.void_(), condition(e->getArg(0)));
    if (direct && direct->hasAttr<ReturnsTwiceAttr>() && direct->getName() != "setjmp")
        return refuse(e->getBeginLoc(), "a function that returns twice");
    node *callee = rvalue(e->getCallee());
    const type *ft = is_pointer(callee->ntype) ? strip(pointee(callee->ntype)) : nullptr;
    if (!ft || ft->kind != tkind::function) return refuse(e->getBeginLoc(), "this call");
    const type *result = unqualified(complete(ft->base));
    if (is_kind(result, tkind::enumeration)) result = strip(result)->base;
    bool any_hoists = false;
    for (const Expr *arg : e->arguments())
        any_hoists |= hoists(arg);
    if (any_hoists) callee = settled(callee);
    node *args = nullptr;
    std::vector<node *> values = arguments({e->getArgs(), e->getNumArgs()});
    for (unsigned i = 0; i < e->getNumArgs(); ++i) {
        node *arg = values[i];
        if (i < ft->params.size() && !is_record(ft->params[i]))
            arg = convert_tree(arg, ft->params[i]);
        args = args ? make(OP::COMMA, types_.int_(), args, arg) : arg;
    }
    if (!args) return make(OP::UCALL, result, callee);
    node *n = make(OP::CALL, result, callee, args);
    if (ft->variadic) n->value = e->getNumArgs() - static_cast<unsigned>(ft->params.size());
    return n;
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
