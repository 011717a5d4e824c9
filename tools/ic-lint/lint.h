// ic-lint: checks a file against every rule of the format and of its trees. Shares nothing with the
// optimizer's own validators but the record layer.
#pragma once

#include "OPT5/icode/records/if_model.h"
#include "OPT5/icode/records/opcodes.h"

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

struct LINT_VIOLATION {
    std::uint32_t offset; // of the record in the file
    std::string text;
};

struct LINT_MEMBER {
    std::uint32_t type = 0;
    std::int64_t offset = 0, width = 0;
};

// A type as its records define it.
struct LINT_TYPE {
    int kind = -1;            // file kind
    std::uint32_t offset = 0; // of its record
    std::int64_t size = 0, align = 0;
    std::uint32_t base = 0;  // pointee, element, result, underlying type, base
    std::uint32_t base2 = 0; // class of a pointer to member
    std::int64_t count = 0;  // elements of an array; qualifier bits
    bool complete = true, vector = false, variadic = false, prototyped = false;
    unsigned announced = 0, begun = 0, ended = 0; // bits by list kind
    int open_list = -1;
    std::vector<std::uint32_t> params;
    std::map<std::int64_t, LINT_MEMBER> members; // by index
};

// Types by number, with queries that look through typedefs and qualifiers. Number 0 and unknown
// numbers answer no to all of them.
class LINT_TYPES {
public:
    const LINT_TYPE *find(std::uint32_t number) const;
    LINT_TYPE *find(std::uint32_t number) {
        return const_cast<LINT_TYPE *>(std::as_const(*this).find(number));
    }
    const LINT_TYPE *stripped(std::uint32_t number) const;
    bool is_integer(std::uint32_t t) const; // enums too
    bool is_floating(std::uint32_t t) const {
        return kind_in(t, IF_KIND_float, IF_KIND_long_double);
    }
    bool is_pointer(std::uint32_t t) const; // references too
    bool is_function(std::uint32_t t) const { return kind_is(t, IF_KIND_function); }
    bool is_pointer_to_function(std::uint32_t t) const;
    bool is_array(std::uint32_t t) const { return kind_is(t, IF_KIND_array); }
    bool is_vector(std::uint32_t t) const;
    bool is_csu(std::uint32_t t) const { return kind_in(t, IF_KIND_csu, IF_KIND_csu_long); }
    bool is_void(std::uint32_t t) const { return kind_is(t, IF_KIND_void); }
    bool is_arithmetic(std::uint32_t t) const;
    bool is_scalar(std::uint32_t t) const { return is_arithmetic(t) || is_pointer(t); }
    bool is_integer_or_vector_of_integer(std::uint32_t t) const;
    bool is_volatile(std::uint32_t t) const;
    std::uint32_t pointee(std::uint32_t t) const; // 0 when not a pointer
    std::int64_t size(std::uint32_t t) const;

    std::unordered_map<std::uint32_t, LINT_TYPE> by_number;

private:
    bool kind_is(std::uint32_t t, int kind) const { return kind_in(t, kind, kind); }
    bool kind_in(std::uint32_t t, int first, int last) const;
};

class LINTER {
public:
    explicit LINTER(const IF_MODEL &model) : m(model) {}
    // All violations, ordered by offset.
    std::vector<LINT_VIOLATION> run();

private:
    // What of a function its statements need.
    struct FUNCTION {
        const IF_RECORD *begin = nullptr;
        std::uint32_t symbol_type = 0, symbol_index = 0;
        std::map<std::int64_t, std::uint32_t> labels_defined; // number to offset
        std::map<std::int64_t, std::uint32_t>
            labels_referenced; // number to offset of the first use
        std::set<std::int64_t> eht_ids;
        std::map<std::int64_t, std::uint32_t> eht_references;
        bool saw_statement = false, saw_args = false, saw_locals = false;
        int depth = 0; // open blocks
    };
    enum POSITION { STATEMENT, VALUE, LVALUE, LABELS, PROLOG };

    void report(const IF_RECORD &r, const std::string &text);
    const IF_LAYOUT &layout(const IF_RECORD &r) const { return *r.layout; }
    std::int64_t field(const IF_RECORD &r, std::string_view name) const;

    void check_header();
    void check_positions();
    void check_types();
    void check_type_record(const IF_RECORD &r);
    void define_type(const IF_RECORD &r);
    void check_list_record(const IF_RECORD &r);
    void check_typeref(const IF_RECORD &r, std::uint32_t number);
    void check_finished_types();
    void check_globals();
    void check_symbol(const IF_RECORD &r, std::int64_t level);
    void check_pragma(const IF_RECORD &r, bool of_symbol);
    void check_initialisers();
    void check_initialiser_tree(IF_SECTION_ID section, std::uint32_t node, std::int64_t &bits);
    void check_body();
    void check_function_record(const IF_RECORD &r, std::uint32_t index);
    void check_statement(std::uint32_t stmt);
    void check_eht(std::uint32_t index);
    void finish_function(const IF_RECORD &end);

    // Trees: nodes are indices in the records of `section`.
    struct TREE {
        IF_SECTION_ID section;
        std::uint32_t root;
    };
    const IF_RECORD &node(const TREE &t, std::uint32_t i) const {
        return m.sections[t.section].records[i];
    }
    std::uint32_t type_of(const IF_RECORD &r) const {
        return static_cast<std::uint32_t>(m.number(r, IF_NODE::type));
    }
    std::uint32_t left_of(std::uint32_t i) const { return i + 1; }
    std::uint32_t right_of(const TREE &t, std::uint32_t i) const { return node(t, i + 1).end; }
    void check_tree(const TREE &t, std::uint32_t i, int parent, POSITION position);
    void check_node(const TREE &t, std::uint32_t i, int parent, POSITION position);
    void check_name(const IF_RECORD &r, int parent, POSITION position);
    void check_constant(const IF_RECORD &r);
    void check_member(const IF_RECORD &r);
    void check_call(const TREE &t, std::uint32_t i);
    void check_switch(const TREE &t, std::uint32_t i);
    void check_prolog(const TREE &t, std::uint32_t i);
    void check_additive(const TREE &t, std::uint32_t i, bool assigns);
    bool is_lvalue(int op) const;
    bool has_side_effects(const TREE &t, std::uint32_t i) const;
    std::string in_tree(const IF_RECORD &r) const;

    const IF_MODEL &m;
    LINT_TYPES types;
    IF_SCOPES scopes;
    std::vector<LINT_VIOLATION> violations;
    FUNCTION function;
    bool in_function = false;
};
