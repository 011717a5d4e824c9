// A program: the icode files that make it up, linked, with its static objects laid out.
#pragma once

#include "OPT5/icode/records/if_model.h"
#include "tools/ic-run/machine.h"

#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

enum class TYPE_KIND : std::uint8_t {
    none, // also all that the machine has no values of
    nothing,
    integer,
    floating,
    pointer,
    array,
    record,
    function,
};

// What running needs to know of a type; typedefs, qualifiers and enums are resolved.
struct RUN_TYPE {
    struct MEMBER {
        std::uint32_t type = 0;
        std::uint32_t offset = 0, width = 0; // bits; width 0: no bit-field
    };
    TYPE_KIND kind = TYPE_KIND::none;
    bool is_signed = false, is_bool = false;
    bool variadic = false, prototyped = false;
    std::uint32_t units = 0, align = 1; // align in units
    std::uint32_t base = 0;             // element, pointee, result
    std::vector<std::uint32_t> params;
    std::vector<MEMBER> members; // by index less one

    bool is_scalar() const {
        return kind == TYPE_KIND::integer || kind == TYPE_KIND::floating ||
               kind == TYPE_KIND::pointer;
    }
};

// One icode file.
struct RUN_FILE {
    // What a file-level symbol stands for.
    struct SYMBOL {
        enum { unresolved, object, function } kind = unresolved;
        std::uint32_t value = 0; // address; index of the function
    };
    std::string name;
    std::unique_ptr<IF_MODEL> model;
    std::unordered_map<std::uint32_t, RUN_TYPE> types;
    std::vector<const IF_RECORD *> symbol_records; // of file level, by index
    std::vector<SYMBOL> symbols;

    // Unknown numbers give a type of no kind.
    const RUN_TYPE &type(std::int64_t number) const;
};

struct RUN_FUNCTION {
    std::string name; // without the prefix
    const RUN_FILE *file = nullptr;
    std::uint32_t type = 0;           // number in `file`
    std::uint32_t first = 0, end = 0; // its records in the main body, without the outermost two
    LIBRARY_FUNCTION library = nullptr;
    enum { ordinary, set_jump, long_jump } special = ordinary;
};

// Values in the form that registers hold (see arithmetic.h): of an FCON's text, of an LCON's
// digits, and of a scalar after a conversion of its type.
std::uint32_t float_constant(std::string_view text);
std::uint32_t long_constant(std::string_view digits);
std::uint32_t converted(std::uint32_t value, const RUN_TYPE &from, const RUN_TYPE &to);

struct STATIC_OBJECT {
    std::uint32_t address, units;
};

// Reading and linking throw RUN_ERROR with RF_file or RF_link.
class PROGRAM {
public:
    // `gap`: units that are left free between objects.
    explicit PROGRAM(std::uint32_t gap) : gap_(gap) {}

    void add_file(const std::string &name);
    // Resolves all symbols, gives objects their places and their first values.
    void link();
    // Address of a constant string: a unit for each character and a zero unit. Equal texts share.
    std::uint32_t string_address(std::string_view text);
    // Room behind all that is there, even aligned, zero.
    std::uint32_t add_object(std::uint32_t units);

    // The number that stands for a function as its address.
    static std::uint32_t function_number(std::size_t index) {
        return static_cast<std::uint32_t>(MACHINE::memory_units - 1 - index);
    }

    std::vector<std::unique_ptr<RUN_FILE>> files;
    std::vector<RUN_FUNCTION> functions;
    std::vector<STATIC_OBJECT> objects;
    std::vector<std::uint16_t> image;  // of the static memory from address 0
    std::size_t main = 0;              // index of the function
    std::vector<std::uint32_t> starts; // functions that run before main, in the order of the files
    std::uint32_t errno_address = 0;

private:
    using GLOBALS = std::map<std::string_view, RUN_FILE::SYMBOL>;
    void define_symbols(RUN_FILE &file, GLOBALS &globals);
    void resolve_symbols(RUN_FILE &file, GLOBALS &globals);
    RUN_FILE::SYMBOL library_symbol(const RUN_FILE &file, std::uint32_t index);
    void initialise(const RUN_FILE &file);
    void store_initialiser(const RUN_FILE &file, std::uint32_t node, std::uint32_t &at);
    std::uint32_t constant(const RUN_FILE &file, std::uint32_t node);

    std::uint32_t gap_;
    std::map<std::string, std::uint32_t, std::less<>> strings_;
};
