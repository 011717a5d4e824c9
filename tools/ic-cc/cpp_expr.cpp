// Expressions of C++: construction, calls of methods, new and delete, conversions of classes.
#include "tools/ic-cc/ic_cc.h"

using namespace clang;

// An expression without the layers that do nothing when its value initialises an object.
static const Expr *initialising(const Expr *e) {
    for (;;) {
        e = e->IgnoreParens();
        if (const auto *x = dyn_cast<CXXBindTemporaryExpr>(e))
            e = x->getSubExpr();
        else if (const auto *m = dyn_cast<MaterializeTemporaryExpr>(e))
            e = m->getSubExpr();
        else if (const auto *w = dyn_cast<ExprWithCleanups>(e))
            e = w->getSubExpr();
        else if (const auto *k = dyn_cast<ConstantExpr>(e))
            e = k->getSubExpr();
        else if (const auto *d = dyn_cast<CXXDefaultArgExpr>(e))
            e = d->getExpr();
        else if (const auto *i = dyn_cast<CXXDefaultInitExpr>(e))
            e = i->getExpr();
        else if (const auto *s = dyn_cast<SubstNonTypeTemplateParmExpr>(e))
            e = s->getReplacement();
        else if (const auto *c = dyn_cast<CastExpr>(e);
                 c && e->isPRValue() &&
                 (c->getCastKind() == CK_ConstructorConversion ||
                  c->getCastKind() == CK_UserDefinedConversion || c->getCastKind() == CK_NoOp))
            e = c->getSubExpr();
        else
            return e;
    }
}

// The values of arguments; those that bind to references are addresses.
node *translator::argument(const Expr *e) {
    if (!in_cpp()) return rvalue(e);
    if (e->isGLValue()) return address_of(lvalue(e));
    if (by_address(e->getType())) return address_of(class_lvalue(rvalue(e)));
    return rvalue(e);
}

node *translator::call_pointer(node *callee, const std::vector<node *> &args, SourceLocation at) {
    const type *ft = is_pointer(callee->ntype) ? strip(pointee(callee->ntype)) : nullptr;
    if (!ft || ft->kind != tkind::function) return refuse(at, "this call");
    node *list = nullptr;
    for (std::size_t i = 0; i < args.size(); ++i) {
        node *arg = args[i];
        if (i < ft->params.size() && !is_record(ft->params[i]))
            arg = convert_tree(arg, ft->params[i]);
        list = list ? make(OP::COMMA, types_.int_(), list, arg) : arg;
    }
    const type *result = unqualified(complete(ft->base));
    if (is_kind(result, tkind::enumeration)) result = strip(result)->base;
    node *n = list ? make(OP::CALL, result, callee, list) : make(OP::UCALL, result, callee);
    if (ft->variadic) n->value = static_cast<std::int64_t>(args.size() - ft->params.size());
    return n;
}

node *translator::constructor_call(node *object_lv, const CXXConstructExpr *e) {
    std::vector<node *> args{address_of(object_lv)};
    for (node *n : arguments({e->getArgs(), e->getNumArgs()}))
        args.push_back(n);
    return call_symbol(function_symbol(e->getConstructor()), args);
}

