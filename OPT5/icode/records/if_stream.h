// Primitive encodings and record frames of the intermediate file, over bytes in memory.
//
// Nothing here knows types, symbols or trees. I_FILE and all tools read and write through these
// two classes. All multi-byte integers are little-endian; see docs/icode.md.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

inline constexpr char if_magic[] = "!<icode>\n"; // written with its NUL: 10 bytes
inline constexpr int if_current_version = -73;
inline constexpr int if_oldest_version = -86;
inline constexpr int if_family_cpu_id = 1000;
inline constexpr int if_end_tag = 255;

// A bounded cursor over bytes that outlive it. Reading past the end never fails: a byte there
// reads as 255 (all ones, as an end of file does), wider values as what was read so far, strings
// as empty; at_end() and overrun() tell.
class if_source {
public:
    if_source() = default;
    explicit if_source(std::string_view bytes) : bytes_(bytes) {}

    std::size_t tell() const { return pos_; } // byte offset from the start of the file
    void seek(std::size_t pos) { pos_ = pos < bytes_.size() ? pos : bytes_.size(); }
    std::size_t size() const { return bytes_.size(); }
    std::size_t left() const { return bytes_.size() - pos_; }
    bool at_end() const { return pos_ >= bytes_.size(); }
    // True once any read has asked for bytes behind the end.
    bool overrun() const { return overrun_; }
    std::string_view bytes() const { return bytes_; }

    std::uint8_t read_u8() {
        if (pos_ < bytes_.size()) return static_cast<std::uint8_t>(bytes_[pos_++]);
        overrun_ = true;
        return 255;
    }
    std::int8_t read_s8() { return static_cast<std::int8_t>(read_u8()); }
    bool read_bool() { return read_u8() != 0; }
    std::uint16_t read_u16();
    std::int16_t read_s16() { return static_cast<std::int16_t>(read_u16()); }
    std::uint32_t read_u32();
    std::int32_t read_s32() { return static_cast<std::int32_t>(read_u32()); }
    std::uint32_t read_uint(); // ULEB128, 32-bit result
    std::int32_t read_sint();  // SLEB128, 32-bit result
    // Up to and including one NUL; the view excludes it and stays valid as long as the bytes.
    std::string_view read_string();
    std::string_view read_bytes(std::uint32_t n); // exactly n bytes, fewer at the end of the file
    void skip(std::uint32_t n);

    struct frame {
        int tag;
        std::uint32_t size; // body bytes; 0 for tag 255, which has no size field
    };
    frame read_header();

private:
    std::string_view bytes_;
    std::size_t pos_ = 0;
    bool overrun_ = false;
};

// Builds one record body at a time; flush() frames it and appends it to an output buffer.
class if_record {
public:
    void write_i8(int v) { body_.push_back(static_cast<char>(v)); }
    void write_bool(bool v) { write_i8(v ? 1 : 0); }
    void write_i16(int v); // low byte first
    void write_i32(std::int64_t v);
    void write_uint(std::uint32_t v);      // ULEB128
    void write_sint(std::int32_t v);       // SLEB128
    void write_string(std::string_view s); // with one NUL behind it
    void write_bytes(std::string_view s) { body_.append(s); }
    bool empty() const { return body_.empty(); }
    std::size_t size() const { return body_.size(); }
    void clear() { body_.clear(); }
    // Appends tag, size and body to `out` and starts an empty body.
    void flush(int tag, std::string &out);

private:
    std::string body_;
};
