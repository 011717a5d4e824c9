// Reading and linking.
#include "tools/ic-run/program.h"

#include "OPT5/icode/records/if_tool.h"
#include "OPT5/icode/records/opcodes.h"
#include "tools/ic-lint/lint.h"
#include "tools/ic-run/arithmetic.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>

namespace {
constexpr std::uint32_t first_object = 16; // below it lies nothing: small numbers are no addresses
constexpr std::size_t most_functions = 32768;
enum : std::int64_t { SC_external = 2, SC_static = 3, SC_declared = 5 };

[[noreturn]] void link_error(const std::string &text) {
    throw RUN_ERROR{RF_link, text};
}

std::string_view without_prefix(std::string_view name) {
    return name.starts_with('_') ? name.substr(1) : name;
}
std::string quoted(std::string_view name) {
    return "'" + std::string(name) + "'";
}

std::string at_offset(std::uint32_t offset) {
    char text[32];
    std::snprintf(text, sizeof text, ": offset 0x%x: ", offset);
    return text;
}
[[noreturn]] void not_constant(const RUN_FILE &file, const IF_RECORD &r) {
    throw RUN_ERROR{RF_file, file.name + at_offset(r.offset) + "an initialiser is not constant"};
}

std::int64_t field(const IF_MODEL &m, const IF_RECORD &r, std::string_view name) {
    const int slot = r.layout->slot(name);
    return slot >= 0 && m.has(r, static_cast<unsigned>(slot))
               ? m.number(r, static_cast<unsigned>(slot))
               : 0;
}

std::uint32_t field32(const IF_MODEL &m, const IF_RECORD &r, std::string_view name) {
    return static_cast<std::uint32_t>(field(m, r, name));
}

// What the record of a type says; of a typedef, a qualified type and an enum, the base is copied.
RUN_TYPE type_of_record(const RUN_FILE &file, const IF_RECORD &r) {
    const IF_MODEL &m = *file.model;
    RUN_TYPE type;
    switch (r.selector) {
    case IF_KIND_typedef:
    case IF_KIND_qualified: return file.type(field(m, r, "base"));
    case IF_KIND_enum: return file.type(field(m, r, "underlying"));
    case IF_KIND_void: type.kind = TYPE_KIND::nothing; return type;
    case IF_KIND_float:
    case IF_KIND_double:
    case IF_KIND_long_double: type.kind = TYPE_KIND::floating; break;
    case IF_KIND_pointer:
    case IF_KIND_reference:
        type.kind = TYPE_KIND::pointer;
        type.base = field32(m, r, "to");
        break;
    case IF_KIND_array:
        if (field(m, r, "vector")) return type;
        type.kind = TYPE_KIND::array;
        type.base = field32(m, r, "element");
        break;
    case IF_KIND_function:
        type.kind = TYPE_KIND::function;
        type.base = field32(m, r, "result");
        type.variadic = field(m, r, "variadic") != 0;
        type.prototyped = field(m, r, "prototyped") != 0;
        return type;
    case IF_KIND_csu:
    case IF_KIND_csu_long: type.kind = TYPE_KIND::record; break;
    default:
        if (!if_kind_is_integer(r.selector)) return type;
        type.kind = TYPE_KIND::integer;
        type.is_signed = m.type_is_signed(field32(m, r, "number"));
        type.is_bool = r.selector == IF_KIND_bool;
    }
    type.units = (field32(m, r, "size") + 15) / 16;
    type.align = std::max(1u, (field32(m, r, "align") + 15) / 16);
    if (type.is_scalar() && type.units != 1 && type.units != 2) type.kind = TYPE_KIND::none;
    if (type.kind == TYPE_KIND::floating && type.units != 2) type.kind = TYPE_KIND::none;
    return type;
}

void read_types(RUN_FILE &file) {
    const IF_MODEL &m = *file.model;
    for (IF_SECTION_ID section : {IF_TYPES, IF_BODY})
        for (const IF_RECORD &r : m.sections[section].records) {
            if (r.tag != IF_TAG_type) continue;
            const std::uint32_t number = static_cast<std::uint32_t>(m.number(r, IF_TYPE::number));
            if (!if_kind_is_list_element(r.selector)) {
                file.types.emplace(number, type_of_record(file, r));
                continue;
            }
            if (r.selector == IF_KIND_param)
                file.types[number].params.push_back(field32(m, r, "type"));
            else if (r.selector == IF_KIND_member)
                file.types[number].members.push_back(
                    {field32(m, r, "type"), field32(m, r, "offset"), field32(m, r, "width")});
        }
    // A typedef or a qualified type may have been read before the lists of its base.
    for (const IF_RECORD &r : m.sections[IF_TYPES].records)
        if (r.tag == IF_TAG_type &&
            (r.selector == IF_KIND_typedef || r.selector == IF_KIND_qualified))
            file.types[static_cast<std::uint32_t>(m.number(r, IF_TYPE::number))] =
                file.type(field(m, r, "base"));
}

// The file-level symbols that trees name.
std::vector<bool> referenced_symbols(const RUN_FILE &file) {
    std::vector<bool> referenced(file.symbols.size(), false);
    for (IF_SECTION_ID section : {IF_BODY, IF_INIT})
        for (const IF_RECORD &r : file.model->sections[section].records) {
            if (r.tag != IF_TAG_node || r.selector != OP::NAME) continue;
            const auto index =
                static_cast<std::uint64_t>(file.model->number(r, IF_NODE::payload + 1));
            if (file.model->number(r, IF_NODE::payload) == 0 && index < referenced.size())
                referenced[index] = true;
        }
    return referenced;
}
} // namespace

