// Constant expressions in the machine's arithmetic: 16-bit chars, 32-bit ints, binary32 floats,
// sizes in units. Used wherever C wants a constant, and for static initialisers.
#include "tools/ic-cc/ic_cc.h"

#include "clang/Basic/Builtins.h"

#include <cmath>

using namespace clang;

// The value as it is held in an integer type: low bits, extended by the type's sign.
static std::int64_t wrapped(std::int64_t value, const type *t) {
    t = strip(t);
    if (is_bool(t)) return value != 0;
    if (t->size == 16)
        return is_signed(t) ? static_cast<std::int16_t>(value)
                            : static_cast<std::int64_t>(static_cast<std::uint16_t>(value));
    return is_signed(t) ? static_cast<std::int32_t>(value)
                        : static_cast<std::int64_t>(static_cast<std::uint32_t>(value));
}

static std::int64_t truncated(float f) {
    if (!std::isfinite(f) || std::fabs(f) >= 9.0e18f) return 0;
    return static_cast<std::int64_t>(f);
}

static constant make_integer(std::int64_t value, const type *t) {
    constant v;
    v.kind = constant::integer;
    v.ctype = t;
    v.value = wrapped(value, t);
    return v;
}

static constant make_floating(float value, const type *t) {
    constant v;
    v.kind = constant::floating;
    v.ctype = t;
    v.fvalue = value;
    return v;
}

bool translator::convert(constant &v, const type *to) {
    const type *t = strip(to);
    if (t->kind == tkind::enumeration) t = t->base;
    switch (t->kind) {
    case tkind::integer:
        if (v.kind == constant::address) {
            if (is_bool(t))
                v = make_integer(1, t);
            else
                v.ctype = to; // still an address
        } else if (v.kind == constant::floating) {
            v = make_integer(is_bool(t) ? v.fvalue != 0 : truncated(v.fvalue), t);
        } else {
            v = make_integer(v.value, t);
        }
        return true;
    case tkind::floating:
        if (v.kind == constant::address) return false;
        v = make_floating(v.kind == constant::integer ? static_cast<float>(v.value) : v.fvalue, t);
        return true;
    case tkind::pointer:
        if (v.kind == constant::floating) return false;
        if (v.kind == constant::integer) v.value = static_cast<std::uint16_t>(v.value);
        v.ctype = to;
        return true;
    default: return false;
    }
}

std::int64_t translator::enumerator_value(const EnumConstantDecl *decl) {
    auto known = enumerators_.find(decl);
    if (known != enumerators_.end()) return known->second;
    std::int64_t next = 0;
    for (const EnumConstantDecl *c : cast<EnumDecl>(decl->getDeclContext())->enumerators()) {
        if (const Expr *init = c->getInitExpr()) {
            std::optional<std::int64_t> v = evaluate_integer(init);
            next = v.value_or(c->getInitVal().getExtValue());
        }
        enumerators_[c] = next;
        next = wrapped(next + 1, next + 1 > INT32_MAX ? types_.uint() : types_.int_());
        if (c == decl) break;
    }
    return enumerators_[decl];
}

std::int64_t translator::size_or_align(const UnaryExprOrTypeTraitExpr *e) {
    const type *t = e->isArgumentType() ? conv(e->getArgumentTypeInfo()->getTypeLoc())
                                        : expr_type(e->getArgumentExpr());
    if (e->isArgumentType() && e->getArgumentType()->isReferenceType()) t = pointee(t);
    complete(t);
    switch (e->getKind()) {
    case UETT_SizeOf: return size_of(t, e->getBeginLoc());
    case UETT_AlignOf:
    case UETT_PreferredAlignOf: return units(strip(t)->align);
    default: refuse(e->getBeginLoc(), "this operator on types"); return 1;
    }
}

bool translator::offset_of(const OffsetOfExpr *e, constant &v) {
    const type *t = complete(conv(e->getTypeSourceInfo()->getTypeLoc()));
    std::int64_t bits = 0;
    for (unsigned i = 0; i < e->getNumComponents(); ++i) {
        const OffsetOfNode &part = e->getComponent(i);
        if (part.getKind() == OffsetOfNode::Field) {
            const type *record;
            const member *m = find_member(part.getField(), &record);
            if (!m || m->is_bitfield) return false;
            bits += m->offset;
            t = m->mtype;
        } else if (part.getKind() == OffsetOfNode::Array) {
            std::optional<std::int64_t> index =
                evaluate_integer(e->getIndexExpr(part.getArrayExprIndex()));
            if (!index) return false;
            t = strip(t)->base;
            bits += *index * strip(t)->size;
        } else {
            return false;
        }
    }
    v = make_integer(bits / unit_bits, types_.uint());
    return true;
}

