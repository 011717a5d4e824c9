// Bytes to model: frames, fields by the schema, and which record belongs behind which.
#include "OPT5/icode/records/if_model.h"
#include "OPT5/icode/records/opcodes.h"

namespace {
std::string record_name(int tag) {
    const IF_LAYOUT *layout = if_prefix_layout(tag);
    return layout ? std::string(layout->name) + " (tag " + std::to_string(tag) + ")"
                  : "tag " + std::to_string(tag);
}

class model_reader {
public:
    model_reader(IF_MODEL &model, const IF_READ_OPTIONS &options)
        : m_(model), options_(options), src_(model.bytes) {}

    bool read() {
        if (m_.bytes.size() > 0xffffffffu) {
            error(0, "expected a file below 4 GB");
            return false;
        }
        std::uint32_t offsets[5];
        if (!read_magic(offsets)) return false;
        IF_SECTION &body = m_.sections[IF_BODY];
        body.present = true;
        body.offset = here();
        constexpr IF_SECTION_ID ids[] = {IF_OPTIONS, IF_INIT, IF_TYPES, IF_FILES, IF_GLOBALS};
        for (int i = 0; i < 5; ++i) {
            if (offsets[i] == 0) continue;
            if (offsets[i] < body.offset || offsets[i] >= m_.bytes.size())
                error(offset_field_at_ + static_cast<std::uint32_t>(4 * i),
                      std::string("expected a position of section ") + if_section_name[ids[i]] +
                          " between " + std::to_string(body.offset) + " and the file's end " +
                          std::to_string(m_.bytes.size()) + ", found " +
                          std::to_string(static_cast<std::int32_t>(offsets[i])));
            else {
                m_.sections[ids[i]].present = true;
                m_.sections[ids[i]].offset = offsets[i];
            }
        }
        // Types before all that refers to them: they decide how constants are stored.
        for (IF_SECTION_ID id : {IF_FILES, IF_TYPES, IF_OPTIONS, IF_GLOBALS, IF_INIT, IF_BODY})
            if (m_.sections[id].present) read_section(id);
        return m_.errors.empty();
    }

private:
    IF_MODEL &m_;
    const IF_READ_OPTIONS &options_;
    if_source src_;
    IF_SECTION_ID section_ = IF_BODY;
    std::uint32_t offset_field_at_ = 0;
    std::uint32_t clauses_ = 0; // of the entry before a catch list
    bool stop_ = false;         // nothing more can be read in this section

    std::uint32_t here() const { return static_cast<std::uint32_t>(src_.tell()); }
    std::vector<IF_RECORD> &records() { return m_.sections[section_].records; }
    bool full() const { return m_.errors.size() >= if_max_errors; }

    void error(std::uint32_t offset, std::string message) {
        if (full()) return;
        m_.errors.push_back({offset, std::move(message)});
        if (full()) stop_ = true;
    }

    bool refuse(std::uint32_t offset, std::string message) {
        error(offset, std::move(message));
        return false;
    }

