// File-level declarations, functions, and the symbols of everything.
#include "tools/ic-cc/ic_cc.h"

#include "clang/AST/DeclTemplate.h"

using namespace clang;

translator::translator(ASTContext &context, pragma_store &pragmas, icode_unit &unit,
                       std::string header_name)
    : context_(context), sources_(context.getSourceManager()), diags_(context.getDiagnostics()),
      pragmas_(pragmas), unit_(unit), types_(unit.types), header_name_(std::move(header_name)),
      refusal_(diags_.getCustomDiagID(DiagnosticsEngine::Error,
                                      "%0 cannot be compiled for this machine")) {
    if (context.getLangOpts().CPlusPlus)
        mangler_.reset(ItaniumMangleContext::create(context, diags_));
}

node *translator::refuse(SourceLocation at, const std::string &what) {
    failed_ = true;
    diags_.Report(at, refusal_) << what;
    return icon(0);
}

position translator::pos(SourceLocation at) {
    if (at.isInvalid()) return {};
    PresumedLoc p = sources_.getPresumedLoc(sources_.getExpansionLoc(at));
    if (p.isInvalid() || p.getLine() == 0) return {};
    return {unit_.file_number(p.getFilename()), p.getLine(), p.getColumn()};
}

bool translator::translate() {
    const TranslationUnitDecl *file = context_.getTranslationUnitDecl();
    for (const Decl *d : file->decls())
        if (const auto *named = dyn_cast<NamedDecl>(d))
            if (const IdentifierInfo *id = named->getIdentifier())
                global_names_.insert("_" + id->getName().str());
    for (const Decl *d : file->decls())
        top_level(d);
    define_pending();
    write_start_function();
    complete_all_records();
    for (symbol *s : unit_.globals) {
        if (!s->has_init && s->sc != 5 && !is_kind(s->stype, tkind::function) &&
            !strip(s->stype)->complete)
            refuse({}, "'" + s->name.substr(1) + "', which never gets a complete type,");
    }
    return !failed_;
}

void translator::top_level(const Decl *d) {
    if (d->isTemplated()) return; // its instances count
    if (const auto *f = dyn_cast<FunctionDecl>(d)) {
        if (f->isThisDeclarationADefinition() && defines_here(f)) function_definition(f);
        if (f->hasAttr<ConstructorAttr>() && f->isThisDeclarationADefinition())
            dynamic_.push_back(f);
    } else if (const auto *v = dyn_cast<VarDecl>(d)) {
        const VarDecl *definition = v->getDefinition(context_);
        if (!definition) definition = v->getActingDefinition();
        if (definition != v) return;
        symbol *s = variable_symbol(v);
        if (in_cpp())
            cpp_static_object(v, s);
        else if (v->getInit() && !s->has_init)
            static_init(s, v->getInit());
    } else if (const auto *check = dyn_cast<StaticAssertDecl>(d)) {
        check_static_assert(check);
    } else if (const auto *text = dyn_cast<FileScopeAsmDecl>(d)) {
        unit_.write_assembly(text->getAsmString()->getString(), pos(d->getLocation()),
                             header_name_);
    } else if (const auto *r = dyn_cast<RecordDecl>(d)) {
        for (const Decl *inner : r->decls())
            if (const auto *a = dyn_cast<StaticAssertDecl>(inner)) check_static_assert(a);
    } else if (isa<NamespaceDecl, LinkageSpecDecl>(d)) {
        for (const Decl *inner : cast<DeclContext>(d)->decls())
            top_level(inner);
    } else if (!isa<TypedefNameDecl, EnumDecl, EmptyDecl, UsingDecl, UsingDirectiveDecl,
                    UsingShadowDecl, NamespaceAliasDecl, TemplateDecl>(d)) {
        refuse(d->getLocation(), std::string("this declaration (") + d->getDeclKindName() + ")");
    }
}

// A static inline function that nothing refers to leaves no body behind.
bool translator::defines_here(const FunctionDecl *definition) {
    if (on_demand(definition)) return false; // function_symbol sees to it
    if (!definition->isInlined()) return true;
    bool external = definition->getFormalLinkage() != InternalLinkage &&
                    definition->isInlineDefinitionExternallyVisible();
    return external || definition->getCanonicalDecl()->isReferenced() || definition->isReferenced();
}