std::optional<std::int64_t> translator::evaluate_integer(const Expr *e) {
    constant v;
    if (!evaluate(e, v) || v.kind != constant::integer) return std::nullopt;
    return v.value;
}

bool translator::evaluate_truth(const Expr *e, bool &truth_value) {
    constant v;
    if (!evaluate(e, v)) return false;
    truth_value = v.kind == constant::address    ? true
                  : v.kind == constant::floating ? v.fvalue != 0
                                                 : v.value != 0;
    return true;
}

bool translator::evaluate_unary(const UnaryOperator *e, constant &v) {
    if (e->getOpcode() == UO_AddrOf) {
        if (!evaluate_lvalue(e->getSubExpr(), v)) return false;
        v.ctype = types_.pointer(v.ctype);
        return true;
    }
    if (!evaluate(e->getSubExpr(), v)) return false;
    switch (e->getOpcode()) {
    case UO_Plus:
    case UO_Extension: return true;
    case UO_Minus:
        if (v.kind == constant::floating)
            v.fvalue = -v.fvalue;
        else if (v.kind == constant::integer)
            v = make_integer(-v.value, v.ctype);
        else
            return false;
        return true;
    case UO_Not:
        if (v.kind != constant::integer) return false;
        v = make_integer(~v.value, v.ctype);
        return true;
    case UO_LNot: {
        bool zero = v.kind == constant::floating ? v.fvalue == 0
                                                 : v.kind == constant::integer && v.value == 0;
        v = make_integer(zero, types_.int_());
        return true;
    }
    default: return false;
    }
}

// Operands of one integer type, which is also the result's but for comparisons.
static bool integer_operation(BinaryOperatorKind op, std::int64_t a, std::int64_t b, const type *t,
                              const type *int_type, constant &v) {
    auto give = [&](std::int64_t value, const type *rt) {
        v = make_integer(value, rt);
        return true;
    };
    auto low = [](std::int64_t value) { return static_cast<std::uint64_t>(value); };
    switch (op) {
    case BO_Add: return give(a + b, t);
    case BO_Sub: return give(a - b, t);
    case BO_Mul: return give(static_cast<std::int64_t>(low(a) * low(b)), t);
    case BO_Div: return b != 0 && give(a / b, t);
    case BO_Rem: return b != 0 && give(a % b, t);
    case BO_And: return give(a & b, t);
    case BO_Or: return give(a | b, t);
    case BO_Xor: return give(a ^ b, t);
    case BO_Shl: return give(b < 0 || b > 31 ? 0 : static_cast<std::int64_t>(low(a) << b), t);
    case BO_Shr: return give(b < 0 || b > 31 ? (a < 0 ? -1 : 0) : a >> b, t);
    case BO_LT: return give(a < b, int_type);
    case BO_GT: return give(a > b, int_type);
    case BO_LE: return give(a <= b, int_type);
    case BO_GE: return give(a >= b, int_type);
    case BO_EQ: return give(a == b, int_type);
    case BO_NE: return give(a != b, int_type);
    default: return false;
    }
}

// As IEEE has it; a host division by zero would be undefined.
static float quotient(float a, float b) {
    if (b != 0) return a / b;
    if (a == 0 || std::isnan(a)) return NAN;
    return std::copysign(INFINITY, std::signbit(a) == std::signbit(b) ? 1.0f : -1.0f);
}

static bool float_operation(BinaryOperatorKind op, float a, float b, const type *t,
                            const type *int_type, constant &v) {
    auto give = [&](float value) {
        v = make_floating(value, t);
        return true;
    };
    auto test = [&](bool value) {
        v = make_integer(value, int_type);
        return true;
    };
    switch (op) {
    case BO_Add: return give(a + b);
    case BO_Sub: return give(a - b);
    case BO_Mul: return give(a * b);
    case BO_Div: return give(quotient(a, b));
    case BO_LT: return test(a < b);
    case BO_GT: return test(a > b);
    case BO_LE: return test(a <= b);
    case BO_GE: return test(a >= b);
    case BO_EQ: return test(a == b);
    case BO_NE: return test(a != b);
    default: return false;
    }
}