    bool read_magic(std::uint32_t (&offsets)[5]) {
        if (src_.at_end())
            return refuse(0, "expected the file header (tag 8), found an empty file");
        if_source::frame f = src_.read_header();
        if (f.tag != IF_TAG_header)
            return refuse(0,
                          "expected the file header (tag 8), found tag " + std::to_string(f.tag));
        std::uint32_t start = here();
        if (f.size > src_.left())
            return refuse(1, "header of " + std::to_string(f.size) + " bytes, but only " +
                                 std::to_string(src_.left()) + " are left in the file");
        if_source body(std::string_view(m_.bytes).substr(0, start + f.size));
        body.seek(start);
        if (body.read_bytes(sizeof if_magic) != std::string_view(if_magic, sizeof if_magic))
            return refuse(start, "expected the magic \"!<icode>\\n\" and its NUL");
        auto at = static_cast<std::uint32_t>(body.tell());
        m_.header.version = static_cast<std::int16_t>(body.read_u16());
        m_.header.cpu_id = static_cast<std::int16_t>(body.read_u16());
        if (!body.overrun() && m_.header.cpu_id != if_family_cpu_id)
            return refuse(at + 2, "expected cpu id " + std::to_string(if_family_cpu_id) +
                                      ", found " + std::to_string(m_.header.cpu_id));
        if (!body.overrun() &&
            (m_.header.version > if_current_version || m_.header.version < if_oldest_version))
            return refuse(at, "expected a version from " + std::to_string(if_oldest_version) +
                                  " to " + std::to_string(if_current_version) + ", found " +
                                  std::to_string(m_.header.version));
        offset_field_at_ = static_cast<std::uint32_t>(body.tell());
        for (std::uint32_t &offset : offsets)
            offset = body.read_u32();
        m_.header.name = body.read_string();
        if (m_.header.version >= -83) m_.header.reserved = body.read_u32();
        if (body.overrun()) return refuse(start + f.size, "the header ends before its last field");
        if (!body.at_end())
            return refuse(static_cast<std::uint32_t>(body.tell()),
                          "expected the end of the header, found " + std::to_string(body.left()) +
                              " more bytes");
        src_.seek(start + f.size);
        return true;
    }

    void read_section(IF_SECTION_ID id) {
        if (full()) return;
        section_ = id;
        stop_ = false;
        src_.seek(m_.sections[id].offset);
        while (!stop_) {
            if (src_.at_end()) {
                error(here(), std::string("expected a record or the end mark 255 of section ") +
                                  if_section_name[id] + ", found the end of the file");
                break;
            }
            if (next_tag() == if_end_tag) {
                src_.skip(1);
                break;
            }
            read_group();
        }
        m_.sections[id].end = here();
    }

    int next_tag() const {
        return src_.at_end() ? -1 : static_cast<unsigned char>(m_.bytes[src_.tell()]);
    }

    // A record on its own and all that belongs behind it.
    void read_group() {
        int tag = next_tag();
        const IF_LAYOUT *layout = if_prefix_layout(tag);
        if (layout && !(layout->sections & 1u << section_))
            error(here(), "expected another record, found " + record_name(tag) +
                              ", which cannot stand here in section " + if_section_name[section_]);
        if (tag == IF_TAG_node)
            read_tree();
        else
            read_with_followers();
    }

    void read_with_followers() {
        std::size_t index = records().size();
        if (!read_record()) return;
        const IF_RECORD r = records()[index];
        if (r.layout && !r.damaged) read_followers(r);
        records()[index].end = static_cast<std::uint32_t>(records().size());
    }

    void read_followers(const IF_RECORD &r) {
        switch (r.layout->follow) {
        case IF_FOLLOW::nothing:
        case IF_FOLLOW::children: break; // read_tree reads nodes
        case IF_FOLLOW::tree: read_tree(); break;
        case IF_FOLLOW::initialiser:
            for (;;) {
                std::size_t root = records().size();
                if (!read_tree() || records()[root].selector == OP::ENDINIT) break;
            }
            break;
        case IF_FOLLOW::pragmas:
            for (std::int64_t n = m_.number(r, IF_SYM::pragmas); n > 0; --n)
                if (!read_expected(IF_TAG_pragma)) break;
            break;
        case IF_FOLLOW::entries:
            for (std::int64_t n = m_.number(r, 0); n > 0; --n)
                if (!read_expected(IF_TAG_eht_entry)) break;
            break;
        case IF_FOLLOW::eht_payload:
            if (m_.number(r, 1) == 1) read_expected(IF_TAG_expr);
            if (m_.number(r, 1) == 2) {
                clauses_ = static_cast<std::uint32_t>(m_.number(r, 3));
                read_expected(IF_TAG_catch);
            }
            break;
        }
    }

    bool read_expected(int tag) {
        if (stop_) return false;
        if (next_tag() != tag) {
            error(here(), "expected " + record_name(tag) + ", found " + found());
            return false;
        }
        read_with_followers();
        return !stop_;
    }

