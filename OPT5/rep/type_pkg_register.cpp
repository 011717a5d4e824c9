// Registration: the registry, keys of types, equal types made one, chains of equivalents.
//
// Each type lists the types built on it by their keys (map_name). A new type is looked up in the
// list of its base, so that no search sees more than the types that are built on the same type in
// the same way. Keys hold values and unique ids, never addresses.
#include "OPT5/rep/type_pkg_pools.h"

#include <algorithm>

namespace {
constexpr unsigned max_type_depth = 1000;

// Words separated by blanks; texts with their length before them.
class KEY {
public:
    void add(std::int64_t word) {
        if (!text_.empty()) text_ += ' ';
        text_ += std::to_string(word);
    }
    void add_type(const TYPE *type) { add(type ? std::int64_t{type->uid} : -1); }
    void add_text(const char *text) {
        const std::string_view view(text);
        add(static_cast<std::int64_t>(view.size()));
        (text_ += ':') += view;
    }
    std::string take() { return std::move(text_); }

private:
    std::string text_;
};

bool ends_derivation(const TYPE *type) {
    return type->kind_ >= TYPE::CLASS;
}

// Exit 1 when it is too deep.
void set_depth(TYPE *type) {
    unsigned depth = 0;
    if (!ends_derivation(type))
        for_each_component(type, [&depth](const TYPE *part) {
            if (part) depth = std::max(depth, part->depth + 1u);
        });
    if (depth > max_type_depth) tp_die("Type nested too deeply:  TYPE_PKG::register_type()");
    type->depth = static_cast<std::uint16_t>(depth);
}

// Sets the depths of types in whose derivation there may be a cycle, which ends the run.
void settle_depths(const std::vector<TYPE *> &types) {
    enum STATE : unsigned char { unseen, entered, left };
    boost::unordered_map<const TYPE *, STATE> states;
    for (const TYPE *type : types)
        states[type] = unseen;
    std::vector<TYPE *> work;
    for (TYPE *first : types) {
        work.push_back(first);
        while (!work.empty()) {
            TYPE *type = work.back();
            STATE &state = states[type];
            if (state != unseen) { // its components are done, or it was done before
                if (state == entered) set_depth(type);
                state = left;
                work.pop_back();
                continue;
            }
            state = entered;
            if (ends_derivation(type)) continue;
            for_each_component(type, [&](TYPE *part) {
                const auto found = states.find(part);
                if (found == states.end() || found->second == left) return;
                if (found->second == entered)
                    tp_die("Type built on itself:  TYPE_PKG::type_frozen()");
                work.push_back(part);
            });
        }
    }
}

void unlist(TYPE *type, TYPE *base) {
    if (!base->based || !type->mapname) return;
    const auto entry = base->based->find(*type->mapname);
    if (entry == base->based->end()) return;
    std::erase(entry->second, type);
    if (entry->second.empty()) base->based->erase(entry);
    type->mapname = nullptr;
}
} // namespace

std::string TYPE::map_name() const {
    if (mapname) return *mapname;
    KEY key;
    for (std::uint32_t word : {std::uint32_t{kind_}, size_, align_, std::uint32_t{cpp}})
        key.add(word);
    switch (kind_) {
    case VOID_: break;
    case INTEGER:
        key.add(sub.integer.ikind);
        key.add(sub.integer.explicit_sign);
        key.add(sub.integer.is_boolean);
        key.add(sub.integer.plain);
        break;
    case FLOATING: key.add(sub.floating.fkind); break;
    case FIXEDPT:
        key.add_type(sub.fixed.underlying);
        key.add(sub.fixed.binary_point);
        key.add(sub.fixed.signed_flag);
        break;
    case COMPLEX: key.add_type(sub.complex.part); break;
    case POINTER:
    case REFERENCE: break;
    case QUALIFIED: key.add(sub.qualified.bits); break;
    case TYPEDEF:
        key.add(lowered);
        key.add_text(sub.typedef_.name);
        break;
    case ARRAY:
        key.add(sub.array.count);
        key.add(sub.array.low_bound);
        key.add(sub.array.is_vector);
        key.add(sub.array.is_struct_vector);
        key.add(sub.array.is_complete);
        break;
    case PTM: key.add_type(sub.ptm.csu); break;
    case FUNCTION:
        key.add(sub.func.cc_kind);
        key.add(sub.func.flag1);
        key.add(sub.func.flag2);
        for (const PARAM_ELEM *param = sub.func.params; param; param = param->next) {
            key.add_type(param->type);
            key.add(param->mode);
            key.add_text(param->name);
        }
        break;
    case ENUM: key.add_text(sub.enum_.name); break;
    case CLASS:
    case STRUCT:
    case UNION: key.add_text(sub.csu->name); break;
    }
    return key.take();
}