bool translator::evaluate_binary(const BinaryOperator *e, constant &v) {
    constant a, b;
    if (e->isLogicalOp()) {
        bool left, right;
        if (!evaluate_truth(e->getLHS(), left)) return false;
        bool decided = left == (e->getOpcode() == BO_LOr);
        if (!decided && !evaluate_truth(e->getRHS(), right)) return false;
        v = make_integer(decided ? left : right, types_.int_());
        return true;
    }
    if (e->getOpcode() == BO_Comma || e->isAssignmentOp()) return false;
    if (!evaluate(e->getLHS(), a) || !evaluate(e->getRHS(), b)) return false;
    bool a_pointer = is_pointer(a.ctype), b_pointer = is_pointer(b.ctype);
    if (a_pointer != b_pointer && e->isAdditiveOp()) {
        constant &p = a_pointer ? a : b, &i = a_pointer ? b : a;
        if (i.kind != constant::integer) return false;
        std::int64_t step = i.value * size_of(pointee(p.ctype), e->getBeginLoc());
        p.value += e->getOpcode() == BO_Sub ? -step : step;
        v = p;
        return true;
    }
    if (a_pointer || b_pointer) {
        if (a.base != b.base || a.string != b.string) return false;
        if (e->getOpcode() == BO_Sub) {
            std::int64_t size = size_of(pointee(a.ctype), e->getBeginLoc());
            v = make_integer((a.value - b.value) / std::max<std::int64_t>(size, 1), types_.int_());
            return true;
        }
        return e->isComparisonOp() &&
               integer_operation(e->getOpcode(), a.value, b.value, types_.uint(), types_.int_(), v);
    }
    if (a.kind == constant::floating && b.kind == constant::floating)
        return float_operation(e->getOpcode(), a.fvalue, b.fvalue, a.ctype, types_.int_(), v);
    if (a.kind != constant::integer || b.kind != constant::integer) return false;
    return integer_operation(e->getOpcode(), a.value, b.value, strip(a.ctype), types_.int_(), v);
}

bool translator::evaluate_cast(const CastExpr *e, constant &v) {
    const Expr *sub = e->getSubExpr();
    switch (e->getCastKind()) {
    case CK_ArrayToPointerDecay:
        if (!evaluate_lvalue(sub, v)) return false;
        v.ctype = decayed(v.ctype);
        return true;
    case CK_FunctionToPointerDecay:
        if (!evaluate_lvalue(sub, v)) return false;
        v.ctype = types_.pointer(v.ctype);
        return true;
    case CK_LValueToRValue: {
        // Only a scalar compound literal or a string's character could be read at compile time.
        const auto *literal = dyn_cast<CompoundLiteralExpr>(sub->IgnoreParens());
        return literal && literal->getType()->isScalarType() &&
               evaluate(literal->getInitializer(), v);
    }
    case CK_NoOp:
    case CK_BitCast:
    case CK_NullToPointer:
    case CK_IntegralToPointer:
    case CK_PointerToIntegral:
    case CK_PointerToBoolean:
    case CK_IntegralCast:
    case CK_IntegralToBoolean:
    case CK_IntegralToFloating:
    case CK_FloatingToIntegral:
    case CK_FloatingToBoolean:
    case CK_FloatingCast:
    case CK_BooleanToSignedIntegral: {
        if (!evaluate(sub, v)) return false;
        const auto *written = dyn_cast<ExplicitCastExpr>(e);
        return convert(v, written ? conv(written->getTypeInfoAsWritten()->getTypeLoc())
                                  : conv(e->getType()));
    }
    default: return false;
    }
}

