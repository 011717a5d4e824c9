#include "OPT5/icode/records/if_stream.h"

#include <algorithm>

std::uint16_t if_source::read_u16() {
    unsigned lo = read_u8();
    return static_cast<std::uint16_t>(lo | (static_cast<unsigned>(read_u8()) << 8));
}

std::uint32_t if_source::read_u32() {
    std::uint32_t lo = read_u16();
    return lo | (static_cast<std::uint32_t>(read_u16()) << 16);
}

std::uint32_t if_source::read_uint() {
    std::uint32_t value = 0;
    for (unsigned shift = 0; shift < 70; shift += 7) {
        if (at_end()) {
            overrun_ = true;
            break;
        }
        std::uint8_t byte = read_u8();
        if (shift < 32) value |= static_cast<std::uint32_t>(byte & 0x7f) << shift;
        if (!(byte & 0x80)) break;
    }
    return value;
}

std::int32_t if_source::read_sint() {
    std::uint32_t value = 0;
    for (unsigned shift = 0; shift < 70; shift += 7) {
        if (at_end()) {
            overrun_ = true;
            break;
        }
        std::uint8_t byte = read_u8();
        if (shift < 32) value |= static_cast<std::uint32_t>(byte & 0x7f) << shift;
        if (!(byte & 0x80)) {
            if ((byte & 0x40) && shift + 7 < 32) value |= ~0u << (shift + 7);
            break;
        }
    }
    return static_cast<std::int32_t>(value);
}

std::string_view if_source::read_string() {
    std::size_t nul = bytes_.find('\0', pos_);
    if (nul == std::string_view::npos) {
        pos_ = bytes_.size();
        overrun_ = true;
        return {};
    }
    std::string_view s = bytes_.substr(pos_, nul - pos_);
    pos_ = nul + 1;
    return s;
}

std::string_view if_source::read_bytes(std::uint32_t n) {
    if (n > left()) overrun_ = true;
    std::string_view s = bytes_.substr(pos_, n);
    pos_ += s.size();
    return s;
}

void if_source::skip(std::uint32_t n) {
    if (n > left()) overrun_ = true;
    pos_ += std::min<std::size_t>(n, left());
}

if_source::frame if_source::read_header() {
    int tag = read_u8();
    if (tag == if_end_tag) return {tag, 0};
    return {tag, read_uint()};
}

void if_record::write_i16(int v) {
    write_i8(v & 0xff);
    write_i8((v >> 8) & 0xff);
}

void if_record::write_i32(std::int64_t v) {
    for (int shift = 0; shift < 32; shift += 8)
        write_i8(static_cast<int>((v >> shift) & 0xff));
}

void if_record::write_uint(std::uint32_t v) {
    while (v >= 0x80) {
        write_i8(static_cast<int>(v & 0x7f) | 0x80);
        v >>= 7;
    }
    write_i8(static_cast<int>(v));
}

void if_record::write_sint(std::int32_t v) {
    for (;;) {
        int group = v & 0x7f;
        v >>= 7;
        if ((v == 0 && !(group & 0x40)) || (v == -1 && (group & 0x40))) {
            write_i8(group);
            return;
        }
        write_i8(group | 0x80);
    }
}

void if_record::write_string(std::string_view s) {
    body_.append(s);
    body_.push_back('\0');
}

void if_record::flush(int tag, std::string &out) {
    out.push_back(static_cast<char>(tag));
    std::uint32_t n = static_cast<std::uint32_t>(body_.size());
    while (n >= 0x80) {
        out.push_back(static_cast<char>((n & 0x7f) | 0x80));
        n >>= 7;
    }
    out.push_back(static_cast<char>(n));
    out.append(body_);
    body_.clear();
}
