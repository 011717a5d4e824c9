#include "OPT5/icode/records/if_schema.h"

#include "OPT5/icode/records/opcodes.h"

#include <algorithm>
#include <string>
#include <unordered_map>

const std::array<const char *, IF_SECTION_COUNT> if_section_name = {
    "code", "initialisers", "options", "types", "files", "globals"};

namespace {
using enum IF_ENC;
using R = IF_ROLE;
using S = IF_SHOW;

// --- field descriptions, read as "name, encoding, what the text form does with it"

constexpr IF_FIELD plain(const char *name, IF_ENC enc, IF_ROLE role = R::value) {
    return {.name = name, .enc = enc, .role = role, .show = S::plain};
}
constexpr IF_FIELD keyed(const char *name, IF_ENC enc, IF_ROLE role = R::value,
                         std::int64_t absent = 0) {
    return {.name = name, .enc = enc, .role = role, .show = S::keyed, .absent = absent};
}
constexpr IF_FIELD always(const char *name, IF_ENC enc, IF_ROLE role) {
    return {.name = name, .enc = enc, .role = role, .show = S::always};
}
constexpr IF_FIELD flag(const char *name) {
    return keyed(name, boolean);
}
constexpr IF_FIELD hidden(const char *name, IF_ENC enc, IF_ROLE role) {
    return {.name = name, .enc = enc, .role = role, .show = S::hidden};
}
constexpr IF_FIELD word(IF_FIELD f) {
    f.word = true;
    return f;
}
constexpr IF_FIELD hex(IF_FIELD f) {
    f.hex = true;
    return f;
}
constexpr IF_FIELD since(int version, IF_FIELD f) {
    f.since = version;
    return f;
}
constexpr IF_FIELD until(int version, IF_FIELD f) {
    f.until = version;
    return f;
}
constexpr IF_FIELD named(std::span<const char *const> words, IF_FIELD f) {
    f.words = words;
    return f;
}
constexpr IF_FIELD bit_names(std::span<const char *const> bits, IF_FIELD f) {
    f.bits = bits;
    return f;
}
constexpr IF_FIELD items(const char *name, IF_ENC count, std::span<const IF_FIELD> fields) {
    return {.name = name, .enc = list, .show = S::plain, .count = count, .items = fields};
}
constexpr IF_FIELD position = {.name = "position", .enc = psn, .show = S::plain};
constexpr IF_FIELD type_ref(const char *name) {
    return plain(name, uleb, R::typeref);
}

// --- items of lists

constexpr IF_FIELD string_item[] = {plain("argument", string)};
constexpr IF_FIELD dependence_items[] = {plain("kind", u8), plain("distance", s8)};
constexpr IF_FIELD clause_items[] = {plain("type name", string), plain("label", uleb, R::label),
                                     plain("flag", boolean)};

// --- records of functions, statements and symbols

constexpr IF_FIELD position_only[] = {position};
constexpr IF_FIELD begin_func[] = {position, plain("symbol", uleb, R::global)};
constexpr IF_FIELD instruction[] = {position, plain("body", rest)};
constexpr IF_FIELD symbol[] = {
    word(plain("name", string)),
    keyed("size", uleb, R::size),
    keyed("offset", uleb),
    always("sc", s8, R::value),
    hex(keyed("flags", s16)),
    type_ref("type"),
    keyed("type2", uleb, R::typeref),
    keyed("align", uleb, R::alignment),
    keyed("pragmas", s8, R::n_pragmas),
    keyed("fpos", uleb, R::fpos),
    keyed("options", uleb, R::option_set),
    position,
};
constexpr IF_FIELD assembly[] = {plain("text", string), position};
constexpr IF_FIELD loop[] = {plain("field 1", uleb), plain("field 2", uleb), plain("field 3", uleb),
                             plain("field 4", uleb), plain("field 5", uleb), plain("field 6", u16)};
constexpr IF_FIELD label[] = {plain("number", uleb, R::label)};
constexpr IF_FIELD mbank[] = {plain("field 1", uleb), plain("field 2", uleb),
                              plain("field 3", uleb), plain("field 4", uleb),
                              plain("field 5", uleb)};
constexpr IF_FIELD comment[] = {plain("text", string)};
constexpr IF_FIELD dep_edge[] = {plain("field 1", uleb), plain("field 2", uleb),
                                 plain("field 3", uleb)};
constexpr IF_FIELD dep_vector[] = {plain("field 1", uleb), plain("field 2", u8),
                                   items("entries", u8, dependence_items)};
constexpr IF_FIELD catch_list[] = {items("clauses", none, clause_items)};
constexpr IF_FIELD func_info[] = {plain("kind", s8)};
constexpr const char *eht_kinds[] = {nullptr, "cleanup", "catch"};
constexpr IF_FIELD eht_entry[] = {
    plain("id", uleb, R::eht_entry), named(eht_kinds, plain("kind", uleb)),
    keyed("link", uleb, R::eht_entry), keyed("count", uleb, R::n_clauses)};
constexpr IF_FIELD eht[] = {keyed("count", uleb, R::n_entries)};
constexpr IF_FIELD pragma[] = {plain("kind", uleb, R::pragma_kind),
                               items("arguments", uleb, string_item)};
constexpr IF_FIELD init[] = {plain("symbol", uleb, R::global)};
constexpr IF_FIELD option_set[] = {plain("id", uleb), items("options", uleb, string_item)};
constexpr IF_FIELD ir_begin[] = {plain("symbol", uleb, R::global), plain("field 2", sleb),
                                 plain("field 3", s8), plain("field 4", uleb), position};
constexpr IF_FIELD loop_header[] = {plain("field 1", uleb), plain("symbol", sleb, R::symbol_level),
                                    hidden("symbol index", sleb, R::symbol_index),
                                    plain("field 4", u8)};
constexpr IF_FIELD source[] = {plain("name", string)};

// --- load speculation, by subkind

constexpr IF_FIELD subkind = hidden("subkind", u8, R::selector);
constexpr IF_FIELD ldspec_induct[] = {plain("id", uleb),
                                      subkind,
                                      plain("field 3", uleb),
                                      plain("field 4", sleb),
                                      type_ref("type"),
                                      plain("symbol", sleb, R::symbol_level),
                                      hidden("symbol index", uleb, R::symbol_index)};
constexpr IF_FIELD ldspec_rand[] = {plain("id", uleb),
                                    subkind,
                                    plain("field 3", uleb),
                                    plain("field 4", uleb),
                                    type_ref("type"),
                                    plain("symbol", sleb, R::symbol_level),
                                    hidden("symbol index", uleb, R::symbol_index)};
constexpr IF_FIELD ldspec_region[] = {plain("id", uleb), subkind, plain("field 3", uleb)};
constexpr IF_FIELD ldspec_other[] = {plain("id", uleb), plain("subkind", u8, R::selector)};

// --- expression nodes, by opcode

constexpr IF_FIELD opcode = hidden("opcode", u8, R::selector);
constexpr IF_FIELD node_type = hidden("type", uleb, R::typeref);
constexpr IF_FIELD node[] = {opcode, node_type};
constexpr IF_FIELD node_label[] = {opcode, node_type, plain("label", uleb, R::label)};
constexpr IF_FIELD node_name[] = {opcode, node_type, plain("symbol", uleb, R::symbol_level),
                                  hidden("symbol index", uleb, R::symbol_index)};
constexpr IF_FIELD node_scon[] = {opcode, node_type, plain("text", counted)};
constexpr IF_FIELD node_icon[] = {opcode, node_type, plain("value", by_type)};
constexpr IF_FIELD node_fcon[] = {opcode, node_type, word(plain("value", string, R::float_text))};
constexpr IF_FIELD node_lcon[] = {opcode, node_type, word(plain("value", string))};
constexpr IF_FIELD node_field[] = {opcode, node_type, keyed("kind", s8, R::value, 1),
                                   plain("member", uleb, R::member), type_ref("class")};
constexpr IF_FIELD node_switch[] = {opcode, node_type, keyed("cases", uleb, R::n_cases)};
constexpr IF_FIELD node_call[] = {opcode, node_type, keyed("extra", uleb),
                                  keyed("eh", uleb, R::eht_entry)};
constexpr IF_FIELD node_ucall[] = {opcode, node_type, keyed("eh", uleb, R::eht_entry)};
constexpr IF_FIELD node_epval[] = {opcode, node_type, plain("profile", uleb)};
constexpr IF_FIELD node_skip[] = {opcode, node_type, plain("count", uleb)};
constexpr IF_FIELD node_ddnode[] = {opcode, node_type, plain("id", uleb), plain("flags", uleb),
                                    plain("locale", u8)};
constexpr IF_FIELD node_icall[] = {opcode, node_type, word(plain("name", string))};
constexpr IF_FIELD node_vreg[] = {opcode, node_type, plain("register", sleb)};

// --- types, by file kind

constexpr IF_FIELD type_number = hidden("number", uleb, R::type_number);
constexpr IF_FIELD type_kind = hidden("kind", u8, R::selector);
constexpr IF_FIELD owner = keyed("of", uleb, R::type_number);
constexpr IF_FIELD type_size = always("size", uleb, R::size);
constexpr IF_FIELD type_align = always("align", uleb, R::alignment);
constexpr IF_FIELD stored_cpp = since(-81, flag("cpp"));
constexpr IF_FIELD csu_flag = since(-84, flag("flag"));
constexpr const char *csu_kinds[] = {"struct", "union", "class"};
constexpr const char *list_kinds[] = {"params",       "enumerators",    "bases",  "access",
                                      "friend_funcs", "friend_classes", "nested", "members",
                                      "statics",      "member_funcs"};
constexpr const char *qualifier_bits[] = {"const", "volatile", "packed",   "near",
                                          "far",   "ioport",   "restrict", "onchip"};
constexpr IF_FIELD type_name = word(plain("name", string));

constexpr IF_FIELD t_integer[] = {type_number, type_kind,       flag("explicit"), type_size,
                                  type_align,  flag("boolean"), flag("plain")};
constexpr IF_FIELD t_float[] = {type_number, type_kind, type_size, type_align};
constexpr IF_FIELD t_fixed[] = {
    type_number, type_kind, keyed("point", s8), keyed("signed", u8), type_ref("underlying"),
    type_size,   type_align};
constexpr IF_FIELD t_typedef[] = {type_number,      type_kind,       type_name,
                                  type_ref("base"), type_size,       type_align,
                                  flag("cpp"),      flag("lowered"), position};
constexpr IF_FIELD t_pointer[] = {type_number, type_kind, type_ref("to"), type_size, type_align};
constexpr IF_FIELD t_qualified[] = {
    type_number, type_kind, type_ref("base"), bit_names(qualifier_bits, plain("qualifiers", uleb)),
    type_size,   type_align};
constexpr IF_FIELD t_array[] = {type_number,
                                type_kind,
                                type_ref("element"),
                                plain("count", uleb),
                                type_size,
                                type_align,
                                flag("cpp"),
                                flag("complete"),
                                since(-76, flag("vector")),
                                since(-75, until(-74, flag("extra")))};
constexpr IF_FIELD t_ptm[] = {type_number,       type_kind, type_ref("member"),
                              type_ref("class"), type_size, type_align};
constexpr IF_FIELD t_function[] = {type_number,      type_kind,          type_ref("result"),
                                   flag("variadic"), flag("prototyped"), keyed("convention", u8),
                                   flag("cpp")};
constexpr IF_FIELD t_param[] = {owner,        type_kind,           type_ref("type"),
                                flag("flag"), keyed("mode", uleb), word(keyed("name", string))};
constexpr IF_FIELD t_enum[] = {type_number, type_kind,  type_name,
                               type_size,   type_align, type_ref("underlying"),
                               stored_cpp,  position};
constexpr IF_FIELD t_enumerator[] = {owner, type_kind, type_name, plain("value", by_type),
                                     position};
constexpr IF_FIELD t_csu[] = {
    type_number, type_kind,        named(csu_kinds, plain("csu kind", u8)),
    type_name,   flag("complete"), flag("lowered"),
    type_size,   type_align,       flag("members"),
    csu_flag,    stored_cpp,       position};
constexpr IF_FIELD t_csu_long[] = {type_number,
                                   type_kind,
                                   named(csu_kinds, plain("csu kind", u8)),
                                   type_name,
                                   flag("complete"),
                                   flag("lowered"),
                                   type_size,
                                   type_align,
                                   hex(keyed("extra", uleb)),
                                   flag("bases"),
                                   flag("access"),
                                   flag("friend_funcs"),
                                   flag("friend_classes"),
                                   flag("nested"),
                                   flag("members"),
                                   flag("statics"),
                                   flag("member_funcs"),
                                   flag("params"),
                                   csu_flag,
                                   stored_cpp,
                                   position};
constexpr IF_FIELD t_member[] = {
    owner, type_kind, keyed("index", uleb, R::member_index), type_name, type_ref("type"),
    hex(keyed("flags", u8)), always("offset", sleb, R::member_offset),
    since(-74, hex(keyed("fti", u8))),
    // Files before version -85 have one boolean before the width and one behind it.
    until(-86, flag("early_flag")), keyed("width", uleb), flag("flag1"), since(-85, flag("flag2")),
    since(-85, flag("flag3")), position};
constexpr IF_FIELD t_base_class[] = {owner,
                                     type_kind,
                                     type_ref("class"),
                                     always("offset", sleb, R::value),
                                     keyed("access", u8),
                                     flag("virtual")};
constexpr IF_FIELD t_access_decl[] = {owner, type_kind, keyed("word", uleb), keyed("access", u8)};
constexpr IF_FIELD t_friend_func[] = {owner, type_kind, type_name, type_ref("type")};
constexpr IF_FIELD t_friend_class[] = {owner, type_kind, type_ref("class")};
constexpr IF_FIELD t_nested_type[] = {owner, type_kind, type_ref("type")};
constexpr IF_FIELD t_static_member[] = {owner, type_kind, type_name, type_ref("type"),
                                        keyed("access", u8)};
constexpr IF_FIELD t_member_func[] = {owner,
                                      type_kind,
                                      type_name,
                                      type_ref("type"),
                                      keyed("access", u8),
                                      keyed("vtable", sleb),
                                      flag("flag1"),
                                      flag("flag2"),
                                      flag("flag3"),
                                      flag("flag4")};
constexpr IF_FIELD t_complex[] = {type_number, type_kind, type_size, type_align, type_ref("part")};
constexpr IF_FIELD t_void[] = {type_number, type_kind};
constexpr IF_FIELD t_list[] = {always("of", uleb, R::type_number), type_kind,
                               named(list_kinds, plain("list kind", s8))};
constexpr IF_FIELD t_end_list[] = {owner, type_kind, named(list_kinds, plain("list kind", s8))};
constexpr IF_FIELD t_other[] = {type_number, plain("kind", u8, R::selector), plain("body", rest)};

// --- all layouts

constexpr unsigned in_body = 1u << IF_BODY;
constexpr unsigned in_types = in_body | 1u << IF_TYPES;

constexpr IF_LAYOUT record(int tag, const char *name, std::span<const IF_FIELD> fields,
                           unsigned sections = in_body, IF_FOLLOW follow = IF_FOLLOW::nothing) {
    return {tag, -1, name, fields, sections, follow, -1};
}
constexpr IF_LAYOUT type(int kind, const char *name, std::span<const IF_FIELD> fields) {
    return {IF_TAG_type, kind, name, fields, in_types, IF_FOLLOW::nothing, 1};
}
constexpr IF_LAYOUT expr(int op, std::span<const IF_FIELD> payload) {
    return {IF_TAG_node, op, "node", payload, in_body, IF_FOLLOW::children, 0};
}
constexpr IF_LAYOUT ldspec(int kind, const char *name, std::span<const IF_FIELD> fields) {
    return {IF_TAG_ldspec, kind, name, fields, in_body, IF_FOLLOW::nothing, 1};
}

constexpr IF_LAYOUT layouts[] = {
    record(IF_TAG_begin_func, "function", begin_func),
    record(IF_TAG_end_func, "endfunction", position_only),
    record(IF_TAG_begin_block, "begin", position_only),
    record(IF_TAG_end_block, "end", position_only),
    record(IF_TAG_end_args, "args", position_only),
    record(IF_TAG_end_locals, "locals", position_only),
    record(IF_TAG_instruction, "instruction", instruction),
    record(IF_TAG_symbol, "sym", symbol, in_body | 1u << IF_GLOBALS, IF_FOLLOW::pragmas),
    record(IF_TAG_assembly, "asm", assembly),
    record(IF_TAG_loop, "loop", loop),
    record(IF_TAG_label, "label", label),
    record(IF_TAG_mbank, "mbank", mbank),
    record(IF_TAG_expr, "stmt", position_only, in_body, IF_FOLLOW::tree),
    record(IF_TAG_comment, "comment", comment),
    record(IF_TAG_dep_edge, "depedge", dep_edge),
    record(IF_TAG_dep_vector, "depvector", dep_vector),
    record(IF_TAG_catch, "catch", catch_list, 0),
    record(IF_TAG_func_info, "info", func_info),
    record(IF_TAG_eht_entry, "entry", eht_entry, 0, IF_FOLLOW::eht_payload),
    record(IF_TAG_eht, "eht", eht, in_body, IF_FOLLOW::entries),
    record(IF_TAG_pragma, "pragma", pragma),
    record(IF_TAG_init, "init", init, in_body | 1u << IF_INIT, IF_FOLLOW::initialiser),
    record(IF_TAG_option_set, "set", option_set, 1u << IF_OPTIONS),
    record(IF_TAG_ir_begin, "irfunction", ir_begin),
    record(IF_TAG_loop_header, "loopheader", loop_header),
    record(IF_TAG_ir_end, "irend", position_only),
    record(IF_TAG_source, "source", source, in_body | 1u << IF_FILES),

    ldspec(0, "ldspec_induct", ldspec_induct),
    ldspec(1, "ldspec_rand", ldspec_rand),
    ldspec(2, "ldspec_region", ldspec_region),
    ldspec(-1, "ldspec", ldspec_other),

    expr(OP::LABEL, node_label),
    expr(OP::NAME, node_name),
    expr(OP::SCON, node_scon),
    expr(OP::ICON, node_icon),
    expr(OP::FCON, node_fcon),
    expr(OP::LCON, node_lcon),
    expr(OP::FIELD, node_field),
    expr(OP::SWITCH, node_switch),
    expr(OP::CALL, node_call),
    expr(OP::UCALL, node_ucall),
    expr(OP::EPVAL, node_epval),
    expr(OP::SKIP, node_skip),
    expr(OP::DDNODE, node_ddnode),
    expr(OP::ICALL, node_icall),
    expr(OP::UICALL, node_icall),
    expr(OP::MCALL, node_icall),
    expr(OP::UMCALL, node_icall),
    expr(OP::VREG, node_vreg),
    expr(-1, node),

    type(IF_KIND_bool, "bool", t_integer),
    type(IF_KIND_signed_char, "signed_char", t_integer),
    type(IF_KIND_unsigned_char, "unsigned_char", t_integer),
    type(IF_KIND_wchar_t, "wchar_t", t_integer),
    type(IF_KIND_short, "short", t_integer),
    type(IF_KIND_unsigned_short, "unsigned_short", t_integer),
    type(IF_KIND_int, "int", t_integer),
    type(IF_KIND_unsigned, "unsigned", t_integer),
    type(IF_KIND_long, "long", t_integer),
    type(IF_KIND_unsigned_long, "unsigned_long", t_integer),
    type(IF_KIND_long_long, "long_long", t_integer),
    type(IF_KIND_unsigned_long_long, "unsigned_long_long", t_integer),
    type(IF_KIND_float, "float", t_float),
    type(IF_KIND_double, "double", t_float),
    type(IF_KIND_long_double, "long_double", t_float),
    type(IF_KIND_fixed, "fixed", t_fixed),
    type(IF_KIND_typedef, "typedef", t_typedef),
    type(IF_KIND_pointer, "pointer", t_pointer),
    type(IF_KIND_reference, "reference", t_pointer),
    type(IF_KIND_qualified, "qualified", t_qualified),
    type(IF_KIND_array, "array", t_array),
    type(IF_KIND_ptm, "ptm", t_ptm),
    type(IF_KIND_function, "function", t_function),
    type(IF_KIND_param, "param", t_param),
    type(IF_KIND_enum, "enum", t_enum),
    type(IF_KIND_enumerator, "enumerator", t_enumerator),
    type(IF_KIND_csu, "csu", t_csu),
    type(IF_KIND_csu_long, "csu_long", t_csu_long),
    type(IF_KIND_member, "member", t_member),
    type(IF_KIND_base_class, "base", t_base_class),
    type(IF_KIND_access_decl, "access", t_access_decl),
    type(IF_KIND_friend_func, "friend_func", t_friend_func),
    type(IF_KIND_friend_class, "friend_class", t_friend_class),
    type(IF_KIND_nested_type, "nested", t_nested_type),
    type(IF_KIND_static_member, "static", t_static_member),
    type(IF_KIND_member_func, "member_func", t_member_func),
    type(IF_KIND_complex, "complex", t_complex),
    type(IF_KIND_void, "void", t_void),
    type(IF_KIND_list, "list", t_list),
    type(IF_KIND_end_list, "endlist", t_end_list),
    type(-1, "kind", t_other),
};

// By tag; of tags with a selector, the layout for selectors without one of their own.
constexpr auto by_tag = [] {
    std::array<const IF_LAYOUT *, 256> table{};
    for (const IF_LAYOUT &l : layouts)
        if (l.selector == -1) table[static_cast<std::size_t>(l.tag)] = &l;
    return table;
}();

template <int tag>
constexpr auto by_selector = [] {
    std::array<const IF_LAYOUT *, 256> table{};
    table.fill(by_tag[tag]);
    for (const IF_LAYOUT &l : layouts)
        if (l.tag == tag && l.selector >= 0) table[static_cast<std::size_t>(l.selector)] = &l;
    if (tag == IF_TAG_node)
        for (std::size_t op = op_file_limit; op < table.size(); ++op)
            table[op] = nullptr;
    return table;
}();

static_assert(symbol[IF_SYM::psn].enc == psn && std::size(symbol) == IF_SYM::psn + 1);
static_assert(symbol[IF_SYM::type2].role == R::typeref && symbol[IF_SYM::fpos].role == R::fpos);

constexpr const char *pragma_names[if_pragma_kinds] = {
    "INVALID",
    "DATA_ALIGN",
    "DATA_SECTION",
    "FUNC_NEVER_RETURNS",
    "FUNC_CANNOT_INLINE",
    "FUNC_NO_GLOBAL_ASG",
    "FUNC_NO_IND_ASG",
    "FUNC_IS_PURE",
    "FUNC_IS_SYSTEM",
    "NO_INTERRUPT",
    "NEAR",
    "FAR",
    "INTERRUPT",
    "PORT",
    "INLINE",
    "OVLY_INDIRECT",
    "NO_OVLY",
    "FUNC_NOT_IND_CALLED",
    "SHARED",
    "SHAREDPP",
    "DUAL_STATE",
    "TASK",
    "OVLY_IND_CALLS",
    "FUNC_EXT_CALLED",
    "REENTRANT",
    "CALLS",
    "SWI_ALIAS",
    "CODE_SECTION",
    "TRAP",
    "FUNC_INTERRUPT_THRESHOLD",
    "FUNC_NO_MDEP",
    "NMI_INTERRUPT",
    "PROTECT_VOLATILE",
    "STRUCT_ALIGN",
    "DATA_MEM_BANK",
    "IDENT",
    "OPT_OVERRIDE",
    "UNROLL",
    "UNROLL_AMOUNT",
    "MUST_ITERATE",
    "PROB_ITERATE",
    "SRC_LOOP",
    "ALIAS_ADVICE",
    "ALIGN_ADVICE",
    "INLINE_ADVICE",
    "WRAP_ADVICE",
    "FAST_FUNC_CALL",
    "Q4X_CALL",
    "Q4X_FAR_CALL",
    "SRC_LANGUAGE",
    "TEMPLATE_ENTITY",
    "SCOPING_FUNC",
    "SYM_IS_REFERENCED",
    "STANDARD_LIBRARY_FUNCTION",
    "FUNC_IS_NONCONFORMING",
    "TRANSLATION_UNIT_ID",
    "TRIP_CNTR_MUNGED",
    "LOOP_FLAGS",
    "IS_CLASS_MEMBER",
    "SYM_IS_DEAD",
    "NO_ALIAS",
    "REG_FLAGS",
    "REG_MAP",
    "SP_CONSTRAINT",
    "II_ESTIMATE",
    "UNIT_RESOURCES",
    "SP_HINDRANCES",
    "READ_WRITE",
    "NO_ALIAS_CLONE",
    "COMDAT_GROUP",
    "DEFAULT_NEVER_EXECUTED",
    "FUNC_IS_CTOR_DTOR",
    "SYM_VISIBILITY",
    "DLLEXPORT_OBSOLETE",
    "FS_DYNAMIC_INIT",
    "FUNC_ESPEC",
    "FUNC_EXCEPTIONS_NOUNWIND",
    "Q5X_CALL",
    "FUNC_SYNONYM",
    "BIS_IE1_INTERRUPT",
    "LOOP_NO_ALIAS",
    "FUNC_RET_BY_CCTOR",
    "CODE_ALIGN",
    "QV_WEAK",
    "WORD_MODE_FUNC",
    "NO_HOOKS",
    "HOOK_FUNCTION",
    "FUNC_NUM_CALLED",
    "FUNC_ALWAYS_INLINE",
    "FUNC_PPROF_INFO",
    "INTR_FUNC",
    "TRAP_FUNC",
    "VECTOR_EQUALS",
    "CODE_STATE",
    "FUNC_RET_UNIQUE_POINTER",
    "RETAIN",
    "CLINK",
    "FUNC_IN_INIT_ARRAY",
    "VCC_VREG",
    "QEV_REG",
    "LOCATION",
    "NOINIT",
    "PERSISTENT",
    "LPM_INFO",
    "PORTS_INIT_INFO",
    "FUNC_HAS_FP_INTERFACE",
    "THREAD_LOCAL",
    "CREGISTER",
    "INS_PROPS",
    "FRAM_LOCKIO",
    "FRAM_WAITSTATE",
    "HW_MPY32",
    "PARALLEL_LOOP",
    "HW_MPY_INTR_SAFE",
    "QV_PATCHABLE",
    "TRAMPOLINE",
    "RAMFUNC",
    "FUNC_IS_NAKED",
    "QLA_STATUS",
    "BLOCKED",
    "NOBLOCKED",
};
static_assert(pragma_names[if_pragma_kinds - 1] != nullptr);
} // namespace

