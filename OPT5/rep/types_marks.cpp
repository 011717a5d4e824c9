// The marks by which a writer knows what it needs: the types that are referred to, directly or from
// others that are. Marks do not depend on the order in which the types are met.
#include "OPT5/rep/type_pkg_pools.h"

namespace {
template <class ELEM, class Visit> void for_each_type(const ELEM *list, Visit visit) {
    for (; list; list = list->next)
        visit(list->type);
}

// All types that a type and its lists refer to; null ones too.
template <class Visit> void for_each_reference(const TYPE *type, Visit visit) {
    for_each_component(type, visit);
    if (type->kind_ < TYPE::CLASS) return;
    const CSU &csu = *type->sub.csu;
    for_each_type(csu.bclasses, visit);
    for_each_type(csu.ffriends, visit);
    for_each_type(csu.cfriends, visit);
    for_each_type(csu.ntypes, visit);
    for_each_type(csu.mdata, visit);
    for_each_type(csu.sdata, visit);
    for_each_type(csu.mfuncs, visit);
    for_each_type(csu.params, visit);
}

// All types that are built on the root, directly or on others that are.
template <class Visit> void for_each_type_below(const TYPE *root, Visit visit) {
    std::vector<const TYPE *> work{root};
    while (!work.empty()) {
        const TYPE *base = work.back();
        work.pop_back();
        if (!base->based) continue;
        for (const auto &[key, types] : *base->based)
            for (TYPE *type : types) {
                visit(type);
                work.push_back(type);
            }
    }
}
} // namespace

void TYPE::mark_named_types(const TYPE *root, bool all) {
    if (!all) return;
    for_each_type_below(root, [](TYPE *type) {
        if (type->kind_ == TYPEDEF || type->kind_ >= ENUM) type->canonical()->refd = true;
    });
}

void TYPE::mark_refed_types(const TYPE *root) {
    std::vector<const TYPE *> work;
    for_each_type_below(root, [&work](TYPE *type) {
        if (type->refd) work.push_back(type);
    });
    while (!work.empty()) {
        const TYPE *type = work.back();
        work.pop_back();
        for_each_reference(type, [&work](TYPE *used) {
            if (!used) return;
            used = used->canonical();
            if (used->refd) return;
            used->refd = true;
            work.push_back(used);
        });
    }
}