// Initialises an object of class type by giving statements to `emit`.
void translator::construct(const target_maker &target, const Expr *value,
                           const std::function<void(node *)> &emit) {
    const Expr *e = initialising(value);
    if (const auto *x = dyn_cast<CXXConstructExpr>(e)) {
        const CXXConstructorDecl *c = x->getConstructor();
        if (x->isElidable() && x->getNumArgs() >= 1 && initialising(x->getArg(0))->isPRValue() &&
            context_.hasSameUnqualifiedType(x->getArg(0)->getType(), x->getType()))
            return construct(target, x->getArg(0), emit);
        if (c->isCopyOrMoveConstructor() && c->isTrivial()) {
            node *to = target();
            return emit(assign(to, class_lvalue(lvalue(x->getArg(0)))));
        }
        if (x->requiresZeroInitialization()) emit(assign(target(), zero_object(target()->ntype)));
        if (c->isTrivial() && c->isDefaultConstructor()) return;
        return emit(constructor_call(target(), x));
    }
    if (isa<CXXScalarValueInitExpr, ImplicitValueInitExpr>(e))
        return emit(assign(target(), zero_object(target()->ntype)));
    if (const auto *x = dyn_cast<LambdaExpr>(e)) {
        auto capture = x->capture_init_begin();
        for (const FieldDecl *f : x->getLambdaClass()->fields()) {
            const type *record;
            const member *m = find_member(f, &record);
            if (*capture)
                initialise(
                    f->getType(), m->mtype, *capture,
                    [&target, m, record, this] { return dot(target(), *m, record); }, emit);
            ++capture;
        }
        return;
    }
    if (isa<InitListExpr>(e)) return auto_init(target()->ntype, e, target, emit);
    if (const auto *x = dyn_cast<CallExpr>(e); x && by_address(x->getType()))
        return emit(call_into(x, address_of(target())));
    if (const auto *x = dyn_cast<ConditionalOperator>(e)) {
        node *c = condition(x->getCond());
        auto arm = [&](const Expr *a) {
            node *all = nullptr;
            ++fn_->conditional;
            ++fn_->in_comma;
            construct(target, a, [&](node *n) { all = comma(all, n); });
            --fn_->in_comma;
            --fn_->conditional;
            return all ? all : icon(0);
        };
        node *a = arm(x->getTrueExpr());
        node *b = arm(x->getFalseExpr());
        const type *t = types_.void_();
        return emit(make(OP::QUEST, t, c, make(OP::COLON, t, a, b)));
    }
    if (const auto *x = dyn_cast<BinaryOperator>(e); x && x->getOpcode() == BO_Comma) {
        if (node *first = discarded(x->getLHS())) emit(first);
        return construct(target, x->getRHS(), emit);
    }
    if (isa<CXXStdInitializerListExpr, CXXInheritedCtorInitExpr>(e)) {
        refuse(e->getBeginLoc(), std::string("this expression (") + e->getStmtClassName() + ")");
        return;
    }
    node *to = target();
    emit(assign(to, rvalue(e)));
}

node *translator::zero_object(const type *t) {
    symbol *&zero = zero_images_[strip(t)];
    if (!zero) zero = hidden_static("$zero", types_.qualified(unqualified(t), q_const), {});
    return name(zero);
}

// A value of class type, in a temporary of its own.
node *translator::class_value(const Expr *e) {
    const Expr *core = initialising(e);
    if (const auto *x = dyn_cast<CXXConstructExpr>(core))
        if (x->getConstructor()->isCopyOrMoveConstructor() && x->getConstructor()->isTrivial() &&
            !needed_destructor(e->getType()))
            return class_lvalue(lvalue(x->getArg(0)));
    symbol *t = temporary(unqualified(complete(conv(e->getType()))));
    node *before = nullptr;
    ++fn_->in_comma;
    construct([this, t] { return name(t); }, e, [&](node *n) { before = comma(before, n); });
    --fn_->in_comma;
    return comma(before, name(t));
}

// A temporary that is destroyed at the end of the statement, or with the reference bound to it.
node *translator::bound_temporary(const Expr *e, const ValueDecl *extended) {
    const CXXDestructorDecl *d = needed_destructor(e->getType());
    const type *t = unqualified(complete(conv(e->getType())));
    symbol *s = temporary(t);
    node *before = nullptr;
    ++fn_->in_comma;
    auto_init(
        t, initialising(e), [this, s] { return name(s); },
        [&](node *n) { before = comma(before, n); });
    --fn_->in_comma;
    if (d && extended) {
        fn_->cleanups.push_back({s, d, nullptr});
    } else if (d) {
        add_temporary_cleanup(s, d);
        symbol *flag = fn_->temporaries_alive.back().flag;
        if (flag) before = comma(before, assign(name(flag), icon(1)));
    }
    return comma(before, name(s));
}

// --- calls

// A copy of a class object that is nothing but a copy of its units; null for other calls.
static const CXXMethodDecl *trivial_assignment(const CallExpr *e) {
    const auto *m = dyn_cast_or_null<CXXMethodDecl>(e->getDirectCallee());
    if (!m || !m->isTrivial()) return nullptr;
    return m->isCopyAssignmentOperator() || m->isMoveAssignmentOperator() ? m : nullptr;
}