bool translator::evaluate_call(const CallExpr *e, constant &v) {
    switch (e->getBuiltinCallee()) {
    case Builtin::BI__builtin_constant_p: {
        constant ignored;
        v = make_integer(evaluate(e->getArg(0), ignored), types_.int_());
        return true;
    }
    case Builtin::BI__builtin_expect: return evaluate(e->getArg(0), v);
    case Builtin::BI__builtin_object_size: // never known here
        v = make_integer(evaluate_integer(e->getArg(1)).value_or(0) < 2 ? -1 : 0, types_.uint());
        return true;
    case Builtin::BI__builtin_huge_vall:
    case Builtin::BI__builtin_infl:
    case Builtin::BI__builtin_huge_val:
    case Builtin::BI__builtin_inf: v = make_floating(INFINITY, types_.floating(1)); return true;
    case Builtin::BI__builtin_huge_valf:
    case Builtin::BI__builtin_inff: v = make_floating(INFINITY, types_.floating(0)); return true;
    case Builtin::BI__builtin_nanl:
    case Builtin::BI__builtin_nan: v = make_floating(NAN, types_.floating(1)); return true;
    case Builtin::BI__builtin_nanf: v = make_floating(NAN, types_.floating(0)); return true;
    default: return false;
    }
}

// A variable that stands for its initialiser.
bool translator::evaluate_variable(const VarDecl *var, constant &v) {
    const QualType qt = var->getType();
    const VarDecl *with_init = nullptr;
    const Expr *init = var->getAnyInitializer(with_init);
    if (!init || !qt.isConstQualified() || qt.isVolatileQualified() || !qt->isScalarType() ||
        isa<ParmVarDecl>(var) || init->isValueDependent())
        return false;
    if (evaluate(init, v)) return convert(v, decl_type(with_init));
    if (!var->isConstexpr() || !qt->isIntegralOrEnumerationType()) return false;
    const APValue *value = with_init->evaluateValue(); // by calls of constexpr functions
    if (!value || !value->isInt()) return false;
    v = make_integer(value->getInt().getExtValue(), value_type(qt));
    return true;
}

// The constants that only C++ has.
bool translator::evaluate_cpp(const Expr *e, constant &v) {
    const type *boolean = types_.integer(ikind::boolean);
    if (const auto *x = dyn_cast<CXXBoolLiteralExpr>(e)) {
        v = make_integer(x->getValue(), boolean);
        return true;
    }
    if (isa<CXXNullPtrLiteralExpr>(e)) {
        v = make_integer(0, types_.int_());
        return convert(v, types_.pointer(types_.void_()));
    }
    if (const auto *x = dyn_cast<CXXNoexceptExpr>(e)) {
        v = make_integer(x->getValue(), boolean);
        return true;
    }
    if (const auto *x = dyn_cast<SizeOfPackExpr>(e)) {
        v = make_integer(x->getPackLength(), types_.uint());
        return true;
    }
    if (isa<CXXScalarValueInitExpr>(e) && e->getType()->isScalarType()) {
        v = make_integer(0, types_.int_());
        return convert(v, conv(e->getType()));
    }
    if (const auto *x = dyn_cast<SubstNonTypeTemplateParmExpr>(e))
        return evaluate(x->getReplacement(), v);
    if (const auto *x = dyn_cast<CXXDefaultArgExpr>(e)) return evaluate(x->getExpr(), v);
    if (const auto *x = dyn_cast<CXXDefaultInitExpr>(e)) return evaluate(x->getExpr(), v);
    if (const auto *x = dyn_cast<ExprWithCleanups>(e)) return evaluate(x->getSubExpr(), v);
    if (const auto *c = dyn_cast<ImplicitCastExpr>(e); c && c->getCastKind() == CK_LValueToRValue) {
        const Expr *sub = c->getSubExpr()->IgnoreParens();
        if (const auto *x = dyn_cast<SubstNonTypeTemplateParmExpr>(sub)) sub = x->getReplacement();
        if (const auto *m = dyn_cast<MemberExpr>(sub))
            if (const auto *var = dyn_cast<VarDecl>(m->getMemberDecl()))
                return evaluate_variable(var, v);
        if (const auto *d = dyn_cast<DeclRefExpr>(sub))
            if (const auto *var = dyn_cast<VarDecl>(d->getDecl())) return evaluate_variable(var, v);
    }
    return false;
}

