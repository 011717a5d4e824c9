// Statements: control flow becomes labels and branches.
#include "tools/ic-cc/ic_cc.h"

#include "clang/AST/StmtCXX.h"

using namespace clang;

void translator::add_tree(node *n, SourceLocation at) {
    if (!n) return;
    if (fn_->collecting) {
        fn_->collected = comma(fn_->collected, n);
        return;
    }
    if (!fn_->reachable) return;
    item i{};
    i.kind = item::tree;
    i.pos = pos(at);
    i.expr = n;
    fn_->body.items.push_back(std::move(i));
}

void translator::add_label(unsigned number) {
    item i{};
    i.kind = item::label;
    i.number = number;
    fn_->body.items.push_back(std::move(i));
    fn_->reachable = true;
}

void translator::add_branch(unsigned label, SourceLocation at) {
    add_tree(make(OP::BRANCH, types_.int_(), label_ref(label)), at);
    fn_->reachable = false;
}

void translator::add_cond_branch(node *cond, unsigned label_when_zero, SourceLocation at) {
    add_tree(make(OP::CBRANCH, types_.int_(), cond, label_ref(label_when_zero)), at);
}

void translator::open_block(SourceLocation at) {
    item i{};
    i.kind = item::block_begin;
    i.pos = pos(at);
    fn_->open_blocks.push_back(fn_->body.items.size());
    fn_->body.items.push_back(std::move(i));
    ++fn_->depth;
}

void translator::close_block(SourceLocation at) {
    item i{};
    i.kind = item::block_end;
    i.pos = pos(at);
    fn_->body.items.push_back(std::move(i));
    fn_->open_blocks.pop_back();
    --fn_->depth;
}

unsigned translator::label_of(const LabelDecl *decl) {
    unsigned &number = fn_->labels[decl];
    if (number == 0) number = new_label();
    return number;
}

// The address of a label is a number that counts from 1 within its function.
unsigned translator::label_value(const LabelDecl *decl) {
    std::vector<const LabelDecl *> &labels = fn_->taken_labels;
    for (std::size_t i = 0; i < labels.size(); ++i)
        if (labels[i] == decl) return static_cast<unsigned>(i) + 1;
    labels.push_back(decl);
    return static_cast<unsigned>(labels.size());
}

// A switch over all labels whose address the function takes.
void translator::computed_goto(const IndirectGotoStmt *s) {
    if (!fn_->cleanups.empty())
        refuse(s->getGotoLoc(), "a computed goto where objects wait for their destructors");
    if (const LabelDecl *known = s->getConstantTarget())
        return add_branch(label_of(known), s->getGotoLoc());
    if (fn_->taken_labels.empty()) {
        refuse(s->getGotoLoc(), "a jump to a label of another function");
        return;
    }
    node *target = convert_tree(rvalue(s->getTarget()), types_.int_());
    node *chain = nullptr;
    for (std::size_t i = 0; i < fn_->taken_labels.size(); ++i) {
        node *entry = make(OP::CASE, types_.int_(), icon(static_cast<std::int64_t>(i) + 1),
                           label_ref(label_of(fn_->taken_labels[i])));
        chain = chain ? make(OP::COMMA, types_.int_(), chain, entry) : entry;
    }
    node *otherwise =
        make(OP::DEFAULT, types_.int_(), label_ref(label_of(fn_->taken_labels.front())));
    node *tree =
        make(OP::SWITCH, types_.int_(), target, make(OP::COMMA, types_.int_(), chain, otherwise));
    tree->value = static_cast<std::int64_t>(fn_->taken_labels.size());
    add_tree(tree, s->getGotoLoc());
    fn_->reachable = false;
}

bool translator::has_declarations(const CompoundStmt *s) {
    for (const Stmt *child : s->body())
        if (const auto *d = dyn_cast<DeclStmt>(child))
            for (const Decl *decl : d->decls())
                if (const auto *v = dyn_cast<VarDecl>(decl); v && v->hasLocalStorage()) return true;
    return false;
}

void translator::compound(const CompoundStmt *s, bool own_scope) {
    bool block = own_scope && !fn_->collecting && has_declarations(s);
    if (block) open_block(s->getLBracLoc());
    const std::size_t mark = fn_->cleanups.size();
    for (const Stmt *child : s->body())
        statement(child);
    leave_scope(mark);
    if (block) close_block(s->getRBracLoc());
}

void translator::declaration_statement(const DeclStmt *s) {
    for (const Decl *decl : s->decls()) {
        if (const auto *v = dyn_cast<VarDecl>(decl))
            local_variable(v);
        else if (const auto *a = dyn_cast<StaticAssertDecl>(decl))
            check_static_assert(a);
    }
}