node *translator::copy_assignment(const CallExpr *e) {
    const auto *x = dyn_cast<CXXMemberCallExpr>(e);
    node *to;
    if (x) {
        const auto *access = cast<MemberExpr>(x->getCallee()->IgnoreParens());
        to = access->isArrow() ? deref(rvalue(access->getBase()))
                               : class_lvalue(lvalue(access->getBase()));
    } else {
        to = class_lvalue(lvalue(e->getArg(0)));
    }
    node *from = class_lvalue(lvalue(e->getArg(x ? 0 : 1)));
    return below_commas(to, [&](node *n) { return assign(n, from); });
}

// A call whose result goes to `result_to`, an address; null for results that are values.
node *translator::call_into(const CallExpr *e, node *result_to) {
    const FunctionDecl *direct = e->getDirectCallee();
    std::vector<node *> args;
    if (result_to) args.push_back(result_to);
    std::vector<const Expr *> written(e->arg_begin(), e->arg_end());
    node *callee = nullptr;
    if (const auto *x = dyn_cast<CXXMemberCallExpr>(e)) {
        const auto *access = dyn_cast<MemberExpr>(x->getCallee()->IgnoreParens());
        const CXXMethodDecl *m = x->getMethodDecl();
        if (!access || !m) return refuse(e->getBeginLoc(), "a call through a pointer to member");
        node *object_lv = access->isArrow() ? deref(rvalue(access->getBase()))
                                            : class_lvalue(lvalue(access->getBase()));
        callee = method_callee(m, object_lv, access->hasQualifier(), args);
    } else if (const auto *o = dyn_cast<CXXOperatorCallExpr>(e);
               o && direct && is_instance_method(direct)) {
        node *object_lv = class_lvalue(lvalue(written.front()));
        callee = method_callee(cast<CXXMethodDecl>(direct), object_lv, false, args);
        written.erase(written.begin());
    } else if (direct) {
        callee = make(OP::UAND, types_.pointer(function_symbol(direct)->stype),
                      name(function_symbol(direct)));
    } else {
        callee = rvalue(e->getCallee());
    }
    bool any_hoists = false;
    for (const Expr *arg : written)
        any_hoists |= hoists(arg);
    if (any_hoists) {
        callee = settled(callee);
        for (node *&n : args)
            n = settled(n);
    }
    for (node *n : arguments(written))
        args.push_back(n);
    return call_pointer(callee, args, e->getBeginLoc());
}

// What a call of a method calls; the object's address is added to the arguments.
node *translator::method_callee(const CXXMethodDecl *m, node *object_lv, bool qualified,
                                std::vector<node *> &args) {
    const bool by_table = m->isVirtual() && !qualified && !m->hasAttr<FinalAttr>() &&
                          !m->getParent()->hasAttr<FinalAttr>();
    node *before = nullptr;
    object_lv = by_table ? repeatable(object_lv, before) : object_lv;
    if (m->isStatic()) {
        symbol *f = function_symbol(m);
        return comma(effects(object_lv), make(OP::UAND, types_.pointer(f->stype), name(f)));
    }
    if (!by_table) {
        args.push_back(address_of(object_lv));
        symbol *f = function_symbol(m);
        return make(OP::UAND, types_.pointer(f->stype), name(f));
    }
    args.push_back(address_of(copy_tree(object_lv)));
    return comma(before, virtual_function(object_lv, m, false));
}

// --- new and delete

node *translator::release_memory(node *pointer, const FunctionDecl *op) {
    const type *t = types_.pointer(types_.void_());
    if (op && !op->isReplaceableGlobalAllocationFunction())
        return op->getNumParams() == 1
                   ? call_symbol(function_symbol(op), {pointer})
                   : refuse(op->getLocation(), "an operator delete with more than one parameter");
    if (op && op->isDefined()) return call_symbol(function_symbol(op), {pointer});
    symbol *f = library_function("free", types_.function(types_.void_(), {t}, false, true));
    return call_symbol(f, {pointer});
}

