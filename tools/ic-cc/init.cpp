// Initialisers: constants placed at their offsets, for static objects as trees of the initialiser
// section, for automatic ones as assignments.
#include "tools/ic-cc/ic_cc.h"

using namespace clang;

struct translator::image_cell {
    std::uint32_t size = 0; // units
    std::vector<node *> trees;
};

// One scalar or class object that gets a value, in source order.
struct translator::dynamic_part {
    const type *ptype;
    const Expr *value;
    target_maker target;
    bool is_constant;
};

struct translator::image {
    bool automatic = false;
    std::map<std::uint32_t, image_cell> cells; // by offset in units
    struct bits {
        std::uint16_t value = 0;
        bool wide = false; // of a storage unit of 32 bits
    };
    std::map<std::uint32_t, bits> bit_cells;
    std::vector<dynamic_part> parts; // automatic objects only
    std::uint32_t covered = 0;       // bits that `parts` give a value
    bool overlaps = false;           // a later part may lie in an earlier one
    bool probing = false;            // only to see whether it is constant
    bool variable = false;           // it is not
};

static const Expr *bare(const Expr *e) {
    for (;;) {
        e = e->IgnoreParens();
        if (const auto *c = dyn_cast<ConstantExpr>(e))
            e = c->getSubExpr();
        else if (const auto *w = dyn_cast<ExprWithCleanups>(e))
            e = w->getSubExpr();
        else if (const auto *d = dyn_cast<CXXDefaultInitExpr>(e))
            e = d->getExpr();
        else if (const auto *b = dyn_cast<CXXBindTemporaryExpr>(e))
            e = b->getSubExpr();
        else
            return e;
    }
}

void translator::place_bits(image &img, const member &m, std::int64_t value, std::uint32_t offset) {
    std::uint64_t mask = m.width >= 32 ? 0xffffffffu : (1u << m.width) - 1;
    std::uint32_t at = offset + m.offset;
    std::uint64_t low = at % unit_bits;
    std::uint64_t data = (static_cast<std::uint64_t>(value) & mask) << low;
    std::uint64_t holes = ~(mask << low);
    bool wide = strip(m.mtype)->size == 32;
    for (std::uint32_t unit = units(at); unit <= units(at + m.width - 1); ++unit) {
        image::bits &cell = img.bit_cells[unit];
        cell.value = static_cast<std::uint16_t>((cell.value & holes) | data);
        cell.wide = wide;
        data >>= unit_bits;
        holes = (holes >> unit_bits) | 0xffff000000000000u;
    }
}

void translator::not_constant(image &img, const Expr *init) {
    img.variable = true;
    if (!img.probing) refuse(init->getBeginLoc(), "a static initialiser that is not constant");
}

void translator::place_scalar(image &img, const type *t, const Expr *init, std::uint32_t offset,
                              const target_maker &target) {
    constant v;
    bool known = false;
    if (in_cpp() && init->isGLValue()) { // a reference
        known = evaluate_lvalue(init, v);
        if (known) v.ctype = types_.pointer(v.ctype);
    } else {
        known = evaluate(init, v);
    }
    known = known && convert(v, t);
    if (img.automatic) {
        img.parts.push_back({t, init, target, known});
        img.covered += strip(t)->size;
    }
    if (known)
        img.cells[units(offset)] = {units(strip(t)->size), {constant_tree(v, t)}};
    else if (!img.automatic)
        not_constant(img, init);
}

void translator::place_string(image &img, const type *t, const StringLiteral *s,
                              std::uint32_t offset) {
    const type *array = strip(t);
    const std::uint32_t room = array->complete ? array->count : s->getLength() + 1;
    std::uint32_t length = std::min<std::uint32_t>(s->getLength(), room);
    if (img.automatic) img.covered += array->size;
    image_cell &cell = img.cells[units(offset)];
    cell = {};
    if (s->getCharByteWidth() == 1 && is_plain_or_signed_char(array->base)) {
        // The terminating zero belongs to the tree where there is room for it.
        std::uint32_t filled = std::min(length + 1, room);
        if (filled == 0) return;
        cell.size = filled;
        cell.trees = {
            scon(s->getBytes().substr(0, length), types_.array(array->base, filled, true))};
        return;
    }
    const type *element = strip(array->base);
    for (std::uint32_t i = 0; i < length; ++i)
        cell.trees.push_back(icon(s->getCodeUnit(i), element));
    cell.size = length * units(element->size);
}

