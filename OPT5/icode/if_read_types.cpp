// Readers of type records: the fields of each file kind.
#include "OPT5/icode/if_file.h"

#include <array>

namespace {
struct KIND_ROW {
    void (I_FILE::*read)(std::uint32_t number, int kind) = nullptr;
};

// File kinds that are not listed have no fields and define nothing.
constexpr std::array<KIND_ROW, 256> make_kinds() {
    std::array<KIND_ROW, 256> table{};
    for (std::size_t kind : {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 50, 51})
        table[kind] = {&I_FILE::if_read_integral_type};
    for (std::size_t kind : {10, 11, 12})
        table[kind] = {&I_FILE::if_read_float_type};
    table[13] = {&I_FILE::if_read_fixedpoint_type};
    table[14] = {&I_FILE::if_read_typedef};
    table[15] = {&I_FILE::if_read_addr_type};
    table[16] = {&I_FILE::if_read_ref_type};
    table[17] = {&I_FILE::if_read_qual_type};
    table[18] = {&I_FILE::if_read_array_type};
    table[19] = {&I_FILE::if_read_ptm_type};
    table[20] = {&I_FILE::if_read_func_type};
    table[21] = {&I_FILE::if_read_param_elem};
    table[22] = {&I_FILE::if_read_enum_type};
    table[23] = {&I_FILE::if_read_etor_elem};
    table[24] = table[25] = {&I_FILE::if_read_csu_type};
    table[28] = {&I_FILE::if_read_mdata_elem};
    table[29] = {&I_FILE::if_read_bclass_elem};
    table[30] = {&I_FILE::if_read_adecl_elem};
    table[31] = {&I_FILE::if_read_ffriend_elem};
    table[32] = {&I_FILE::if_read_cfriend_elem};
    table[33] = {&I_FILE::if_read_ntype_elem};
    table[34] = {&I_FILE::if_read_sdata_elem};
    table[35] = {&I_FILE::if_read_mfunc_elem};
    table[36] = {&I_FILE::if_read_complex_type};
    table[49] = {&I_FILE::if_read_void_type};
    table[254] = {&I_FILE::if_read_list_header};
    table[255] = {&I_FILE::if_read_list_trailer};
    return table;
}
constexpr std::array<KIND_ROW, 256> kinds = make_kinds();
} // namespace

void I_FILE::if_read_type(std::uint32_t size) {
    if (again_) { // in the body of a function that is read once more
        in_.skip(size);
        return;
    }
    const std::size_t start = in_.tell();
    const std::uint32_t number = i_read_uint();
    const int kind = i_read_u8();
    if (const auto read = kinds[static_cast<std::size_t>(kind)].read) {
        (this->*read)(number, kind);
    } else {
        in_.seek(start);
        in_.skip(size);
    }
}

// --- types

void I_FILE::if_read_void_type(std::uint32_t number, int) {
    tp_make_void_type(number);
}

void I_FILE::if_read_integral_type(std::uint32_t number, int kind) {
    const bool explicit_sign = i_read_bool();
    const std::uint32_t size = i_read_uint();
    const std::uint32_t align = i_read_uint();
    const bool is_boolean = i_read_bool();
    tp_make_integral_type(number, kind, explicit_sign, size, align, is_boolean, i_read_bool());
}

void I_FILE::if_read_float_type(std::uint32_t number, int kind) {
    const std::uint32_t size = i_read_uint();
    tp_make_float_type(number, kind, size, i_read_uint());
}

void I_FILE::if_read_fixedpoint_type(std::uint32_t number, int) {
    const int binary_point = i_read_s8();
    const unsigned signed_flag = i_read_u8();
    const std::uint32_t underlying = i_read_uint();
    const std::uint32_t size = i_read_uint();
    tp_make_fixpt_type(number, binary_point, signed_flag, underlying, size, i_read_uint());
}

void I_FILE::if_read_complex_type(std::uint32_t number, int) {
    const std::uint32_t size = i_read_uint();
    const std::uint32_t align = i_read_uint();
    tp_make_complex_type(number, size, align, i_read_uint());
}

void I_FILE::if_read_typedef(std::uint32_t number, int) {
    const std::string_view type_name = i_read_string();
    const std::uint32_t base = i_read_uint();
    const std::uint32_t size = i_read_uint();
    const std::uint32_t align = i_read_uint();
    const bool cpp = i_read_bool();
    const bool lowered = i_read_bool();
    tp_make_typedef(number, type_name, base, size, align, cpp, lowered, i_read_psn());
}

void I_FILE::if_read_ref_type(std::uint32_t number, int) {
    const std::uint32_t to = i_read_uint();
    const std::uint32_t size = i_read_uint();
    tp_make_ref_type(number, to, size, i_read_uint());
}

void I_FILE::if_read_addr_type(std::uint32_t number, int) {
    const std::uint32_t to = i_read_uint();
    const std::uint32_t size = i_read_uint();
    tp_make_addr_type(number, to, size, i_read_uint());
}

void I_FILE::if_read_qual_type(std::uint32_t number, int) {
    const std::uint32_t base = i_read_uint();
    const unsigned bits = i_read_uint();
    const std::uint32_t size = i_read_uint();
    tp_make_qual_type(number, base, bits, size, i_read_uint());
}

void I_FILE::if_read_array_type(std::uint32_t number, int) {
    const std::uint32_t element = i_read_uint();
    const std::uint32_t count = i_read_uint();
    const std::uint32_t size = i_read_uint();
    const std::uint32_t align = i_read_uint();
    const bool cpp = i_read_bool();
    const bool complete = i_read_bool();
    const bool is_vector = version >= -76 && i_read_bool();
    if (version == -75 || version == -74) i_read_bool();
    if (is_vector)
        tp_make_vector_type(number, element, count, size, align, cpp, complete);
    else
        tp_make_array_type(number, element, count, size, align, cpp, complete);
}