node *translator::new_object(const CXXNewExpr *e) {
    const QualType allocated = e->getAllocatedType();
    const type *t = complete(conv(allocated));
    const type *pointer = types_.pointer(t);
    const FunctionDecl *op = e->getOperatorNew();
    const std::uint32_t size = size_of(t, e->getBeginLoc());
    const bool cookie = e->isArray() && needed_destructor(allocated);
    constexpr std::uint32_t cookie_units = 2;
    symbol *at = temporary(pointer), *count = nullptr;
    node *before = nullptr;
    auto emit = [&](node *n) {
        if (e->isArray())
            add_tree(n, e->getBeginLoc());
        else
            before = comma(before, n);
    };
    node *bytes = icon(size, types_.uint());
    if (e->isArray()) {
        count = temporary(types_.int_());
        emit(assign(name(count), convert_tree(rvalue(*e->getArraySize()), types_.int_())));
        bytes = make(OP::MULT, types_.uint(), convert_tree(name(count), types_.uint()), bytes);
        if (cookie) bytes = make(OP::PLUS, types_.uint(), bytes, icon(cookie_units, types_.uint()));
    }
    node *memory;
    if (op->isReservedGlobalPlacementOperator()) {
        memory = rvalue(e->getPlacementArg(0));
    } else if (op->isReplaceableGlobalAllocationFunction() && !op->isDefined()) {
        const type *any = types_.pointer(types_.void_());
        symbol *f = library_function("malloc", types_.function(any, {types_.uint()}, false, true));
        memory = call_symbol(f, {bytes});
    } else {
        std::vector<node *> args{bytes};
        for (unsigned i = 0; i < e->getNumPlacementArgs(); ++i)
            args.push_back(argument(e->getPlacementArg(i)));
        memory = call_symbol(function_symbol(op), args);
    }
    emit(assign(name(at), convert_tree(memory, pointer)));
    if (cookie) {
        const type *count_pointer = types_.pointer(types_.int_());
        emit(assign(deref(convert_tree(name(at), count_pointer)), name(count)));
        emit(make(OP::PLUSASG, pointer, name(at), icon(cookie_units)));
    }
    if (!e->hasInitializer()) return comma(before, name(at));
    const Expr *init = e->getInitializer();
    if (e->isArray())
        new_elements(e, at, count);
    else {
        ++fn_->in_comma;
        auto_init(
            t, init, [this, at] { return deref(name(at)); }, emit);
        --fn_->in_comma;
    }
    return comma(before, name(at));
}

// Initialises `count` elements at `at`.
void translator::new_elements(const CXXNewExpr *e, symbol *at, symbol *count) {
    const Expr *init = initialising(e->getInitializer());
    const type *pointer = at->stype, *t = pointee(pointer);
    symbol *next = temporary(pointer), *left = temporary(types_.int_());
    auto emit = [&](node *n) { add_tree(n, e->getBeginLoc()); };
    const std::uint32_t size = size_of(t, e->getBeginLoc());
    emit(assign(name(next), name(at)));
    emit(assign(name(left), name(count)));
    target_maker target = [this, next] { return deref(name(next)); };
    const Expr *filler = init;
    if (const auto *list = dyn_cast<InitListExpr>(init)) {
        for (const Expr *element : list->inits()) {
            auto_init(t, element, target, emit);
            emit(make(OP::PLUSASG, pointer, name(next), icon(size)));
            emit(make(OP::MINUSASG, types_.int_(), name(left), icon(1)));
        }
        filler = list->getArrayFiller();
    }
    if (!filler) return;
    const auto *c = dyn_cast<CXXConstructExpr>(filler);
    if (c && c->getConstructor()->isTrivial() && !c->requiresZeroInitialization()) return;
    const unsigned top = new_label(), end = new_label();
    add_cond_branch(make(OP::GT, types_.int_(), name(left), icon(0)), end, {});
    add_label(top);
    if (c)
        construct(target, c, emit);
    else if (is_record(t) || is_array(t))
        emit(assign(target(), zero_object(t)));
    else
        emit(assign(target(), convert_tree(icon(0), t)));
    emit(make(OP::PLUSASG, pointer, name(next), icon(size)));
    emit(make(OP::MINUSASG, types_.int_(), name(left), icon(1)));
    add_cond_branch(make(OP::LE, types_.int_(), name(left), icon(0)), top, {});
    add_label(end);
}