void translator::expression_statement(const Expr *e) {
    e = e->IgnoreParens();
    SourceLocation at = e->getBeginLoc();
    if (const auto *w = dyn_cast<ExprWithCleanups>(e)) {
        const std::size_t mark = fn_->temporaries_alive.size();
        add_tree(discarded(w->getSubExpr()), at);
        return destroy_temporaries(mark);
    }
    if (const auto *c = dyn_cast<CastExpr>(e); c && c->getCastKind() == CK_ToVoid)
        return expression_statement(c->getSubExpr());
    if (const auto *b = dyn_cast<BinaryOperator>(e)) {
        if (b->getOpcode() == BO_Comma) {
            expression_statement(b->getLHS());
            return expression_statement(b->getRHS());
        }
        if (b->isLogicalOp() && !fn_->collecting) {
            unsigned end = new_label();
            node *c = condition(b->getLHS());
            add_cond_branch(b->getOpcode() == BO_LAnd ? c : negated(c), end, at);
            expression_statement(b->getRHS());
            return add_label(end);
        }
    }
    if (const auto *c = dyn_cast<ConditionalOperator>(e); c && !fn_->collecting) {
        unsigned other = new_label(), end = new_label();
        add_cond_branch(condition(c->getCond()), other, at);
        expression_statement(c->getTrueExpr());
        add_branch(end, at);
        add_label(other);
        expression_statement(c->getFalseExpr());
        return add_label(end);
    }
    add_tree(discarded(e), at);
}

void translator::loop_pragmas(SourceLocation at) {
    at = sources_.getExpansionLoc(at);
    for (loop_pragma &p : pragmas_.loops) {
        if (p.used || !sources_.isBeforeInTranslationUnit(p.at, at) ||
            sources_.isBeforeInTranslationUnit(p.at, fn_->decl->getBeginLoc()))
            continue;
        p.used = true;
        if (!fn_->reachable) continue;
        item i{};
        i.kind = item::statement_pragma;
        i.prag = p.prag;
        fn_->body.items.push_back(std::move(i));
    }
}

// A loop tests at its end; one that tests first is guarded by the same test before it.
void translator::loop(const Expr *cond, const Stmt *step, const Stmt *body, SourceLocation at,
                      bool test_first, const Stmt *first) {
    bool always = !cond, known;
    bool never = false;
    if (cond && evaluate_truth(cond, known)) (known ? always : never) = true;
    unsigned top = new_label(), next = new_label(), end = new_label();
    const bool test_at_top = test_first && hoists(cond); // the test stands once
    if (test_at_top) add_label(top);
    if (test_first && !always) add_cond_branch(condition(cond), end, cond->getBeginLoc());
    loop_pragmas(at);
    if (!test_at_top && (!never || test_first)) add_label(top);
    const std::size_t mark = fn_->cleanups.size();
    fn_->break_labels.push_back(end);
    fn_->break_marks.push_back(mark);
    fn_->continue_labels.push_back(next);
    fn_->continue_marks.push_back(mark);
    if (first) {
        open_block(at);
        statement(first);
    }
    statement(body);
    leave_scope(mark);
    if (first) close_block(at);
    fn_->break_labels.pop_back();
    fn_->break_marks.pop_back();
    fn_->continue_labels.pop_back();
    fn_->continue_marks.pop_back();
    add_label(next);
    if (step) expression_statement(cast<Expr>(step));
    if (always || test_at_top)
        add_branch(top, at);
    else if (!never)
        add_cond_branch(negated(condition(cond)), top, cond->getBeginLoc());
    add_label(end);
}

// for (declaration : range), in the parts that clang has made of it.
void translator::range_loop(const CXXForRangeStmt *s) {
    const SourceLocation at = s->getBeginLoc();
    open_block(at);
    const std::size_t mark = fn_->cleanups.size();
    statement(s->getInit());
    statement(s->getRangeStmt());
    statement(s->getBeginStmt());
    statement(s->getEndStmt());
    loop(s->getCond(), s->getInc(), s->getBody(), at, true, s->getLoopVarStmt());
    leave_scope(mark);
    close_block(s->getEndLoc());
}