TYPE *TYPE_PKG::base_type(TYPE *type) {
    switch (type->kind_) {
    case TYPE::VOID_:
    case TYPE::INTEGER:
    case TYPE::FLOATING:
    case TYPE::FIXEDPT:
    case TYPE::COMPLEX:
    case TYPE::ENUM:
    case TYPE::CLASS:
    case TYPE::STRUCT:
    case TYPE::UNION: return root_type;
    case TYPE::POINTER:
    case TYPE::REFERENCE: return type->sub.pointer.pointee;
    case TYPE::QUALIFIED: return type->sub.qualified.base;
    case TYPE::TYPEDEF: return type->sub.typedef_.base;
    case TYPE::ARRAY: return type->sub.array.elem;
    case TYPE::PTM: return type->sub.ptm.member;
    case TYPE::FUNCTION: return type->sub.func.result;
    }
    tp_die("bad kind:  TYPE_PKG::base_type()");
}

// --- the registry

std::uint32_t TYPE_PKG::assign_uid(TYPE *type) {
    if (type->uid == 0) {
        type->uid = next_uid++;
        registry.push_back(type);
    }
    return type->uid;
}

TYPE *TYPE_PKG::register_type(TYPE *type, TYPE *base) {
    if (!type->valid || type->uid != 0) return type;
    if (!base) tp_die("Type without a base:  TYPE_PKG::register_type()");
    if (base == type) tp_die("Type built on itself:  TYPE_PKG::register_type()");
    type->pkg = this;
    set_depth(type);
    const std::string key = type->map_name();
    const bool has_based = type->based && !type->based->empty();
    if (type->kind_ < TYPE::ENUM && base->based && !has_based) {
        const auto found = base->based->find(key);
        if (found != base->based->end())
            for (TYPE *candidate : found->second)
                if (candidate->pkg == this && exact_types(candidate, type)) {
                    ++statistics.duplicates[type->kind_];
                    delete_type_tree(type, false, true);
                    return candidate;
                }
    }
    assign_uid(type);
    ++statistics.registered[type->kind_];
    if (!base->based) {
        base->based = new TYPE::BASED_TYPE_CONTAINER;
        if (base->kind_ == TYPE::FUNCTION && !base->frozen) ++pools->functions_used_open;
    }
    if (pools->functions_used_open != 0) pools->of_unknown_depth.push_back(type);
    const auto entry = base->based->try_emplace(key).first;
    entry->second.push_back(type);
    type->mapname = &entry->first;
    return type;
}

TYPE *TYPE_PKG::type_frozen(TYPE *type) {
    if (type->frozen) return type;
    type->frozen = type->valid = true;
    pools->open.erase(type);
    const bool was_used = type->kind_ == TYPE::FUNCTION && type->based;
    type = register_type(type, base_type(type));
    if (was_used && --pools->functions_used_open == 0) {
        settle_depths(pools->of_unknown_depth);
        pools->of_unknown_depth.clear();
    }
    return type;
}

void TYPE::check_nfrozen(const char *where) const {
    if (!frozen) return;
    tp_die((std::string("frozen type:  ") + where).c_str());
}

void TYPE_PKG::delete_type_tree(TYPE *type, bool keep_based, bool unregistered) {
    if (keep_based && type->based && !type->based->empty()) return;
    std::vector<TYPE *> doomed{type};
    for (std::size_t i = 0; i < doomed.size(); ++i)
        if (const TYPE::BASED_TYPE_CONTAINER *based = doomed[i]->based)
            for (const auto &[key, types] : *based)
                doomed.insert(doomed.end(), types.begin(), types.end());
    if (!unregistered) unlist(type, base_type(type));
    if (!unregistered || doomed.size() > 1) {
        const boost::unordered_set<const TYPE *> dead(doomed.begin(), doomed.end());
        const auto is_dead = [&dead](const TYPE *t) { return dead.count(t) != 0; };
        std::erase_if(registry, is_dead);
        std::erase_if(pools->of_unknown_depth, is_dead);
    }
    for (TYPE *dead : doomed) {
        if (dead->kind_ == TYPE::FUNCTION && !dead->frozen && dead->based)
            --pools->functions_used_open;
        pools->tp_free(dead);
    }
}

// --- chains of equivalents

TYPE *TYPE::canonical() {
    // A chain that comes back to itself is found by a second walk at half the pace.
    TYPE *end = this, *half = this;
    for (bool step = false; end->equiv; step = !step) {
        end = end->equiv;
        if (step) half = half->equiv;
        if (end == half) tp_die("Type equivalent to itself:  TYPE::canonical()");
    }
    for (TYPE *type = this; type != end;)
        type = std::exchange(type->equiv, end);
    return end;
}

void TYPE::set_equiv(TYPE *type) {
    TYPE *mine = canonical(), *other = type->canonical();
    if (mine == other) return;
    mine->equiv = other;
    mine->merg = true;
}
