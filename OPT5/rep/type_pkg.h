// TYPE_PKG: factory and registry of interned types, one per translation unit.
#pragma once

#include "OPT5/rep/types.h"

#include <span>

class TYPE_PKG {
public:
    TYPE_PKG();
    ~TYPE_PKG(); // releases all its types
    TYPE_PKG(const TYPE_PKG &) = delete;
    TYPE_PKG &operator=(const TYPE_PKG &) = delete;

    static int cpu_version;
    static int abi;
    static unsigned wchar_t_size_in_bits;
    static bool seen_bitfield;
    static int tp_count;

    void init_type_pkg(); // basic types with this target's sizes, normalized
    void update_basic_types();
    void normalize_basic_types();

    // Gives `type` its uid below `base`, or returns the equal type that was there (deleting `type`).
    // A type that is not valid yet, or has a uid, is given back as it is. Types built on themselves
    // or nested too deeply end the run.
    TYPE *register_type(TYPE *type, TYPE *base);
    std::uint32_t assign_uid(TYPE *type);
    // Removes a type and all that is built on it. With `keep_based`, a type on which others are
    // built stays. `unregistered` says that no list holds the type. Nothing else may refer to it.
    void delete_type_tree(TYPE *type, bool keep_based, bool unregistered);
    // The last list of a function, enum or class has come; may return an equal existing type.
    TYPE *type_frozen(TYPE *type);
    static TYPE *base_type(TYPE *type);

    // Constructors. All return an interned type; those of functions, enums and classes return an
    // open one, which the append_* operations fill and type_frozen closes.
    TYPE *mk_void();
    TYPE *mk_boolean_int(TYPE::IKIND kind); // a basic type that holds truth values
    TYPE *mk_ptm_int();                     // the integer that stands for a pointer to data member
    TYPE *mk_int(TYPE::IKIND kind, bool explicit_sign, std::uint32_t size, std::uint32_t align,
                 bool is_boolean = false, bool plain = false);
    TYPE *mk_int(TYPE::IKIND kind, bool explicit_sign = false); // this target's basic type
    TYPE *mk_fltpt(TYPE::FKIND kind, std::uint32_t size, std::uint32_t align);
    TYPE *mk_fxtpt(int binary_point, unsigned signed_flag, TYPE *underlying, std::uint32_t size, std::uint32_t align);
    TYPE *mk_complex(TYPE *part, std::uint32_t size, std::uint32_t align);
    TYPE *mk_typedef(std::string_view name, TYPE *base, std::uint32_t size, std::uint32_t align, bool cpp, bool lowered, PSN *psn);
    TYPE *mk_ptr(TYPE *to, std::uint32_t size, std::uint32_t align);
    TYPE *mk_ptr(TYPE *to); // 16 bits
    TYPE *mk_ref(TYPE *to, std::uint32_t size, std::uint32_t align);
    TYPE *mk_qual(TYPE *base, unsigned bits, std::uint32_t size, std::uint32_t align);
    TYPE *mk_qual(TYPE *base, unsigned bits); // size and alignment of the base
    TYPE *mk_array(TYPE *elem, std::uint32_t count, std::uint32_t size, std::uint32_t align, bool cpp, bool complete);
    TYPE *mk_array(TYPE *elem, std::uint32_t count);
    TYPE *mk_array(TYPE *elem); // of unknown bound
    TYPE *mk_array(TYPE *elem, std::int32_t low_bound, std::uint32_t count);
    TYPE *mk_array(TYPE *elem, std::span<const std::uint32_t> counts); // of arrays; outermost first
    TYPE *mk_vector(TYPE *elem, std::uint32_t count, std::uint32_t size, std::uint32_t align,
                    bool cpp = false, bool complete = true);
    TYPE *mk_vpred(std::uint32_t lanes); // a truth value for each lane of a vector
    TYPE *mk_ptm(TYPE *member, TYPE *csu, std::uint32_t size, std::uint32_t align);
    TYPE *mk_func(TYPE *result, bool flag1, bool flag2, unsigned calling_convention, bool cpp);
    TYPE *mk_enum(std::string_view name, std::uint32_t size, std::uint32_t align, TYPE *underlying, bool cpp, PSN *psn);
    TYPE *mk_class(std::string_view name, std::uint32_t size, std::uint32_t align, bool complete);
    TYPE *mk_struct(std::string_view name, std::uint32_t size, std::uint32_t align, bool complete);
    TYPE *mk_union(std::string_view name, std::uint32_t size, std::uint32_t align, bool complete);
    TYPE *mk_unsigned(TYPE *type);
    TYPE *mk_signed(TYPE *type);
    TYPE *replace_array_elem(TYPE *array, TYPE *from, TYPE *to);
    TYPE *remove_known_qual(TYPE *type, unsigned bits);
    static TYPE *c_integral_promotions(TYPE *type);
    TYPE *c_usual_arith_conv(TYPE *a, TYPE *b);

