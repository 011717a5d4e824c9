// Layout, counting and severity of messages.
#include "DIAG/diag.h"

#include "DIAG/messages.h"

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <map>
#include <new>

int DIAGNOSTIC::diag_cols_m = 79;
int DIAGNOSTIC::wrap_indent_m = 3;
int DIAGNOSTIC::indent_m = 0;
std::vector<int> DIAGNOSTIC::indent_stack_m;
unsigned long DIAGNOSTIC::max_errors_m = 100;
unsigned long DIAGNOSTIC::error_count_m = 0;
bool DIAGNOSTIC::warnings_m = true;
bool DIAGNOSTIC::remarks_m = false;
bool DIAGNOSTIC::debug_m = false;
bool DIAGNOSTIC::advice_m = false;
bool DIAGNOSTIC::verbose_m = false;
bool DIAGNOSTIC::wrap_enabled_m = true;
bool DIAGNOSTIC::wrap_headers_m = false;
bool DIAGNOSTIC::display_ipos_m = false;
bool DIAGNOSTIC::display_code_m = false;
bool DIAGNOSTIC::debug_mode_m = false;
std::vector<bool> DIAGNOSTIC::debug_mode_stack_m;
FILE *DIAGNOSTIC::fp_m = nullptr;

namespace {
[[noreturn]] void out_of_memory() {
    std::fputs("OUT OF MEMORY - APPLICATION ABORTED\n", stderr);
    std::exit(1);
}

// An assertion that every kind of build keeps: without room for text the layout would not end.
void require(bool condition, const char *expression) {
    if (condition) return;
    std::fprintf(stderr, "DIAGNOSTIC: assertion '%s' failed\n", expression);
    std::abort();
}

// Stands in for the row of a number that is in no table, so that a message made with it still says
// something.
DIAG_INFO unknown_message = {0, "%s", 0, dc_FATAL, 1, 1};

constexpr std::uint32_t max_errors_id = 99900;

// Margins of text that is itself part of a message.
constexpr int sp_cols = 79, sp_indent = 0, sp_wrap_indent = 10;
} // namespace

std::string diag_vformat(const char *format, va_list args) {
    va_list again;
    va_copy(again, args);
    const int length = std::vsnprintf(nullptr, 0, format, args);
    if (length < 0) out_of_memory();
    try {
        std::string text(static_cast<std::size_t>(length), '\0');
        std::vsnprintf(text.data(), text.size() + 1, format, again);
        va_end(again);
        return text;
    } catch (const std::bad_alloc &) {
        out_of_memory();
    }
}

DIAGNOSTIC::DIAGNOSTIC(DIAG_INFO *info, const char *file, unsigned line)
    : info_(info ? info : &unknown_message), budget_(diag_cols_m - indent_m - wrap_indent_m),
      file_(file), line_(line) {}

DIAGNOSTIC::~DIAGNOSTIC() = default;

bool DIAGNOSTIC::is_equal(const DIAGNOSTIC &) const {
    return false;
}
void DIAGNOSTIC::free_mem() {}

void DIAGNOSTIC::dump() const {
    std::fprintf(fp(), "#%u %s made at %s:%u\n", info_->id, sev_str(info_->severity), file_, line_);
}

std::string &DIAGNOSTIC::get_sp_buffer() {
    static std::string line;
    return line;
}

const char *DIAGNOSTIC::sev_str(dc_SEVERITY severity) {
    static constexpr const char *names[] = {"(suppressed)", "(no error)", "advice", "debug",
                                            "remark",       "warning",    "error",  "fatal error"};
    const auto index = static_cast<unsigned>(severity);
    return index < std::size(names) ? names[index] : "(unknown)";
}

bool DIAGNOSTIC::suppress() const {
    switch (info_->severity) {
    case dc_SUPPRESSED: return true;
    case dc_ADVICE: return !advice_m;
    case dc_DEBUG: return !debug_m;
    case dc_REMARK: return !remarks_m;
    case dc_WARNING: return !warnings_m;
    default: return false;
    }
}

bool DIAGNOSTIC::is_discretionary() const {
    return !info_->fixed && !info_->internal && info_->severity >= dc_DEBUG &&
           info_->severity <= dc_ERROR;
}