node *translator::delete_object(const CXXDeleteExpr *e) {
    const QualType destroyed = e->getDestroyedType();
    const CXXDestructorDecl *d = needed_destructor(destroyed);
    node *pointer = rvalue(e->getArgument());
    if (!d) return release_memory(pointer, e->getOperatorDelete());
    const type *t = unqualified(pointer->ntype);
    symbol *at = temporary(t);
    node *store = assign(name(at), pointer);
    if (!e->isArrayForm()) {
        node *action;
        if (d->isVirtual()) {
            node *f = virtual_function(deref(name(at)), d, true);
            action = call_pointer(f, {name(at)}, e->getBeginLoc());
        } else {
            action = comma(destructor_call(deref(name(at)), d),
                           release_memory(name(at), e->getOperatorDelete()));
        }
        const type *none = types_.void_();
        node *choice = make(OP::QUEST, none, name(at), make(OP::COLON, none, action, icon(0)));
        return comma(store, choice);
    }
    // The count lies in front of the elements.
    constexpr std::uint32_t cookie_units = 2;
    const type *element = pointee(t);
    const std::uint32_t size = size_of(element, e->getBeginLoc());
    const unsigned end = new_label(), top = new_label(), done = new_label();
    add_tree(store, e->getBeginLoc());
    add_cond_branch(name(at), end, {});
    symbol *left = temporary(types_.int_()), *next = temporary(t), *start = temporary(t);
    add_tree(assign(name(start), make(OP::MINUS, t, name(at), icon(cookie_units))), {});
    add_tree(assign(name(left), deref(make(OP::PCONV, types_.pointer(types_.int_()), name(start)))),
             {});
    node *bits = icon(static_cast<std::int64_t>(size) * unit_bits);
    add_tree(assign(name(next),
                    make(OP::PLUS, t, name(at), make(OP::PMCONV, types_.int_(), name(left), bits))),
             {});
    add_label(top);
    add_cond_branch(make(OP::GT, types_.int_(), name(left), icon(0)), done, {});
    add_tree(make(OP::MINUSASG, types_.int_(), name(left), icon(1)), {});
    add_tree(make(OP::MINUSASG, t, name(next), icon(size)), {});
    add_tree(destructor_call(deref(name(next)), d), {});
    add_branch(top, {});
    add_label(done);
    add_tree(release_memory(name(start), e->getOperatorDelete()), e->getBeginLoc());
    add_label(end);
    return icon(0);
}

// --- conversions

// Null when it is no conversion between classes.
node *translator::class_conversion(const CastExpr *e) {
    const Expr *sub = e->getSubExpr();
    switch (e->getCastKind()) {
    case CK_ConstructorConversion:
    case CK_UserDefinedConversion: return e->isGLValue() ? lvalue(sub) : rvalue(sub);
    case CK_DerivedToBase:
    case CK_UncheckedDerivedToBase: {
        const std::vector<const CXXRecordDecl *> path = cast_path(e);
        if (e->isGLValue()) return base_lvalue(class_lvalue(lvalue(sub)), class_of(sub), path);
        return moved_pointer(rvalue(sub), conv(e->getType()), base_offset(class_of(sub), path),
                             e->getCastKind() == CK_DerivedToBase);
    }
    case CK_BaseToDerived: {
        const std::vector<const CXXRecordDecl *> path = cast_path(e);
        // The path leads from the derived class to the base.
        const std::int64_t offset = -static_cast<std::int64_t>(base_offset(class_of(e), path));
        if (!e->isGLValue()) return moved_pointer(rvalue(sub), conv(e->getType()), offset, true);
        const type *t = types_.pointer(conv(e->getType()));
        return deref(moved_pointer(address_of(lvalue(sub)), t, offset, false));
    }
    case CK_LValueBitCast:
        return deref(make(OP::PCONV, types_.pointer(conv(e->getType())), address_of(lvalue(sub))));
    default: return nullptr;
    }
}

const CXXRecordDecl *translator::class_of(const Expr *e) {
    QualType qt = e->getType();
    if (const auto *p = qt->getAs<PointerType>()) qt = p->getPointeeType();
    return qt->getAsCXXRecordDecl()->getDefinition();
}

// A pointer moved by so many units, but for null.
node *translator::moved_pointer(node *pointer, const type *to, std::int64_t offset,
                                bool may_be_null) {
    to = unqualified(to);
    if (offset == 0) return convert_tree(pointer, to);
    const type *t = unqualified(pointer->ntype);
    symbol *kept = may_be_null ? temporary(t) : nullptr;
    node *value = kept ? name(kept) : pointer;
    node *moved = convert_tree(make(OP::PLUS, t, value, icon(offset)), to);
    if (!kept) return moved;
    node *choice = make(OP::QUEST, to, name(kept), make(OP::COLON, to, moved, null_pointer(to)));
    return comma(assign(name(kept), pointer), choice);
}

// --- dispatch