// The functions of zra_builtins.h; in C++ all that every file that uses them may define.
bool translator::on_demand(const FunctionDecl *f) {
    if (in_cpp() &&
        (f->isInlined() || f->isTemplateInstantiation() || f->isImplicit() || f->isDefaulted()))
        return true;
    return f->getIdentifier() && f->getName().startswith("__zra_");
}

void translator::define_pending() {
    for (std::size_t i = 0; i < pending_.size(); ++i)
        function_definition(pending_[i]);
    pending_.clear();
}

std::string translator::unique_global_name(const std::string &wanted) {
    std::string made = wanted;
    for (unsigned n = 2; !global_names_.insert(made).second; ++n)
        made = wanted + "$" + std::to_string(n);
    return made;
}

void translator::check_attributes(const Decl *decl) {
    for (const Attr *a : decl->attrs()) {
        if (isa<AsmLabelAttr, AliasAttr, IFuncAttr, CleanupAttr, ModeAttr, DestructorAttr,
                NakedAttr>(a))
            refuse(decl->getLocation(),
                   "a declaration with the attribute '" + std::string(a->getSpelling()) + "'");
    }
}

void translator::attach_pragmas(symbol *s, llvm::StringRef source_name) {
    auto found = pragmas_.symbols.find(source_name.str());
    if (found == pragmas_.symbols.end()) return;
    s->pragmas.insert(s->pragmas.end(), found->second.begin(), found->second.end());
}

void translator::function_pragmas(const FunctionDecl *decl, symbol *s) {
    const FunctionDecl *d = decl->getMostRecentDecl();
    auto add = [&](pragma_kind kind, std::vector<std::string> args = {}) {
        s->pragmas.push_back({kind, std::move(args)});
    };
    if (d->isNoReturn() || d->hasAttr<C11NoReturnAttr>()) add(pk_never_returns);
    if (d->hasAttr<NoInlineAttr>()) add(pk_cannot_inline);
    if (d->hasAttr<ConstAttr>()) add(pk_is_pure);
    if (d->hasAttr<PureAttr>()) {
        add(pk_no_global_asg);
        add(pk_no_ind_asg);
    }
    if (d->hasAttr<AlwaysInlineAttr>()) add(pk_always_inline);
    if (d->hasAttr<RestrictAttr>()) add(pk_unique_pointer);
    if (const auto *section = d->getAttr<SectionAttr>())
        add(pk_code_section, {section->getName().str()});
    if (!decl->getIdentifier()) return;
    attach_pragmas(s, decl->getName());
    auto options = pragmas_.function_options.find(decl->getName().str());
    if (options != pragmas_.function_options.end()) {
        option_set own = unit_.options.front();
        own.texts.insert(own.texts.end(), options->second.begin(), options->second.end());
        s->option_set = static_cast<unsigned>(unit_.options.size());
        unit_.options.push_back(std::move(own));
    }
}

symbol *translator::function_symbol(const FunctionDecl *decl) {
    decl = decl->getCanonicalDecl();
    auto known = global_symbols_.find(decl);
    if (known != global_symbols_.end()) return known->second;
    const FunctionDecl *definition = nullptr;
    decl->isDefined(definition);
    bool internal = decl->getFormalLinkage() == InternalLinkage;
    bool inline_only =
        definition && definition->isInlined() && !definition->isInlineDefinitionExternallyVisible();
    inline_only |= definition && in_cpp() && on_demand(definition);
    int sc = internal || inline_only ? 3 : definition ? 2 : 5;
    if (internal && !definition)
        refuse(decl->getLocation(),
               "the static function '" + decl->getName().str() + "', which is never defined,");
    const type *t = function_type(decl);
    symbol *s = unit_.add_global(function_name(decl), t, sc,
                                 pos((definition ? definition : decl)->getLocation()));
    global_symbols_[decl] = s;
    if (definition && on_demand(definition)) pending_.push_back(definition);
    check_attributes(decl->getMostRecentDecl());
    if (decl->getMostRecentDecl()->isInlineSpecified() ||
        (definition && definition->isInlineSpecified()))
        s->flags |= symbol_is_inline;
    if (in_cpp()) mark_cpp(s);
    function_pragmas(decl, s);
    return s;
}

