// The type section of a writer: which types it holds, in which order, and the record of each kind.
#include "OPT5/icode/if_file.h"

#include <array>

namespace {
// The kind in the file by TYPE::ekind.
int file_kind(const TYPE *type) {
    static constexpr std::array<std::uint8_t, 27> kinds = {0,  1,  2,  3,  4,  5,  6,  7,  8,
                                                           9,  50, 51, 10, 11, 12, 48, 36, 48,
                                                           48, 48, 48, 48, 48, 48, 48, 48, 49};
    const auto ekind = static_cast<std::size_t>(type->ekind());
    return ekind < kinds.size() ? kinds[ekind] : 48;
}

// The types that a type's own record refers to; null where there is none.
std::array<TYPE *, 2> components(const TYPE *type) {
    const TYPE::SUB &sub = type->sub;
    switch (type->kind_) {
    case TYPE::FIXEDPT: return {sub.fixed.underlying};
    case TYPE::COMPLEX: return {sub.complex.part};
    case TYPE::POINTER:
    case TYPE::REFERENCE: return {sub.pointer.pointee};
    case TYPE::QUALIFIED: return {sub.qualified.base};
    case TYPE::TYPEDEF: return {sub.typedef_.base};
    case TYPE::ARRAY: return {sub.array.elem};
    case TYPE::PTM: return {sub.ptm.member, sub.ptm.csu};
    case TYPE::FUNCTION: return {sub.func.result};
    case TYPE::ENUM: return {sub.enum_.underlying};
    default: return {};
    }
}
} // namespace

void I_FILE::if_reference_type(TYPE *type) {
    if (type) type->canonical()->refd = true;
}

void I_FILE::i_write_typeref(TYPE *type) {
    if (!type) {
        i_write_uint(0);
        return;
    }
    type = type->canonical();
    if (type->uid == 0) tp_die("unregistered type:  I_FILE::i_write_typeref()");
    type->refd = true;
    i_write_uint(type->uid);
}

// --- the section. Types are visited in the order of their numbers, in which a type follows those
// that it is built on.

void I_FILE::if_write_all_types(bool all) {
    if (!tp_) return;
    const std::uint32_t position = if_tell();
    if_mark_global_types();
    TYPE::mark_named_types(root_type, all);
    TYPE::mark_refed_types(root_type);
    write_all_csu_types();
    write_type_tree();
    if (if_tell() == position) return;
    i_write_eof();
    type_offset = static_cast<std::int32_t>(position);
}

void I_FILE::write_all_csu_types() {
    for (TYPE *type : tp_->all_types())
        if (type->kind_ >= TYPE::CLASS && (type->refd || type->canonical()->refd))
            if_write_type(type);
    for (TYPE *type : tp_->all_types())
        if (type->kind_ >= TYPE::CLASS && type->writ) write_csu_type_lists(type);
}

void I_FILE::write_type_tree() {
    for (TYPE *type : tp_->all_types())
        if (type->canonical()->refd && !type->writ) if_write_type(type);
}

// A type's components come before its record, and the types of a function's parameters before
// their list, on an explicit stack: derivation may be deep.
void I_FILE::if_write_type(TYPE *type) {
    struct STEP {
        TYPE *type;
        bool record_written;
        const PARAM_ELEM *param; // next one whose type is to be written
    };
    std::vector<STEP> steps;
    const auto begin = [&steps](TYPE *t) {
        if (!t) return;
        t = t->canonical();
        if (t->writ) return;
        t->writ = true;
        steps.push_back({t, false, nullptr});
    };
    using WRITER = void (I_FILE::*)(TYPE *);
    static constexpr WRITER writers[] = {
        &I_FILE::write_void_type,       &I_FILE::write_integral_type, &I_FILE::write_float_type,
        &I_FILE::write_fixedpoint_type, &I_FILE::write_complex_type,  &I_FILE::write_addr_type,
        &I_FILE::write_ref_type,        &I_FILE::write_qual_type,     &I_FILE::write_typedef,
        &I_FILE::write_array_type,      &I_FILE::write_ptm_type,      &I_FILE::write_func_type,
        &I_FILE::write_enum_type,       &I_FILE::write_csu_type,      &I_FILE::write_csu_type,
        &I_FILE::write_csu_type,
    };
    begin(type);
    while (!steps.empty()) {
        const std::size_t level = steps.size();
        TYPE *t = steps.back().type;
        if (!steps.back().record_written) {
            for (TYPE *component : components(t)) {
                begin(component);
                if (steps.size() > level) break;
            }
            if (steps.size() > level) continue;
            const WRITER write = writers[t->kind_];
            (this->*write)(t);
            steps.back().record_written = true;
            if (t->kind_ == TYPE::FUNCTION) steps.back().param = t->sub.func.params;
        }
        while (steps.size() == level && steps.back().param) {
            TYPE *param = steps.back().param->type;
            steps.back().param = steps.back().param->next;
            begin(param);
        }
        if (steps.size() > level) continue;
        if (t->kind_ == TYPE::FUNCTION) write_listof_params(t, t->sub.func.params);
        if (t->kind_ == TYPE::ENUM) write_listof_etors(t);
        steps.pop_back();
    }
}