FILE *DIAGNOSTIC::fp() const {
    if (fp_m) return fp_m;
    return info_->severity < dc_WARNING ? stdout : stderr;
}

std::string DIAGNOSTIC::srcinfo_str(const DIAG_SRCINFO *src) {
    if (!src || !src->file() || !*src->file()) return {};
    std::string text = "\"" + std::string(src->file()) + "\", line " + std::to_string(src->line());
    if (src->approx()) text += " (approximate)";
    return text;
}

void DIAGNOSTIC::SINK::write(const char *text, int length) const {
    const auto n = static_cast<std::size_t>(length);
    if (buffer)
        buffer->append(text, n);
    else
        std::fwrite(text, 1, n, stream);
}

void DIAGNOSTIC::SINK::new_line(int indent) const {
    const std::string text = "\n" + std::string(static_cast<std::size_t>(indent), ' ');
    write(text.data(), static_cast<int>(text.size()));
}

int DIAGNOSTIC::last_printable_char(const char *text, int columns) {
    if (columns <= 0) return 0;
    // Only a line's worth is looked at: the text may be very long, and this is asked for each line.
    const auto room = static_cast<std::size_t>(columns);
    std::size_t length = 0;
    while (length <= room && text[length] != '\0' && text[length] != '\n')
        ++length;
    if (length <= room) return static_cast<int>(length);
    std::size_t cut = room;
    while (cut > 0 && text[cut] != ' ')
        --cut;
    while (cut > 0 && text[cut - 1] == ' ')
        --cut;
    return static_cast<int>(cut);
}

void DIAGNOSTIC::start_new_line() {
    if (suppress()) return;
    SINK{fp(), nullptr}.new_line(indent_m + wrap_indent_m);
    budget_ = diag_cols_m - indent_m - wrap_indent_m;
}

int DIAGNOSTIC::lay_out(const SINK *sink, const char *text, int &in_out_remaining, int diag_cols,
                        int indent, int wrap_indent) {
    require(diag_cols > (indent + wrap_indent), "diag_cols > (indent + wrap_indent)");
    const int width = diag_cols - indent - wrap_indent;
    int lines = 0;
    const auto next_line = [&] {
        if (sink) sink->new_line(indent + wrap_indent);
        in_out_remaining = width;
        ++lines;
    };
    while (*text) {
        if (*text == '\n') {
            next_line();
            ++text;
            continue;
        }
        int n = last_printable_char(text, in_out_remaining);
        if (n == 0) {
            if (in_out_remaining < width) {
                next_line();
                text += std::strspn(text, " ");
                continue;
            }
            n = width; // one word that is longer than a whole line, or a line's width of blanks
        }
        if (sink) sink->write(text, n);
        text += n;
        in_out_remaining -= n;
        if (*text && *text != '\n') {
            next_line();
            text += std::strspn(text, " ");
        }
    }
    return lines;
}

int DIAGNOSTIC::print_formatted(const char *text, bool measure, int &in_out_remaining,
                                int diag_cols, int indent, int wrap_indent) const {
    const SINK sink{fp(), nullptr};
    return lay_out(measure ? nullptr : &sink, text, in_out_remaining, diag_cols, indent,
                   wrap_indent);
}

int DIAGNOSTIC::print(const char *format, ...) {
    if (suppress()) return 0;
    static std::string text; // keeps its room from message to message
    va_list args;
    va_start(args, format);
    text = diag_vformat(format, args);
    va_end(args);
    const int length = static_cast<int>(text.size());
    if (wrap_enabled_m) {
        print_formatted(text.c_str(), false, budget_, diag_cols_m, indent_m, wrap_indent_m);
    } else {
        std::fputs(text.c_str(), fp());
        budget_ -= length;
    }
    return length;
}

int DIAGNOSTIC::sp_print(const char *format, ...) {
    va_list args;
    va_start(args, format);
    const std::string text = diag_vformat(format, args);
    va_end(args);
    std::string &buffer = get_sp_buffer();
    buffer.clear();
    int remaining = sp_cols - sp_indent - sp_wrap_indent;
    const SINK sink{nullptr, &buffer};
    lay_out(&sink, text.c_str(), remaining, sp_cols, sp_indent, sp_wrap_indent);
    return static_cast<int>(text.size());
}

