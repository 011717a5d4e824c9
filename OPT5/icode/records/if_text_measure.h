// Sizes, alignments and member offsets that a text leaves out: what the machine gives them.
#pragma once

#include "OPT5/icode/records/if_text_draft.h"

class IF_MEASURER {
public:
    explicit IF_MEASURER(IF_DRAFT &draft) : d_(draft), m_(draft.model) {}

    // Call for every type record, in order, when its numbers are known.
    void note(const IF_RECORD &r, IF_PLACE place);
    // The size or alignment at the slot of a type record has been left out.
    void wait(const IF_RECORD &r, unsigned slot, IF_PLACE place);
    // Computes all that waits. Throws IF_TEXT_ERROR for a type that contains itself.
    void settle();

private:
    struct TYPE_ENTRY {
        IF_RECORD record;
        std::vector<IF_RECORD> members; // of a class, in order
        IF_PLACE place;
        bool under_way = false;
        bool laid_out = false;
        std::int64_t size = 0, align = 0; // of a class: what its members ask for
    };

    IF_DRAFT &d_;
    IF_MODEL &m_;
    std::unordered_map<std::uint32_t, TYPE_ENTRY> types_;
    std::unordered_map<std::uint32_t, IF_PLACE> waiting_; // by index in values
    struct WAITER {
        IF_RECORD record;
        IF_ROLE role;
    };
    std::vector<WAITER> queue_;               // sizes and alignments, in order
    std::vector<std::uint32_t> offset_queue_; // classes with a member offset left out

    std::int64_t measure_of_type(std::uint32_t number, IF_ROLE role, unsigned depth);
    std::int64_t measure(const IF_RECORD &r, IF_ROLE role, unsigned depth);
    std::int64_t compute(const IF_RECORD &r, IF_ROLE role, unsigned depth);
    void lay_out(TYPE_ENTRY &csu, unsigned depth);
    bool has_auto_offset(const IF_RECORD &member) const;
};