const RUN_TYPE &RUN_FILE::type(std::int64_t number) const {
    static const RUN_TYPE no_type;
    const auto found = types.find(static_cast<std::uint32_t>(number));
    return found == types.end() ? no_type : found->second;
}

void PROGRAM::add_file(const std::string &name) {
    auto file = std::make_unique<RUN_FILE>();
    file->name = name;
    file->model = std::make_unique<IF_MODEL>();
    std::string bytes;
    if (!if_load_file(name, bytes)) throw RUN_ERROR{RF_file, name + ": cannot be read"};
    if_read_model(std::move(bytes), *file->model);
    if (const auto violations = LINTER(*file->model).run(); !violations.empty()) {
        throw RUN_ERROR{RF_file, name + at_offset(violations[0].offset) + violations[0].text};
    }
    for (const IF_RECORD &r : file->model->sections[IF_BODY].records)
        if (r.tag == IF_TAG_init)
            throw RUN_ERROR{RF_file,
                            name + at_offset(r.offset) + "an initialiser stands in the main body"};
    read_types(*file);
    for (const IF_RECORD &r : file->model->sections[IF_GLOBALS].records)
        if (r.tag == IF_TAG_symbol) file->symbol_records.push_back(&r);
    file->symbols.resize(file->symbol_records.size());
    files.push_back(std::move(file));
}

std::uint32_t PROGRAM::add_object(std::uint32_t units) {
    if (image.empty()) image.resize(first_object);
    image.resize((image.size() + 1) & ~std::size_t{1});
    const auto address = static_cast<std::uint32_t>(image.size());
    if (image.size() + units + gap_ + functions.size() > MACHINE::memory_units)
        link_error("the static objects do not fit into the memory");
    image.resize(address + units + gap_);
    objects.push_back({address, units});
    return address;
}

std::uint32_t PROGRAM::string_address(std::string_view text) {
    if (const auto found = strings_.find(text); found != strings_.end()) return found->second;
    if (text.size() > MACHINE::memory_units) link_error("a string does not fit into the memory");
    const std::uint32_t address = add_object(static_cast<std::uint32_t>(text.size()) + 1);
    for (std::size_t i = 0; i < text.size(); ++i)
        image[address + i] = static_cast<unsigned char>(text[i]);
    strings_.emplace(text, address);
    return address;
}

