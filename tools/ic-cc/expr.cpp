// Expressions: operators, conversions, references.
#include "tools/ic-cc/ic_cc.h"

using namespace clang;

namespace {

int plain_opcode(BinaryOperatorKind op) {
    switch (op) {
    case BO_Mul: return OP::MULT;
    case BO_Div: return OP::DIV;
    case BO_Rem: return OP::MOD;
    case BO_Shl: return OP::SLL;
    case BO_Shr: return OP::SRL;
    case BO_And: return OP::ANDB;
    case BO_Or: return OP::ORB;
    case BO_Xor: return OP::XORB;
    case BO_LAnd: return OP::ANDAND;
    case BO_LOr: return OP::OROR;
    default: return OP::ILLOP;
    }
}

int comparison_opcode(BinaryOperatorKind op, bool is_unsigned) {
    switch (op) {
    case BO_LT: return is_unsigned ? OP::ULT : OP::LT;
    case BO_GT: return is_unsigned ? OP::UGT : OP::GT;
    case BO_LE: return is_unsigned ? OP::ULE : OP::LE;
    case BO_GE: return is_unsigned ? OP::UGE : OP::GE;
    case BO_EQ: return OP::EQ;
    default: return OP::NEQ;
    }
}

} // namespace

node *translator::rvalue(const Expr *e) {
    depth_counter guard(nesting_);
    if (nesting_ > expression_nesting_limit)
        return refuse(e->getBeginLoc(), "an expression nested this deep");
    return rvalue_inner(e);
}

node *translator::lvalue(const Expr *e) {
    depth_counter guard(nesting_);
    if (nesting_ > expression_nesting_limit)
        return refuse(e->getBeginLoc(), "an expression nested this deep");
    return lvalue_inner(e);
}

node *translator::rvalue_inner(const Expr *e) {
    e = e->IgnoreParens();
    if (const auto *x = dyn_cast<ConstantExpr>(e)) return rvalue(x->getSubExpr());
    if (in_cpp())
        if (node *n = cpp_rvalue(e)) return n;
    if (isa<IntegerLiteral, CharacterLiteral, FloatingLiteral, UnaryExprOrTypeTraitExpr,
            OffsetOfExpr, TypeTraitExpr>(e)) {
        constant v;
        if (const auto *t = dyn_cast<UnaryExprOrTypeTraitExpr>(e))
            if (t->getTypeOfArgument()->isVariableArrayType())
                return refuse(e->getBeginLoc(), "an array of variable length");
        if (!evaluate(e, v)) return refuse(e->getBeginLoc(), "this constant");
        return constant_tree(v, v.ctype);
    }
    if (const auto *x = dyn_cast<CastExpr>(e)) return conversion(x);
    if (const auto *x = dyn_cast<UnaryOperator>(e)) return unary(x);
    if (const auto *x = dyn_cast<CompoundAssignOperator>(e)) return compound_assign(x);
    if (const auto *x = dyn_cast<BinaryOperator>(e)) return binary(x);
    if (const auto *x = dyn_cast<BinaryConditionalOperator>(e))
        return conditional_without_middle(x);
    if (const auto *x = dyn_cast<ConditionalOperator>(e))
        return conditional(x->getCond(), x->getTrueExpr(), x->getFalseExpr(), e->getType());
    if (const auto *x = dyn_cast<StmtExpr>(e)) return statement_expression(x);
    if (isa<AddrLabelExpr, SourceLocExpr>(e)) {
        constant v;
        if (evaluate(e, v)) return constant_tree(v, v.ctype);
    }
    if (const auto *x = dyn_cast<CallExpr>(e)) return call(x);
    if (const auto *x = dyn_cast<VAArgExpr>(e)) return va_arg(x);
    if (const auto *x = dyn_cast<DeclRefExpr>(e))
        if (const auto *c = dyn_cast<EnumConstantDecl>(x->getDecl()))
            return icon(enumerator_value(c), value_type(e->getType()));
    if (const auto *x = dyn_cast<GenericSelectionExpr>(e)) return rvalue(x->getResultExpr());
    if (const auto *x = dyn_cast<ChooseExpr>(e)) return rvalue(x->getChosenSubExpr());
    if (const auto *x = dyn_cast<InitListExpr>(e))
        if (x->getNumInits() == 1 && e->getType()->isScalarType()) return rvalue(x->getInit(0));
    if (isa<ImplicitValueInitExpr>(e) && e->getType()->isScalarType()) {
        constant v;
        if (evaluate(e, v)) return constant_tree(v, v.ctype);
    }
    if (const auto *x = dyn_cast<OpaqueValueExpr>(e)) {
        if (auto known = opaque_.find(x); known != opaque_.end()) return name(known->second);
        if (x->getSourceExpr()) return rvalue(x->getSourceExpr());
    }
    if (e->isGLValue() || isa<MemberExpr>(e)) return lvalue(e);
    if (isa<ImaginaryLiteral>(e)) return refuse(e->getBeginLoc(), "a complex number");
    return refuse(e->getBeginLoc(), std::string("this expression (") + e->getStmtClassName() + ")");
}