void DIAGNOSTIC::print_header() {
    if (suppress()) return;
    const bool wrap_body = wrap_enabled_m;
    if (!wrap_headers_m) wrap_enabled_m = false;
    std::fprintf(fp(), "%*s", indent_m, "");
    if (display_ipos_m || info_->internal) print("%s:%u:", file_, line_);
    const std::string position = srcinfo_str(src_);
    if (!position.empty()) print("%s: ", position.c_str());
    if (display_code_m || info_->internal)
        print("%s%s #%u%s: ", info_->internal ? "internal " : "", sev_str(info_->severity),
              info_->id, is_discretionary() ? "-D" : "");
    else
        print("%s: ", sev_str(info_->severity));
    wrap_enabled_m = wrap_body;
}

void DIAGNOSTIC::flush() {
    if (reported_ || suppress()) return;
    reported_ = true;
    std::fputc('\n', fp());
    if (verbose_m) show_annotated_source();
    if (debug_mode_m) return;
    if (info_->severity > dc_WARNING) {
        ++error_count_m;
        if (info_->severity == dc_FATAL) {
            std::fflush(nullptr);
            if (info_->internal) std::abort();
            std::exit(1);
        }
    }
    // When its severity was overridden, the message of the limit does not end the program.
    if (error_count_m > max_errors_m && info_->id != max_errors_id)
        DIAG::max_errors("../../master/DIAG/diag.cpp", __LINE__, max_errors_m).report();
}

void DIAGNOSTIC::show_annotated_source() const {
    if (!src_ || !src_->file()) return;
    std::ifstream source(src_->file());
    std::string line;
    for (unsigned number = 1; std::getline(source, line); ++number) {
        if (number != src_->line()) continue;
        std::fprintf(fp(), "%s\n", line.c_str());
        if (src_->column() == 0) return;
        const std::size_t before = std::min<std::size_t>(src_->column() - 1, line.size());
        std::fprintf(fp(), "%-*s^\n", static_cast<int>(before), "");
        return;
    }
}

DIAG_INFO *DIAGNOSTIC::get_info(int id) {
    static const std::map<int, DIAG_INFO *> rows = [] {
        std::map<int, DIAG_INFO *> by_id;
        for (DIAG_INFO *row = DIAG_INFO_ENTRY; row->id != 0; ++row)
            by_id.emplace(static_cast<int>(row->id), row);
        return by_id;
    }();
    const auto found = rows.find(id);
    return found == rows.end() ? nullptr : found->second;
}

bool DIAGNOSTIC::override_severity(int id, dc_SEVERITY severity) {
    DIAG_INFO *row = get_info(id);
    if (!row) return false;
    row->severity = severity;
    return true;
}

bool DIAGNOSTIC::override_severity(const char *id_text, dc_SEVERITY severity) {
    int id = 0;
    const char *end = id_text + std::strlen(id_text);
    const auto parsed = std::from_chars(id_text, end, id);
    return parsed.ec == std::errc() && parsed.ptr == end && override_severity(id, severity);
}

bool DIAGNOSTIC::override_severity(dc_SEVERITY from, dc_SEVERITY to) {
    bool any = false;
    for (DIAG_INFO *row = DIAG_INFO_ENTRY; row->id != 0; ++row)
        if (row->severity == from) {
            row->severity = to;
            any = true;
        }
    return any;
}

void DIAGNOSTIC::push_indent(int columns) {
    indent_stack_m.push_back(indent_m);
    indent_m += columns;
}

void DIAGNOSTIC::pop_indent() {
    require(!indent_stack_m.empty(), "!indent_stack_m.empty()");
    indent_m = indent_stack_m.back();
    indent_stack_m.pop_back();
}

void DIAGNOSTIC::push_debug_mode(bool on) {
    debug_mode_stack_m.push_back(debug_mode_m);
    debug_mode_m = on;
}

void DIAGNOSTIC::pop_debug_mode() {
    require(!debug_mode_stack_m.empty(), "!debug_mode_stack_m.empty()");
    debug_mode_m = debug_mode_stack_m.back();
    debug_mode_stack_m.pop_back();
}
