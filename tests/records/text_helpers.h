// Texts and bytes for the tests of the record layer.
#pragma once

#include "OPT5/icode/records/if_text.h"
#include "OPT5/icode/records/if_tool.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>

// "01 ff" as bytes.
inline std::string bytes_of_hex(std::string_view hex) {
    std::string bytes;
    int high = -1;
    for (char c : hex) {
        int digit = c >= '0' && c <= '9' ? c - '0' : c >= 'a' && c <= 'f' ? c - 'a' + 10 : -1;
        if (digit < 0) continue;
        if (high < 0)
            high = digit;
        else {
            bytes.push_back(static_cast<char>(high * 16 + digit));
            high = -1;
        }
    }
    return bytes;
}

inline std::string hex_of_bytes(std::string_view bytes) {
    static constexpr char digits[] = "0123456789abcdef";
    std::string hex;
    for (char c : bytes) {
        if (!hex.empty()) hex += ' ';
        hex += digits[static_cast<unsigned char>(c) >> 4];
        hex += digits[static_cast<unsigned char>(c) & 15];
    }
    return hex;
}

// The bytes of a text that has no mistake.
inline std::string assembled(std::string_view text) {
    std::string bytes, error;
    EXPECT_TRUE(if_bytes_of(text, bytes, error)) << error << text;
    return bytes;
}

// The first mistake of a text, "line:column: message"; empty when there is none.
inline std::string mistake_of(std::string_view text) {
    std::string bytes, error;
    if (if_bytes_of(text, bytes, error)) return {};
    EXPECT_TRUE(bytes.empty());
    if (error.ends_with('\n')) error.pop_back();
    return error;
}

inline std::string source_file(const std::string &name) {
    std::string bytes;
    EXPECT_TRUE(if_load_file(std::string(QUILL_SOURCE_DIR) + "/" + name, bytes)) << name;
    return bytes;
}

// The frame and body of a record as they stand in the file.
inline std::string_view record_bytes(const IF_MODEL &model, const IF_RECORD &r) {
    return std::string_view(model.bytes).substr(r.offset, r.frame_size + r.body_size);
}