node *translator::lvalue_inner(const Expr *e) {
    e = e->IgnoreParens();
    if (in_cpp())
        if (node *n = cpp_lvalue(e)) return n;
    if (const auto *x = dyn_cast<DeclRefExpr>(e)) return decl_ref(x);
    if (const auto *x = dyn_cast<MemberExpr>(e)) return member_ref(x);
    if (const auto *x = dyn_cast<ArraySubscriptExpr>(e)) {
        // p[i] and i[p]: the pointer side is evaluated first.
        node *base = rvalue(x->getBase());
        if (hoists(x->getIdx())) base = settled(base);
        node *index = rvalue(x->getIdx());
        return below_commas(base, [&](node *p) {
            node *offset = scaled(index, p->ntype, e->getBeginLoc());
            if (offset->op == OP::ICON && offset->value == 0) return deref(p);
            return deref(make(OP::PLUS, unqualified(p->ntype), p, offset));
        });
    }
    if (const auto *x = dyn_cast<UnaryOperator>(e)) {
        if (x->getOpcode() == UO_Deref) {
            node *p = rvalue(x->getSubExpr());
            return is_pointer(p->ntype) ? deref(p) : p;
        }
        if (x->getOpcode() == UO_Extension) return lvalue(x->getSubExpr());
    }
    if (const auto *x = dyn_cast<StringLiteral>(e)) {
        if (x->getCharByteWidth() != 1) return name(wide_string(x));
        return make(OP::UMULT, conv(x->getType()),
                    convert_tree(string_address(x), types_.pointer(conv(x->getType()))));
    }
    if (const auto *x = dyn_cast<PredefinedExpr>(e)) return lvalue(x->getFunctionName());
    if (const auto *x = dyn_cast<CompoundLiteralExpr>(e)) return compound_literal(x);
    if (const auto *x = dyn_cast<GenericSelectionExpr>(e)) return lvalue(x->getResultExpr());
    if (const auto *x = dyn_cast<ChooseExpr>(e)) return lvalue(x->getChosenSubExpr());
    if (const auto *x = dyn_cast<MaterializeTemporaryExpr>(e))
        return class_lvalue(rvalue(x->getSubExpr()));
    if (const auto *x = dyn_cast<ImplicitCastExpr>(e))
        if (x->getCastKind() == CK_NoOp) return lvalue(x->getSubExpr());
    if (e->getType()->isRecordType()) return class_lvalue(rvalue(e));
    return refuse(e->getBeginLoc(), std::string("this object (") + e->getStmtClassName() + ")");
}

// References, and parameters that are passed by address.
bool translator::is_pointer_to_object(const VarDecl *v) {
    return v->getType()->isReferenceType() || (isa<ParmVarDecl>(v) && by_address(v->getType()));
}

// The variable itself, or the pointer that a reference or an object passed by address is.
node *translator::variable_ref(const VarDecl *v) {
    if (fn_) {
        if (auto captured = fn_->captures.find(v); captured != fn_->captures.end()) {
            const type *record;
            const member *m = find_member(captured->second, &record);
            node *field = dot(this_object(), *m, record);
            // A copy of an object that was passed by address is no address.
            const bool held = captured->second->getType()->isReferenceType();
            return held == is_pointer_to_object(v) ? field
                   : held                          ? deref(field)
                                                   : address_of(field);
        }
        if (const auto *p = dyn_cast<ParmVarDecl>(v); p && !fn_->locals.contains(p))
            return name(param_symbol(p, is_record(body_type(p))));
    }
    return object(variable_symbol(v));
}

