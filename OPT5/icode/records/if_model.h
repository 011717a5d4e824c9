// A whole intermediate file in memory, record by record, as the schema describes it.
//
// if_read_model reads bytes, if_write_model gives bytes. The text form (if_text.h) and the checker
// work on this model. It knows frames, fields and which record belongs to which; it draws no
// conclusion about types or trees beyond what is needed to decode them.
#pragma once

#include "OPT5/icode/records/if_schema.h"

#include <memory_resource>
#include <unordered_map>

struct IF_PSN {
    std::uint32_t file = 0, line = 0, column = 0; // file 0: null position
    bool operator==(const IF_PSN &) const = default;
};

// One field. Numbers in `number`; a text is `number` bytes at `text`; of a position, `number` holds
// file and line and `column` the rest; of a list, `number` is the count of items.
struct IF_VALUE {
    std::int64_t number = 0;
    union {
        const char *text = nullptr;
        std::uint64_t column;
    };

    static IF_VALUE of_number(std::int64_t n) {
        IF_VALUE v;
        v.number = n;
        return v;
    }
    static IF_VALUE of_text(std::string_view s) { // s must outlive the value
        IF_VALUE v;
        v.number = static_cast<std::int64_t>(s.size());
        v.text = s.data();
        return v;
    }
    static IF_VALUE of_psn(IF_PSN p) {
        IF_VALUE v;
        v.number = static_cast<std::int64_t>(static_cast<std::uint64_t>(p.file) << 32 | p.line);
        v.column = p.column;
        return v;
    }
    std::string_view str() const {
        return number ? std::string_view(text, static_cast<std::size_t>(number))
                      : std::string_view();
    }
    IF_PSN psn() const {
        auto bits = static_cast<std::uint64_t>(number);
        return {static_cast<std::uint32_t>(bits >> 32), static_cast<std::uint32_t>(bits),
                static_cast<std::uint32_t>(column)};
    }
};

struct IF_RECORD {
    const IF_LAYOUT *layout = nullptr; // null: unknown tag; its one value is the body
    std::uint32_t offset = 0;          // byte offset of the frame (its tag byte) in the file
    std::uint32_t body_size = 0;       // bytes behind the frame's tag and size
    std::uint32_t first_value = 0;     // in IF_MODEL::values: one a field of the layout, in order,
    std::uint32_t value_count = 0;     // then the items of its list, field by field
    std::uint32_t end =
        0; // index in the section of the record behind this one and all that belongs
           // to it: a node's operands, a statement's tree, a symbol's pragmas, ...
    std::uint8_t tag = 0;
    std::uint8_t selector = 0;   // opcode, file kind or subkind
    std::uint8_t frame_size = 0; // bytes of tag and size
    bool damaged = false;        // did not fit its layout: values that could not be read are 0
};

struct IF_SECTION {
    bool present = false;
    std::uint32_t offset = 0; // as in the header; of the main body: behind the header
    std::uint32_t end = 0;    // offset behind the end mark
    std::vector<IF_RECORD> records;
};

struct IF_HEADER {
    std::int32_t version = if_current_version;
    std::int32_t cpu_id = if_family_cpu_id;
    std::string name;
    std::uint32_t reserved = 0;
};

// Something that keeps the bytes from being a well-formed file.
struct IF_ERROR {
    std::uint32_t offset;
    std::string message; // what was expected and what was found
};

struct IF_TYPE_DEF {
    IF_SECTION_ID section;  // where its record stands
    std::uint32_t record;   // index in the section
    bool is_signed = false; // decides how ICONs and enumerators of the type are stored
};

class IF_MODEL {
public:
    IF_MODEL() = default;
    IF_MODEL(const IF_MODEL &) = delete;
    IF_MODEL &operator=(const IF_MODEL &) = delete;

    IF_HEADER header;
    std::array<IF_SECTION, IF_SECTION_COUNT> sections;
    std::vector<IF_VALUE> values;
    std::vector<IF_ERROR> errors; // in the order found; at most if_max_errors