bool translator::evaluate(const Expr *e, constant &v) {
    e = e->IgnoreParens();
    if (const auto *x = dyn_cast<ConstantExpr>(e)) {
        if (evaluate(x->getSubExpr(), v)) return true;
        if (!in_cpp() || !x->hasAPValueResult() || !x->getType()->isIntegralOrEnumerationType())
            return false;
        v = make_integer(x->getResultAsAPSInt().getExtValue(), value_type(x->getType()));
        return true;
    }
    if (in_cpp() && evaluate_cpp(e, v)) return true;
    if (const auto *x = dyn_cast<IntegerLiteral>(e)) {
        v = make_integer(static_cast<std::int64_t>(x->getValue().getZExtValue()),
                         value_type(x->getType()));
        return true;
    }
    if (const auto *x = dyn_cast<CharacterLiteral>(e)) {
        // clang gives a narrow character the sign of its 8 bits; the machine's char holds it whole.
        unsigned value = x->getValue();
        if (x->getKind() == CharacterLiteral::Ascii && static_cast<std::int32_t>(value) < 0)
            value &= 0xff;
        v = make_integer(value, value_type(x->getType()));
        return true;
    }
    if (const auto *x = dyn_cast<FloatingLiteral>(e)) {
        v = make_floating(x->getValue().convertToFloat(), conv(x->getType()));
        return true;
    }
    if (const auto *x = dyn_cast<DeclRefExpr>(e)) {
        const auto *c = dyn_cast<EnumConstantDecl>(x->getDecl());
        if (!c) return false;
        v = make_integer(enumerator_value(c), value_type(x->getType()));
        return true;
    }
    if (const auto *x = dyn_cast<UnaryExprOrTypeTraitExpr>(e)) {
        v = make_integer(size_or_align(x), types_.uint());
        return true;
    }
    if (const auto *x = dyn_cast<OffsetOfExpr>(e)) return offset_of(x, v);
    if (const auto *x = dyn_cast<UnaryOperator>(e)) return evaluate_unary(x, v);
    if (const auto *x = dyn_cast<BinaryOperator>(e)) return evaluate_binary(x, v);
    if (const auto *x = dyn_cast<AbstractConditionalOperator>(e)) {
        bool first;
        if (!evaluate_truth(x->getCond(), first)) return false;
        return evaluate(first ? x->getTrueExpr() : x->getFalseExpr(), v);
    }
    if (const auto *x = dyn_cast<CastExpr>(e)) return evaluate_cast(x, v);
    if (const auto *x = dyn_cast<CallExpr>(e)) return evaluate_call(x, v);
    if (const auto *x = dyn_cast<GenericSelectionExpr>(e)) return evaluate(x->getResultExpr(), v);
    if (const auto *x = dyn_cast<ChooseExpr>(e)) return evaluate(x->getChosenSubExpr(), v);
    if (const auto *x = dyn_cast<OpaqueValueExpr>(e))
        return x->getSourceExpr() && evaluate(x->getSourceExpr(), v);
    if (const auto *x = dyn_cast<TypeTraitExpr>(e)) {
        v = make_integer(x->getValue(), types_.int_());
        return true;
    }
    if (const auto *x = dyn_cast<AddrLabelExpr>(e)) {
        if (!fn_) return false;
        v = make_integer(label_value(x->getLabel()), types_.int_());
        return convert(v, conv(x->getType()));
    }
    if (const auto *x = dyn_cast<SourceLocExpr>(e)) {
        const APValue value = x->EvaluateInContext(context_, nullptr);
        if (!value.isInt()) return false;
        v = make_integer(value.getInt().getExtValue(), value_type(x->getType()));
        return true;
    }
    if (const auto *x = dyn_cast<InitListExpr>(e)) // { 1 } for a scalar
        return x->getNumInits() == 1 && x->getType()->isScalarType() && evaluate(x->getInit(0), v);
    if (isa<ImplicitValueInitExpr>(e) && e->getType()->isScalarType()) {
        const type *t = conv(e->getType());
        v = ::is_floating(t) ? make_floating(0, t) : make_integer(0, types_.int_());
        return convert(v, t);
    }
    return false;
}