node *translator::decl_ref(const DeclRefExpr *e) {
    const ValueDecl *d = e->getDecl();
    if (const auto *f = dyn_cast<FunctionDecl>(d)) return name(function_symbol(f));
    if (const auto *b = dyn_cast<BindingDecl>(d); b && b->getBinding() && !b->getHoldingVar())
        return lvalue(b->getBinding());
    if (const auto *v = dyn_cast<VarDecl>(d)) {
        node *n = variable_ref(v);
        return is_pointer_to_object(v) ? deref(n) : n;
    }
    return refuse(e->getBeginLoc(), "this reference");
}

node *translator::member_ref(const MemberExpr *e) {
    const type *record;
    if (const auto *v = dyn_cast<VarDecl>(e->getMemberDecl())) { // static member
        node *before = discarded(e->getBase());
        node *n = variable_ref(v);
        return comma(before, v->getType()->isReferenceType() ? deref(n) : n);
    }
    if (const auto *c = dyn_cast<EnumConstantDecl>(e->getMemberDecl()))
        return icon(enumerator_value(c), value_type(e->getType()));
    const auto *field = dyn_cast<FieldDecl>(e->getMemberDecl());
    const member *m = field ? find_member(field, &record) : nullptr;
    if (!m) return refuse(e->getBeginLoc(), "this member");
    node *base = e->isArrow() ? deref(rvalue(e->getBase())) : class_lvalue(lvalue(e->getBase()));
    node *n = dot(base, *m, record);
    return field->getType()->isReferenceType() ? deref(n) : n;
}

node *translator::string_address(const StringLiteral *s) {
    if (s->getCharByteWidth() != 1) {
        symbol *sym = wide_string(s);
        return make(OP::PCONV, decayed(sym->stype),
                    make(OP::UAND, types_.pointer(sym->stype), name(sym)));
    }
    return scon(s->getBytes(), types_.pointer(types_.integer(ikind::plain_char)));
}

node *translator::conversion(const CastExpr *e) {
    const Expr *sub = e->getSubExpr();
    auto target = [&] {
        const auto *written = dyn_cast<ExplicitCastExpr>(e);
        return written ? conv(written->getTypeInfoAsWritten()->getTypeLoc()) : conv(e->getType());
    };
    if (in_cpp())
        if (node *n = class_conversion(e)) return n;
    switch (e->getCastKind()) {
    case CK_LValueToRValue:
        if (e->getType()->isAtomicType()) return refuse(e->getBeginLoc(), "an atomic object");
        if (in_cpp()) { // an assignment is an lvalue there
            const Expr *inner = sub->IgnoreParens();
            if (const auto *b = dyn_cast<BinaryOperator>(inner); b && b->isAssignmentOp())
                return value_of_assignment(b);
            if (const auto *u = dyn_cast<UnaryOperator>(inner); u && u->isIncrementDecrementOp())
                return increment(u, true);
        }
        return lvalue(sub);
    case CK_NoOp:
    case CK_ToVoid: {
        if (e->isGLValue()) return lvalue(sub);
        node *n = rvalue(sub);
        return is_pointer(n->ntype) && e->getCastKind() == CK_NoOp ? convert_tree(n, target()) : n;
    }
    case CK_ArrayToPointerDecay: {
        if (const auto *s = dyn_cast<StringLiteral>(sub->IgnoreParens())) return string_address(s);
        node *array = lvalue(sub);
        return below_commas(array, [this](node *n) {
            const type *t = decayed(n->ntype);
            return make(OP::PCONV, t, address_of(n));
        });
    }
    case CK_FunctionToPointerDecay:
    case CK_BuiltinFnToFnPtr: return address_of(lvalue(sub));
    case CK_NullToPointer: {
        constant v;
        if (evaluate(sub, v)) return null_pointer(target());
        return comma(discarded(sub), null_pointer(target()));
    }
    case CK_BitCast:
    case CK_IntegralToPointer:
    case CK_PointerToIntegral:
    case CK_PointerToBoolean:
    case CK_IntegralCast:
    case CK_IntegralToBoolean:
    case CK_IntegralToFloating:
    case CK_FloatingToIntegral:
    case CK_FloatingToBoolean:
    case CK_FloatingCast: {
        const type *to = target();
        return below_commas(rvalue(sub), [&](node *n) { return convert_tree(n, to); });
    }
    default:
        return refuse(e->getBeginLoc(),
                      std::string("this conversion (") + e->getCastKindName() + ")");
    }
}

