#include "OPT5/icode/records/if_text_lexer.h"

void IF_LEXER::skip_blanks() {
    for (; pos_ < text_.size(); ++pos_) {
        char c = text_[pos_];
        if (c == ';') {
            pos_ = text_.find('\n', pos_);
            if (pos_ == std::string_view::npos) pos_ = text_.size();
            if (pos_ == text_.size()) return;
            c = '\n';
        }
        if (c == '\n') {
            if (!in_tree_) return;
            ++line_;
            line_start_ = pos_ + 1;
        } else if (c != ' ' && c != '\t' && c != '\r')
            return;
    }
}

void IF_LEXER::advance() {
    std::size_t before = pos_;
    skip_blanks();
    token_ = {};
    token_.adjacent = pos_ == before;
    token_.place = {line_, static_cast<std::uint32_t>(pos_ - line_start_ + 1)};
    if (pos_ >= text_.size()) return;
    switch (text_[pos_]) {
    case '\n':
        token_.kind = IF_TOKEN::line_end;
        ++pos_;
        ++line_;
        line_start_ = pos_;
        return;
    case '"': read_string(); return;
    case '(': token_.kind = IF_TOKEN::open; break;
    case ')': token_.kind = IF_TOKEN::close; break;
    case '[': token_.kind = IF_TOKEN::open_list; break;
    case ']': token_.kind = IF_TOKEN::close_list; break;
    default: read_word(); return;
    }
    token_.text = text_.substr(pos_++, 1);
}

void IF_LEXER::read_string() {
    token_.kind = IF_TOKEN::string;
    std::size_t start = ++pos_;
    for (; pos_ < text_.size() && text_[pos_] != '"' && text_[pos_] != '\n'; ++pos_)
        if (text_[pos_] == '\\') {
            token_.escaped = true;
            if (pos_ + 1 < text_.size() && text_[pos_ + 1] != '\n') ++pos_;
        }
    if (pos_ >= text_.size() || text_[pos_] != '"')
        throw IF_TEXT_ERROR{token_.place, "expected a closing quote on the line of the string"};
    token_.text = text_.substr(start, pos_++ - start);
}

void IF_LEXER::read_word() {
    token_.kind = IF_TOKEN::word;
    std::size_t start = pos_;
    std::uint32_t depth = 0;
    for (; pos_ < text_.size(); ++pos_) {
        char c = text_[pos_];
        if (c == ' ' || c == '\t' || c == '\r' || c == '\n' || c == '"' || c == ';') break;
        if (c == '(' || c == '[') ++depth;
        if ((c == ')' || c == ']') && depth-- == 0) break;
    }
    token_.text = text_.substr(start, pos_ - start);
}

std::string if_token_text(const IF_TOKEN &token) {
    switch (token.kind) {
    case IF_TOKEN::line_end: return "the end of the line";
    case IF_TOKEN::end: return "the end of the text";
    case IF_TOKEN::string: return "a string";
    default: {
        constexpr std::size_t shown = 60;
        return "\"" + std::string(token.text.substr(0, shown)) +
               (token.text.size() > shown ? "...\"" : "\"");
    }
    }
}

static int hex_digit(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

std::string if_unescape(const IF_TOKEN &token) {
    std::string out;
    std::string_view s = token.text;
    for (std::size_t i = 0; i < s.size(); ++i) {
        if (s[i] != '\\') {
            out += s[i];
            continue;
        }
        IF_PLACE place = token.place;
        place.column += static_cast<std::uint32_t>(i + 1);
        char c = ++i < s.size() ? s[i] : '\0';
        if (c == 'n')
            out += '\n';
        else if (c == 't')
            out += '\t';
        else if (c == '"' || c == '\\')
            out += c;
        else if (c == 'x' && i + 2 < s.size() && hex_digit(s[i + 1]) >= 0 &&
                 hex_digit(s[i + 2]) >= 0) {
            out += static_cast<char>(hex_digit(s[i + 1]) * 16 + hex_digit(s[i + 2]));
            i += 2;
        } else
            throw IF_TEXT_ERROR{place, "expected one of \\n, \\t, \\\", \\\\ and \\xHH"};
    }
    return out;
}