// Whether a pragma of the symbol says so.
static bool runs_before_main(const IF_MODEL &m, const IF_RECORD &symbol) {
    constexpr std::int64_t in_init_array = 97;
    const auto &records = m.sections[IF_GLOBALS].records;
    for (const IF_RECORD *r = &symbol + 1;
         r != records.data() + records.size() && r->tag == IF_TAG_pragma; ++r)
        if (m.number(*r, 0) == in_init_array) return true;
    return false;
}

// Functions with a body and objects that belong to the file.
void PROGRAM::define_symbols(RUN_FILE &file, GLOBALS &globals) {
    const IF_MODEL &m = *file.model;
    const auto &body = m.sections[IF_BODY].records;
    for (std::uint32_t i = 0; i < body.size(); ++i) {
        if (body[i].tag != IF_TAG_begin_func) continue;
        const auto index = static_cast<std::size_t>(m.number(body[i], 1));
        const IF_RECORD &symbol = *file.symbol_records[index];
        RUN_FUNCTION function;
        function.name = without_prefix(m.text(symbol, IF_SYM::name));
        function.file = &file;
        function.type = static_cast<std::uint32_t>(m.number(symbol, IF_SYM::type));
        function.first = i + 1;
        while (body[i].tag != IF_TAG_end_func)
            ++i;
        function.end = i;
        if (file.symbols[index].kind != RUN_FILE::SYMBOL::unresolved)
            link_error(file.name + ": " + quoted(function.name) + " has two bodies");
        file.symbols[index] = {RUN_FILE::SYMBOL::function,
                               static_cast<std::uint32_t>(functions.size())};
        functions.push_back(std::move(function));
    }
    for (std::size_t i = 0; i < file.symbols.size(); ++i) {
        const IF_RECORD &r = *file.symbol_records[i];
        const std::int64_t sc = m.number(r, IF_SYM::sc);
        const RUN_TYPE &type = file.type(m.number(r, IF_SYM::type));
        RUN_FILE::SYMBOL &symbol = file.symbols[i];
        if (type.kind != TYPE_KIND::function && sc != SC_declared)
            symbol = {RUN_FILE::SYMBOL::object, add_object(type.units)};
        if (symbol.kind == RUN_FILE::SYMBOL::function && runs_before_main(m, r))
            starts.push_back(symbol.value);
        if (sc == SC_external && symbol.kind != RUN_FILE::SYMBOL::unresolved &&
            !globals.emplace(m.text(r, IF_SYM::name), symbol).second)
            link_error(file.name + ": " + quoted(without_prefix(m.text(r, IF_SYM::name))) +
                       " is defined twice");
    }
}

// What of the library an external symbol means; unresolved when it has nothing of the name.
RUN_FILE::SYMBOL PROGRAM::library_symbol(const RUN_FILE &file, std::uint32_t index) {
    const IF_RECORD &r = *file.symbol_records[index];
    const std::string_view name = without_prefix(file.model->text(r, IF_SYM::name));
    const auto type = static_cast<std::uint32_t>(file.model->number(r, IF_SYM::type));
    if (file.type(type).kind != TYPE_KIND::function) {
        for (const LIBRARY_OBJECT &object : library_objects()) {
            if (object.name != name) continue;
            const std::uint32_t address = add_object(object.units);
            image[address] = static_cast<std::uint16_t>(object.value);
            if (object.units == 2)
                image[address + 1] = static_cast<std::uint16_t>(object.value >> 16);
            if (name == "errno") errno_address = address;
            return {RUN_FILE::SYMBOL::object, address};
        }
        return {};
    }
    RUN_FUNCTION function;
    function.name = name;
    function.file = &file;
    function.type = type;
    function.library = find_library_function(name);
    if (name == "setjmp") function.special = RUN_FUNCTION::set_jump;
    if (name == "longjmp") function.special = RUN_FUNCTION::long_jump;
    if (!function.library && function.special == RUN_FUNCTION::ordinary) return {};
    functions.push_back(std::move(function));
    return {RUN_FILE::SYMBOL::function, static_cast<std::uint32_t>(functions.size() - 1)};
}