node *translator::unary(const UnaryOperator *e) {
    const Expr *sub = e->getSubExpr();
    switch (e->getOpcode()) {
    case UO_AddrOf: return address_of(lvalue(sub));
    case UO_Deref: return lvalue(e);
    case UO_Plus:
    case UO_Extension: return rvalue(sub);
    case UO_Minus: {
        node *n = rvalue(sub);
        const type *t = value_type(e->getType());
        if (n->op == OP::ICON) return icon(-n->value, t);
        if (n->op == OP::FCON) {
            constant v;
            if (evaluate(e, v) && v.kind == constant::floating) return fcon(v.fvalue, t);
        }
        return make(OP::UMINUS, t, n);
    }
    case UO_Not: return make(OP::NOTB, value_type(e->getType()), rvalue(sub));
    case UO_LNot: return make(OP::EXCLAIM, types_.int_(), rvalue(sub));
    case UO_PreInc:
    case UO_PreDec:
    case UO_PostInc:
    case UO_PostDec: return increment(e, true);
    default: return refuse(e->getBeginLoc(), "this operator");
    }
}

node *translator::add_sub(const BinaryOperator *e) {
    bool adds = e->getOpcode() == BO_Add;
    bool left_pointer = e->getLHS()->getType()->isPointerType();
    bool right_pointer = e->getRHS()->getType()->isPointerType();
    node *l = rvalue(e->getLHS());
    if (hoists(e->getRHS())) l = settled(l);
    node *r = rvalue(e->getRHS());
    SourceLocation at = e->getOperatorLoc();
    if (left_pointer && right_pointer) {
        std::uint32_t bits = std::max(stride_bits(l->ntype, at), unit_bits);
        return make(OP::PVCONV, types_.int_(), make(OP::MINUS, types_.int_(), l, r), icon(bits));
    }
    if (left_pointer || right_pointer) {
        node *p = left_pointer ? l : r;
        node *i = left_pointer ? r : l;
        const type *t = unqualified(p->ntype);
        i = scaled(i, t, at);
        // The operands keep the order of their evaluation.
        return make(adds ? OP::PLUS : OP::MINUS, t, left_pointer ? p : i, left_pointer ? i : p);
    }
    return make(adds ? OP::PLUS : OP::MINUS, value_type(e->getType()), l, r);
}

node *translator::comparison(const BinaryOperator *e) {
    QualType qt = e->getLHS()->getType();
    node *l = rvalue(e->getLHS());
    if (hoists(e->getRHS())) l = settled(l);
    node *r = rvalue(e->getRHS());
    bool is_unsigned = qt->isPointerType() || (qt->isIntegerType() && !is_signed(value_type(qt)));
    return make(comparison_opcode(e->getOpcode(), is_unsigned), types_.int_(), l, r);
}

