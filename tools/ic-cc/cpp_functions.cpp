// Functions of C++: names, constructors and destructors, lambdas, initialisation of static objects.
#include "tools/ic-cc/ic_cc.h"

using namespace clang;

void translator::mark_cpp(symbol *s) {
    s->pragmas.push_back({pk_source_language, {"C++"}});
}

// The name of a function or object in the file.
std::string translator::linkage_name(GlobalDecl decl) {
    const auto *d = cast<NamedDecl>(decl.getDecl());
    if (!mangler_ || !mangler_->shouldMangleDeclName(d)) return "_" + d->getNameAsString();
    std::string text;
    llvm::raw_string_ostream out(text);
    mangler_->mangleName(decl, out);
    return "_" + out.str();
}

static GlobalDecl global_decl(const FunctionDecl *f) {
    if (const auto *c = dyn_cast<CXXConstructorDecl>(f)) return GlobalDecl(c, Ctor_Complete);
    if (const auto *d = dyn_cast<CXXDestructorDecl>(f)) return GlobalDecl(d, Dtor_Complete);
    return GlobalDecl(f);
}

std::string translator::function_name(const FunctionDecl *f) {
    return linkage_name(global_decl(f));
}

bool translator::by_address(QualType qt) {
    const CXXRecordDecl *c = qt->getAsCXXRecordDecl();
    return c && !qt->isReferenceType() && c->hasDefinition() &&
           !c->getDefinition()->canPassInRegisters();
}

// The type of a function as it is called: a result that is not passed by value goes where a hidden
// first parameter points, and such arguments are passed by their address.
const type *translator::machine_function(const type *written, QualType result,
                                         llvm::ArrayRef<QualType> params) {
    std::vector<const type *> list;
    const type *result_type = written->base;
    if (by_address(result)) {
        list.push_back(types_.pointer(unqualified(result_type)));
        result_type = types_.void_();
    }
    for (std::size_t i = 0; i < written->params.size(); ++i)
        list.push_back(i < params.size() && by_address(params[i])
                           ? types_.pointer(unqualified(written->params[i]))
                           : written->params[i]);
    return types_.function(result_type, std::move(list), written->variadic, written->prototyped);
}

const type *translator::with_this(const type *function, const CXXMethodDecl *m) {
    std::vector<const type *> list = function->params;
    list.insert(list.begin() + (by_address(m->getReturnType()) ? 1 : 0),
                types_.pointer(conv_record(m->getParent())));
    return types_.function(function->base, std::move(list), function->variadic, true);
}

bool translator::is_instance_method(const FunctionDecl *f) {
    const auto *m = dyn_cast<CXXMethodDecl>(f);
    return m && m->isInstance();
}

// --- objects

node *translator::this_object() {
    return deref(name(fn_->this_copy));
}

void translator::hidden_params(const FunctionDecl *f) {
    const type *ft = strip(fn_->body.sym->stype);
    auto add = [&](const char *own_name) {
        const type *t = ft->params[fn_->hidden.size()];
        symbol *passed = unit_.add_local(own_name, t, 9, 1, {});
        symbol *copy = unit_.add_local(own_name, t, 1, 2, {});
        fn_->body.params.push_back(passed);
        fn_->hidden.emplace_back(passed, copy);
        return copy;
    };
    if (by_address(f->getReturnType())) fn_->result_copy = add("$result");
    if (is_instance_method(f)) fn_->this_copy = add("this");
}

const CXXDestructorDecl *translator::needed_destructor(QualType qt) {
    qt = context_.getBaseElementType(qt);
    const CXXRecordDecl *c = qt->isReferenceType() ? nullptr : qt->getAsCXXRecordDecl();
    if (!c || !c->hasDefinition() || c->getDefinition()->hasTrivialDestructor()) return nullptr;
    return c->getDefinition()->getDestructor();
}

node *translator::destructor_call(node *object_lv, const CXXDestructorDecl *d) {
    return call_symbol(function_symbol(d), {address_of(object_lv)});
}

