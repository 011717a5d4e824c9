// The one description of every record kind: its tag, its name and its fields in file order.
//
// Reading, writing, printing, parsing and checking records all walk these tables, so that a record
// kind is described once. docs/icode.md shows them in prose.
#pragma once

#include "OPT5/icode/records/if_stream.h"

#include <array>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

// How a field is stored.
enum class IF_ENC : std::uint8_t {
    u8,
    s8,
    boolean, // one byte, nonzero is true; the byte itself is kept
    u16,
    s16,
    u32,
    s32,
    uleb, // unsigned LEB128, 32 bits ("uint" in documents)
    sleb, // signed LEB128, 32 bits ("sint")
    by_type, // sleb when the type named by the nearest typeref or type number before it is signed,
             // else uleb
    string,
    counted, // uleb length, then that many bytes
    psn,
    list, // a count (see IF_FIELD::count), then that many items; always the last field
    rest, // all bytes that are left in the body; always the last field
    none, // as a list's count: the count stands in an earlier record
};

// What a field's value means to the rest of the file.
enum class IF_ROLE : std::uint8_t {
    value,
    typeref,      // type number, 0 for none
    type_number,  // the number that a type record defines or adds to
    selector,     // picks the layout among those of one tag
    symbol_level, // the next field is the index: together they name a symbol
    symbol_index,
    global,     // index of a file-level symbol
    label,      // label number
    member,     // member index; the next field is the class
    eht_entry,  // id of an exception table entry, 0 for none
    option_set, // id of an option set
    fpos,       // file position of a function's or an initialiser's record
    pragma_kind,
    n_pragmas, // number of pragma records behind a symbol
    n_entries, // number of entries behind an exception table head
    n_clauses, // number of clauses in the catch list behind an entry
    n_cases,   // number of CASEs of a SWITCH
    size,      // bits; of a type or of a symbol
    alignment, // bits
    member_index,  // of a member record: its own index
    member_offset, // bits from the start of the class
    float_text,    // hexadecimal floating text
};

// How the text form shows a field.
enum class IF_SHOW : std::uint8_t {
    plain,  // by position, always there
    keyed,  // name=value; left out when it equals what an absent one stands for
    always, // name=value, always printed; may be left out in hand-written text
    hidden, // implied by the line's keyword
};

struct IF_RANGE {
    std::int64_t low, high;
};
// The numbers that an encoding can hold; all of them for texts, positions, lists and by_type.
IF_RANGE if_range(IF_ENC enc);

struct IF_FIELD {
    const char *name;
    IF_ENC enc;
    IF_ROLE role = IF_ROLE::value;
    IF_SHOW show = IF_SHOW::keyed;
    std::int64_t absent = 0; // value that text may leave out
    bool hex = false;        // printed in hexadecimal
    bool word = false;       // text: printed bare when it looks like an identifier
    int since = if_oldest_version, until = if_current_version; // versions that hold the field
    std::span<const char *const> words = {};                   // names of the values 0, 1, ...
    std::span<const char *const> bits = {};                    // names of bits 0, 1, ...
    IF_ENC count = IF_ENC::none;                               // lists: encoding of the count
    std::span<const IF_FIELD> items = {};                      // lists: fields of one item

    bool in_version(int version) const { return version >= since && version <= until; }
};

// The sections of a file, as bits for IF_LAYOUT::sections and as indices of IF_MODEL::sections.
enum IF_SECTION_ID : unsigned {
    IF_BODY,
    IF_INIT,
    IF_OPTIONS,
    IF_TYPES,
    IF_FILES,
    IF_GLOBALS,
    IF_SECTION_COUNT,
};
extern const std::array<const char *, IF_SECTION_COUNT> if_section_name;

// What must stand directly behind a record.
enum class IF_FOLLOW : std::uint8_t {
    nothing,
    children,    // as many trees as the opcode has operands
    tree,        // one tree
    initialiser, // trees through one with root ENDINIT
    pragmas,     // as many pragma records as the count says
    entries,     // as many exception table entries as the count says
    eht_payload, // kind 1: a statement; kind 2: a catch list
};

// Tags of the records that code names; the table in if_schema.cpp has them all.
enum IF_TAG : int {
    IF_TAG_begin_func = 1,
    IF_TAG_end_func = 2,
    IF_TAG_begin_block = 3,
    IF_TAG_end_block = 4,
    IF_TAG_end_args = 5,
    IF_TAG_end_locals = 6,
    IF_TAG_header = 8,
    IF_TAG_instruction = 34,
    IF_TAG_symbol = 35,
    IF_TAG_assembly = 36,
    IF_TAG_loop = 38,
    IF_TAG_label = 42,
    IF_TAG_mbank = 45,
    IF_TAG_expr = 46,
    IF_TAG_comment = 47,
    IF_TAG_dep_edge = 58,
    IF_TAG_dep_vector = 59,
    IF_TAG_catch = 63,
    IF_TAG_func_info = 64,
    IF_TAG_eht_entry = 91,
    IF_TAG_eht = 93,
    IF_TAG_pragma = 94,
    IF_TAG_node = 101,
    IF_TAG_init = 105,
    IF_TAG_ldspec = 108,
    IF_TAG_option_set = 111,
    IF_TAG_type = 116,
    IF_TAG_ir_begin = 123,
    IF_TAG_loop_header = 124,
    IF_TAG_ir_end = 125,
    IF_TAG_source = 126,
};

