// Tokens of the text form, with their places.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

struct IF_PLACE {
    std::uint32_t line = 0, column = 0; // 1-based; columns count bytes
};

// A mistake in a text: thrown by the parser and the resolver, caught by if_bytes_of.
struct IF_TEXT_ERROR {
    IF_PLACE place;
    std::string message; // what was expected, and what was found
};

struct IF_TOKEN {
    enum KIND : std::uint8_t { word, string, open, close, open_list, close_list, line_end, end };
    KIND kind = end;
    bool adjacent = false; // no blank between this token and the one before
    bool escaped = false;  // strings: has escapes
    IF_PLACE place;
    std::string_view text; // of a string: what stands between the quotes
};

// Splits a text, one token at a time. A word goes on to the next blank, quote or comment, or to a
// closing bracket that it has not opened itself: "CALL:int(char*,...)" is one word.
class IF_LEXER {
public:
    explicit IF_LEXER(std::string_view text) : text_(text) { advance(); }

    const IF_TOKEN &peek() const { return token_; }
    IF_TOKEN next() {
        IF_TOKEN t = token_;
        advance();
        return t;
    }
    // Inside a tree, line ends are blanks. Takes effect behind the token that peek gives.
    void set_in_tree(bool in_tree) { in_tree_ = in_tree; }

private:
    std::string_view text_;
    std::size_t pos_ = 0;
    std::size_t line_start_ = 0;
    std::uint32_t line_ = 1;
    bool in_tree_ = false;
    IF_TOKEN token_;

    void advance();
    void skip_blanks();
    void read_string();
    void read_word();
};

// How a token is named in a message.
std::string if_token_text(const IF_TOKEN &token);
// The bytes that a string token with escapes stands for.
std::string if_unescape(const IF_TOKEN &token);
