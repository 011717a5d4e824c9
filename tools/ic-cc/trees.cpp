// Small builders of trees. Each takes ownership of no node twice: a tree is used once.
#include "tools/ic-cc/ic_cc.h"

#include <array>
#include <cmath>
#include <cstdio>

namespace {

// The low bits of a value, extended by the sign of the type.
std::int64_t fitted(std::int64_t value, const type *t) {
    if (strip(t)->size == 16)
        return is_signed(t) ? static_cast<std::int16_t>(value)
                            : static_cast<std::int64_t>(static_cast<std::uint16_t>(value));
    return is_signed(t) ? static_cast<std::int32_t>(value)
                        : static_cast<std::int64_t>(static_cast<std::uint32_t>(value));
}

bool is_zero(const node *n) {
    return n->op == OP::ICON && n->value == 0;
}

} // namespace

node *translator::icon(std::int64_t value, const type *t) {
    node *n = make(OP::ICON, t);
    n->value = fitted(value, t);
    return n;
}

node *translator::fcon(float value, const type *t) {
    node *n = make(OP::FCON, t);
    std::array<char, 48> text{};
    std::snprintf(text.data(), text.size(), "%a", static_cast<double>(value));
    n->text = text.data();
    return n;
}

node *translator::name(symbol *s) {
    node *n = make(OP::NAME, s->stype);
    n->sym = s;
    return n;
}

node *translator::object(symbol *s) {
    auto flexible = flexible_.find(s);
    if (flexible == flexible_.end()) return name(s);
    const type *t = flexible->second;
    return make(
        OP::UMULT, t,
        make(OP::PCONV, types_.pointer(t), make(OP::UAND, types_.pointer(s->stype), name(s))));
}

node *translator::label_ref(unsigned number) {
    node *n = make(OP::LABEL, types_.int_());
    n->value = number;
    return n;
}

node *translator::address_of(node *lv) {
    return below_commas(lv, [this](node *n) {
        if (n->op == OP::UMULT) return n->left;
        return make(OP::UAND, types_.pointer(n->ntype), n);
    });
}

node *translator::deref(node *pointer) {
    return below_commas(pointer, [this](node *n) {
        if (n->op == OP::UAND && pointee(n->ntype) == n->left->ntype) return n->left;
        const type *to = is_pointer(n->ntype) ? pointee(n->ntype) : types_.int_();
        return make(OP::UMULT, to, n);
    });
}

node *translator::dot(node *record_lv, const member &m, const type *record) {
    return below_commas(record_lv, [&](node *n) {
        node *field = make(OP::FIELD, m.mtype);
        field->record = record;
        field->field = &m;
        const type *t = types_.qualified(m.mtype, qualifiers_of(n->ntype));
        if (n->op == OP::UMULT) return make(OP::STREF, t, n->left, field);
        return make(OP::STDOT, t, n, field);
    });
}

node *translator::scon(std::string_view text, const type *t) {
    node *n = make(OP::SCON, t);
    n->text = text;
    return n;
}

node *translator::copy_tree(const node *n) {
    if (!n) return nullptr;
    node *copy = make(n->op, n->ntype);
    *copy = *n;
    copy->left = copy_tree(n->left);
    copy->right = copy_tree(n->right);
    return copy;
}

node *translator::null_pointer(const type *t) {
    return make(OP::PCONV, unqualified(t), icon(0, types_.integer(ikind::short_)));
}

node *translator::truth(node *n) {
    if (boolean_result[n->op]) return n;
    const type *t = strip(n->ntype);
    node *zero;
    if (t->kind == tkind::floating)
        zero = fcon(0, t);
    else if (t->kind == tkind::pointer)
        zero = null_pointer(n->ntype);
    else
        zero = icon(0, t->kind == tkind::enumeration ? t->base : t);
    return make(OP::NEQ, types_.int_(), n, zero);
}

// Conversions between scalars. Constants convert at once.
node *translator::convert_tree(node *n, const type *to) {
    to = unqualified(to);
    const type *from = strip(n->ntype), *t = strip(to);
    if (t->kind == tkind::enumeration) to = t = t->base;
    if (from->kind == tkind::enumeration) from = from->base;
    if (t->kind == tkind::void_type || t->kind == tkind::record || from == t) return n;
    if (t->kind == tkind::integer && t->ik == ikind::boolean) {
        if (n->op == OP::ICON) return icon(n->value != 0, t);
        return make(OP::SCONV, t, truth(n));
    }
    if (t->kind == tkind::pointer) {
        if (n->op == OP::PCONV && n->left->op != OP::ICON && is_pointer(n->left->ntype))
            n = n->left;
        if (n->ntype == to) return n;
        if (n->op == OP::ICON) n = icon(n->value, types_.integer(ikind::ushort_));
        return make(OP::PCONV, to, n);
    }
    if (from->kind == tkind::pointer) {
        const type *unsigned_short = types_.integer(ikind::ushort_);
        return convert_tree(make(OP::PCONV, unsigned_short, n), t);
    }
    if (n->op == OP::ICON && t->kind == tkind::integer) return icon(n->value, t);
    if (n->op == OP::ICON && t->kind == tkind::floating)
        return fcon(static_cast<float>(n->value), t);
    if (n->op == OP::FCON && t->kind == tkind::floating) {
        n->ntype = t;
        return n;
    }
    return make(OP::SCONV, t, n);
}