static const Expr *without_cleanups(const Expr *e) {
    const auto *w = dyn_cast<ExprWithCleanups>(e->IgnoreParens());
    return w ? w->getSubExpr() : e;
}

// Null when the expression is not C++'s own.
node *translator::cpp_rvalue(const Expr *e) {
    if (e->isGLValue()) return lvalue(e);
    switch (e->getStmtClass()) {
    case Stmt::CXXBoolLiteralExprClass:
        return icon(cast<CXXBoolLiteralExpr>(e)->getValue(), types_.integer(ikind::boolean));
    case Stmt::CXXNullPtrLiteralExprClass: return null_pointer(types_.pointer(types_.void_()));
    case Stmt::CXXThisExprClass:
        if (fn_->captured_this) {
            const type *record;
            const member *m = find_member(fn_->captured_this, &record);
            node *held = dot(this_object(), *m, record);
            return is_record(m->mtype) ? address_of(held) : held;
        }
        return name(fn_->this_copy);
    // What lives in these until the end of a statement does so in the statement they are used in.
    case Stmt::CXXDefaultArgExprClass:
        return rvalue(without_cleanups(cast<CXXDefaultArgExpr>(e)->getExpr()));
    case Stmt::CXXDefaultInitExprClass:
        return rvalue(without_cleanups(cast<CXXDefaultInitExpr>(e)->getExpr()));
    case Stmt::SubstNonTypeTemplateParmExprClass:
        return rvalue(cast<SubstNonTypeTemplateParmExpr>(e)->getReplacement());
    case Stmt::CXXScalarValueInitExprClass: {
        if (e->getType()->isRecordType()) return class_value(e);
        if (e->getType()->isVoidType()) return icon(0);
        return convert_tree(icon(0), conv(e->getType()));
    }
    case Stmt::ArrayInitIndexExprClass: return icon(array_index_);
    case Stmt::CXXNoexceptExprClass:
        return icon(cast<CXXNoexceptExpr>(e)->getValue(), types_.integer(ikind::boolean));
    case Stmt::SizeOfPackExprClass:
        return icon(cast<SizeOfPackExpr>(e)->getPackLength(), types_.uint());
    case Stmt::CXXRewrittenBinaryOperatorClass:
        return rvalue(cast<CXXRewrittenBinaryOperator>(e)->getSemanticForm());
    case Stmt::CXXNewExprClass: return new_object(cast<CXXNewExpr>(e));
    case Stmt::CXXDeleteExprClass: return delete_object(cast<CXXDeleteExpr>(e));
    case Stmt::CXXPseudoDestructorExprClass: return icon(0);
    case Stmt::CXXBindTemporaryExprClass: return bound_temporary(e, nullptr);
    case Stmt::CXXConstructExprClass:
    case Stmt::CXXTemporaryObjectExprClass:
    case Stmt::LambdaExprClass: return class_value(e);
    case Stmt::ConditionalOperatorClass:
        return e->getType()->isRecordType() ? class_value(e) : nullptr;
    case Stmt::InitListExprClass: return e->getType()->isRecordType() ? class_value(e) : nullptr;
    case Stmt::ExprWithCleanupsClass: return with_cleanups(cast<ExprWithCleanups>(e));
    case Stmt::CXXThrowExprClass: return refuse(e->getBeginLoc(), "'throw'");
    case Stmt::CXXTypeidExprClass: return refuse(e->getBeginLoc(), "'typeid'");
    case Stmt::CXXDynamicCastExprClass: return refuse(e->getBeginLoc(), "'dynamic_cast'");
    case Stmt::CallExprClass:
    case Stmt::CXXMemberCallExprClass:
    case Stmt::CXXOperatorCallExprClass:
    case Stmt::UserDefinedLiteralClass: {
        const auto *x = cast<CallExpr>(e);
        if (isa<CXXPseudoDestructorExpr>(x->getCallee()->IgnoreParens())) return icon(0);
        if (x->getBuiltinCallee()) return nullptr;
        return by_address(e->getType()) ? class_value(e) : call_into(x, nullptr);
    }
    default: return nullptr;
    }
}

node *translator::with_cleanups(const ExprWithCleanups *e) {
    const std::size_t mark = fn_ ? fn_->temporaries_alive.size() : 0;
    node *n = e->isGLValue() ? lvalue(e->getSubExpr()) : rvalue(e->getSubExpr());
    if (!fn_ || fn_->temporaries_alive.size() == mark) return n;
    n = e->isGLValue() ? settled_lvalue(n) : settled(n);
    destroy_temporaries(mark);
    return n;
}

