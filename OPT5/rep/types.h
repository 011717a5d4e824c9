// TYPE and TYPE_PKG: interned types, their factory and registry; fkMDATA and the other list
// elements of classes, functions and enums. Sizes, alignments and offsets are in bits.
#pragma once

#include "OPT5/rep/int65.h"

#include <boost/unordered_map.hpp>

#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

class TYPE;
class TYPE_PKG;
struct PSN;
struct NODE;
struct SYMTAB;

// Ends the run: prints the message to standard error, then if_exit(1).
[[noreturn]] void tp_die(const char *message);

// Qualifier bits of a qualified type.
enum TYPE_QUALS : unsigned {
    TQ_const = 1, TQ_volatile = 2, TQ_packed = 4, TQ_near = 8,
    TQ_far = 16, TQ_ioport = 32, TQ_restrict = 64, TQ_onchip = 128,
};

// One member of a class, struct or union.
struct fkMDATA {
    std::uint32_t index = 0; // 1-based within its class
    const char *name = "";
    TYPE *type = nullptr;
    std::uint8_t flags = 0;      // as in the file's `u8 flags`
    std::int32_t offset = 0;     // bits from the start of the class
    std::uint8_t field_type_id = 0; // "fti" byte
    std::uint32_t width = 0;     // bits of a bit-field
    bool is_bitfield = false;
    bool flag1 = false, flag2 = false, flag3 = false;
    PSN *psn = nullptr;
    fkMDATA *next = nullptr;
};

// Elements of the other lists, in file order. Names are owned by the package.
struct PARAM_ELEM { TYPE *type = nullptr; std::uint32_t mode = 0; const char *name = ""; PARAM_ELEM *next = nullptr; };
struct ETOR_ELEM { const char *name = ""; INT65 value; PSN *psn = nullptr; ETOR_ELEM *next = nullptr; };
struct BCLASS_ELEM { TYPE *type = nullptr; std::int32_t offset = 0; std::uint8_t access = 0; bool is_virtual = false; BCLASS_ELEM *next = nullptr; };
struct ADECL_ELEM { std::uint8_t access = 0; ADECL_ELEM *next = nullptr; };
struct FFRIEND_ELEM { const char *name = ""; TYPE *type = nullptr; FFRIEND_ELEM *next = nullptr; };
struct CFRIEND_ELEM { TYPE *type = nullptr; CFRIEND_ELEM *next = nullptr; };
struct NTYPE_ELEM { TYPE *type = nullptr; NTYPE_ELEM *next = nullptr; };
struct SDATA_ELEM { const char *name = ""; TYPE *type = nullptr; std::uint8_t access = 0; SDATA_ELEM *next = nullptr; };
struct MFUNC_ELEM { const char *name = ""; TYPE *type = nullptr; std::uint8_t access = 0; std::int32_t vtable_index = 0; bool flags[4] = {}; MFUNC_ELEM *next = nullptr; };

// Lists of a type by the file's list kind.
enum LIST_KIND : std::uint8_t {
    LK_params, LK_etors, LK_bclasses, LK_adecls, LK_ffriends,
    LK_cfriends, LK_ntypes, LK_mdata, LK_sdata, LK_mfuncs, LK_count,
};

// Sub-part of classes, structs and unions.
struct CSU {
    const char *name = "";
    bool is_complete = false;
    std::uint32_t extra_word = 0; // kind 25's extra word
    bool flag = false;            // the third record word
    bool pre_80_union = false;    // compatibility mark of old union records
    bool will_have[LK_count] = {}; // lists announced by the record, also when they stay empty
    BCLASS_ELEM *bclasses = nullptr;
    ADECL_ELEM *adecls = nullptr;
    FFRIEND_ELEM *ffriends = nullptr;
    CFRIEND_ELEM *cfriends = nullptr;
    NTYPE_ELEM *ntypes = nullptr;
    fkMDATA *mdata = nullptr;
    SDATA_ELEM *sdata = nullptr;
    MFUNC_ELEM *mfuncs = nullptr;
    PARAM_ELEM *params = nullptr;
    std::vector<fkMDATA *> mdata_by_index; // for find_mdataref
};