    std::string found() const {
        int tag = next_tag();
        return tag < 0             ? "the end of the file"
               : tag == if_end_tag ? "an end mark"
                                   : record_name(tag);
    }

    // One tree of nodes, in prefix order. False if it is not complete.
    bool read_tree() {
        struct open_node {
            std::size_t index;
            int missing; // operands not yet read
        };
        std::vector<open_node> open;
        bool complete = true;
        do {
            if (stop_ || next_tag() != IF_TAG_node) {
                if (!stop_)
                    error(here(), "expected " + record_name(IF_TAG_node) + ", found " + found());
                complete = false;
                break;
            }
            std::size_t index = records().size();
            std::uint32_t at = here();
            if (!read_record()) {
                complete = false;
                break;
            }
            const IF_RECORD &r = records()[index];
            int arity = r.damaged ? 0 : if_file_arity(r.selector);
            open.push_back({index, arity});
            if (open.size() > if_max_tree_depth) {
                error(at, "expected a tree of at most " + std::to_string(if_max_tree_depth) +
                              " levels, found a deeper one");
                complete = false;
                break;
            }
            while (!open.empty() && open.back().missing == 0) {
                records()[open.back().index].end = static_cast<std::uint32_t>(records().size());
                open.pop_back();
                if (!open.empty()) --open.back().missing;
            }
        } while (!open.empty());
        for (const open_node &node : open)
            records()[node.index].end = static_cast<std::uint32_t>(records().size());
        return complete;
    }

    // One record: frame and fields. False when the frame itself does not fit the file.
    bool read_record() {
        IF_RECORD r;
        r.offset = here();
        if_source::frame f = src_.read_header();
        r.tag = static_cast<std::uint8_t>(f.tag);
        r.frame_size = static_cast<std::uint8_t>(src_.tell() - r.offset);
        r.body_size = f.size;
        r.first_value = static_cast<std::uint32_t>(m_.values.size());
        if (f.size > src_.left()) {
            error(r.offset, record_name(f.tag) + " of " + std::to_string(f.size) +
                                " bytes, but only " + std::to_string(src_.left()) +
                                " are left in the file");
            stop_ = true;
            return false;
        }
        std::uint32_t end = here() + f.size;
        r.layout = if_prefix_layout(f.tag);
        if (r.layout) {
            if_source body(std::string_view(m_.bytes).substr(0, end));
            body.seek(src_.tell());
            read_fields(r, body);
        } else {
            if (!options_.keep_unknown)
                error(r.offset,
                      "expected a record, found the unknown tag " + std::to_string(f.tag));
            m_.values.push_back(IF_VALUE::of_text(src_.read_bytes(f.size)));
        }
        src_.seek(end);
        r.value_count = static_cast<std::uint32_t>(m_.values.size() - r.first_value);
        r.end = static_cast<std::uint32_t>(records().size() + 1);
        records().push_back(r);
        m_.note_type(section_, records().size() - 1);
        return true;
    }

    void read_fields(IF_RECORD &r, if_source &body) {
        for (std::size_t i = 0; i < r.layout->fields.size(); ++i) {
            const IF_FIELD &field = r.layout->fields[i];
            auto at = static_cast<std::uint32_t>(body.tell());
            IF_VALUE v;
            if (!r.damaged && field.in_version(m_.header.version)) {
                v = read_value(r, field, body);
                if (body.overrun() || (field.enc == IF_ENC::list &&
                                       static_cast<std::uint64_t>(v.number) > body.left())) {
                    error(at, std::string("expected field \"") + field.name + "\" of " +
                                  record_name(r.tag) + ", found the end of its body");
                    r.damaged = true;
                    v = {};
                }
            }
            m_.values.push_back(v);
            if (static_cast<int>(i) == r.layout->selector_field && !r.damaged) {
                r.selector = static_cast<std::uint8_t>(v.number);
                if (const IF_LAYOUT *chosen = if_layout(r.tag, r.selector))
                    r.layout = chosen;
                else {
                    error(at, "expected an opcode below " + std::to_string(op_file_limit) +
                                  ", found " + std::to_string(r.selector));
                    r.damaged = true;
                }
            }
        }
        if (!r.damaged && !r.layout->fields.empty() && r.layout->fields.back().enc == IF_ENC::list)
            read_items(r, body);
        if (!r.damaged && !body.at_end()) {
            error(static_cast<std::uint32_t>(body.tell()),
                  "expected the end of " + record_name(r.tag) + ", found " +
                      std::to_string(body.left()) + " more bytes");
            r.damaged = true;
        }
    }