symbol *translator::variable_symbol(const VarDecl *v) {
    if (fn_) {
        auto local = fn_->locals.find(v);
        if (local != fn_->locals.end()) return local->second;
    }
    if (v->isStaticLocal()) return static_local(v);
    const VarDecl *canonical = v->getCanonicalDecl();
    auto known = global_symbols_.find(canonical);
    if (known != global_symbols_.end()) return known->second;
    VarDecl *acting = const_cast<VarDecl *>(v)->getDefinition(context_);
    if (!acting) acting = const_cast<VarDecl *>(v)->getActingDefinition();
    const VarDecl *best = acting ? acting : v->getMostRecentDecl();
    const type *t = decl_type(best);
    for (const VarDecl *other : v->redecls())
        if (!strip(t)->complete) t = decl_type(other);
    bool internal = v->getFormalLinkage() == InternalLinkage;
    if (v->getTLSKind() != VarDecl::TLS_None) refuse(v->getLocation(), "a thread-local variable");
    if (acting && is_array(t) && !strip(t)->complete) // int a[]; counts as one element
        t = types_.array(strip(t)->base, 1, true);
    const type *declared = t;
    t = flexible_type(best, t);
    if (in_cpp() && (v->isInline() || isTemplateInstantiation(v->getTemplateSpecializationKind())))
        internal = acting; // as each file that uses it has one
    symbol *s = unit_.add_global(linkage_name(GlobalDecl(v)), t,
                                 internal ? 3
                                 : acting ? 2
                                          : 5,
                                 pos(best->getLocation()));
    global_symbols_[canonical] = s;
    if (t != declared) flexible_[s] = declared;
    check_attributes(best);
    if (const auto *section = best->getAttr<SectionAttr>())
        s->pragmas.push_back({pk_data_section, {section->getName().str()}});
    s->align = written_alignment(best);
    attach_pragmas(s, v->getName());
    // The instances of a template stand nowhere in the file.
    if (acting && in_cpp() && isTemplateInstantiation(acting->getTemplateSpecializationKind()))
        cpp_static_object(acting, s);
    return s;
}

// The type of an object whose initialiser fills a flexible array member: a record of its own, with
// as many elements as the initialiser has. Any other type stays as it is.
const type *translator::flexible_type(const VarDecl *v, const type *t) {
    const type *record = strip(t);
    const auto *list = dyn_cast_or_null<InitListExpr>(v->getInit());
    if (!list || record->kind != tkind::record || record->is_union || record->members.empty())
        return t;
    const type *last = strip(record->members.back().mtype);
    if (last->kind != tkind::array || last->count != 0 ||
        list->getNumInits() != record->members.size())
        return t;
    const Expr *init = list->getInit(list->getNumInits() - 1)->IgnoreParens();
    std::uint32_t count = 0;
    if (const auto *elements = dyn_cast<InitListExpr>(init)) {
        const auto *only =
            elements->getNumInits() == 1 ? dyn_cast<StringLiteral>(elements->getInit(0)) : nullptr;
        count = only ? only->getLength() + 1 : elements->getNumInits();
    } else if (const auto *text = dyn_cast<StringLiteral>(init)) {
        count = text->getLength() + 1;
    }
    if (count == 0) return t;
    type *made = types_.record({}, false, pos(v->getLocation()));
    made->members = record->members;
    made->members.back().mtype = types_.array(last->base, count, true);
    if (!lay_out(*made)) refuse(v->getLocation(), "an object larger than the machine's memory");
    return types_.qualified(made, qualifiers_of(t));
}

