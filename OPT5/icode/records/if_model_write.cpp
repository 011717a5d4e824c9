// Model to bytes: fields by the schema, frames, the order of sections, the header's offsets.
#include "OPT5/icode/records/if_model.h"

namespace {
class model_writer {
public:
    model_writer(IF_MODEL &model, const std::vector<bool> &fill_fpos, std::string &out)
        : m_(model), fill_fpos_(fill_fpos), out_(out) {}

    // Empty when all was written; else what a field cannot hold, in failed_section, failed_record.
    std::string write() {
        out_.clear();
        write_magic();
        std::string message = write_section(IF_BODY);
        for (IF_SECTION_ID id : {IF_INIT, IF_OPTIONS, IF_TYPES, IF_FILES, IF_GLOBALS}) {
            if (!m_.sections[id].present || !message.empty()) continue;
            if (id == IF_GLOBALS) fill_positions();
            message = write_section(id);
        }
        if (message.empty() && out_.size() > INT32_MAX) message = "the file would be over 2 GB";
        std::string rest = std::move(out_);
        out_.clear();
        write_magic(); // of the same length, now with the offsets
        out_.append(rest, out_.size());
        return message;
    }
    IF_SECTION_ID failed_section = IF_BODY;
    std::uint32_t failed_record = 0;

private:
    IF_MODEL &m_;
    const std::vector<bool> &fill_fpos_;
    std::string &out_;
    if_record record_;

    void write_magic() {
        record_.write_string(std::string_view(if_magic));
        record_.write_i16(m_.header.version);
        record_.write_i16(m_.header.cpu_id);
        for (IF_SECTION_ID id : {IF_OPTIONS, IF_INIT, IF_TYPES, IF_FILES, IF_GLOBALS})
            record_.write_i32(m_.sections[id].present ? m_.sections[id].offset : 0);
        record_.write_string(m_.header.name);
        if (m_.header.version >= -83) record_.write_i32(m_.header.reserved);
        record_.flush(IF_TAG_header, out_);
    }

    void fill_positions() {
        auto &globals = m_.sections[IF_GLOBALS].records;
        std::vector<std::uint32_t> positions = if_body_positions(m_, fill_fpos_.size());
        std::size_t index = 0;
        for (const IF_RECORD &r : globals) {
            if (r.tag != IF_TAG_symbol) continue;
            if (index < fill_fpos_.size() && fill_fpos_[index])
                m_.value(r, IF_SYM::fpos) = IF_VALUE::of_number(positions[index]);
            ++index;
        }
    }

    std::string write_section(IF_SECTION_ID id) {
        IF_SECTION &s = m_.sections[id];
        s.offset = static_cast<std::uint32_t>(out_.size());
        for (IF_RECORD &r : s.records) {
            std::string message = write_record(r);
            if (!message.empty()) {
                failed_section = id;
                failed_record = static_cast<std::uint32_t>(&r - s.records.data());
                return message;
            }
        }
        out_.push_back(static_cast<char>(if_end_tag));
        s.end = static_cast<std::uint32_t>(out_.size());
        return {};
    }

    std::string write_record(IF_RECORD &r) {
        if (!r.layout)
            record_.write_bytes(m_.text(r, 0));
        else {
            std::uint32_t governing = 0;
            for (std::size_t i = 0; i < r.layout->fields.size(); ++i) {
                const IF_FIELD &field = r.layout->fields[i];
                const IF_VALUE &v = m_.value(r, static_cast<unsigned>(i));
                if (field.role == IF_ROLE::typeref || field.role == IF_ROLE::type_number)
                    governing = static_cast<std::uint32_t>(v.number);
                if (!field.in_version(m_.header.version)) continue;
                std::string message = write_value(field, v, governing);
                if (!message.empty()) return message;
            }
            if (std::string message = write_items(r); !message.empty()) return message;
        }
        r.offset = static_cast<std::uint32_t>(out_.size());
        r.body_size = static_cast<std::uint32_t>(record_.size());
        record_.flush(r.tag, out_);
        r.frame_size = static_cast<std::uint8_t>(out_.size() - r.offset - r.body_size);
        return {};
    }

    std::string write_items(const IF_RECORD &r) {
        auto values = m_.items(r);
        for (std::size_t i = 0; i < values.size(); ++i) {
            const auto &fields = r.layout->fields.back().items;
            std::string message = write_value(fields[i % fields.size()], values[i], 0);
            if (!message.empty()) return message;
        }
        return {};
    }

    std::string write_value(const IF_FIELD &field, const IF_VALUE &v, std::uint32_t governing) {
        IF_ENC enc = field.enc;
        if (enc == IF_ENC::list) enc = field.count;
        if (enc == IF_ENC::by_type)
            enc = m_.type_is_signed(governing) ? IF_ENC::sleb : IF_ENC::uleb;
        IF_RANGE range = if_range(enc);
        bool is_number = range.low != INT64_MIN;
        if (is_number && (v.number < range.low || v.number > range.high)) {
            record_.clear();
            return std::string("expected ") + field.name + " from " + std::to_string(range.low) +
                   " to " + std::to_string(range.high) + ", found " + std::to_string(v.number);
        }
        if (enc == IF_ENC::string && v.str().find('\0') != std::string_view::npos) {
            record_.clear();
            return std::string("expected ") + field.name + " without NUL bytes";
        }
        switch (enc) {
        case IF_ENC::u8:
        case IF_ENC::boolean:
        case IF_ENC::s8: record_.write_i8(static_cast<int>(v.number)); break;
        case IF_ENC::u16:
        case IF_ENC::s16: record_.write_i16(static_cast<int>(v.number)); break;
        case IF_ENC::u32:
        case IF_ENC::s32: record_.write_i32(v.number); break;
        case IF_ENC::uleb: record_.write_uint(static_cast<std::uint32_t>(v.number)); break;
        case IF_ENC::sleb: record_.write_sint(static_cast<std::int32_t>(v.number)); break;
        case IF_ENC::string: record_.write_string(v.str()); break;
        case IF_ENC::counted:
            record_.write_uint(static_cast<std::uint32_t>(v.number));
            record_.write_bytes(v.str());
            break;
        case IF_ENC::rest: record_.write_bytes(v.str()); break;
        case IF_ENC::psn: {
            IF_PSN p = v.psn();
            record_.write_uint(p.file);
            if (p.file == 0) break;
            record_.write_uint(p.line);
            record_.write_uint(p.column);
            break;
        }
        case IF_ENC::by_type:
        case IF_ENC::list:
        case IF_ENC::none: break;
        }
        return {};
    }
};
} // namespace

bool if_write_model(IF_MODEL &model, const std::vector<bool> &fill_fpos, std::string &out,
                    IF_WRITE_ERROR &error) {
    model_writer writer(model, fill_fpos, out);
    std::string message = writer.write();
    if (message.empty()) return true;
    error = {writer.failed_section, writer.failed_record, std::move(message)};
    return false;
}