void PROGRAM::resolve_symbols(RUN_FILE &file, GLOBALS &globals) {
    const std::vector<bool> referenced = referenced_symbols(file);
    for (std::uint32_t i = 0; i < file.symbols.size(); ++i) {
        if (file.symbols[i].kind != RUN_FILE::SYMBOL::unresolved || !referenced[i]) continue;
        const IF_RECORD &r = *file.symbol_records[i];
        const std::string_view name = file.model->text(r, IF_SYM::name);
        auto found = globals.find(name);
        if (found == globals.end()) {
            const RUN_FILE::SYMBOL of_library = library_symbol(file, i);
            if (of_library.kind == RUN_FILE::SYMBOL::unresolved)
                link_error(file.name + ": " + quoted(without_prefix(name)) + " is nowhere defined");
            found = globals.emplace(name, of_library).first;
        }
        const bool is_function =
            file.type(file.model->number(r, IF_SYM::type)).kind == TYPE_KIND::function;
        if (is_function != (found->second.kind == RUN_FILE::SYMBOL::function))
            link_error(file.name + ": " + quoted(without_prefix(name)) +
                       " is a function in one file and an object in another");
        file.symbols[i] = found->second;
    }
}

void PROGRAM::link() {
    GLOBALS globals;
    for (const auto &file : files)
        define_symbols(*file, globals);
    const auto entry = globals.find("_main");
    if (entry == globals.end() || entry->second.kind != RUN_FILE::SYMBOL::function)
        link_error("no file defines the function 'main'");
    main = entry->second.value;
    for (const auto &file : files)
        resolve_symbols(*file, globals);
    if (functions.size() > most_functions) link_error("the program has too many functions");
    for (const auto &file : files)
        initialise(*file);
}

void PROGRAM::initialise(const RUN_FILE &file) {
    const auto &records = file.model->sections[IF_INIT].records;
    for (std::uint32_t i = 0; i < records.size(); i = std::max(i + 1, records[i].end)) {
        std::uint32_t at =
            file.symbols[static_cast<std::size_t>(file.model->number(records[i], 0))].value;
        for (std::uint32_t node = i + 1; node < records[i].end; node = records[node].end)
            store_initialiser(file, node, at);
    }
}

// Stores what the tree gives at `at`, which goes on behind it. The units are known to be there.
void PROGRAM::store_initialiser(const RUN_FILE &file, std::uint32_t node, std::uint32_t &at) {
    const IF_MODEL &m = *file.model;
    const IF_RECORD &r = m.sections[IF_INIT].records[node];
    if (r.selector == OP::ENDINIT) return;
    if (r.selector == OP::SKIP) {
        at += static_cast<std::uint32_t>(m.number(r, IF_NODE::payload));
        return;
    }
    const RUN_TYPE &type = file.type(m.number(r, IF_NODE::type));
    if (r.selector == OP::SCON && type.kind == TYPE_KIND::array) {
        const std::string_view text = m.text(r, IF_NODE::payload);
        for (std::size_t i = 0; i < text.size() && i < type.units; ++i)
            image[at + i] = static_cast<unsigned char>(text[i]);
    } else {
        const std::uint32_t value = constant(file, node);
        if (!type.is_scalar()) not_constant(file, r);
        image[at] = static_cast<std::uint16_t>(value);
        if (type.units == 2) image[at + 1] = static_cast<std::uint16_t>(value >> 16);
    }
    at += type.units;
}