void translator::if_statement(const IfStmt *s) {
    const SourceLocation at = s->getBeginLoc();
    if (s->isConstexpr()) {
        bool known = false;
        if (!s->getCond()->isValueDependent() && evaluate_truth(s->getCond(), known))
            return statement(known ? s->getThen() : s->getElse());
    }
    const bool block = s->getInit() || s->getConditionVariable();
    const std::size_t mark = fn_->cleanups.size();
    if (block) open_block(at);
    statement(s->getInit());
    if (s->getConditionVariable()) local_variable(s->getConditionVariable());
    unsigned other = new_label();
    add_cond_branch(condition(s->getCond()), other, at);
    statement(s->getThen());
    if (s->getElse()) {
        unsigned end = new_label();
        add_branch(end, at);
        add_label(other);
        statement(s->getElse());
        add_label(end);
    } else {
        add_label(other);
    }
    leave_scope(mark);
    if (block) close_block(s->getEndLoc());
}

void translator::switch_statement(const SwitchStmt *s) {
    const bool block = s->getInit() || s->getConditionVariable();
    const std::size_t mark = fn_->cleanups.size();
    if (block) open_block(s->getBeginLoc());
    statement(s->getInit());
    if (s->getConditionVariable()) local_variable(s->getConditionVariable());
    constexpr std::int64_t widest_range = 1024;
    node *value = rvalue(s->getCond());
    const type *t = strip(value->ntype);
    if (t->kind == tkind::enumeration) t = t->base;
    std::vector<const SwitchCase *> cases;
    for (const SwitchCase *c = s->getSwitchCaseList(); c; c = c->getNextSwitchCase())
        cases.push_back(c);
    unsigned end = new_label(), fallback = end;
    node *chain = nullptr;
    std::int64_t count = 0;
    std::set<std::int64_t> seen;
    symbol *kept = nullptr; // the value, when a range is wide
    for (auto c = cases.rbegin(); c != cases.rend(); ++c) {
        unsigned label = fn_->case_labels[*c] = new_label();
        const auto *one = dyn_cast<CaseStmt>(*c);
        if (!one) {
            fallback = label;
            continue;
        }
        std::optional<std::int64_t> low = evaluate_integer(one->getLHS()), high = low;
        if (one->getRHS()) high = evaluate_integer(one->getRHS());
        if (!low || !high) {
            refuse(one->getBeginLoc(), "this case label");
            continue;
        }
        if (*high - *low > widest_range) { // tested before the switch
            if (!kept) {
                kept = temporary(t);
                add_tree(assign(name(kept), value), s->getBeginLoc());
                value = name(kept);
            }
            const bool with_sign = is_signed(t);
            node *above =
                make(with_sign ? OP::GE : OP::UGE, types_.int_(), name(kept), icon(*low, t));
            node *below =
                make(with_sign ? OP::LE : OP::ULE, types_.int_(), name(kept), icon(*high, t));
            node *inside = make(OP::ANDAND, types_.int_(), above, below);
            add_cond_branch(negated(inside), label, one->getBeginLoc());
            continue;
        }
        for (std::int64_t v = *low; v <= *high; ++v) {
            node *constant_value = icon(v, t);
            if (!seen.insert(constant_value->value).second)
                refuse(one->getBeginLoc(), "a case value that stands twice");
            node *entry = make(OP::CASE, types_.int_(), constant_value, label_ref(label));
            chain = chain ? make(OP::COMMA, types_.int_(), chain, entry) : entry;
            ++count;
        }
    }
    node *otherwise = make(OP::DEFAULT, types_.int_(), label_ref(fallback));
    chain = chain ? make(OP::COMMA, types_.int_(), chain, otherwise) : otherwise;
    node *tree = make(OP::SWITCH, types_.int_(), value, chain);
    tree->value = count;
    add_tree(tree, s->getBeginLoc());
    fn_->reachable = false;
    fn_->break_labels.push_back(end);
    fn_->break_marks.push_back(fn_->cleanups.size());
    statement(s->getBody());
    fn_->break_labels.pop_back();
    fn_->break_marks.pop_back();
    add_label(end);
    leave_scope(mark);
    if (block) close_block(s->getEndLoc());
}

void translator::return_statement(const ReturnStmt *s) {
    SourceLocation at = s->getBeginLoc();
    node *f = name(fn_->body.sym);
    const Expr *e = s->getRetValue();
    node *value = nullptr;
    if (fn_->result_copy && e) {
        const std::size_t mark = fn_->temporaries_alive.size();
        construct([this] { return deref(name(fn_->result_copy)); }, e,
                  [this, at](node *n) { add_tree(n, at); });
        destroy_temporaries(mark);
    } else if (e && !e->getType()->isVoidType()) {
        const type *result = unqualified(complete(strip(fn_->body.sym->stype)->base));
        value = convert_tree(argument(e), result);
        if (!fn_->cleanups.empty()) value = settled(value);
    } else if (e) {
        expression_statement(e);
    }
    destroy_down_to(0);
    if (fn_->return_label) return add_branch(fn_->return_label, at);
    if (value)
        add_tree(make(OP::RETURN, value->ntype, f, value), at);
    else
        add_tree(make(OP::URETURN, types_.void_(), f), at);
    fn_->reachable = false;
}