// index times the size of what `pointer` points to, in units.
node *translator::scaled(node *index, const type *pointer, clang::SourceLocation at) {
    std::uint32_t bits = stride_bits(pointer, at);
    if (strip(index->ntype)->size < 32 || is_bool(index->ntype))
        index = convert_tree(index, types_.int_());
    if (index->op == OP::ICON) return icon(index->value * units(bits), index->ntype);
    const type *t = strip(index->ntype);
    if (t->kind == tkind::enumeration) t = t->base;
    return make(OP::PMCONV, t, index, icon(bits));
}

node *translator::comma(node *first, node *second) {
    if (!first) return second;
    return make(OP::COMMAOP, second->ntype, first, second);
}

node *translator::class_lvalue(node *n) {
    return below_commas(n, [this](node *value) {
        switch (value->op) {
        case OP::NAME:
        case OP::UMULT:
        case OP::STDOT:
        case OP::STREF: return value;
        default: break;
        }
        symbol *t = temporary(unqualified(value->ntype));
        return comma(assign(name(t), value), name(t));
    });
}

// What is evaluated when the address of an lvalue is taken; null: nothing.
static node *address_part(const node *lv) {
    while (lv->op == OP::STDOT)
        lv = lv->left;
    return lv->op == OP::NAME ? nullptr : lv->left;
}

bool translator::pure(const node *n) {
    if (!n) return true;
    if (n->op == OP::UAND) return pure(address_part(n->left));
    if (side_effects[n->op] != SE_NONE || (qualifiers_of(n->ntype) & q_volatile)) return false;
    return pure(n->left) && pure(n->right);
}

node *translator::effects(node *n) {
    if (pure(n)) return nullptr;
    auto arm = [this](node *part) {
        node *e = effects(part);
        return e ? e : icon(0);
    };
    auto choice = [this](node *cond, node *a, node *b) {
        const type *t = types_.void_();
        return make(OP::QUEST, t, cond, make(OP::COLON, t, a, b));
    };
    switch (n->op) {
    case OP::COMMAOP: break;
    case OP::QUEST:
        if (pure(n->right)) return effects(n->left);
        return choice(n->left, arm(n->right->left), arm(n->right->right));
    case OP::ANDAND:
        if (pure(n->right)) return effects(n->left);
        return choice(n->left, effects(n->right), icon(0));
    case OP::OROR:
        if (pure(n->right)) return effects(n->left);
        return choice(n->left, icon(0), effects(n->right));
    case OP::UAND: return effects(address_part(n->left));
    case OP::NAME:
    case OP::UMULT:
    case OP::STDOT:
    case OP::STREF:
        if (qualifiers_of(n->ntype) & q_volatile) return n;
        break;
    default:
        if (side_effects[n->op] != SE_NONE) return n;
    }
    node *first = n->left ? effects(n->left) : nullptr;
    node *second = n->right ? effects(n->right) : nullptr;
    return second ? comma(first, second) : first;
}

node *translator::repeatable(node *lv, node *&before) {
    auto keep = [&](node *pointer) {
        symbol *t = temporary(unqualified(pointer->ntype));
        before = comma(before, assign(name(t), pointer));
        return name(t);
    };
    switch (lv->op) {
    case OP::COMMAOP: before = comma(before, lv->left); return repeatable(lv->right, before);
    case OP::UMULT:
    case OP::STREF:
        if (!pure(lv->left)) lv->left = keep(lv->left);
        break;
    case OP::STDOT: lv->left = repeatable(lv->left, before); break;
    default: break;
    }
    return lv;
}

node *translator::negated(node *cond) {
    if (cond->op == OP::EXCLAIM) return cond->left;
    int inverse = boolean_inv[cond->op];
    bool exact = cond->op == OP::EQ || cond->op == OP::NEQ ||
                 (inverse != OP::ILLOP && !::is_floating(cond->left->ntype));
    if (inverse != OP::ILLOP && exact) {
        cond->op = inverse;
        return cond;
    }
    if (is_zero(cond)) return icon(1);
    return make(OP::EXCLAIM, types_.int_(), cond);
}