    // List elements, appended at the end of the owner's list; owned by the package.
    PARAM_ELEM *append_param(TYPE *owner, TYPE *type, std::uint32_t mode, std::string_view name); // function or class
    ETOR_ELEM *append_etor(TYPE *owner, std::string_view name, const INT65 &value, PSN *psn);
    fkMDATA *append_mdata(TYPE *owner, const fkMDATA &member); // copies, name too
    BCLASS_ELEM *append_bclass(TYPE *owner, const BCLASS_ELEM &elem);
    ADECL_ELEM *append_adecl(TYPE *owner, const ADECL_ELEM &elem);
    FFRIEND_ELEM *append_ffriend(TYPE *owner, const FFRIEND_ELEM &elem);
    CFRIEND_ELEM *append_cfriend(TYPE *owner, const CFRIEND_ELEM &elem);
    NTYPE_ELEM *append_ntype(TYPE *owner, const NTYPE_ELEM &elem);
    SDATA_ELEM *append_sdata(TYPE *owner, const SDATA_ELEM &elem);
    MFUNC_ELEM *append_mfunc(TYPE *owner, const MFUNC_ELEM &elem);

    // Basic types of this target.
    TYPE *basic_int(TYPE::IKIND kind) const { return basic_ints[kind]; }
    TYPE *basic_float(TYPE::FKIND kind) const { return basic_floats[kind]; }
    TYPE *int_type() const { return basic_ints[TYPE::INT]; }
    TYPE *uint_type() const { return basic_ints[TYPE::UINT]; }
    TYPE *short_type() const { return basic_ints[TYPE::SHORT]; } // the integer of pointer width
    TYPE *void_type() const { return basic_void; }
    TYPE *void_ptr_type() const { return basic_void_ptr; }

    // --- names of classes
    static constexpr const char *fake_name_prefix = "$$fake";
    static bool is_fake_name(std::string_view name);    // stands in for a missing one
    static const char *fix_fake_name(const char *name); // as it is printed
    // Whether it is an encoded C++ name, and what the class is called within the classes around it.
    static bool demangle_type_name(std::string_view name, std::string *own_name = nullptr);

    // --- statistics and dumps
    struct DB_STATS {
        std::uint32_t registered[16] = {}, duplicates[16] = {}; // by kind
    };
    const DB_STATS &db_stats() const { return statistics; }
    void print_stats(std::FILE *stream) const;
    void dump_all(std::FILE *stream) const; // all types, in uid order

    // All registered types in uid order (types deleted as duplicates are not in it).
    const std::vector<TYPE *> &all_types() const { return registry; }

    struct POOLS; // type objects, sub-parts, list elements, names
    POOLS *pools = nullptr;
    TYPE *basic_ints[12] = {};
    TYPE *basic_floats[3] = {};
    TYPE *basic_void = nullptr;
    TYPE *basic_void_ptr = nullptr;
    std::vector<TYPE *> registry;
    std::uint32_t next_uid = 1;
    std::uint32_t next_fake_name = 1;
    DB_STATS statistics;
};