void I_FILE::if_read_ptm_type(std::uint32_t number, int) {
    const std::uint32_t member = i_read_uint();
    const std::uint32_t csu = i_read_uint();
    const std::uint32_t size = i_read_uint();
    tp_make_ptm_type(number, member, csu, size, i_read_uint());
}

void I_FILE::if_read_func_type(std::uint32_t number, int) {
    const std::uint32_t result = i_read_uint();
    const bool flag1 = i_read_bool();
    const bool flag2 = i_read_bool();
    const unsigned calling_convention = i_read_u8();
    tp_make_func_type(number, result, flag1, flag2, calling_convention, i_read_bool());
}

void I_FILE::if_read_enum_type(std::uint32_t number, int) {
    const std::string_view type_name = i_read_string();
    const std::uint32_t size = i_read_uint();
    const std::uint32_t align = i_read_uint();
    const std::uint32_t underlying = i_read_uint();
    const bool cpp = version >= -81 ? i_read_bool() : TYPE_PKG::demangle_type_name(type_name);
    tp_make_enum_type(number, type_name, size, align, underlying, cpp, i_read_psn());
}

void I_FILE::if_read_csu_type(std::uint32_t number, int kind) {
    // The lists in the order of the record's flags.
    static constexpr LIST_KIND order[] = {LK_bclasses, LK_adecls, LK_ffriends,
                                          LK_cfriends, LK_ntypes, LK_mdata,
                                          LK_sdata,    LK_mfuncs, LK_params};
    CSU_RECORD r;
    r.csu_kind = i_read_u8();
    r.name = i_read_string();
    r.complete = i_read_bool();
    r.lowered = i_read_bool();
    r.size = i_read_uint();
    r.align = i_read_uint();
    if (kind == 24) {
        r.has[LK_mdata] = i_read_bool();
    } else {
        r.extra_word = i_read_uint();
        for (LIST_KIND list : order)
            r.has[list] = i_read_bool();
    }
    r.flag = version >= -84 && i_read_bool();
    r.cpp = version >= -81 ? i_read_bool() : TYPE_PKG::demangle_type_name(r.name);
    r.psn = i_read_psn();
    tp_make_csu(number, r);
}

// --- lists and their elements

void I_FILE::if_read_list_header(std::uint32_t number, int) {
    tp_make_list(number, i_read_s8());
}

void I_FILE::if_read_list_trailer(std::uint32_t number, int) {
    tp_end_list(number, i_read_s8());
}

void I_FILE::if_read_param_elem(std::uint32_t number, int) {
    const std::uint32_t type = i_read_uint();
    i_read_bool();
    const std::uint32_t mode = i_read_uint();
    tp_make_param_list(number, type, mode, i_read_string());
}

void I_FILE::if_read_etor_elem(std::uint32_t number, int) {
    const TYPE *underlying = list_owner(number, LK_etors).type->sub.enum_.underlying;
    const std::string_view etor_name = i_read_string();
    const INT65 value = underlying->is_signed() ? INT65(i_read_sint()) : INT65(i_read_uint());
    tp_make_etor_list(number, etor_name, value, i_read_psn());
}

void I_FILE::if_read_mdata_elem(std::uint32_t number, int) {
    fkMDATA member;
    member.index = i_read_uint();
    member.name = i_read_c_string();
    const std::uint32_t type = i_read_uint();
    member.flags = i_read_u8();
    member.offset = i_read_sint();
    if (version >= -74) member.field_type_id = i_read_u8();
    if (version >= -85) {
        member.width = i_read_uint();
        member.is_bitfield = i_read_bool();
        member.flag1 = i_read_bool();
        member.flag2 = i_read_bool();
    } else {
        member.is_bitfield = i_read_bool();
        member.width = i_read_uint();
        member.flag1 = i_read_bool();
    }
    member.psn = i_read_psn();
    tp_make_mdata_list(number, type, member);
}

void I_FILE::if_read_bclass_elem(std::uint32_t number, int) {
    const std::uint32_t type = i_read_uint();
    BCLASS_ELEM elem;
    elem.offset = i_read_sint();
    elem.access = i_read_u8();
    elem.is_virtual = i_read_bool();
    tp_make_bclass_list(number, type, elem);
}

void I_FILE::if_read_adecl_elem(std::uint32_t number, int) {
    i_read_uint();
    ADECL_ELEM elem;
    elem.access = i_read_u8();
    tp_make_adecl_list(number, elem);
}

void I_FILE::if_read_ffriend_elem(std::uint32_t number, int) {
    FFRIEND_ELEM elem;
    elem.name = i_read_c_string();
    tp_make_ffriend_list(number, i_read_uint(), elem);
}

void I_FILE::if_read_cfriend_elem(std::uint32_t number, int) {
    tp_make_cfriend_list(number, i_read_uint());
}

void I_FILE::if_read_ntype_elem(std::uint32_t number, int) {
    tp_make_ntype_list(number, i_read_uint());
}

void I_FILE::if_read_sdata_elem(std::uint32_t number, int) {
    SDATA_ELEM elem;
    elem.name = i_read_c_string();
    const std::uint32_t type = i_read_uint();
    elem.access = i_read_u8();
    tp_make_sdata_list(number, type, elem);
}

void I_FILE::if_read_mfunc_elem(std::uint32_t number, int) {
    MFUNC_ELEM elem;
    elem.name = i_read_c_string();
    const std::uint32_t type = i_read_uint();
    elem.access = i_read_u8();
    elem.vtable_index = i_read_sint();
    for (bool &flag : elem.flags)
        flag = i_read_bool();
    tp_make_func_list(number, type, elem);
}