symbol *translator::static_local(const VarDecl *v) {
    auto known = global_symbols_.find(v);
    if (known != global_symbols_.end()) return known->second;
    if (v->getTLSKind() != VarDecl::TLS_None) refuse(v->getLocation(), "a thread-local variable");
    const auto *owner = dyn_cast_or_null<FunctionDecl>(v->getParentFunctionOrMethod());
    std::string wanted =
        in_cpp() ? linkage_name(GlobalDecl(v))
                 : "_" + (owner ? owner->getName().str() + "$" : "") + v->getName().str();
    const type *declared = decl_type(v), *t = flexible_type(v, declared);
    symbol *s = unit_.add_global(unique_global_name(wanted), t, 3, pos(v->getLocation()));
    global_symbols_[v] = s;
    if (t != declared) flexible_[s] = declared;
    s->align = written_alignment(v);
    if (v->getInit() && (!in_cpp() || constant_object(v, s))) static_init(s, v->getInit());
    return s;
}

symbol *translator::hidden_static(const char *stem, const type *t, SourceLocation at) {
    std::string wanted = "_" + std::string(stem) + std::to_string(++hidden_);
    return unit_.add_global(unique_global_name(wanted), t, 3, pos(at));
}

// A string of wide characters becomes an array of its own.
symbol *translator::wide_string(const StringLiteral *s) {
    symbol *&sym = wide_strings_[s];
    if (!sym) {
        sym = hidden_static("$wide", conv(s->getType()), s->getBeginLoc());
        static_init(sym, s);
    }
    return sym;
}

symbol *translator::temporary(const type *t) {
    symbol *s = unit_.add_local("$t" + std::to_string(++fn_->temporaries), t, 1, 2, {});
    fn_->body.locals.push_back(s);
    return s;
}

// C++ has parameters and variables without a name.
static std::string local_name(const VarDecl *v) {
    if (!v->getName().empty()) return v->getName().str();
    const auto *p = dyn_cast<ParmVarDecl>(v);
    return p ? "$p" + std::to_string(p->getFunctionScopeIndex() + 1) : "$parts";
}

void translator::local_variable(const VarDecl *v) {
    SourceLocation at = v->getLocation();
    check_attributes(v);
    if (v->hasExternalStorage()) return;
    if (v->isStaticLocal()) {
        symbol *s = static_local(v);
        if (in_cpp() && !constant_object(v, s)) guarded_static(v, s);
        return;
    }
    if (v->getType()->isVariablyModifiedType()) {
        refuse(at, "an array of variable length");
        return;
    }
    const type *t = decl_type(v);
    bool in_register = v->getStorageClass() == SC_Register && !is_record(t) && !is_array(t);
    symbol *s = unit_.add_local(local_name(v), t, in_register ? 4 : 1, 2 + fn_->depth, pos(at));
    fn_->locals[v] = s;
    s->align = written_alignment(v);
    if (fn_->open_blocks.empty())
        fn_->body.locals.push_back(s);
    else
        fn_->body.items[fn_->open_blocks.back()].symbols.push_back(s);
    const std::size_t mark = fn_->temporaries_alive.size();
    if (const Expr *init = v->getInit())
        initialise(
            v->getType(), t, init, [this, s] { return name(s); },
            [this, at](node *n) { add_tree(n, at); });
    destroy_temporaries(mark);
    if (const CXXDestructorDecl *d = needed_destructor(v->getType()))
        fn_->cleanups.push_back({s, d, nullptr});
    if (const auto *parts = dyn_cast<DecompositionDecl>(v))
        for (const BindingDecl *b : parts->bindings())
            if (b->getHoldingVar()) refuse(b->getLocation(), "a binding to a tuple");
}

symbol *translator::param_symbol(const ParmVarDecl *p, bool as_passed) {
    if (as_passed) {
        for (auto &[decl, s] : fn_->params)
            if (decl == p) return s;
    }
    symbol *&copy = fn_->copies[p];
    if (!copy) {
        bool in_register = p->getStorageClass() == SC_Register;
        copy = unit_.add_local(local_name(p), body_type(p), in_register ? 4 : 1, 2,
                               pos(p->getLocation()));
    }
    return copy;
}

// What a parameter is in the body: its address where it is passed by that.
const type *translator::body_type(const ParmVarDecl *p) {
    const type *t = decl_type(p);
    return by_address(p->getType()) ? types_.pointer(unqualified(t)) : t;
}

// What arrives for a parameter: without a prototype the promoted value.
const type *translator::passed_type(const ParmVarDecl *p) {
    const type *t = body_type(p);
    const type *function = strip(fn_->body.sym->stype);
    return !function->prototyped && is_integer(t) && strip(t)->size < 32 ? types_.int_() : t;
}

