#include "OPT5/icode/records/if_text_measure.h"

#include "OPT5/icode/records/if_text_names.h"
#include "OPT5/icode/records/if_text_rules.h"

#include <algorithm>

namespace {
constexpr unsigned deepest_measure = 500;
constexpr std::int64_t largest_size = 0xffffffff;
constexpr std::int64_t unit_bits = 16;

unsigned slot_of(int kind, const char *field) {
    return static_cast<unsigned>(if_layout(IF_TAG_type, kind)->slot(field));
}

std::int64_t round_up(std::int64_t n, std::int64_t to) {
    return to > 1 ? (n + to - 1) / to * to : n;
}
} // namespace

bool IF_MEASURER::has_auto_offset(const IF_RECORD &member) const {
    static const unsigned offset_slot = slot_of(IF_KIND_member, "offset");
    std::size_t at = member.first_value + offset_slot;
    return at < d_.auto_offset.size() && d_.auto_offset[at];
}

void IF_MEASURER::note(const IF_RECORD &r, IF_PLACE place) {
    if (r.tag != IF_TAG_type) return;
    auto number = static_cast<std::uint32_t>(m_.number(r, IF_TYPE::number));
    if (r.selector == IF_KIND_member) {
        if (auto csu = types_.find(number); csu != types_.end()) {
            csu->second.members.push_back(r);
            if (has_auto_offset(r)) offset_queue_.push_back(number);
        } else if (has_auto_offset(r))
            throw IF_TEXT_ERROR{place, "expected offset= of a member without a class before it"};
    } else if (!if_kind_is_list_element(r.selector)) {
        TYPE_ENTRY entry;
        entry.record = r;
        entry.place = place;
        types_.try_emplace(number, std::move(entry));
    }
}

void IF_MEASURER::wait(const IF_RECORD &r, unsigned slot, IF_PLACE place) {
    waiting_.emplace(r.first_value + slot, place);
    queue_.push_back({r, r.layout->fields[slot].role});
}

void IF_MEASURER::settle() {
    for (const WAITER &w : queue_)
        measure(w.record, w.role, 0);
    queue_.clear();
    for (std::uint32_t number : offset_queue_)
        lay_out(types_.at(number), 0);
    offset_queue_.clear();
}

std::int64_t IF_MEASURER::measure_of_type(std::uint32_t number, IF_ROLE role, unsigned depth) {
    auto entry = types_.find(number);
    return entry == types_.end() ? 0 : measure(entry->second.record, role, depth + 1);
}

std::int64_t IF_MEASURER::measure(const IF_RECORD &r, IF_ROLE role, unsigned depth) {
    int slot = if_measure_slot(*r.layout, role);
    if (slot < 0) return 0;
    auto s = static_cast<unsigned>(slot);
    auto waiter = waiting_.find(r.first_value + s);
    if (waiter == waiting_.end()) return m_.number(r, s);
    IF_PLACE place = waiter->second;
    if (depth > deepest_measure)
        throw IF_TEXT_ERROR{place, "expected size= and align= of a type that contains itself or is "
                                   "nested very deep"};
    std::int64_t n = compute(r, role, depth);
    if (n > largest_size)
        throw IF_TEXT_ERROR{place, "expected a type of at most 4294967295 bits, found one of more"};
    m_.value(r, s) = IF_VALUE::of_number(n);
    waiting_.erase(r.first_value + s);
    return n;
}

std::int64_t IF_MEASURER::compute(const IF_RECORD &r, IF_ROLE role, unsigned depth) {
    auto of_type = [&](unsigned slot) {
        return measure_of_type(static_cast<std::uint32_t>(m_.number(r, slot)), role, depth);
    };
    for (const IF_BASIC_TYPE &b : if_basic_types())
        if (b.kind == r.selector) return b.size;
    switch (r.selector) {
    case IF_KIND_pointer:
    case IF_KIND_reference:
    case IF_KIND_ptm: return if_pointer_bits;
    case IF_KIND_typedef: return of_type(slot_of(IF_KIND_typedef, "base"));
    case IF_KIND_qualified: return of_type(slot_of(IF_KIND_qualified, "base"));
    case IF_KIND_enum: return of_type(slot_of(IF_KIND_enum, "underlying"));
    case IF_KIND_fixed: return of_type(slot_of(IF_KIND_fixed, "underlying"));
    case IF_KIND_complex: {
        std::int64_t part = of_type(slot_of(IF_KIND_complex, "part"));
        return role == IF_ROLE::size ? 2 * part : part;
    }
    case IF_KIND_array: {
        std::int64_t element = of_type(slot_of(IF_KIND_array, "element"));
        if (role == IF_ROLE::alignment) return element;
        return element * m_.number(r, slot_of(IF_KIND_array, "count")); // both are below 2^32
    }
    case IF_KIND_csu:
    case IF_KIND_csu_long: {
        TYPE_ENTRY &csu = types_.at(static_cast<std::uint32_t>(m_.number(r, IF_TYPE::number)));
        lay_out(csu, depth);
        return role == IF_ROLE::size ? csu.size : csu.align;
    }
    default: return 0;
    }
}

// Members in order, each at its alignment; a bit-field takes the next bits of a storage unit of its
// type, from the low end, and does not cross the unit's end. Offsets that are given stay.
void IF_MEASURER::lay_out(TYPE_ENTRY &csu, unsigned depth) {
    static const unsigned type_slot = slot_of(IF_KIND_member, "type");
    static const unsigned offset_slot = slot_of(IF_KIND_member, "offset");
    static const unsigned width_slot = slot_of(IF_KIND_member, "width");
    if (csu.laid_out) return;
    if (csu.under_way)
        throw IF_TEXT_ERROR{csu.place, "expected a size= of a class that contains itself"};
    csu.under_way = true;
    bool is_union =
        (csu.record.selector == IF_KIND_csu || csu.record.selector == IF_KIND_csu_long) &&
        m_.number(csu.record, slot_of(IF_KIND_csu, "csu kind")) == 1;
    std::int64_t cursor = 0, end = 0, align = unit_bits;
    for (const IF_RECORD &member : csu.members) {
        auto type = static_cast<std::uint32_t>(m_.number(member, type_slot));
        std::int64_t member_size = measure_of_type(type, IF_ROLE::size, depth);
        std::int64_t member_align = measure_of_type(type, IF_ROLE::alignment, depth);
        std::int64_t width = m_.number(member, width_slot);
        if (is_union) cursor = 0;
        if (!has_auto_offset(member))
            cursor = m_.number(member, offset_slot);
        else {
            if (width == 0)
                cursor = round_up(cursor, member_align);
            else if (member_size > 0 && cursor / member_size != (cursor + width - 1) / member_size)
                cursor = round_up(cursor, member_size);
            if (cursor > INT32_MAX)
                throw IF_TEXT_ERROR{csu.place, "expected members below offset 2147483648"};
            m_.value(member, offset_slot) = IF_VALUE::of_number(cursor);
        }
        cursor += width ? width : member_size;
        end = std::max(end, cursor);
        align = std::max(align, member_align);
    }
    bool empty = csu.members.empty();
    csu.size = empty ? 0 : round_up(end, align);
    csu.align = align;
    csu.under_way = false;
    csu.laid_out = true;
}