// Gives each character of a string that was placed whole a cell of its own.
void translator::split_string(image &img, const type *t, std::uint32_t offset) {
    const type *element = strip(strip(t)->base);
    const image_cell whole = img.cells[units(offset)];
    if (whole.trees.empty()) return;
    const bool packed = whole.trees.front()->op == OP::SCON;
    const std::string &text = whole.trees.front()->text;
    const std::size_t count = packed ? text.size() : whole.trees.size();
    img.cells.erase(units(offset));
    for (std::size_t i = 0; i < count; ++i) {
        node *one = packed ? icon(static_cast<unsigned char>(text[i]), element) : whole.trees[i];
        const std::uint32_t size = units(element->size);
        img.cells[units(offset) + static_cast<std::uint32_t>(i) * size] = {size, {one}};
    }
}

void translator::place_record(image &img, const type *t, const InitListExpr *list,
                              std::uint32_t offset, const target_maker &target) {
    const type *record = strip(t);
    auto place_member = [&](const FieldDecl *field, const Expr *init) {
        const type *owner;
        const member *m = find_member(field, &owner);
        if (!m) return;
        target_maker inner = [this, target, m, record] { return dot(target(), *m, record); };
        init = bare(init);
        if (isa<ImplicitValueInitExpr, NoInitExpr>(init)) return;
        if (!m->is_bitfield) return place(img, m->mtype, init, offset + m->offset, inner);
        constant v;
        bool known = evaluate(init, v) && convert(v, m->mtype) && v.kind == constant::integer;
        if (img.automatic) img.parts.push_back({m->mtype, init, inner, known});
        if (known)
            place_bits(img, *m, v.value, offset);
        else if (!img.automatic)
            not_constant(img, init);
    };
    if (const auto *c = dyn_cast<CXXRecordDecl>(record_decls_[record]->getDefinition());
        c && c->getNumBases() && list->getNumInits()) {
        refuse(list->getBeginLoc(), "a list that initialises base classes");
        return;
    }
    if (record->is_union) {
        if (const FieldDecl *field = list->getInitializedFieldInUnion())
            if (list->getNumInits() > 0) place_member(field, list->getInit(0));
        return;
    }
    unsigned next = 0;
    for (const FieldDecl *field : record_decls_[record]->getDefinition()->fields()) {
        if (field->isUnnamedBitfield()) continue;
        if (next >= list->getNumInits()) break;
        place_member(field, list->getInit(next++));
    }
}

// A designator's index was worked out by clang; it must be what it is on this machine.
void translator::check_designators(const InitListExpr *list) {
    const InitListExpr *written = list->isSemanticForm() ? list->getSyntacticForm() : list;
    if (!written) return;
    for (const Expr *init : written->inits()) {
        const auto *d = dyn_cast_or_null<DesignatedInitExpr>(init);
        if (!d) continue;
        for (const DesignatedInitExpr::Designator &part : d->designators()) {
            if (part.isFieldDesignator()) continue;
            const Expr *index =
                part.isArrayDesignator() ? d->getArrayIndex(part) : d->getArrayRangeStart(part);
            llvm::Optional<llvm::APSInt> theirs = index->getIntegerConstantExpr(context_);
            std::optional<std::int64_t> ours = evaluate_integer(index);
            if (!ours || !theirs || theirs->getExtValue() != *ours)
                refuse(index->getBeginLoc(), "an index that depends on the size of a type");
        }
    }
}

