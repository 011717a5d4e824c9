// Classes, structs and unions of a writer, and the lists of all types that have lists.
#include "OPT5/icode/if_file.h"

#include <algorithm>

namespace {
// A list of a class in file order: when it is written, what it needs before it, its elements.
struct CLASS_LIST {
    LIST_KIND kind;
    bool (*given)(const CSU &csu);
    void (*for_each_type)(const CSU &csu, void (*visit)(I_FILE &file, TYPE *type), I_FILE &file);
    void (I_FILE::*write)(TYPE *owner);
};

template <auto list>
void visit_types(const CSU &csu, void (*visit)(I_FILE &file, TYPE *type), I_FILE &file) {
    for (auto *elem = csu.*list; elem; elem = elem->next)
        visit(file, elem->type);
}

template <auto list> bool given(const CSU &csu) {
    return csu.*list != nullptr;
}

constexpr CLASS_LIST class_lists[] = {
    {LK_bclasses, given<&CSU::bclasses>, visit_types<&CSU::bclasses>,
     &I_FILE::write_listof_bclasses},
    {LK_adecls, given<&CSU::adecls>, nullptr, &I_FILE::write_listof_adecls},
    {LK_ffriends, given<&CSU::ffriends>, visit_types<&CSU::ffriends>,
     &I_FILE::write_listof_ffriends},
    {LK_cfriends, given<&CSU::cfriends>, visit_types<&CSU::cfriends>,
     &I_FILE::write_listof_cfriends},
    {LK_ntypes, given<&CSU::ntypes>, visit_types<&CSU::ntypes>, &I_FILE::write_listof_ntypes},
    {LK_mdata, given<&CSU::mdata>, visit_types<&CSU::mdata>, &I_FILE::write_listof_mdata},
    {LK_sdata, given<&CSU::sdata>, visit_types<&CSU::sdata>, &I_FILE::write_listof_sdata},
    {LK_mfuncs, given<&CSU::mfuncs>, visit_types<&CSU::mfuncs>, &I_FILE::write_listof_mfuncs},
    {LK_params, given<&CSU::params>, visit_types<&CSU::params>, nullptr},
};

// Announced lists are written although they are empty.
bool has_list(const CSU &csu, const CLASS_LIST &list) {
    return csu.will_have[list.kind] || list.given(csu);
}

int csu_kind(const TYPE *type) {
    return type->kind_ == TYPE::STRUCT ? 0 : type->kind_ == TYPE::UNION ? 1 : 2;
}
} // namespace

void I_FILE::write_csu_type(TYPE *type) {
    const CSU &csu = *type->sub.csu;
    const bool is_short =
        csu.extra_word == 0 && std::none_of(std::begin(class_lists), std::end(class_lists),
                                            [&csu](const CLASS_LIST &list) {
                                                return list.kind != LK_mdata && has_list(csu, list);
                                            });
    if (is_short)
        write_csu_short(type);
    else
        write_csu_long(type);
}

void I_FILE::i_begin_csu(TYPE *type, int kind) {
    const CSU &csu = *type->sub.csu;
    i_begin_type(type, kind);
    i_write_i8(csu_kind(type));
    i_write_string(csu.name);
    i_write_bool(csu.is_complete);
    i_write_bool(type->lowered);
    i_write_uint(type->size_);
    i_write_uint(type->align_);
}

void I_FILE::i_end_csu(TYPE *type) {
    i_write_bool(type->sub.csu->flag);
    i_write_bool(type->cpp);
    i_write_psn(type->psn);
    i_flush(116);
}

void I_FILE::write_csu_short(TYPE *type) {
    const CSU &csu = *type->sub.csu;
    i_begin_csu(type, 24);
    i_write_bool(csu.will_have[LK_mdata] || csu.mdata);
    i_end_csu(type);
}

void I_FILE::write_csu_long(TYPE *type) {
    const CSU &csu = *type->sub.csu;
    i_begin_csu(type, 25);
    i_write_uint(csu.extra_word);
    for (const CLASS_LIST &list : class_lists)
        i_write_bool(has_list(csu, list));
    i_end_csu(type);
}

// --- lists

void I_FILE::write_csu_type_lists(TYPE *type) {
    const CSU &csu = *type->sub.csu;
    const auto write_before = [](I_FILE &file, TYPE *used) {
        if (used) file.if_write_type(used);
    };
    for (const CLASS_LIST &list : class_lists) {
        if (!has_list(csu, list)) continue;
        if (list.for_each_type) list.for_each_type(csu, write_before, *this);
        if (list.write)
            (this->*list.write)(type);
        else
            write_listof_params(type, csu.params);
    }
}

void I_FILE::write_list_header(TYPE *owner, int list_kind) {
    i_begin_type(owner, 254);
    i_write_i8(list_kind);
    i_flush(116);
}