// --- records

void I_FILE::i_begin_type(TYPE *type, int kind) {
    i_write_uint(type->uid);
    i_write_i8(kind);
}

void I_FILE::write_void_type(TYPE *type) {
    i_begin_type(type, file_kind(type));
    i_flush(116);
}

void I_FILE::write_integral_type(TYPE *type) {
    i_begin_type(type, file_kind(type));
    i_write_bool(type->sub.integer.explicit_sign);
    i_write_uint(type->size_);
    i_write_uint(type->align_);
    i_write_bool(type->sub.integer.is_boolean);
    i_write_bool(type->sub.integer.plain);
    i_flush(116);
}

void I_FILE::write_float_type(TYPE *type) {
    i_begin_type(type, file_kind(type));
    i_write_uint(type->size_);
    i_write_uint(type->align_);
    i_flush(116);
}

void I_FILE::write_fixedpoint_type(TYPE *type) {
    i_begin_type(type, 13);
    i_write_i8(type->sub.fixed.binary_point);
    i_write_i8(type->sub.fixed.signed_flag);
    i_write_typeref(type->sub.fixed.underlying);
    i_write_uint(type->size_);
    i_write_uint(type->align_);
    i_flush(116);
}

void I_FILE::write_complex_type(TYPE *type) {
    i_begin_type(type, file_kind(type));
    i_write_uint(type->size_);
    i_write_uint(type->align_);
    i_write_typeref(type->sub.complex.part);
    i_flush(116);
}

void I_FILE::write_addr_type(TYPE *type) {
    i_begin_type(type, 15);
    i_write_typeref(type->sub.pointer.pointee);
    i_write_uint(type->size_);
    i_write_uint(type->align_);
    i_flush(116);
}

void I_FILE::write_ref_type(TYPE *type) {
    i_begin_type(type, 16);
    i_write_typeref(type->sub.pointer.pointee);
    i_write_uint(type->size_);
    i_write_uint(type->align_);
    i_flush(116);
}

void I_FILE::write_qual_type(TYPE *type) {
    i_begin_type(type, 17);
    i_write_typeref(type->sub.qualified.base);
    i_write_uint(type->qual_kind(true));
    i_write_uint(type->size_);
    i_write_uint(type->align_);
    i_flush(116);
}

void I_FILE::write_typedef(TYPE *type) {
    if (type->kind_ != TYPE::TYPEDEF) tp_die("Bad kind:  TYPE::get()");
    i_begin_type(type, 14);
    i_write_string(type->sub.typedef_.name);
    i_write_typeref(type->sub.typedef_.base);
    i_write_uint(type->size_);
    i_write_uint(type->align_);
    i_write_bool(type->cpp);
    i_write_bool(type->lowered);
    i_write_psn(type->psn);
    i_flush(116);
}

void I_FILE::write_array_type(TYPE *type) {
    i_begin_type(type, 18);
    i_write_typeref(type->sub.array.elem);
    i_write_uint(type->sub.array.count);
    i_write_uint(type->size_);
    i_write_uint(type->align_);
    i_write_bool(type->cpp);
    i_write_bool(type->sub.array.is_complete);
    i_write_bool(type->sub.array.is_vector);
    i_flush(116);
}

void I_FILE::write_ptm_type(TYPE *type) {
    i_begin_type(type, 19);
    i_write_typeref(type->sub.ptm.member);
    i_write_typeref(type->sub.ptm.csu);
    i_write_uint(type->size_);
    i_write_uint(type->align_);
    i_flush(116);
}

void I_FILE::write_func_type(TYPE *type) {
    i_begin_type(type, 20);
    i_write_typeref(type->sub.func.result);
    i_write_bool(type->sub.func.flag1);
    i_write_bool(type->sub.func.flag2);
    i_write_i8(type->sub.func.cc_kind);
    i_write_bool(type->cpp);
    i_flush(116);
}

void I_FILE::write_enum_type(TYPE *type) {
    i_begin_type(type, 22);
    i_write_string(type->sub.enum_.name);
    i_write_uint(type->size_);
    i_write_uint(type->align_);
    i_write_typeref(type->sub.enum_.underlying);
    i_write_bool(type->cpp);
    i_write_psn(type->psn);
    i_flush(116);
}