class TYPE {
public:
    enum KIND : std::uint8_t {
        VOID_, INTEGER, FLOATING, FIXEDPT, COMPLEX, POINTER, REFERENCE, QUALIFIED, TYPEDEF, ARRAY,
        PTM, FUNCTION, ENUM, CLASS, STRUCT, UNION,
    };
    enum IKIND : std::uint8_t {
        BOOL, SCHAR, UCHAR, WCHAR_T, SHORT, USHORT, INT, UINT, LONG, ULONG, LLONG, ULLONG,
    };
    enum FKIND : std::uint8_t { FLOAT, DOUBLE, LDOUBLE };
    using BASED_TYPE_CONTAINER = boost::unordered_map<std::string, std::vector<TYPE *>>;

    // --- stored words
    std::uint32_t uid = 0; // 0 until registered
    KIND kind_ = VOID_;
    std::uint32_t size_ = 0;
    std::uint32_t align_ = 0;
    TYPE_PKG *pkg = nullptr;
    bool valid = false;
    bool lowered = false;
    bool cpp = false;    // "is C++"
    bool refd = false;   // writer's mark: referenced
    bool writ = false;   // writer's mark: written
    bool merg = false;
    bool frozen = false; // no list is still to come
    TYPE *stds_ = nullptr;       // qualifiers and typedefs stripped
    TYPE *normalized_ = nullptr; // cache
    TYPE *equiv = nullptr;       // next in the chain of equivalents; null: canonical
    PSN *psn = nullptr;
    std::uint32_t tu = 0;
    std::uint16_t depth = 0; // layers of derivation below; classes, and types below the root, have 0
    const std::string *mapname = nullptr; // key under which the type is listed in its base; not owned

    // --- sub-part, by kind
    union SUB {
        struct { IKIND ikind; bool explicit_sign, is_boolean, plain; } integer;
        struct { FKIND fkind; } floating;
        struct { TYPE *underlying; std::int8_t binary_point; std::uint8_t signed_flag; } fixed;
        struct { TYPE *part; } complex;
        struct { TYPE *pointee; } pointer; // and reference
        struct { TYPE *base; unsigned bits; } qualified;
        struct { TYPE *base; const char *name; } typedef_;
        struct { TYPE *elem; std::uint32_t count; bool is_vector, is_struct_vector, is_complete; std::int32_t low_bound; } array;
        struct { TYPE *member; TYPE *csu; } ptm;
        struct { TYPE *result; PARAM_ELEM *params; std::uint8_t cc_kind; bool flag1, flag2; } func; // flag1: variadic; flag2: prototyped
        struct { TYPE *underlying; ETOR_ELEM *etors; const char *name; } enum_;
        CSU *csu;
    } sub = {};

    BASED_TYPE_CONTAINER *based = nullptr; // types built on this one, by map_name; owned

    virtual ~TYPE();

    // --- queries; all but kind() and the qualifier queries look through typedefs and qualifiers
    KIND kind() const { return kind_; }
    std::uint32_t size() const { return size_; }
    std::uint32_t align() const { return align_; }
    std::uint32_t size_in_bytes() const { return size_ / 16; }  // 16-bit units
    std::uint32_t align_in_bytes() const { return align_ >> 4; }
    TYPE *stds() const { return stds_ ? stds_ : const_cast<TYPE *>(this); }
    KIND skind() const { return stds()->kind_; } // kind of stds()