void I_FILE::write_list_trailer(TYPE *owner, int list_kind) {
    i_begin_type(owner, 255);
    i_write_i8(list_kind);
    i_flush(116);
}

void I_FILE::write_listof_etors(TYPE *owner) {
    write_list_header(owner, LK_etors);
    const bool is_signed = owner->sub.enum_.underlying->is_signed();
    for (const ETOR_ELEM *e = owner->sub.enum_.etors; e; e = e->next) {
        i_begin_type(owner, 23);
        i_write_string(e->name);
        if (is_signed)
            i_write_sint(e->value.s32());
        else
            i_write_uint(e->value.u32());
        i_write_psn(e->psn);
        i_flush(116);
    }
    write_list_trailer(owner, LK_etors);
}

void I_FILE::write_listof_params(TYPE *owner, const PARAM_ELEM *params) {
    write_list_header(owner, LK_params);
    for (const PARAM_ELEM *p = params; p; p = p->next) {
        i_begin_type(owner, 21);
        i_write_typeref(p->type);
        i_write_bool(false);
        i_write_uint(p->mode);
        i_write_string(p->name);
        i_flush(116);
    }
    write_list_trailer(owner, LK_params);
}

void I_FILE::write_listof_mdata(TYPE *owner) {
    write_list_header(owner, LK_mdata);
    for (const fkMDATA *m = owner->sub.csu->mdata; m; m = m->next) {
        i_begin_type(owner, 28);
        i_write_uint(m->index);
        i_write_string(m->name);
        i_write_typeref(m->type);
        i_write_i8(m->flags);
        i_write_sint(m->offset);
        i_write_i8(m->field_type_id);
        i_write_uint(m->width);
        i_write_bool(m->is_bitfield);
        i_write_bool(m->flag1);
        i_write_bool(m->flag2);
        i_write_psn(m->psn);
        i_flush(116);
    }
    write_list_trailer(owner, LK_mdata);
}

void I_FILE::write_listof_bclasses(TYPE *owner) {
    write_list_header(owner, LK_bclasses);
    for (const BCLASS_ELEM *b = owner->sub.csu->bclasses; b; b = b->next) {
        i_begin_type(owner, 29);
        i_write_typeref(b->type);
        i_write_sint(b->offset);
        i_write_i8(b->access);
        i_write_bool(b->is_virtual);
        i_flush(116);
    }
    write_list_trailer(owner, LK_bclasses);
}

void I_FILE::write_listof_adecls(TYPE *owner) {
    write_list_header(owner, LK_adecls);
    for (const ADECL_ELEM *a = owner->sub.csu->adecls; a; a = a->next) {
        i_begin_type(owner, 30);
        i_write_uint(0);
        i_write_i8(a->access);
        i_flush(116);
    }
    write_list_trailer(owner, LK_adecls);
}

void I_FILE::write_listof_ffriends(TYPE *owner) {
    write_list_header(owner, LK_ffriends);
    for (const FFRIEND_ELEM *f = owner->sub.csu->ffriends; f; f = f->next) {
        i_begin_type(owner, 31);
        i_write_string(f->name);
        i_write_typeref(f->type);
        i_flush(116);
    }
    write_list_trailer(owner, LK_ffriends);
}

void I_FILE::write_listof_cfriends(TYPE *owner) {
    write_list_header(owner, LK_cfriends);
    for (const CFRIEND_ELEM *c = owner->sub.csu->cfriends; c; c = c->next) {
        i_begin_type(owner, 32);
        i_write_typeref(c->type);
        i_flush(116);
    }
    write_list_trailer(owner, LK_cfriends);
}

void I_FILE::write_listof_ntypes(TYPE *owner) {
    write_list_header(owner, LK_ntypes);
    for (const NTYPE_ELEM *n = owner->sub.csu->ntypes; n; n = n->next) {
        i_begin_type(owner, 33);
        i_write_typeref(n->type);
        i_flush(116);
    }
    write_list_trailer(owner, LK_ntypes);
}

void I_FILE::write_listof_sdata(TYPE *owner) {
    write_list_header(owner, LK_sdata);
    for (const SDATA_ELEM *s = owner->sub.csu->sdata; s; s = s->next) {
        i_begin_type(owner, 34);
        i_write_string(s->name);
        i_write_typeref(s->type);
        i_write_i8(s->access);
        i_flush(116);
    }
    write_list_trailer(owner, LK_sdata);
}

void I_FILE::write_listof_mfuncs(TYPE *owner) {
    write_list_header(owner, LK_mfuncs);
    for (const MFUNC_ELEM *m = owner->sub.csu->mfuncs; m; m = m->next) {
        i_begin_type(owner, 35);
        i_write_string(m->name);
        i_write_typeref(m->type);
        i_write_i8(m->access);
        i_write_sint(m->vtable_index);
        for (bool flag : m->flags)
            i_write_bool(flag);
        i_flush(116);
    }
    write_list_trailer(owner, LK_mfuncs);
}