// Does something to each element of an array, or to the object when it is none.
void translator::for_elements(const type *t, const target_maker &target, bool backwards,
                              const std::function<void(const target_maker &)> &action) {
    const type *array = strip(t);
    if (array->kind != tkind::array) return action(target);
    std::uint64_t count = 1;
    const type *element = t;
    for (; is_array(element); element = element_of(element))
        count *= strip(element)->count;
    if (count == 0) return;
    const type *pointer = types_.pointer(element);
    const std::uint32_t size = units(strip(element)->size);
    if (fn_->in_comma > 0) { // no place for a loop
        constexpr std::uint64_t most = 64;
        if (count > most) refuse({}, "a large array of class objects in an expression");
        for (std::uint64_t i = 0; i < std::min(count, most); ++i)
            action([&, i] {
                node *first = convert_tree(address_of(target()), pointer);
                return deref(
                    i ? make(OP::PLUS, pointer, first, icon(static_cast<std::int64_t>(i * size)))
                      : first);
            });
        return;
    }
    auto begin = [&] { return convert_tree(address_of(target()), pointer); };
    symbol *at = temporary(pointer);
    node *first = begin();
    if (backwards)
        first = make(OP::PLUS, pointer, first, icon(static_cast<std::int64_t>(count * size)));
    add_tree(assign(name(at), first), {});
    const unsigned top = new_label();
    symbol *left = temporary(types_.int_());
    add_tree(assign(name(left), icon(static_cast<std::int64_t>(count))), {});
    add_label(top);
    if (backwards) add_tree(make(OP::MINUSASG, pointer, name(at), icon(size)), {});
    action([this, at] { return deref(name(at)); });
    if (!backwards) add_tree(make(OP::PLUSASG, pointer, name(at), icon(size)), {});
    add_tree(make(OP::MINUSASG, types_.int_(), name(left), icon(1)), {});
    add_cond_branch(make(OP::EQ, types_.int_(), name(left), icon(0)), top, {});
}

void translator::destroy(const type *t, const target_maker &target, const CXXDestructorDecl *d) {
    for_elements(t, target, true,
                 [&](const target_maker &one) { add_tree(destructor_call(one(), d), {}); });
}

void translator::leave_scope(std::size_t mark) {
    destroy_down_to(mark);
    fn_->cleanups.resize(mark);
}

// The destructors of the scopes that a jump leaves.
void translator::destroy_down_to(std::size_t mark) {
    if (!fn_->reachable) return;
    for (std::size_t i = fn_->cleanups.size(); i-- > mark;) {
        const cleanup c = fn_->cleanups[i];
        destroy(
            c.object->stype, [this, c] { return name(c.object); }, c.destructor);
    }
}

void translator::add_temporary_cleanup(symbol *object, const CXXDestructorDecl *d) {
    cleanup c{object, d, nullptr};
    if (fn_->conditional > 0) {
        c.flag = temporary(types_.int_());
        add_tree(assign(name(c.flag), icon(0)), {});
    }
    fn_->temporaries_alive.push_back(c);
}

void translator::destroy_temporaries(std::size_t mark) {
    while (fn_->temporaries_alive.size() > mark) {
        const cleanup c = fn_->temporaries_alive.back();
        fn_->temporaries_alive.pop_back();
        const unsigned end = c.flag ? new_label() : 0;
        if (c.flag) add_cond_branch(name(c.flag), end, {});
        destroy(
            c.object->stype, [this, c] { return name(c.object); }, c.destructor);
        if (c.flag) add_label(end);
    }
}

// --- constructors and destructors

void translator::constructor_prologue(const CXXConstructorDecl *c) {
    const CXXRecordDecl *parent = c->getParent();
    bool tables_set = c->isDelegatingConstructor();
    auto set_tables = [&] {
        if (!tables_set) set_vtables(parent);
        tables_set = true;
    };
    for (const CXXCtorInitializer *init : c->inits()) {
        const std::size_t mark = fn_->temporaries_alive.size();
        auto emit = [this, init](node *n) { add_tree(n, init->getSourceLocation()); };
        const Expr *value = init->getInit();
        if (init->isDelegatingInitializer()) {
            construct([this] { return this_object(); }, value, emit);
        } else if (init->isBaseInitializer()) {
            const CXXRecordDecl *base = init->getBaseClass()->getAsCXXRecordDecl()->getDefinition();
            construct([this, parent, base] { return base_lvalue(this_object(), parent, {base}); },
                      value, emit);
        } else {
            set_tables();
            initialise_member(init, emit);
        }
        destroy_temporaries(mark);
    }
    set_tables();
}