void translator::make_params() {
    hidden_params(fn_->decl);
    for (const ParmVarDecl *p : fn_->decl->parameters()) {
        const type *t = body_type(p), *passed = passed_type(p);
        const std::string own_name = local_name(p);
        symbol *s = unit_.add_local(own_name, passed, 9, 1, pos(p->getLocation()));
        fn_->params.emplace_back(p, s);
        fn_->body.params.push_back(s);
        if (passed == t) continue;
        symbol *narrow = unit_.add_local(own_name + "$narrow", t, 1, 2, pos(p->getLocation()));
        fn_->copies[p] = unit_.add_local(own_name, passed, 1, 2, pos(p->getLocation()));
        fn_->locals[p] = narrow;
        fn_->body.locals.push_back(narrow);
        fn_->narrowed.emplace_back(p, narrow);
    }
}

// The first statement copies the parameters that the body refers to.
void translator::make_prolog() {
    node *prolog = nullptr;
    std::vector<symbol *> copies;
    auto add_copy = [&](symbol *passed, symbol *copy) {
        copies.push_back(copy);
        node *store = assign(name(copy), name(passed));
        prolog = prolog ? make(OP::PCOMMA, types_.int_(), prolog, store) : store;
    };
    for (auto &[passed, copy] : fn_->hidden)
        add_copy(passed, copy);
    for (auto &[decl, passed] : fn_->params)
        if (auto copy = fn_->copies.find(decl); copy != fn_->copies.end())
            add_copy(passed, copy->second);
    std::vector<symbol *> &locals = fn_->body.locals;
    locals.insert(locals.begin(), copies.begin(), copies.end());
    if (!prolog) return;
    std::vector<item> first;
    auto add = [&](node *tree) {
        item &i = first.emplace_back();
        i.kind = item::tree;
        i.pos = fn_->body.body_begin;
        i.expr = tree;
    };
    add(prolog);
    for (auto &[decl, narrow] : fn_->narrowed)
        add(assign(name(narrow), convert_tree(name(fn_->copies[decl]), narrow->stype)));
    fn_->body.items.insert(fn_->body.items.begin(), std::make_move_iterator(first.begin()),
                           std::make_move_iterator(first.end()));
}

void translator::function_definition(const FunctionDecl *f) {
    function_state state;
    function_state *outer = std::exchange(fn_, &state);
    state.decl = f;
    state.body.sym = function_symbol(f);
    const auto *body = dyn_cast<CompoundStmt>(f->getBody());
    if (!body) {
        refuse(f->getLocation(), "this function body");
        fn_ = outer;
        return;
    }
    state.body.begin = pos(f->getLocation());
    state.body.body_begin = pos(body->getLBracLoc());
    state.body.end = pos(body->getRBracLoc());
    make_params();
    survey(body);
    const auto *method = dyn_cast<CXXMethodDecl>(f);
    const auto *constructor = dyn_cast<CXXConstructorDecl>(f);
    const auto *destructor = dyn_cast<CXXDestructorDecl>(f);
    if (method) enter_lambda(method);
    if (constructor) {
        for (const CXXCtorInitializer *init : constructor->inits())
            survey(init->getInit());
        constructor_prologue(constructor);
    }
    if (destructor) {
        state.return_label = new_label();
        set_vtables(destructor->getParent());
    }
    if (method && method->isLambdaStaticInvoker())
        static_invoker(method);
    else
        compound(body, false);
    if (destructor) {
        add_label(std::exchange(state.return_label, 0));
        destructor_epilogue(destructor);
    }
    const type *result = strip(strip(state.body.sym->stype)->base);
    if (state.reachable) {
        node *self = name(state.body.sym);
        if (f->isMain() && result->kind == tkind::integer)
            add_tree(make(OP::RETURN, result, self, icon(0, result)), body->getRBracLoc());
        else
            add_tree(make(OP::URETURN, types_.void_(), self), body->getRBracLoc());
    }
    make_prolog();
    unit_.write_function(state.body, header_name_);
    fn_ = outer;
}