node *translator::cpp_lvalue(const Expr *e) {
    switch (e->getStmtClass()) {
    case Stmt::OpaqueValueExprClass: {
        const Expr *source = cast<OpaqueValueExpr>(e)->getSourceExpr();
        return source ? lvalue(source) : nullptr;
    }
    case Stmt::MaterializeTemporaryExprClass: {
        const auto *x = cast<MaterializeTemporaryExpr>(e);
        if (!fn_) return refuse(e->getBeginLoc(), "a temporary object here");
        return bound_temporary(x->getSubExpr(), x->getExtendingDecl());
    }
    case Stmt::ExprWithCleanupsClass: return with_cleanups(cast<ExprWithCleanups>(e));
    case Stmt::CXXDefaultArgExprClass:
        return lvalue(without_cleanups(cast<CXXDefaultArgExpr>(e)->getExpr()));
    case Stmt::CXXDefaultInitExprClass:
        return lvalue(without_cleanups(cast<CXXDefaultInitExpr>(e)->getExpr()));
    case Stmt::SubstNonTypeTemplateParmExprClass:
        return lvalue(cast<SubstNonTypeTemplateParmExpr>(e)->getReplacement());
    case Stmt::CallExprClass:
    case Stmt::CXXMemberCallExprClass:
    case Stmt::CXXOperatorCallExprClass:
    case Stmt::UserDefinedLiteralClass:
        if (!e->isGLValue() || cast<CallExpr>(e)->getBuiltinCallee()) return nullptr;
        if (trivial_assignment(cast<CallExpr>(e)))
            return reread(copy_assignment(cast<CallExpr>(e)));
        return deref(call_into(cast<CallExpr>(e), nullptr));
    case Stmt::CompoundAssignOperatorClass:
    case Stmt::BinaryOperatorClass: {
        const auto *x = cast<BinaryOperator>(e);
        if (x->getOpcode() == BO_Comma) {
            node *first = discarded(x->getLHS());
            return comma(first, lvalue(x->getRHS()));
        }
        if (!x->isAssignmentOp()) return nullptr;
        node *stored = value_of_assignment(e);
        return reread(stored);
    }
    case Stmt::UnaryOperatorClass: {
        const auto *x = cast<UnaryOperator>(e);
        if (!x->isIncrementDecrementOp() || x->isPostfix()) return nullptr;
        return reread(increment(x, true));
    }
    case Stmt::ConditionalOperatorClass: {
        const auto *x = cast<ConditionalOperator>(e);
        node *c = condition(x->getCond());
        ++fn_->conditional;
        node *a = address_of(lvalue(x->getTrueExpr()));
        node *b = address_of(lvalue(x->getFalseExpr()));
        --fn_->conditional;
        const type *t = types_.pointer(conv(e->getType()));
        return deref(
            make(OP::QUEST, t, c, make(OP::COLON, t, convert_tree(a, t), convert_tree(b, t))));
    }
    case Stmt::CXXStaticCastExprClass:
    case Stmt::CXXReinterpretCastExprClass:
    case Stmt::CXXConstCastExprClass:
    case Stmt::CStyleCastExprClass:
    case Stmt::CXXFunctionalCastExprClass:
    case Stmt::ImplicitCastExprClass:
        if (!e->isGLValue()) return nullptr;
        if (cast<CastExpr>(e)->getCastKind() == CK_NoOp)
            return lvalue(cast<CastExpr>(e)->getSubExpr());
        return class_conversion(cast<CastExpr>(e));
    default: return nullptr;
    }
}

// An assignment as a value.
node *translator::value_of_assignment(const Expr *e) {
    if (const auto *c = dyn_cast<CompoundAssignOperator>(e)) return compound_assign(c);
    return binary(cast<BinaryOperator>(e));
}

// The lvalue that an assignment stores to, after it.
node *translator::reread(node *stored) {
    return below_commas(stored, [this](node *n) {
        if (n->op == OP::NAME || !n->left) return n;
        node *before = nullptr;
        n->left = repeatable(n->left, before);
        node *again = copy_tree(n->left);
        return comma(comma(before, n), again);
    });
}