node *translator::binary(const BinaryOperator *e) {
    switch (e->getOpcode()) {
    case BO_Assign: {
        node *target = lvalue(e->getLHS());
        if (hoists(e->getRHS())) target = settled_lvalue(target);
        node *source = rvalue(e->getRHS());
        return below_commas(target, [&](node *n) {
            return assign(n, in_cpp() ? convert_tree(source, n->ntype) : source);
        });
    }
    case BO_Comma: {
        node *first = discarded(e->getLHS());
        if (first && hoists(e->getRHS())) {
            add_tree(first, e->getBeginLoc());
            first = nullptr;
        }
        return comma(first, rvalue(e->getRHS()));
    }
    case BO_Add:
    case BO_Sub: return add_sub(e);
    default: break;
    }
    if (e->isComparisonOp()) return comparison(e);
    if (e->isLogicalOp() && hoists(e->getRHS())) return logical_by_branches(e);
    int op = plain_opcode(e->getOpcode());
    if (op == OP::ILLOP) return refuse(e->getOperatorLoc(), "this operator");
    node *l = rvalue(e->getLHS());
    if (hoists(e->getRHS())) l = settled(l);
    if (e->isLogicalOp() && fn_) ++fn_->conditional;
    node *r = rvalue(e->getRHS());
    if (e->isLogicalOp() && fn_) --fn_->conditional;
    return make(op, e->isLogicalOp() ? types_.int_() : value_type(e->getType()), l, r);
}

node *translator::conditional(const Expr *cond, const Expr *a, const Expr *b, QualType qt) {
    node *c = condition(cond);
    if (hoists(a) || hoists(b)) return conditional_by_branches(c, a, b, qt);
    if (qt->isRecordType()) {
        // The choice is made between addresses, so that no class value hangs in a tree.
        node *x = address_of(class_lvalue(rvalue(a)));
        node *y = address_of(class_lvalue(rvalue(b)));
        const type *t = types_.pointer(unqualified(conv(qt)));
        x = convert_tree(x, t);
        y = convert_tree(y, t);
        return make(OP::UMULT, pointee(t), make(OP::QUEST, t, c, make(OP::COLON, t, x, y)));
    }
    if (qt->isVoidType()) {
        auto arm = [&](const Expr *e) {
            if (fn_) ++fn_->conditional;
            node *n = discarded(e);
            if (fn_) --fn_->conditional;
            return n ? n : icon(0);
        };
        node *x = arm(a);
        node *y = arm(b);
        return make(OP::QUEST, types_.void_(), c, make(OP::COLON, types_.void_(), x, y));
    }
    const type *t =
        qt->isPointerType() || qt->isNullPtrType() ? unqualified(conv(qt)) : value_type(qt);
    auto arm = [&](const Expr *part) {
        if (fn_) ++fn_->conditional;
        node *n = rvalue(part);
        if (fn_) --fn_->conditional;
        return in_cpp() ? convert_tree(n, t) : n;
    };
    node *x = arm(a);
    node *y = arm(b);
    return make(OP::QUEST, t, c, make(OP::COLON, t, x, y));
}

// x ?: y: the value of x is kept in a temporary.
node *translator::conditional_without_middle(const BinaryConditionalOperator *e) {
    node *value = rvalue(e->getCommon());
    symbol *kept = temporary(unqualified(value->ntype));
    node *before = assign(name(kept), value);
    if (hoists(e->getFalseExpr())) {
        add_tree(before, e->getBeginLoc());
        before = nullptr;
    }
    opaque_[e->getOpaqueValue()] = kept;
    node *choice = conditional(e->getCond(), e->getTrueExpr(), e->getFalseExpr(), e->getType());
    return comma(before, choice);
}

node *translator::condition(const Expr *e) {
    node *n = rvalue(e);
    // A comparison under a conversion to int, as in if ((a < b) != 0), stays as written.
    return n;
}

node *translator::discarded(const Expr *e) {
    e = e->IgnoreParens();
    if (const auto *c = dyn_cast<CastExpr>(e))
        if (c->getCastKind() == CK_ToVoid) return discarded(c->getSubExpr());
    if (const auto *x = dyn_cast<BinaryOperator>(e); x && x->getOpcode() == BO_Comma) {
        node *first = discarded(x->getLHS());
        if (first && hoists(x->getRHS())) {
            add_tree(first, e->getBeginLoc());
            first = nullptr;
        }
        node *second = discarded(x->getRHS());
        return second ? comma(first, second) : first;
    }
    node *n;
    const auto *u = dyn_cast<UnaryOperator>(e);
    if (u && u->isIncrementDecrementOp())
        n = increment(u, false);
    else if (e->isGLValue())
        n = lvalue(e);
    else
        n = rvalue(e);
    return effects(n);
}