// File kinds of type records that code names.
enum IF_TYPE_KIND : int {
    IF_KIND_bool = 0,
    IF_KIND_signed_char = 1,
    IF_KIND_unsigned_char = 2,
    IF_KIND_wchar_t = 3,
    IF_KIND_short = 4,
    IF_KIND_unsigned_short = 5,
    IF_KIND_int = 6,
    IF_KIND_unsigned = 7,
    IF_KIND_long = 8,
    IF_KIND_unsigned_long = 9,
    IF_KIND_long_long = 50,
    IF_KIND_unsigned_long_long = 51,
    IF_KIND_float = 10,
    IF_KIND_double = 11,
    IF_KIND_long_double = 12,
    IF_KIND_fixed = 13,
    IF_KIND_typedef = 14,
    IF_KIND_pointer = 15,
    IF_KIND_reference = 16,
    IF_KIND_qualified = 17,
    IF_KIND_array = 18,
    IF_KIND_ptm = 19,
    IF_KIND_function = 20,
    IF_KIND_param = 21,
    IF_KIND_enum = 22,
    IF_KIND_enumerator = 23,
    IF_KIND_csu = 24,
    IF_KIND_csu_long = 25,
    IF_KIND_member = 28,
    IF_KIND_base_class = 29,
    IF_KIND_access_decl = 30,
    IF_KIND_friend_func = 31,
    IF_KIND_friend_class = 32,
    IF_KIND_nested_type = 33,
    IF_KIND_static_member = 34,
    IF_KIND_member_func = 35,
    IF_KIND_complex = 36,
    IF_KIND_void = 49,
    IF_KIND_list = 254,
    IF_KIND_end_list = 255,
};
bool if_kind_is_integer(int kind);
bool if_kind_is_list_element(int kind); // list heads and ends too: records that add to a type

struct IF_LAYOUT {
    int tag;
    int selector;       // opcode, file kind or subkind; -1: all (other) ones
    const char *name;   // keyword of the text form
    std::span<const IF_FIELD> fields;
    unsigned sections;  // bits 1 << IF_SECTION_ID where the record may stand on its own; records
                        // without a bit stand only behind another one, see IF_FOLLOW
    IF_FOLLOW follow;
    int selector_field; // its index in fields, -1 when the tag has one layout

    // Index of the field with this name; -1 if there is none.
    int slot(std::string_view field) const;
};

// The layout of a record; null for an unknown tag and for an opcode above 163. File kinds without
// a description and unknown subkinds have a layout of their own.
const IF_LAYOUT *if_layout(int tag, int selector);
// The layout that holds for every selector of a tag up to and with the selector field; null for an
// unknown tag.
const IF_LAYOUT *if_prefix_layout(int tag);
// The layout whose records begin a line with this keyword; null if there is none. List elements of
// types are among them, definitions of types are not.
const IF_LAYOUT *if_record_named(std::string_view name);
// The layout of the type definition with this keyword (the word behind "type x ="); null likewise.
const IF_LAYOUT *if_type_kind_named(std::string_view name);
// All layouts, for tables in documents and tests. Expression nodes appear once a payload.
std::span<const IF_LAYOUT> if_all_layouts();

// Name of an opcode as it stands in a file: 163 is VREG, codes without a name are "OP<code>".
std::string if_opcode_name(int op);
int if_opcode_of_name(std::string_view name); // -1 for no file opcode
int if_file_arity(int op);                    // child records of a node in a file: 0, 1 or 2

inline constexpr int if_pragma_kinds = 121;
const char *if_pragma_name(std::int64_t kind);    // null above 120
int if_pragma_of_name(std::string_view name);     // -1 if there is none
inline constexpr std::uint32_t if_max_tree_depth = 10000;

// Slots (field indices) of the records that programs over the model look into most.
namespace IF_SYM {
enum { name, size, offset, sc, flags, type, type2, align, pragmas, fpos, options, psn };
}
namespace IF_NODE {
enum { op, type, payload }; // payload: the first field behind the type
}
namespace IF_TYPE {
enum { number, kind, fields }; // fields: the first one of the kind
}