    bool is_void() const { return skind() == VOID_; }
    bool is_integer() const { return skind() == INTEGER; }          // not enums
    bool is_int_or_enum() const { return is_integer() || is_enum(); }
    bool is_floating() const { return skind() == FLOATING; }
    bool is_ptr() const { return skind() == POINTER; }
    bool is_ref() const { return skind() == REFERENCE; }
    bool is_array() const { return skind() == ARRAY; }              // vectors too
    bool is_func() const { return skind() == FUNCTION; }
    bool is_enum() const { return skind() == ENUM; }
    bool is_csu() const { return skind() >= CLASS; }
    bool is_union() const { return skind() == UNION; }
    bool is_const() const { return (qual_kind(true) & TQ_const) != 0; }
    bool is_volatile() const { return (qual_kind(true) & TQ_volatile) != 0; }
    bool is_vector() const;
    bool is_struct_vector() const;
    bool is_arithmetic() const;
    bool is_scalar() const;
    bool is_udt() const;
    bool is_signed() const;
    bool is_unsigned() const;
    bool is_vararg() const; // functions: extra arguments allowed
    bool is_ikind(IKIND kind) const { return is_integer() && stds()->sub.integer.ikind == kind; }
    bool is_fkind(FKIND kind) const { return is_floating() && stds()->sub.floating.fkind == kind; }
    bool is_bool() const { return is_ikind(BOOL); }
    bool is_schar() const { return is_ikind(SCHAR); }
    bool is_uchar() const { return is_ikind(UCHAR); }
    bool is_wchar_t() const { return is_ikind(WCHAR_T); }
    bool is_short() const { return is_ikind(SHORT); }
    bool is_ushort() const { return is_ikind(USHORT); }
    bool is_int() const { return is_ikind(INT); }
    bool is_uint() const { return is_ikind(UINT); }
    bool is_long() const { return is_ikind(LONG); }
    bool is_ulong() const { return is_ikind(ULONG); }
    bool is_llong() const { return is_ikind(LLONG); }
    bool is_ullong() const { return is_ikind(ULLONG); }
    bool is_float() const { return is_fkind(FLOAT); }
    bool is_double() const { return is_fkind(DOUBLE); }
    bool is_ldouble() const { return is_fkind(LDOUBLE); }
    bool is_plain_char() const; // written without signed or unsigned
    bool is_complex() const { return skind() == COMPLEX; }
    bool part_is(bool (TYPE::*query)() const) const; // complex, and its parts answer yes
    bool is_cchar() const { return part_is(&TYPE::is_schar) || part_is(&TYPE::is_uchar); }
    bool is_cshort() const { return part_is(&TYPE::is_short); }
    bool is_cint() const { return part_is(&TYPE::is_int); }
    bool is_clong() const { return part_is(&TYPE::is_long); }
    bool is_cllong() const { return part_is(&TYPE::is_llong); }
    bool is_cfloat() const { return part_is(&TYPE::is_float); }
    bool is_cdouble() const { return part_is(&TYPE::is_double); }
    int rank() const;       // integers: the order of conversion; else tp_die
    // Bits of the memory that holds a value: scalars take a power of two.
    std::uint64_t storage_size() const;
    TYPE *getd(KIND kind) const; // the first layer of that kind below typedefs; else tp_die
    TYPE *getr(KIND kind) const; // stds() when it is of that kind; else tp_die
    TYPE *part_type() const;     // complex
    TYPE *type_pointed_to() const; // pointer or reference
    TYPE *elem_type() const;
    TYPE *return_type() const;
    TYPE *underlying_type() const; // enum, fixed point
    CSU *get_csu() const;          // class kinds; else tp_die
    unsigned qual_kind(bool through_arrays) const;
    TYPE *type_qualified() const; // all qualifiers and typedefs stripped, below arrays too
    TYPE *normalized();
    TYPE *canonical();            // end of the chain of equivalents
    int ekind() const;
    std::string printstr() const; // C-like spelling

    bool is_vpred() const; // a vector of boolean integers, see TYPE_PKG::mk_vpred
    const char *name() const;  // of a typedef, enum or class; "" for other kinds
    bool is_complete() const;  // false for void, classes not defined yet, arrays of unknown bound
    void set_is_complete(bool complete); // classes and arrays; else tp_die
    bool is_lowered() const { return lowered; }
    void set_is_lowered(bool is) { lowered = is; }
    TYPE *stqs() const;                 // typedefs stripped at the top, qualifiers kept
    CSU *getr_csu() const;              // as get_csu
    bool has_flex_array_member() const; // a class whose last member is an array of unknown bound
    TYPE *normalized_type_uncached();
    void print(std::FILE *stream) const;   // printstr
    void println(std::FILE *stream) const; // and a newline
    void dump(std::FILE *stream) const;    // one line with marks and base

    // --- registration (type_pkg*.cpp)
    // The key of this type among the types built on its base: the same for equal types only, made
    // from values and unique ids. Enums and classes are equal to none, their keys are not unique.
    std::string map_name() const;
    // Joins the chains of the two; the canonical type of `type` is that of both from now on.
    void set_equiv(TYPE *type);
    // Ends the run when no more may be added to the type; `where` is the end of the message.
    void check_nfrozen(const char *where) const;
    void dump_based_list(std::FILE *stream) const; // the types built on this one, in uid order

    // --- a writer's marks, on the canonical types of those built on the root
    // Types that the source gives a name: with `all` they are referenced, whoever uses them.
    static void mark_named_types(const TYPE *root, bool all);
    static void mark_refed_types(const TYPE *root); // what referenced types refer to is referenced
};