void translator::initialise_member(const CXXCtorInitializer *init,
                                   const std::function<void(node *)> &emit) {
    std::vector<const FieldDecl *> way;
    if (const IndirectFieldDecl *indirect = init->getIndirectMember())
        for (const NamedDecl *d : indirect->chain())
            way.push_back(cast<FieldDecl>(d));
    else
        way.push_back(init->getMember());
    target_maker target = [this, way] {
        node *lv = this_object();
        for (const FieldDecl *f : way) {
            const type *record;
            const member *m = find_member(f, &record);
            lv = dot(lv, *m, record);
        }
        return lv;
    };
    initialise(way.back()->getType(), decl_type(way.back()), init->getInit(), target, emit);
}

// Any object: references, class objects, arrays, scalars.
void translator::initialise(QualType qt, const type *t, const Expr *value,
                            const target_maker &target, const std::function<void(node *)> &emit) {
    if (qt->isReferenceType()) {
        node *place_tree = target();
        node *address = address_of(lvalue(value));
        emit(assign(place_tree, convert_tree(address, place_tree->ntype)));
    } else {
        auto_init(t, value, target, emit);
    }
}

void translator::destructor_epilogue(const CXXDestructorDecl *d) {
    const CXXRecordDecl *c = d->getParent();
    std::vector<const FieldDecl *> fields(c->field_begin(), c->field_end());
    for (auto f = fields.rbegin(); f != fields.rend(); ++f) {
        const CXXDestructorDecl *inner =
            c->isUnion() ? nullptr : needed_destructor((*f)->getType());
        if (!inner) continue;
        const type *record;
        const member *m = find_member(*f, &record);
        destroy(
            m->mtype, [&] { return dot(this_object(), *m, record); }, inner);
    }
    std::vector<const CXXRecordDecl *> bases;
    for (const CXXBaseSpecifier &base : c->bases())
        bases.push_back(base.getType()->getAsCXXRecordDecl()->getDefinition());
    for (auto base = bases.rbegin(); base != bases.rend(); ++base)
        if (const CXXDestructorDecl *inner = needed_destructor(context_.getRecordType(*base)))
            add_tree(destructor_call(base_lvalue(this_object(), c, {*base}), inner), {});
}

// Destroys *this and gives its memory back.
symbol *translator::deleting_destructor(const CXXDestructorDecl *d) {
    symbol *&made = deleting_[d->getCanonicalDecl()];
    if (made) return made;
    made = unit_.add_global(unique_global_name(linkage_name(GlobalDecl(d, Dtor_Deleting))),
                            function_type(d), 3, pos(d->getLocation()));
    symbol *s = made;
    mark_cpp(s);
    function_state state;
    function_state *outer = std::exchange(fn_, &state);
    state.body.sym = s;
    const type *t = strip(s->stype)->params[0];
    state.body.begin = state.body.body_begin = state.body.end = pos(d->getLocation());
    symbol *passed = unit_.add_local("this", t, 9, 1, {});
    symbol *copy = unit_.add_local("this", t, 1, 2, {});
    state.body.params.push_back(passed);
    state.body.locals.push_back(copy);
    add_tree(assign(name(copy), name(passed)), {});
    add_tree(call_symbol(function_symbol(d), {name(copy)}), {});
    add_tree(release_memory(name(copy), d->getOperatorDelete()), {});
    add_tree(make(OP::URETURN, types_.void_(), name(s)), {});
    unit_.write_function(state.body, header_name_);
    fn_ = outer;
    return s;
}

// --- lambdas

// The function that a lambda without captures converts to calls its operator().
void translator::static_invoker(const CXXMethodDecl *m) {
    const CXXRecordDecl *c = m->getParent();
    const CXXMethodDecl *target = c->getLambdaCallOperator();
    if (c->isGenericLambda()) {
        refuse(m->getLocation(), "a generic lambda as a function pointer");
        return;
    }
    std::vector<node *> args;
    if (fn_->result_copy) args.push_back(name(fn_->result_copy));
    symbol *callee = function_symbol(target);
    args.push_back(null_pointer(strip(callee->stype)->params[args.size()]));
    for (const ParmVarDecl *p : fn_->decl->parameters())
        args.push_back(name(param_symbol(p, is_record(body_type(p)))));
    node *n = call_symbol(callee, args);
    if (is_kind(n->ntype, tkind::void_type))
        add_tree(n, {});
    else {
        add_tree(make(OP::RETURN, n->ntype, name(fn_->body.sym), n), {});
        fn_->reachable = false;
    }
}

