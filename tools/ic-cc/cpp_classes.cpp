// Classes of C++: layout with bases and virtual table pointer, virtual tables, thunks.
//
// A base class is a member in front of the class's own, the first one with virtual functions before
// the others; a class with virtual functions and no such base begins with the pointer to its table.
// A table is an array of functions: the slots of the class, then those of each base that has a
// table pointer of its own. Virtual bases are refused.
#include "tools/ic-cc/ic_cc.h"

using namespace clang;

static const CXXRecordDecl *base_class(const CXXBaseSpecifier &base) {
    return base.getType()->getAsCXXRecordDecl()->getDefinition();
}

const CXXRecordDecl *translator::primary_base(const CXXRecordDecl *c) {
    for (const CXXBaseSpecifier &base : c->bases())
        if (base_class(base)->isDynamicClass()) return base_class(base);
    return nullptr;
}

// The members in front of a class's own.
void translator::add_base_members(const CXXRecordDecl *c, type &record) {
    auto add = [&](std::string own_name, const type *t) {
        member m;
        m.name = std::move(own_name);
        m.mtype = t;
        record.members.push_back(std::move(m));
    };
    const CXXRecordDecl *primary = primary_base(c);
    auto add_base = [&](const CXXRecordDecl *base) {
        base_indices_[{c->getCanonicalDecl(), base->getCanonicalDecl()}] =
            static_cast<unsigned>(record.members.size());
        add("$" + base->getName().str(), complete(conv_record(base)));
    };
    if (primary)
        add_base(primary);
    else if (c->isDynamicClass())
        add("$vtable", types_.pointer(types_.qualified(slot_type(), q_const)));
    for (const CXXBaseSpecifier &base : c->bases()) {
        if (base.isVirtual()) refuse(base.getBeginLoc(), "a virtual base class");
        if (base_class(base) != primary) add_base(base_class(base));
    }
}

const type *translator::slot_type() {
    return types_.pointer(types_.function(types_.void_(), {}, false, true));
}

const member &translator::base_member(const CXXRecordDecl *c, const CXXRecordDecl *base) {
    const type *record = complete(conv_record(c));
    return record->members[base_indices_[{c->getCanonicalDecl(), base->getCanonicalDecl()}]];
}

// The base subobject of an object, by the classes on the way to it.
node *translator::base_lvalue(node *object_lv, const CXXRecordDecl *c, class_path path) {
    for (const CXXRecordDecl *base : path) {
        object_lv = dot(object_lv, base_member(c, base), conv_record(c));
        c = base;
    }
    return object_lv;
}

std::uint32_t translator::base_offset(const CXXRecordDecl *c, class_path path) {
    std::uint32_t offset = 0;
    for (const CXXRecordDecl *base : path) {
        offset += units(base_member(c, base).offset);
        c = base;
    }
    return offset;
}

std::vector<const CXXRecordDecl *> translator::cast_path(const CastExpr *e) {
    std::vector<const CXXRecordDecl *> path;
    for (const CXXBaseSpecifier *base : e->path())
        path.push_back(base_class(*base));
    return path;
}

// --- virtual functions

const std::vector<translator::virtual_slot> &translator::slots(const CXXRecordDecl *c) {
    c = c->getDefinition();
    auto known = slots_.find(c);
    if (known != slots_.end()) return known->second;
    std::vector<virtual_slot> list;
    if (const CXXRecordDecl *primary = primary_base(c)) list = slots(primary);
    for (const CXXMethodDecl *m : c->methods()) {
        if (!m->isVirtual()) continue;
        bool overrides = false;
        for (const virtual_slot &slot : list)
            overrides |= slot.method->getCorrespondingMethodInClass(c) == m;
        if (overrides) continue;
        list.push_back({m, false});
        if (isa<CXXDestructorDecl>(m)) list.push_back({m, true});
    }
    return slots_[c] = std::move(list);
}

// The index of a method in the slots of its class.
unsigned translator::slot_of(const CXXMethodDecl *m, bool deleting) {
    const CXXRecordDecl *c = m->getParent()->getDefinition();
    const std::vector<virtual_slot> &list = slots(c);
    for (unsigned i = 0; i < list.size(); ++i)
        if (list[i].deleting == deleting &&
            list[i].method->getCorrespondingMethodInClass(c)->getCanonicalDecl() ==
                m->getCanonicalDecl())
            return i;
    refuse(m->getLocation(), "this virtual function");
    return 0;
}

// All table pointers of an object of class c: the way to the base that holds each, the class whose
// slots it has, and its first slot in the table of c.
void translator::collect_tables(const CXXRecordDecl *c, std::vector<const CXXRecordDecl *> path,
                                std::vector<table_part> &parts, unsigned &next) {
    if (!c->isDynamicClass()) return;
    parts.push_back({path, c, next});
    next += static_cast<unsigned>(slots(c).size());
    // The primary bases share the pointer; what else they have does not.
    for (const CXXRecordDecl *p = c; p; p = primary_base(p)) {
        for (const CXXBaseSpecifier &base : p->bases()) {
            const CXXRecordDecl *b = base_class(base);
            if (b == primary_base(p)) continue;
            std::vector<const CXXRecordDecl *> way = path;
            way.push_back(b);
            collect_tables(b, way, parts, next);
        }
        if (primary_base(p)) path.push_back(primary_base(p));
    }
}

