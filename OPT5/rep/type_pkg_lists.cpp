// The lists of functions, enums and classes. Elements are appended in constant time while the type
// is open.
#include "OPT5/rep/type_pkg_pools.h"

namespace {
[[noreturn]] void bad_kind(const char *where) {
    tp_die((std::string("Bad kind:  ") + where).c_str());
}

CSU &open_class(TYPE *owner, const char *where) {
    if (owner->kind_ < TYPE::CLASS) bad_kind(where);
    owner->check_nfrozen(where);
    return *owner->sub.csu;
}

// Elements refer to a type without being listed in it, so that it must be there to stay.
void check_element_type(const TYPE *type, bool may_be_null, const char *where) {
    const char *fault = !type ? (may_be_null ? nullptr : "Element without a type:  ")
                        : type->kind_ == TYPE::FUNCTION && !type->frozen ? "Unfinished type:  "
                                                                         : nullptr;
    if (fault) tp_die((std::string(fault) + where).c_str());
}

template <class ELEM>
ELEM *append(TYPE_PKG::POOLS::OPEN_LISTS &lists, LIST_KIND kind, ELEM *&first, ELEM *elem) {
    elem->next = nullptr;
    if (void *last = std::exchange(lists.last[kind], elem))
        static_cast<ELEM *>(last)->next = elem;
    else
        first = elem;
    return elem;
}
} // namespace

PARAM_ELEM *TYPE_PKG::append_param(TYPE *owner, TYPE *type, std::uint32_t mode,
                                   std::string_view name) {
    static constexpr const char *where = "TYPE_PKG::append_param()";
    if (owner->kind_ != TYPE::FUNCTION && owner->kind_ < TYPE::CLASS) bad_kind(where);
    owner->check_nfrozen(where);
    check_element_type(type, false, where);
    PARAM_ELEM *&first =
        owner->kind_ == TYPE::FUNCTION ? owner->sub.func.params : owner->sub.csu->params;
    auto *elem = new (pools->params.take()) PARAM_ELEM{type, mode, pools->name(name), nullptr};
    return append(pools->open[owner], LK_params, first, elem);
}

ETOR_ELEM *TYPE_PKG::append_etor(TYPE *owner, std::string_view name, const INT65 &value, PSN *psn) {
    static constexpr const char *where = "TYPE_PKG::append_etor()";
    if (owner->kind_ != TYPE::ENUM) bad_kind(where);
    owner->check_nfrozen(where);
    ETOR_ELEM *elem = pools->element(ETOR_ELEM{pools->name(name), value, psn, nullptr});
    return append(pools->open[owner], LK_etors, owner->sub.enum_.etors, elem);
}

// A member without a number takes the next one. Numbers follow each other more or less, so that the
// table by numbers is not much larger than the list; the first member of a number keeps it.
fkMDATA *TYPE_PKG::append_mdata(TYPE *owner, const fkMDATA &member) {
    static constexpr const char *where = "TYPE_PKG::append_mdata()";
    CSU &csu = open_class(owner, where);
    check_element_type(member.type, false, where);
    POOLS::OPEN_LISTS &lists = pools->open[owner];
    fkMDATA *copy = pools->element(member);
    copy->name = pools->name(member.name);
    ++lists.members;
    if (copy->index == 0) copy->index = lists.members;
    if (copy->index / 16 >= lists.members)
        tp_die("Invalid member number:  TYPE_PKG::append_mdata()");
    if (csu.mdata_by_index.size() <= copy->index) csu.mdata_by_index.resize(copy->index + 1);
    fkMDATA *&numbered = csu.mdata_by_index[copy->index];
    if (!numbered) numbered = copy;
    if (copy->is_bitfield) seen_bitfield = true;
    return append(lists, LK_mdata, csu.mdata, copy);
}

BCLASS_ELEM *TYPE_PKG::append_bclass(TYPE *owner, const BCLASS_ELEM &elem) {
    CSU &csu = open_class(owner, "TYPE_PKG::append_bclass()");
    check_element_type(elem.type, false, "TYPE_PKG::append_bclass()");
    return append(pools->open[owner], LK_bclasses, csu.bclasses, pools->element(elem));
}

ADECL_ELEM *TYPE_PKG::append_adecl(TYPE *owner, const ADECL_ELEM &elem) {
    CSU &csu = open_class(owner, "TYPE_PKG::append_adecl()");
    return append(pools->open[owner], LK_adecls, csu.adecls, pools->element(elem));
}

FFRIEND_ELEM *TYPE_PKG::append_ffriend(TYPE *owner, const FFRIEND_ELEM &elem) {
    CSU &csu = open_class(owner, "TYPE_PKG::append_ffriend()");
    check_element_type(elem.type, true, "TYPE_PKG::append_ffriend()");
    FFRIEND_ELEM *copy = pools->element(elem);
    copy->name = pools->name(elem.name);
    return append(pools->open[owner], LK_ffriends, csu.ffriends, copy);
}

CFRIEND_ELEM *TYPE_PKG::append_cfriend(TYPE *owner, const CFRIEND_ELEM &elem) {
    CSU &csu = open_class(owner, "TYPE_PKG::append_cfriend()");
    check_element_type(elem.type, true, "TYPE_PKG::append_cfriend()");
    return append(pools->open[owner], LK_cfriends, csu.cfriends, pools->element(elem));
}

NTYPE_ELEM *TYPE_PKG::append_ntype(TYPE *owner, const NTYPE_ELEM &elem) {
    CSU &csu = open_class(owner, "TYPE_PKG::append_ntype()");
    check_element_type(elem.type, true, "TYPE_PKG::append_ntype()");
    return append(pools->open[owner], LK_ntypes, csu.ntypes, pools->element(elem));
}

SDATA_ELEM *TYPE_PKG::append_sdata(TYPE *owner, const SDATA_ELEM &elem) {
    CSU &csu = open_class(owner, "TYPE_PKG::append_sdata()");
    check_element_type(elem.type, true, "TYPE_PKG::append_sdata()");
    SDATA_ELEM *copy = pools->element(elem);
    copy->name = pools->name(elem.name);
    return append(pools->open[owner], LK_sdata, csu.sdata, copy);
}

MFUNC_ELEM *TYPE_PKG::append_mfunc(TYPE *owner, const MFUNC_ELEM &elem) {
    CSU &csu = open_class(owner, "TYPE_PKG::append_mfunc()");
    check_element_type(elem.type, true, "TYPE_PKG::append_mfunc()");
    MFUNC_ELEM *copy = pools->element(elem);
    copy->name = pools->name(elem.name);
    return append(pools->open[owner], LK_mfuncs, csu.mfuncs, copy);
}