extern TYPE_PKG *tp;      // the current package
extern TYPE *root_type;   // base of all types not built on another
extern int icode_cpu_id;

// --- relations
bool exact_types(const TYPE *a, const TYPE *b);
bool compatible_types(TYPE *a, TYPE *b, bool loose = false);
bool equiv_mtypes(TYPE *a, TYPE *b);
bool is_same_sign(const TYPE *a, const TYPE *b);
bool mdata_equal(const fkMDATA *a, const fkMDATA *b); // of whole lists
// Makes `type` an equivalent of an earlier type when both say the same, though they were defined
// apart as the translation units of a merged file define them; true if they are equivalent then.
// Classes and enums must have one name, and members or enumerators that agree.
bool merge_types(TYPE *earlier, TYPE *type);
// Types in the order in which they were defined, which is the order to ask for them.
class EARLIER_TYPES {
public:
    // Merges the type with the first one asked for before that says the same, which it gives.
    // Without one it gives null, and keeps the type for those to come.
    TYPE *find_equivalent_type(TYPE *type);

private:
    boost::unordered_map<std::string, std::vector<TYPE *>> types; // looked up, never walked
};

// --- the optimizer's conversions and questions
TYPE *promoted_type(TYPE *type);
TYPE *combined_type_for_types(TYPE *a, TYPE *b);
TYPE *combined_type(NODE *a, NODE *b);
NODE *coerce_to_type(TYPE *type, NODE *tree);
// The value of a tree of pointer type as a pointer of another type and the same size. The cast goes
// below additions, effects and choices to where the pointer comes from; a cast that was there gives
// way. Takes over the tree and gives the one in its place.
NODE *push_down_pointer_cast(TYPE *type, NODE *tree);
// The integer in which an index is scaled before it is added to the pointer: of the pointer's size
// and the index's sign. Null when the target has none.
TYPE *type_for_PMCONV(TYPE *pointer, TYPE *index);
// The type of `op` on operands of these types; right is null for an operator with one. Null for an
// operator whose type does not follow from its operands, and for operands that it cannot have.
TYPE *operator_type_for_operand_types(int op, TYPE *left, TYPE *right);
// Gives a NAME, UMULT, STDOT or STREF the type of what it stands for, where this differs in its
// qualifiers alone: a member has those of its object too. Other nodes are left as they are.
void fix_type_info(NODE *lvalue);
TYPE *normalized_underlying_type(TYPE *type); // of an enum; other types: their normalized form
TYPE *essential_type(TYPE *type);             // normalized, without qualifiers
TYPE *next_wider_type(TYPE *type);            // same sign; null when there is none
TYPE *wide_enough_int_type(std::uint32_t bits, bool is_signed); // null when there is none
TYPE *type_of_nth_parameter(const TYPE *function, int n);       // n from 0; null when there is none
bool value_fits_in_type(const INT65 &value, const TYPE *type);
bool is_field_member_of_type(const fkMDATA *member, const TYPE *csu);
bool csu_type_has_only_simple_scalar_members(const TYPE *csu);
bool is_type_component_of_type(TYPE *part, TYPE *whole);
bool type_is_contained_in_type(TYPE *part, TYPE *whole);
bool types_contained_in_union(TYPE *a, TYPE *b, TYPE *whole);
bool type_may_alias_type(TYPE *a, TYPE *b);
bool type_may_contain_volatile(const TYPE *type);

// --- what cannot change once it is initialized: objects defined const, which neither the hardware
// nor a C++ constructor writes to. A pointer to const says nothing about what it points at.
bool symbol_is_immutable(const SYMTAB *sym);
// The bits from `offset` on alone: other members of the object may be volatile.
bool bits_of_var_are_immutable(const SYMTAB *sym, std::uint32_t offset, std::uint32_t bits);
bool lvalue_is_immutable(const NODE *lvalue);
// True if an access to the member cannot become one to the memory at its address: it is a bit-field
// or volatile, or its object lies where pointers to it do not lead.
bool must_preserve_STDOT(const NODE *tree);

// --- sizes of this target (type_pkg*.cpp)
void init_types(); // makes the complex forms of the basic types of `tp`, then sets the two below
extern std::uint32_t max_scalar_alignment; // bits
extern std::uint32_t pointer_type_stride;  // bits
std::uint64_t type_stride(const TYPE *type); // size rounded up to the alignment, bits
TYPE *get_complex_type(TYPE *part);          // its complex form: twice the size, aligned as the part