// The function behind a slot of the subobject at `path` in an object of class `whole`.
symbol *translator::final_overrider(const CXXRecordDecl *whole, class_path path,
                                    const virtual_slot &slot) {
    const CXXMethodDecl *m = slot.method->getCorrespondingMethodInClass(whole);
    if (!m || m->isPure())
        return library_function("abort", types_.function(types_.void_(), {}, false, true));
    symbol *target =
        slot.deleting ? deleting_destructor(cast<CXXDestructorDecl>(m)) : function_symbol(m);
    const CXXRecordDecl *owner = m->getParent()->getCanonicalDecl();
    std::size_t depth = path.size(); // of the owner on the way from `whole`
    const CXXRecordDecl *at = whole;
    for (std::size_t i = 0;; ++i) {
        if (at->getCanonicalDecl() == owner) {
            depth = i;
            break;
        }
        if (i == path.size()) break;
        at = path[i];
    }
    const std::uint32_t back =
        base_offset(whole, path) - base_offset(whole, path.take_front(depth));
    return back == 0 ? target : thunk(target, back);
}

// Calls the target with `this` moved back by so many units.
symbol *translator::thunk(symbol *target, std::uint32_t back) {
    symbol *&made = thunks_[{target, back}];
    if (made) return made;
    const type *ft = strip(target->stype);
    made = hidden_static("$thunk", target->stype, {});
    mark_cpp(made);
    function_state state;
    function_state *outer = std::exchange(fn_, &state);
    state.body.sym = made;
    std::vector<node *> args;
    state.body.begin = state.body.body_begin = state.body.end = target->pos;
    node *prolog = nullptr;
    for (std::size_t i = 0; i < ft->params.size(); ++i) {
        std::string own_name = "p" + std::to_string(i);
        symbol *passed = unit_.add_local(own_name, ft->params[i], 9, 1, {});
        state.body.params.push_back(passed);
        if (is_record(ft->params[i])) {
            args.push_back(name(passed));
            continue;
        }
        symbol *copy = unit_.add_local(own_name, ft->params[i], 1, 2, {});
        state.body.locals.push_back(copy);
        node *store = assign(name(copy), name(passed));
        prolog = prolog ? make(OP::PCOMMA, types_.int_(), prolog, store) : store;
        node *value = name(copy);
        if (i == 0) value = make(OP::MINUS, ft->params[0], value, icon(back));
        args.push_back(value);
    }
    add_tree(prolog, {});
    node *called = call_symbol(target, args);
    node *self = name(made);
    if (is_kind(called->ntype, tkind::void_type)) {
        add_tree(called, {});
        add_tree(make(OP::URETURN, types_.void_(), self), {});
    } else {
        add_tree(make(OP::RETURN, called->ntype, self, called), {});
    }
    unit_.write_function(state.body, header_name_);
    fn_ = outer;
    return made;
}

symbol *translator::vtable(const CXXRecordDecl *c) {
    c = c->getDefinition();
    symbol *&table = vtables_[c];
    if (table) return table;
    std::vector<table_part> parts;
    unsigned count = 0;
    collect_tables(c, {}, parts, count);
    std::string text;
    llvm::raw_string_ostream out(text);
    mangler_->mangleCXXVTable(c, out);
    const type *element = types_.qualified(slot_type(), q_const);
    table = unit_.add_global(unique_global_name("_" + out.str()),
                             types_.array(element, count, true), 3, pos(c->getLocation()));
    table->has_init = true;
    symbol *made = table; // the map may move
    std::vector<node *> trees;
    for (const table_part &part : parts)
        for (const virtual_slot &slot : slots(part.owner)) {
            symbol *f = final_overrider(c, part.path, slot);
            node *address = make(OP::UAND, types_.pointer(f->stype), name(f));
            trees.push_back(convert_tree(address, slot_type()));
        }
    made->init.trees = std::move(trees);
    return made;
}

// The pointer to the virtual table that an lvalue of a class begins with.
node *translator::vtable_pointer(node *object_lv, const CXXRecordDecl *c) {
    std::vector<const CXXRecordDecl *> path;
    const CXXRecordDecl *holder = c->getDefinition();
    while (const CXXRecordDecl *primary = primary_base(holder)) {
        path.push_back(primary);
        holder = primary;
    }
    node *lv = base_lvalue(object_lv, c->getDefinition(), path);
    const type *record = complete(conv_record(holder));
    return dot(lv, record->members.front(), record);
}

// Sets all table pointers of *this to those of class c.
void translator::set_vtables(const CXXRecordDecl *c) {
    if (!c->isDynamicClass()) return;
    symbol *table = vtable(c);
    std::vector<table_part> parts;
    unsigned count = 0;
    collect_tables(c, {}, parts, count);
    for (const table_part &part : parts) {
        node *lv = base_lvalue(this_object(), c, part.path);
        node *slot = make(OP::PCONV, decayed(table->stype), address_of(name(table)));
        if (part.first) slot = make(OP::PLUS, slot->ntype, slot, icon(part.first));
        node *pointer = vtable_pointer(lv, part.owner);
        add_tree(assign(pointer, convert_tree(slot, pointer->ntype)), {});
    }
}

// The function that a virtual call of a method of *object reaches, as a pointer to function.
node *translator::virtual_function(node *object_lv, const CXXMethodDecl *m, bool deleting) {
    node *table = vtable_pointer(object_lv, m->getParent());
    if (unsigned slot = slot_of(m, deleting))
        table = make(OP::PLUS, unqualified(table->ntype), table, icon(slot));
    return convert_tree(deref(table), types_.pointer(function_type(m)));
}