IF_RANGE if_range(IF_ENC enc) {
    switch (enc) {
    case u8:
    case boolean: return {0, 255};
    case s8: return {-128, 127};
    case u16: return {0, 0xffff};
    case s16: return {-0x8000, 0x7fff};
    case s32:
    case sleb: return {INT32_MIN, INT32_MAX};
    case u32:
    case uleb: return {0, 0xffffffff};
    default: return {INT64_MIN, INT64_MAX};
    }
}

int IF_LAYOUT::slot(std::string_view field) const {
    for (std::size_t i = 0; i < fields.size(); ++i)
        if (fields[i].name == field) return static_cast<int>(i);
    return -1;
}

bool if_kind_is_integer(int kind) {
    return (kind >= IF_KIND_bool && kind <= IF_KIND_unsigned_long) || kind == IF_KIND_long_long ||
           kind == IF_KIND_unsigned_long_long;
}

bool if_kind_is_list_element(int kind) {
    return kind == IF_KIND_param || kind == IF_KIND_enumerator ||
           (kind >= IF_KIND_member && kind <= IF_KIND_member_func) || kind == IF_KIND_list ||
           kind == IF_KIND_end_list;
}

const IF_LAYOUT *if_prefix_layout(int tag) {
    return tag >= 0 && tag < 256 ? by_tag[static_cast<std::size_t>(tag)] : nullptr;
}