    void read_items(IF_RECORD &r, if_source &body) {
        const IF_FIELD &field = r.layout->fields.back();
        std::int64_t count = m_.values.back().number;
        for (std::int64_t n = 0; n < count && !r.damaged; ++n)
            for (const IF_FIELD &item : field.items) {
                auto at = static_cast<std::uint32_t>(body.tell());
                m_.values.push_back(read_value(r, item, body));
                if (body.overrun()) {
                    error(at, std::string("expected \"") + item.name + "\" of item " +
                                  std::to_string(n + 1) + " of " + record_name(r.tag) +
                                  ", found the end of its body");
                    r.damaged = true;
                    break;
                }
            }
        if (r.damaged) { // no half item
            m_.values.resize(r.first_value + r.layout->fields.size());
            m_.values.back() = {};
        }
    }

    // The number that decides the encoding of a by_type field: see IF_ENC.
    std::uint32_t governing_type(const IF_RECORD &r) const {
        std::size_t slot = m_.values.size() - r.first_value;
        while (slot-- > 0) {
            IF_ROLE role = r.layout->fields[slot].role;
            if (role == IF_ROLE::typeref || role == IF_ROLE::type_number)
                return static_cast<std::uint32_t>(m_.values[r.first_value + slot].number);
        }
        return 0;
    }

    IF_VALUE read_value(const IF_RECORD &r, const IF_FIELD &field, if_source &body) {
        switch (field.enc) {
        case IF_ENC::u8:
        case IF_ENC::boolean: return IF_VALUE::of_number(body.read_u8());
        case IF_ENC::s8: return IF_VALUE::of_number(body.read_s8());
        case IF_ENC::u16: return IF_VALUE::of_number(body.read_u16());
        case IF_ENC::s16: return IF_VALUE::of_number(body.read_s16());
        case IF_ENC::u32: return IF_VALUE::of_number(body.read_u32());
        case IF_ENC::s32: return IF_VALUE::of_number(body.read_s32());
        case IF_ENC::uleb: return IF_VALUE::of_number(body.read_uint());
        case IF_ENC::sleb: return IF_VALUE::of_number(body.read_sint());
        case IF_ENC::by_type:
            return m_.type_is_signed(governing_type(r)) ? IF_VALUE::of_number(body.read_sint())
                                                        : IF_VALUE::of_number(body.read_uint());
        case IF_ENC::string: return IF_VALUE::of_text(body.read_string());
        case IF_ENC::counted: return IF_VALUE::of_text(body.read_bytes(body.read_uint()));
        case IF_ENC::rest:
            return IF_VALUE::of_text(body.read_bytes(static_cast<std::uint32_t>(body.left())));
        case IF_ENC::psn: {
            IF_PSN p;
            p.file = body.read_uint();
            if (p.file) {
                p.line = body.read_uint();
                p.column = body.read_uint();
            }
            return IF_VALUE::of_psn(p);
        }
        case IF_ENC::list:
            return IF_VALUE::of_number(field.count == IF_ENC::none ? clauses_
                                       : field.count == IF_ENC::u8 ? body.read_u8()
                                                                   : body.read_uint());
        case IF_ENC::none: break;
        }
        return {};
    }
};
} // namespace

bool if_read_model(std::string bytes, IF_MODEL &model, const IF_READ_OPTIONS &options) {
    model.bytes = std::move(bytes);
    return model_reader(model, options).read();
}
