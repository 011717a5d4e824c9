// Types of the model: interning, queries, layout of records.
#include "tools/ic-cc/model.h"

#include <algorithm>
#include <bit>

type_table::type_table() {
    void_type_ = fresh(tkind::void_type);
    for (unsigned k = 0; k < 13; ++k) {
        type *t = fresh(tkind::integer);
        t->ik = static_cast<ikind>(k);
        bool narrow = (k >= 1 && k <= 5) || t->ik == ikind::plain_char;
        t->size = t->align = narrow ? 16 : 32;
        integers_[k] = t;
    }
    for (unsigned k = 0; k < 3; ++k) {
        type *t = fresh(tkind::floating);
        t->fk = k;
        t->size = t->align = 32;
        floats_[k] = t;
    }
}

type *type_table::fresh(tkind kind) {
    type &t = types_.emplace_back();
    t.kind = kind;
    t.number = static_cast<unsigned>(types_.size());
    return &t;
}

const type *type_table::interned(const std::string &key, const type &made) {
    auto [place, is_new] = keys_.try_emplace(key, nullptr);
    if (is_new) {
        type *t = fresh(made.kind);
        unsigned number = t->number;
        *t = made;
        t->number = number;
        place->second = t;
    }
    return place->second;
}

const type *type_table::pointer(const type *to) {
    type t;
    t.kind = tkind::pointer;
    t.base = to;
    t.size = t.align = 16;
    return interned("P" + std::to_string(to->number), t);
}

const type *type_table::qualified(const type *base, unsigned bits) {
    if (base->kind == tkind::qualified) {
        bits |= base->qualifiers;
        base = base->base;
    }
    if ((bits & ~qualifiers_of(base)) == 0 || base->kind == tkind::function) return base;
    type t;
    t.kind = tkind::qualified;
    t.base = base;
    t.qualifiers = bits;
    return interned("Q" + std::to_string(base->number) + ":" + std::to_string(bits), t);
}

const type *type_table::array(const type *element, std::uint32_t count, bool complete) {
    type t;
    t.kind = tkind::array;
    t.base = element;
    t.count = complete ? count : 0;
    t.complete = complete;
    t.size = t.count * strip(element)->size; // a layer above a record may be older than its layout
    t.align = strip(element)->align;
    return interned("A" + std::to_string(element->number) + ":" + std::to_string(t.count) +
                        (complete ? "c" : "i"),
                    t);
}

const type *type_table::function(const type *result, std::vector<const type *> params,
                                 bool variadic, bool prototyped) {
    type t;
    t.kind = tkind::function;
    t.base = result;
    t.variadic = variadic;
    t.prototyped = prototyped;
    std::string key =
        "F" + std::to_string(result->number) + (variadic ? "v" : "") + (prototyped ? "p" : "");
    for (const type *p : params)
        key += ":" + std::to_string(p->number);
    t.params = std::move(params);
    return interned(key, t);
}

const type *type_table::named(std::string_view name, const type *base, position pos) {
    type *t = fresh(tkind::named);
    t->name = name;
    t->base = base;
    t->pos = pos;
    return t;
}

type *type_table::enumeration(std::string_view name, const type *underlying, position pos) {
    type *t = fresh(tkind::enumeration);
    t->name = name.empty() ? "$$fake" + std::to_string(++fakes_) : std::string(name);
    t->base = underlying;
    t->size = underlying->size;
    t->align = underlying->align;
    t->pos = pos;
    return t;
}

type *type_table::record(std::string_view name, bool is_union, position pos) {
    type *t = fresh(tkind::record);
    t->name = name.empty() ? "$$fake" + std::to_string(++fakes_) : std::string(name);
    t->is_union = is_union;
    t->complete = false;
    t->pos = pos;
    return t;
}

const type *strip(const type *t) {
    while (t->kind == tkind::qualified || t->kind == tkind::named)
        t = t->base;
    return t;
}

unsigned qualifiers_of(const type *t) {
    unsigned bits = 0;
    for (; t->kind == tkind::qualified || t->kind == tkind::named; t = t->base)
        bits |= t->kind == tkind::qualified ? t->qualifiers : 0;
    return bits;
}

bool is_integer(const type *t) {
    t = strip(t);
    return t->kind == tkind::integer || t->kind == tkind::enumeration;
}

bool is_signed(const type *t) {
    t = strip(t);
    if (t->kind == tkind::enumeration) t = t->base;
    switch (t->ik) {
    case ikind::schar:
    case ikind::plain_char:
    case ikind::short_:
    case ikind::int_:
    case ikind::long_:
    case ikind::llong: return t->kind == tkind::integer;
    default: return false;
    }
}

bool is_bool(const type *t) {
    t = strip(t);
    return t->kind == tkind::integer && t->ik == ikind::boolean;
}

bool is_plain_or_signed_char(const type *t) {
    t = strip(t);
    return t->kind == tkind::integer &&
           (t->ik == ikind::plain_char || t->ik == ikind::schar || t->ik == ikind::uchar);
}

// Members in order, each at its alignment. A bit-field takes the next bits of a storage unit of
// its declared type, from the low end, and starts a new unit when it would cross the end of one.
bool lay_out(type &record) {
    std::uint64_t cursor = 0, end = 0;
    std::uint32_t align = record.align;
    auto round_up = [](std::uint64_t v, std::uint64_t to) { return (v + to - 1) / to * to; };
    std::vector<member> kept;
    for (member &m : record.members) {
        const type *t = strip(m.mtype);
        if (record.is_union) cursor = 0;
        if (m.is_bitfield && m.width == 0) {
            cursor = round_up(cursor, t->size);
            continue;
        }
        if (!m.is_bitfield)
            cursor = round_up(cursor, std::max(t->align, m.align));
        else if (cursor / t->size != (cursor + m.width - 1) / t->size)
            cursor = round_up(cursor, t->size);
        m.offset = static_cast<std::uint32_t>(cursor);
        cursor += m.is_bitfield ? m.width : t->size;
        end = std::max(end, cursor);
        if (end > 65536u * unit_bits) return false;
        if (m.is_bitfield && m.name.empty()) continue; // padding
        align = std::max({align, t->align, m.align});
        m.index = static_cast<unsigned>(kept.size()) + 1;
        kept.push_back(m);
    }
    record.members = std::move(kept);
    record.align = align;
    record.size = static_cast<std::uint32_t>(round_up(end, align));
    record.complete = true;
    return true;
}