const IF_LAYOUT *if_layout(int tag, int selector) {
    std::size_t s = static_cast<std::size_t>(selector & 255);
    switch (tag) {
    case IF_TAG_node: return by_selector<IF_TAG_node>[s];
    case IF_TAG_type: return by_selector<IF_TAG_type>[s];
    case IF_TAG_ldspec: return by_selector<IF_TAG_ldspec>[s];
    default: return if_prefix_layout(tag);
    }
}

static bool is_type_definition(const IF_LAYOUT &l) {
    return l.tag == IF_TAG_type && !if_kind_is_list_element(l.selector);
}

static const IF_LAYOUT *layout_named(std::string_view name, bool definition) {
    static const auto table = [] {
        std::array<std::unordered_map<std::string_view, const IF_LAYOUT *>, 2> maps;
        for (const IF_LAYOUT &l : layouts)
            if (l.tag != IF_TAG_node) maps[is_type_definition(l)].emplace(l.name, &l);
        return maps;
    }();
    auto found = table[definition].find(name);
    return found == table[definition].end() ? nullptr : found->second;
}

const IF_LAYOUT *if_record_named(std::string_view name) {
    return layout_named(name, false);
}
const IF_LAYOUT *if_type_kind_named(std::string_view name) {
    return layout_named(name, true);
}
std::span<const IF_LAYOUT> if_all_layouts() {
    return layouts;
}

std::string if_opcode_name(int op) {
    if (op == OP::VREG) return "VREG";
    const char *name = op >= 0 && op < op_file_limit ? node_operator_name[op] : nullptr;
    return name ? name : "OP" + std::to_string(op);
}

int if_opcode_of_name(std::string_view name) {
    static const auto table = [] {
        std::unordered_map<std::string, int> map;
        for (int op = 0; op < op_file_limit; ++op)
            map.emplace(if_opcode_name(op), op);
        return map;
    }();
    auto found = table.find(std::string(name));
    return found == table.end() ? -1 : found->second;
}

int if_file_arity(int op) {
    if (op < 0 || op >= op_file_limit || op_is_file_leaf(op)) return 0;
    int arity = op_file_arity[op];
    return arity == OP_NONE ? 0 : arity;
}

const char *if_pragma_name(std::int64_t kind) {
    return kind >= 0 && kind < if_pragma_kinds ? pragma_names[kind] : nullptr;
}

int if_pragma_of_name(std::string_view name) {
    const auto *end = std::end(pragma_names);
    const auto *found = std::find(std::begin(pragma_names), end, name);
    return found == end ? -1 : static_cast<int>(found - std::begin(pragma_names));
}