void translator::place(image &img, const type *t, const Expr *init, std::uint32_t offset,
                       const target_maker &target) {
    init = bare(init);
    if (isa<ImplicitValueInitExpr, NoInitExpr>(init)) return;
    const type *inner = strip(t);
    const auto *list = dyn_cast<InitListExpr>(init);
    if (list) check_designators(list);
    if (list && list->isTransparent()) return place(img, t, list->getInit(0), offset, target);
    if (const auto *update = dyn_cast<DesignatedInitUpdateExpr>(init)) {
        img.overlaps = true;
        place(img, t, update->getBase(), offset, target);
        if (isa<StringLiteral>(bare(update->getBase()))) split_string(img, t, offset);
        return place(img, t, update->getUpdater(), offset, target);
    }
    if (inner->kind == tkind::array) {
        const Expr *only = list && list->getNumInits() == 1 ? bare(list->getInit(0)) : init;
        if (const auto *s = dyn_cast<StringLiteral>(only);
            s && inner->base && is_integer(inner->base))
            return place_string(img, t, s, offset);
        if (!list) {
            if (const auto *literal = dyn_cast<CompoundLiteralExpr>(init))
                return place(img, t, literal->getInitializer(), offset, target);
            if (img.probing)
                img.variable = true;
            else
                refuse(init->getBeginLoc(), "this initialiser of an array");
            return;
        }
        const type *element = element_of(t);
        std::uint32_t size = strip(element)->size;
        const unsigned count = inner->complete ? inner->count : list->getNumInits();
        const Expr *filler = in_cpp() ? list->getArrayFiller() : nullptr; // of the rest
        if (filler && isa<ImplicitValueInitExpr>(filler)) filler = nullptr;
        for (unsigned i = 0; (filler || i < list->getNumInits()) && i < count; ++i) {
            target_maker part = [this, target, i, size] {
                node *array = target();
                node *p = make(OP::PCONV, decayed(array->ntype), address_of(array));
                if (i) p = make(OP::PLUS, p->ntype, p, icon(i * units(size)));
                return deref(p);
            };
            const Expr *value = i < list->getNumInits() ? list->getInit(i) : filler;
            place(img, element, value, offset + i * size, part);
        }
        return;
    }
    if (inner->kind == tkind::record) {
        if (list) return place_record(img, t, list, offset, target);
        const Expr *source = init->IgnoreParenImpCasts();
        if (const auto *literal = dyn_cast<CompoundLiteralExpr>(source); literal && !img.automatic)
            return place(img, t, literal->getInitializer(), offset, target);
        const auto *made = dyn_cast<CXXConstructExpr>(source);
        if (made && made->getConstructor()->isTrivial() && made->getNumArgs() == 0 &&
            !img.automatic)
            return;
        if (img.automatic) {
            img.parts.push_back({t, init, target, false});
            img.covered += inner->size;
        } else {
            not_constant(img, init);
        }
        return;
    }
    if (list) {
        if (list->getNumInits() == 1) place(img, t, list->getInit(0), offset, target);
        return;
    }
    place_scalar(img, t, init, offset, target);
}

std::vector<node *> translator::image_trees(const image &img, std::uint32_t size_bits) {
    std::map<std::uint32_t, image_cell> all = img.cells;
    for (const auto &[unit, bits] : img.bit_cells) {
        std::uint32_t low = unit & ~1u, high = unit | 1u;
        bool whole = bits.wide && !img.cells.contains(low) && !img.cells.contains(high);
        if (!whole) {
            all[unit] = {1, {icon(bits.value, types_.integer(ikind::ushort_))}};
            continue;
        }
        auto part = [&](std::uint32_t u) -> std::int64_t {
            auto found = img.bit_cells.find(u);
            return found == img.bit_cells.end() ? 0 : found->second.value;
        };
        all[low] = {2, {icon(part(low) | part(high) << unit_bits, types_.uint())}};
    }
    std::vector<node *> trees;
    std::uint32_t at = 0;
    for (const auto &[unit, cell] : all) {
        if (unit < at || cell.size == 0) continue;
        if (unit > at) {
            trees.push_back(make(OP::SKIP, types_.int_()));
            trees.back()->value = unit - at;
        }
        trees.insert(trees.end(), cell.trees.begin(), cell.trees.end());
        at = unit + cell.size;
    }
    if (at > units(size_bits)) refuse({}, "an initialiser larger than its object");
    return trees;
}

void translator::static_init(symbol *s, const Expr *init) {
    function_state *outer = fn_;
    image img;
    auto flexible = flexible_.find(s);
    place(img, flexible == flexible_.end() ? s->stype : flexible->second, init, 0,
          [this, s] { return name(s); });
    s->has_init = true;
    s->init.trees = image_trees(img, strip(s->stype)->size);
    fn_ = outer;
}

bool translator::is_static_image(const type *t, const Expr *init) {
    image img;
    img.probing = true;
    place(img, t, init, 0, [this] { return icon(0); });
    return !img.variable;
}