// The address of a static object; v.ctype becomes the object's type.
bool translator::evaluate_lvalue(const Expr *e, constant &v) {
    e = e->IgnoreParens();
    v = constant{};
    if (const auto *x = dyn_cast<DeclRefExpr>(e)) {
        v.kind = constant::address;
        if (const auto *f = dyn_cast<FunctionDecl>(x->getDecl())) {
            v.base = function_symbol(f);
        } else if (const auto *var = dyn_cast<VarDecl>(x->getDecl())) {
            if (!var->hasGlobalStorage() || var->getType()->isReferenceType()) return false;
            v.base = variable_symbol(var);
        } else {
            return false;
        }
        auto flexible = flexible_.find(v.base);
        v.ctype = flexible == flexible_.end() ? v.base->stype : flexible->second;
        return true;
    }
    if (const auto *x = dyn_cast<StringLiteral>(e)) {
        v.kind = constant::address;
        v.ctype = conv(x->getType());
        if (x->getCharByteWidth() == 1)
            v.string = x;
        else
            v.base = wide_string(x);
        return true;
    }
    if (const auto *x = dyn_cast<PredefinedExpr>(e))
        return evaluate_lvalue(x->getFunctionName(), v);
    if (const auto *x = dyn_cast<CompoundLiteralExpr>(e)) {
        if (!x->isFileScope()) return false;
        v.kind = constant::address;
        symbol *&s = literals_[x];
        if (!s) {
            s = hidden_static("$literal", expr_type(x), x->getBeginLoc());
            static_init(s, x->getInitializer());
        }
        v.base = s;
        v.ctype = s->stype;
        return true;
    }
    if (const auto *x = dyn_cast<MemberExpr>(e)) {
        if (x->isArrow() ? !evaluate(x->getBase(), v) : !evaluate_lvalue(x->getBase(), v))
            return false;
        const type *record;
        const auto *field = dyn_cast<FieldDecl>(x->getMemberDecl());
        const member *m = field ? find_member(field, &record) : nullptr;
        if (!m || m->is_bitfield) return false;
        v.value += units(m->offset);
        v.ctype = m->mtype;
        return true;
    }
    if (const auto *x = dyn_cast<ArraySubscriptExpr>(e)) {
        if (!evaluate(x->getBase(), v) || !is_pointer(v.ctype)) return false;
        std::optional<std::int64_t> index = evaluate_integer(x->getIdx());
        if (!index) return false;
        v.ctype = pointee(v.ctype);
        v.value += *index * size_of(v.ctype, e->getBeginLoc());
        return true;
    }
    if (const auto *x = dyn_cast<UnaryOperator>(e)) {
        if (x->getOpcode() == UO_Extension) return evaluate_lvalue(x->getSubExpr(), v);
        if (x->getOpcode() != UO_Deref || !evaluate(x->getSubExpr(), v)) return false;
        if (!is_pointer(v.ctype)) return false;
        v.ctype = pointee(v.ctype);
        return true;
    }
    return false;
}

// The tree of a constant of type t, fit for an initialiser.
node *translator::constant_tree(const constant &v, const type *t) {
    const type *to = strip(t);
    if (v.kind == constant::floating) return fcon(v.fvalue, to);
    if (v.kind == constant::integer) {
        if (to->kind == tkind::pointer)
            return make(OP::PCONV, unqualified(t), icon(v.value, types_.integer(ikind::ushort_)));
        return icon(v.value, to->kind == tkind::enumeration ? to->base : to);
    }
    if (!v.base && !v.string)
        return make(OP::PCONV, unqualified(t),
                    icon(static_cast<std::uint16_t>(v.value), types_.integer(ikind::ushort_)));
    node *address = v.base ? make(OP::UAND, types_.pointer(v.base->stype), name(v.base))
                           : string_address(v.string);
    if (v.value != 0) address = make(OP::PLUS, address->ntype, address, icon(v.value));
    return convert_tree(address, t);
}

void translator::check_static_assert(const StaticAssertDecl *decl) {
    std::optional<std::int64_t> v = evaluate_integer(decl->getAssertExpr());
    if (!v) {
        refuse(decl->getLocation(), "an assertion that is not an integer constant expression");
    } else if (*v == 0) {
        failed_ = true;
        unsigned id = diags_.getCustomDiagID(DiagnosticsEngine::Error, "static assertion failed%0");
        const StringLiteral *text = decl->getMessage();
        diags_.Report(decl->getLocation(), id) << (text ? ": " + text->getString().str() : "");
    }
}