    const IF_VALUE &value(const IF_RECORD &r, unsigned slot) const {
        return values[r.first_value + slot];
    }
    IF_VALUE &value(const IF_RECORD &r, unsigned slot) { return values[r.first_value + slot]; }
    std::int64_t number(const IF_RECORD &r, unsigned slot) const { return value(r, slot).number; }
    std::string_view text(const IF_RECORD &r, unsigned slot) const { return value(r, slot).str(); }
    IF_PSN psn(const IF_RECORD &r, unsigned slot) const { return value(r, slot).psn(); }
    // The values of a record's list, field by field, item by item; empty without a list.
    std::span<const IF_VALUE> items(const IF_RECORD &r) const;
    // Whether a record of this file's version holds the field.
    bool has(const IF_RECORD &r, unsigned slot) const {
        return r.layout && r.layout->fields[slot].in_version(header.version);
    }

    // The record that defines a type: null for 0 and for numbers without one.
    const IF_TYPE_DEF *find_type(std::uint32_t number) const;
    const IF_RECORD &record_of(const IF_TYPE_DEF &def) const {
        return sections[def.section].records[def.record];
    }
    // Adds the type to the table if the record at `index` of the section defines one. Reader and
    // assembler call it in file order; the first definition of a number stays.
    void note_type(IF_SECTION_ID section, std::size_t index);
    bool type_is_signed(std::uint32_t number) const;
    const std::unordered_map<std::uint32_t, IF_TYPE_DEF> &types() const { return types_; }

    // File name of a position; "" for 0 and above the count.
    std::string_view file_name(std::uint32_t number) const;
    // Copies bytes to where they live as long as the model.
    std::string_view keep(std::string_view bytes);
    std::string bytes; // what the model was read from; texts of a read model point into it

private:
    std::unordered_map<std::uint32_t, IF_TYPE_DEF> types_;
    std::pmr::monotonic_buffer_resource arena_;
};

inline constexpr std::size_t if_max_errors = 1000;

struct IF_READ_OPTIONS {
    bool keep_unknown = false; // unknown tags are records without layout instead of errors
};

// Reads a whole file into `model`, which must be new, and takes the bytes. True when there was no
// error. After an error the reader goes on behind the frame where it can, so that the model holds
// all that could be understood; a damaged header leaves it empty.
bool if_read_model(std::string bytes, IF_MODEL &model, const IF_READ_OPTIONS &options = {});

// Where the sections of a read model do not lie as a writer lays them out, one behind the other
// without gaps in canonical order: what is wrong and where. Empty when all is well.
std::string if_layout_note(const IF_MODEL &model);

// Gives the bytes of a model: header, main body, sections in canonical order, header offsets.
// Sets the records' offset, body_size and frame_size and the sections' offsets. A value that its
// field cannot hold is an error: false, and `error` says which. With fill_fpos, which has the
// global symbols' indices, their file positions are set to the positions of their bodies first.
struct IF_WRITE_ERROR {
    IF_SECTION_ID section;
    std::uint32_t record; // index in the section
    std::string message;
};
bool if_write_model(IF_MODEL &model, const std::vector<bool> &fill_fpos, std::string &out,
                    IF_WRITE_ERROR &error);

// Follows the records of the main body (or of the global section) as a reader does: which level
// the symbols have, which index, and which function they belong to.
class IF_SCOPES {
public:
    struct SYMBOL {
        const IF_RECORD *record;
        std::int32_t level;
        std::uint32_t index; // in globals() at level 0, else in locals()
    };
    // Call for every record in file order: the global section first, then the main body. True when
    // the record is a symbol, which is then the last one of locals() or globals().
    bool step(const IF_RECORD &r);
    std::int32_t level() const { return level_; }
    const std::vector<SYMBOL> &globals() const { return globals_; }
    const std::vector<SYMBOL> &locals() const { return locals_; } // of the current function
    // The symbol that a level and an index name, as they stand in a NAME; null if there is none.
    const SYMBOL *find(std::int64_t level, std::int64_t index) const;

private:
    std::int32_t level_ = 0;
    std::vector<SYMBOL> globals_, locals_;
};

// For each file-level symbol by index: the offset of its tag 1 or tag 105 record, of the last one
// if there are several; 0 without any.
std::vector<std::uint32_t> if_body_positions(const IF_MODEL &model, std::size_t globals);