void translator::enter_lambda(const CXXMethodDecl *m) {
    if (!m->getParent()->isLambda() || m->isStatic()) return;
    llvm::DenseMap<const VarDecl *, FieldDecl *> captures;
    m->getParent()->getCaptureFields(captures, fn_->captured_this);
    for (auto &[v, f] : captures)
        fn_->captures[v] = f;
}

// --- static objects

// Whether an object's initialiser can stand in the file.
bool translator::constant_object(const VarDecl *v, symbol *s) {
    if (needed_destructor(v->getType())) return false;
    if (!v->getInit()) return true;
    return is_static_image(s->stype, v->getInit());
}

void translator::cpp_static_object(const VarDecl *v, symbol *s) {
    if (constant_object(v, s)) {
        if (v->getInit()) static_init(s, v->getInit());
    } else {
        dynamic_.push_back(v);
    }
}

// A static local is initialised when control first reaches it.
void translator::guarded_static(const VarDecl *v, symbol *s) {
    symbol *guard = hidden_static("$guard", types_.int_(), v->getLocation());
    const unsigned done = new_label();
    add_cond_branch(make(OP::EQ, types_.int_(), name(guard), icon(0)), done, v->getLocation());
    start_object(v, s);
    add_tree(assign(name(guard), icon(1)), v->getLocation());
    add_label(done);
}

// A function that runs before main, with the initialisers that are not constant.
void translator::write_start_function() {
    if (dynamic_.empty()) return;
    symbol *s = hidden_static("$start", types_.function(types_.void_(), {}, false, true), {});
    mark_cpp(s);
    s->pragmas.push_back({pk_in_init_array, {}});
    s->pragmas.push_back({pk_is_referenced, {}});
    function_state state;
    fn_ = &state;
    state.body.sym = s;
    state.body.begin = state.body.body_begin = state.body.end = pos(dynamic_.front()->getLocation());
    for (std::size_t i = 0; i < dynamic_.size(); ++i) {
        if (const auto *f = dyn_cast<FunctionDecl>(dynamic_[i])) {
            add_tree(call_symbol(function_symbol(f), {}), f->getLocation());
            continue;
        }
        const auto *v = cast<VarDecl>(dynamic_[i]);
        survey(v->getInit());
        start_object(v, global_symbols_[v->getCanonicalDecl()]);
        define_pending();
    }
    add_tree(make(OP::URETURN, types_.void_(), name(s)), {});
    unit_.write_function(state.body, header_name_);
    fn_ = nullptr;
}

// Runs the initialiser of a static object and registers its destructor.
void translator::start_object(const VarDecl *v, symbol *s) {
    const std::size_t mark = fn_->temporaries_alive.size();
    auto emit = [this, v](node *n) { add_tree(n, v->getLocation()); };
    if (v->getInit())
        initialise(
            v->getType(), s->stype, v->getInit(), [this, s] { return name(s); }, emit);
    destroy_temporaries(mark);
    if (const CXXDestructorDecl *d = needed_destructor(v->getType()))
        add_tree(register_at_exit(s, d), v->getLocation());
}

// atexit of a function of its own that destroys the object.
node *translator::register_at_exit(symbol *object_symbol, const CXXDestructorDecl *d) {
    const type *plain = types_.function(types_.void_(), {}, false, true);
    symbol *f = hidden_static("$end", plain, {});
    mark_cpp(f);
    function_state state;
    function_state *outer = std::exchange(fn_, &state);
    state.body.sym = f;
    destroy(
        object_symbol->stype, [this, object_symbol] { return name(object_symbol); }, d);
    state.body.begin = state.body.body_begin = state.body.end = pos(d->getLocation());
    add_tree(make(OP::URETURN, types_.void_(), name(f)), {});
    unit_.write_function(state.body, header_name_);
    fn_ = outer;
    const type *pointer = types_.pointer(plain);
    symbol *at_exit =
        library_function("atexit", types_.function(types_.int_(), {pointer}, false, true));
    return call_symbol(at_exit, {make(OP::UAND, pointer, name(f))});
}
