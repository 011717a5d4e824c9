// Statements in expressions. Straight-line ones become comma operators. One with control flow is
// put before the statement that the expression belongs to; whatever that statement evaluates
// earlier is evaluated into temporaries first, and a choice between operands becomes branches.
#include "tools/ic-cc/ic_cc.h"

using namespace clang;

bool translator::straight_line(const Stmt *s) {
    if (!s || isa<NullStmt>(s)) return true;
    if (const auto *e = dyn_cast<Expr>(s)) return !contains_flow(e);
    if (const auto *c = dyn_cast<CompoundStmt>(s)) {
        for (const Stmt *child : c->body())
            if (!straight_line(child)) return false;
        return true;
    }
    if (const auto *d = dyn_cast<DeclStmt>(s)) {
        for (const Decl *decl : d->decls())
            if (const auto *v = dyn_cast<VarDecl>(decl))
                if (v->hasLocalStorage() && v->getInit() && contains_flow(v->getInit()))
                    return false;
        return true;
    }
    return false;
}

// Whether a statement of the tree must be put before the statement it stands in.
bool translator::contains_flow(const Stmt *s) {
    if (!s || isa<UnaryExprOrTypeTraitExpr, OffsetOfExpr, TypeTraitExpr>(s)) return false;
    if (const auto *x = dyn_cast<StmtExpr>(s)) return !straight_line(x->getSubStmt());
    if (const auto *x = dyn_cast<CXXNewExpr>(s); x && x->isArray()) return true;
    if (const auto *x = dyn_cast<CXXDeleteExpr>(s))
        if (x->isArrayForm() && needed_destructor(x->getDestroyedType())) return true;
    if (isa<LambdaExpr>(s)) return false; // a function of its own
    if (const auto *x = dyn_cast<GenericSelectionExpr>(s)) return contains_flow(x->getResultExpr());
    if (const auto *x = dyn_cast<ChooseExpr>(s)) return contains_flow(x->getChosenSubExpr());
    if (const auto *x = dyn_cast<OpaqueValueExpr>(s)) return contains_flow(x->getSourceExpr());
    for (const Stmt *child : s->children())
        if (contains_flow(child)) return true;
    return false;
}

bool translator::hoists(const Expr *e) {
    return fn_ && fn_->may_hoist && e && contains_flow(e);
}

// Looks through a whole body for what shapes its translation.
void translator::survey(const Stmt *s) {
    if (!s) return;
    if (isa<LambdaExpr>(s)) return;
    if (isa<StmtExpr, CXXNewExpr, CXXDeleteExpr>(s)) fn_->may_hoist |= contains_flow(s);
    if (const auto *x = dyn_cast<AddrLabelExpr>(s)) label_value(x->getLabel());
    for (const Stmt *child : s->children())
        survey(child);
}

// A value that later statements cannot change.
node *translator::settled(node *n) {
    const node *core = n;
    while (core->op == OP::PCONV || core->op == OP::SCONV)
        core = core->left;
    if (core->op == OP::ICON || core->op == OP::FCON || core->op == OP::SCON ||
        (core->op == OP::UAND && core->left->op == OP::NAME))
        return n;
    if (is_kind(n->ntype, tkind::void_type)) {
        add_tree(n, {});
        return icon(0);
    }
    symbol *t = temporary(unqualified(n->ntype));
    add_tree(assign(name(t), n), {});
    return name(t);
}

// An lvalue whose address later statements cannot change.
node *translator::settled_lvalue(node *lv) {
    while (lv->op == OP::COMMAOP) {
        add_tree(lv->left, {});
        lv = lv->right;
    }
    if (lv->op == OP::UMULT || lv->op == OP::STREF)
        lv->left = settled(lv->left);
    else if (lv->op == OP::STDOT)
        lv->left = settled_lvalue(lv->left);
    return lv;
}

node *translator::statement_expression(const StmtExpr *e) {
    const CompoundStmt *body = e->getSubStmt();
    const bool has_value = !e->getType()->isVoidType();
    if (fn_ && straight_line(body)) {
        node *outer = std::exchange(fn_->collected, nullptr);
        const bool was_collecting = std::exchange(fn_->collecting, true);
        node *value = nullptr;
        for (const Stmt *child : body->body()) {
            if (has_value && child == body->getStmtExprResult() && isa<Expr>(child))
                value = rvalue(cast<Expr>(child));
            else
                statement(child);
        }
        node *before = fn_->collected;
        fn_->collected = outer;
        fn_->collecting = was_collecting;
        return comma(before, value ? value : icon(0));
    }
    if (!fn_ || fn_->collecting) return refuse(e->getBeginLoc(), "a statement in this expression");
    const bool block = has_declarations(body);
    if (block) open_block(body->getLBracLoc());
    symbol *result = nullptr;
    for (const Stmt *child : body->body()) {
        const auto *last = has_value && child == body->getStmtExprResult()
                               ? cast<ValueStmt>(child)->getExprStmt()
                               : nullptr;
        if (!last) {
            statement(child);
            continue;
        }
        for (const Stmt *s = child; s != last; s = *s->child_begin())
            if (const auto *label = dyn_cast<LabelStmt>(s)) add_label(label_of(label->getDecl()));
        result = temporary(unqualified(complete(conv(e->getType()))));
        add_tree(assign(name(result), convert_tree(rvalue(last), result->stype)), e->getBeginLoc());
    }
    if (block) close_block(body->getRBracLoc());
    return result ? name(result) : icon(0);
}

// && and || whose right operand holds statements.
node *translator::logical_by_branches(const BinaryOperator *e) {
    const bool is_and = e->getOpcode() == BO_LAnd;
    const SourceLocation at = e->getOperatorLoc();
    symbol *result = temporary(types_.int_());
    node *first = rvalue(e->getLHS());
    const unsigned end = new_label();
    add_tree(assign(name(result), icon(is_and ? 0 : 1)), at);
    add_cond_branch(is_and ? first : negated(first), end, at);
    add_tree(assign(name(result), truth(rvalue(e->getRHS()))), at);
    add_label(end);
    return name(result);
}

// A conditional expression with statements in an arm.
node *translator::conditional_by_branches(node *cond, const Expr *a, const Expr *b, QualType qt) {
    const unsigned other = new_label(), end = new_label();
    const SourceLocation at = a->getBeginLoc();
    const type *t = qt->isVoidType()                            ? nullptr
                    : qt->isRecordType() || qt->isPointerType() ? unqualified(complete(conv(qt)))
                                                                : value_type(qt);
    symbol *result = t ? temporary(t) : nullptr;
    auto arm = [&](const Expr *e) {
        if (t)
            add_tree(assign(name(result), convert_tree(rvalue(e), t)), at);
        else
            add_tree(discarded(e), at);
    };
    add_cond_branch(cond, other, at);
    arm(a);
    add_branch(end, at);
    add_label(other);
    arm(b);
    add_label(end);
    return result ? name(result) : icon(0);
}
