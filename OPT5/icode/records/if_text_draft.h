// A file between text and bytes: the model as parsed, and all that still waits for an answer
// because it is given by a name or left out.
#pragma once

#include "OPT5/icode/records/if_model.h"
#include "OPT5/icode/records/if_text_lexer.h"

struct IF_DRAFT {
    enum PENDING : std::uint8_t {
        type_name,    // a type by name or number; the slot gets the number
        type_owner,   // left out in a list element: the type of the type record before
        symbol_name,  // a symbol; this slot and the next get level and index
        symbol_check, // "level.index" that the symbol record must turn out to have
        global_name,  // a file-level symbol; the slot gets the index
        member_name,  // a member of the class in the next slot
        by_type,      // a number whose range depends on the type
        measure,      // size or alignment left out
        member_index, // left out: one more than that of the member before
    };
    struct FIXUP {
        std::uint32_t record; // index in the section
        std::uint16_t slot;
        PENDING pending;
        IF_PLACE place;
        std::string_view text;
    };
    struct TYPE_LABEL {
        IF_SECTION_ID section;
        std::uint32_t record;
        std::string_view name; // may be empty
        std::int64_t number;   // -1: to be chosen
        IF_PLACE place;
    };

    IF_MODEL model;
    std::array<std::vector<IF_PLACE>, IF_SECTION_COUNT> places; // of each record
    std::array<std::vector<FIXUP>, IF_SECTION_COUNT> fixups;    // in the order of records
    std::vector<TYPE_LABEL> labels;
    std::vector<bool> auto_offset; // by index in model.values: a member offset left out
    std::vector<bool> auto_fpos;   // by index in the global section: a file position left out

    // Adds a record with all values 0 behind the others of the section.
    std::uint32_t add_record(IF_SECTION_ID section, const IF_LAYOUT &layout, int selector,
                             IF_PLACE place);
    IF_RECORD &record(IF_SECTION_ID section, std::uint32_t index) {
        return model.sections[section].records[index];
    }
    void set(IF_SECTION_ID section, std::uint32_t index, unsigned slot, IF_VALUE v) {
        model.value(record(section, index), slot) = v;
    }
    void set(IF_SECTION_ID section, std::uint32_t index, unsigned slot, std::int64_t number) {
        set(section, index, slot, IF_VALUE::of_number(number));
    }
};

// Builds a record with all values 0 for `model` without adding it to a section.
IF_RECORD if_new_record(IF_MODEL &model, const IF_LAYOUT &layout, int selector);

// Parses a whole text into an empty draft. Throws IF_TEXT_ERROR.
void if_parse_text(std::string_view text, IF_DRAFT &draft);
// Answers all that waits: names become numbers, types that are only mentioned get records, what
// was left out is computed. Throws IF_TEXT_ERROR. `fill_fpos` is for if_write_model.
void if_resolve_draft(IF_DRAFT &draft, std::vector<bool> &fill_fpos);

// Parses a decimal or hexadecimal number with an optional "-"; false if the text is no such number
// or does not fit.
bool if_parse_number(std::string_view text, std::int64_t &number);