// Each element by its constructor.
void translator::copy_elements(const type *t, const ArrayInitLoopExpr *e,
                               const target_maker &target,
                               const std::function<void(node *)> &emit) {
    constexpr std::uint32_t most = 64;
    const type *element = element_of(t);
    if (is_array(element) || strip(t)->count > most) {
        refuse(e->getBeginLoc(), "a copy of such an array of objects");
        return;
    }
    for (std::uint32_t i = 0; i < strip(t)->count; ++i) {
        array_index_ = i;
        auto one = [&, i] {
            node *p = convert_tree(address_of(target()), types_.pointer(element));
            return deref(make(OP::PLUS, p->ntype, p, icon(i * units(strip(element)->size))));
        };
        auto_init(element, e->getSubExpr(), one, emit);
    }
}

// Gives the assignments that initialise an automatic object to `emit`, in their order.
void translator::auto_init(const type *t, const Expr *init, const target_maker &target,
                           const std::function<void(node *)> &emit) {
    constexpr std::size_t few = 4; // values that are stored one by one
    init = bare(init);
    const type *inner = strip(t);
    bool aggregate = inner->kind == tkind::array || inner->kind == tkind::record;
    auto store = [&](const target_maker &to, const type *part, const Expr *value) {
        if (in_cpp() && is_record(part)) return construct(to, value, emit);
        node *place_tree = to();
        node *source = argument(value);
        emit(assign(place_tree, convert_tree(source, part)));
    };
    if (!aggregate) {
        const auto *list = dyn_cast<InitListExpr>(init);
        if (list && list->getNumInits() == 0)
            emit(assign(target(), convert_tree(icon(0), t)));
        else
            store(target, t, init);
        return;
    }
    if (inner->kind == tkind::record && !isa<InitListExpr>(init)) return store(target, t, init);
    if (inner->kind == tkind::array && in_cpp()) {
        if (const auto *c = dyn_cast<CXXConstructExpr>(init)) {
            if (!c->getConstructor()->isTrivial() || c->requiresZeroInitialization())
                for_elements(t, target, false,
                             [&](const target_maker &one) { construct(one, c, emit); });
            return;
        }
        if (const auto *c = dyn_cast<ArrayInitLoopExpr>(init)) {
            if (by_address(context_.getBaseElementType(c->getType())))
                return copy_elements(t, c, target, emit);
            return emit(assign(target(), lvalue(c->getCommonExpr()->getSourceExpr())));
        }
    }
    image img;
    img.automatic = true;
    place(img, t, init, 0, target);
    bool all_parts = img.covered >= inner->size && img.parts.size() <= few && !img.overlaps;
    bool no_strings = true;
    for (const auto &[unit, cell] : img.cells)
        no_strings &= cell.trees.front()->op != OP::SCON && cell.trees.size() == 1;
    bool one_by_one = all_parts && no_strings;
    if (!one_by_one) {
        const type *image_type = types_.qualified(unqualified(t), q_const);
        symbol *s;
        if (img.cells.empty() && img.bit_cells.empty()) {
            symbol *&zero = zero_images_[inner];
            if (!zero) zero = hidden_static("$zero", image_type, init->getBeginLoc());
            s = zero;
        } else {
            s = hidden_static("$init", image_type, init->getBeginLoc());
            s->has_init = true;
            s->init.trees = image_trees(img, inner->size);
        }
        emit(assign(target(), name(s)));
    }
    for (const dynamic_part &p : img.parts)
        if (one_by_one || img.overlaps || !p.is_constant) store(p.target, p.ptype, p.value);
}

node *translator::compound_literal(const CompoundLiteralExpr *e) {
    if (e->isFileScope() || !fn_) {
        constant v;
        if (evaluate_lvalue(e, v) && v.base) return name(v.base);
        return refuse(e->getBeginLoc(), "this compound literal");
    }
    const type *t = complete(expr_type(e));
    symbol *s = temporary(t);
    node *before = nullptr;
    const bool as_statements = hoists(e->getInitializer());
    auto_init(
        t, e->getInitializer(), [this, s] { return name(s); },
        [&](node *n) {
            if (as_statements)
                add_tree(n, e->getBeginLoc());
            else
                before = comma(before, n);
        });
    return comma(before, name(s));
}