void translator::asm_statement(const AsmStmt *s) {
    const auto *g = dyn_cast<GCCAsmStmt>(s);
    if (!g || g->getNumOutputs() || g->getNumInputs() || g->getNumClobbers() || g->isAsmGoto()) {
        refuse(s->getAsmLoc(), "inline assembly with operands");
        return;
    }
    if (!fn_->reachable) return;
    item i{};
    i.kind = item::assembly;
    i.pos = pos(s->getAsmLoc());
    i.text = g->getAsmString()->getString();
    fn_->body.items.push_back(std::move(i));
}

void translator::statement(const Stmt *s) {
    if (!s || isa<NullStmt>(s)) return;
    SourceLocation at = s->getBeginLoc();
    depth_counter guard(statement_nesting_);
    if (statement_nesting_ > statement_nesting_limit) {
        refuse(at, "statements nested this deep");
        return;
    }
    if (const auto *e = dyn_cast<Expr>(s)) return expression_statement(e);
    switch (s->getStmtClass()) {
    case Stmt::CompoundStmtClass: return compound(cast<CompoundStmt>(s), true);
    case Stmt::DeclStmtClass: return declaration_statement(cast<DeclStmt>(s));
    case Stmt::AttributedStmtClass: return statement(cast<AttributedStmt>(s)->getSubStmt());
    case Stmt::IfStmtClass: return if_statement(cast<IfStmt>(s));
    case Stmt::WhileStmtClass: {
        const auto *x = cast<WhileStmt>(s);
        if (x->getConditionVariable()) {
            refuse(at, "a declaration in the condition of a loop");
            return;
        }
        return loop(x->getCond(), nullptr, x->getBody(), at, true);
    }
    case Stmt::DoStmtClass: {
        const auto *x = cast<DoStmt>(s);
        return loop(x->getCond(), nullptr, x->getBody(), at, false);
    }
    case Stmt::ForStmtClass: {
        const auto *x = cast<ForStmt>(s);
        if (x->getConditionVariable()) {
            refuse(at, "a declaration in the condition of a loop");
            return;
        }
        bool block = x->getInit() && isa<DeclStmt>(x->getInit());
        const std::size_t mark = fn_->cleanups.size();
        if (block) open_block(at);
        statement(x->getInit());
        loop(x->getCond(), x->getInc(), x->getBody(), at, true);
        leave_scope(mark);
        if (block) close_block(x->getEndLoc());
        return;
    }
    case Stmt::SwitchStmtClass: return switch_statement(cast<SwitchStmt>(s));
    case Stmt::CaseStmtClass:
    case Stmt::DefaultStmtClass: {
        const auto *x = cast<SwitchCase>(s);
        add_label(fn_->case_labels[x]);
        return statement(x->getSubStmt());
    }
    case Stmt::LabelStmtClass: {
        const auto *x = cast<LabelStmt>(s);
        if (!fn_->cleanups.empty()) refuse(at, "a label where objects wait for their destructors");
        add_label(label_of(x->getDecl()));
        return statement(x->getSubStmt());
    }
    case Stmt::GotoStmtClass:
        destroy_down_to(0); // a label has nothing to destroy
        return add_branch(label_of(cast<GotoStmt>(s)->getLabel()), at);
    case Stmt::BreakStmtClass:
        destroy_down_to(fn_->break_marks.back());
        return add_branch(fn_->break_labels.back(), at);
    case Stmt::ContinueStmtClass:
        destroy_down_to(fn_->continue_marks.back());
        return add_branch(fn_->continue_labels.back(), at);
    case Stmt::CXXForRangeStmtClass: return range_loop(cast<CXXForRangeStmt>(s));
    case Stmt::CXXTryStmtClass: refuse(at, "'try'"); return;
    case Stmt::ReturnStmtClass: return return_statement(cast<ReturnStmt>(s));
    case Stmt::GCCAsmStmtClass:
    case Stmt::MSAsmStmtClass: return asm_statement(cast<AsmStmt>(s));
    case Stmt::IndirectGotoStmtClass: return computed_goto(cast<IndirectGotoStmt>(s));
    default: refuse(at, std::string("this statement (") + s->getStmtClassName() + ")");
    }
}