// The value of a constant tree of the initialiser section, in the form that registers hold.
std::uint32_t PROGRAM::constant(const RUN_FILE &file, std::uint32_t node) {
    const IF_MODEL &m = *file.model;
    const auto &records = m.sections[IF_INIT].records;
    const IF_RECORD &r = records[node];
    const RUN_TYPE &type = file.type(m.number(r, IF_NODE::type));
    const auto fitted = [&](std::uint32_t v) { return type.units == 1 ? low16(v) : v; };
    const auto type_of = [&](std::uint32_t i) -> const RUN_TYPE & {
        return file.type(m.number(records[i], IF_NODE::type));
    };
    switch (r.selector) {
    case OP::ICON: return fitted(static_cast<std::uint32_t>(m.number(r, IF_NODE::payload)));
    case OP::FCON: return float_constant(m.text(r, IF_NODE::payload));
    case OP::LCON: return fitted(long_constant(m.text(r, IF_NODE::payload)));
    case OP::SCON: return string_address(m.text(r, IF_NODE::payload));
    case OP::PLUS:
    case OP::MINUS: {
        const std::uint32_t right = records[node + 1].end;
        const std::uint32_t a = converted(constant(file, node + 1), type_of(node + 1), type);
        const std::uint32_t b = converted(constant(file, right), type_of(right), type);
        if (type.kind == TYPE_KIND::floating) break;
        return fitted(r.selector == OP::PLUS ? a + b : a - b);
    }
    case OP::PCONV:
    case OP::SCONV: return converted(constant(file, node + 1), type_of(node + 1), type);
    case OP::UAND: {
        std::uint32_t lvalue = node + 1, offset = 0;
        for (; records[lvalue].selector == OP::STDOT; ++lvalue) {
            const IF_RECORD &member = records[records[lvalue + 1].end];
            const auto index = static_cast<std::uint64_t>(m.number(member, IF_NODE::payload + 1));
            const RUN_TYPE &of = type_of(lvalue + 1);
            if (index == 0 || index > of.members.size()) break;
            offset += of.members[index - 1].offset / 16;
        }
        const IF_RECORD &name = records[lvalue];
        if (name.selector != OP::NAME || m.number(name, IF_NODE::payload) != 0) break;
        const RUN_FILE::SYMBOL &symbol =
            file.symbols[static_cast<std::size_t>(m.number(name, IF_NODE::payload + 1))];
        if (symbol.kind == RUN_FILE::SYMBOL::function) return function_number(symbol.value);
        return low16(symbol.value + offset);
    }
    default: break;
    }
    not_constant(file, r);
}

std::uint32_t float_constant(std::string_view text) {
    return float_bits(std::strtof(std::string(text).c_str(), nullptr));
}

std::uint32_t long_constant(std::string_view digits) {
    std::uint32_t value = 0;
    const bool negative = digits.starts_with('-');
    for (char c : digits)
        if (c >= '0' && c <= '9') value = value * 10 + static_cast<std::uint32_t>(c - '0');
    return negative ? 0 - value : value;
}

std::uint32_t converted(std::uint32_t value, const RUN_TYPE &from, const RUN_TYPE &to) {
    if (to.kind == TYPE_KIND::floating) {
        if (from.kind == TYPE_KIND::floating) return value;
        if (from.units == 1 && from.is_signed) value = extended16(value);
        return float_bits(from.is_signed ? static_cast<float>(as_signed(value))
                                         : static_cast<float>(value));
    }
    if (to.is_bool) {
        const bool zero = from.kind == TYPE_KIND::floating ? as_float(value) == 0 : value == 0;
        return zero ? 0 : 1;
    }
    if (from.kind == TYPE_KIND::floating)
        value = float_to_integer(as_float(value));
    else if (from.units == 1 && from.is_signed)
        value = extended16(value);
    return to.units == 1 ? low16(value) : value;
}
