// Structured messages: every message has a number, a severity, a format and, if known, a source
// position, and is laid out in lines of a bounded width.
#pragma once

#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

// In ascending gravity.
enum dc_SEVERITY : int {
    dc_SUPPRESSED = 0, // never shown
    dc_NO_ERROR = 1,   // always shown, like the errors
    dc_ADVICE = 2,
    dc_DEBUG = 3,
    dc_REMARK = 4,
    dc_WARNING = 5,
    dc_ERROR = 6,
    dc_FATAL = 7,
};

// One message of the table.
struct DIAG_INFO {
    std::uint32_t id;
    const char *format;    // printf format of the body
    std::uint32_t word;    // zero in every row
    dc_SEVERITY severity;  // override_severity() may change it
    std::uint8_t internal; // an internal fault; when fatal, it calls abort()
    std::uint8_t fixed;    // never discretionary
};

// All messages by ascending id; a row with id 0 ends the table.
extern DIAG_INFO DIAG_INFO_ENTRY[];

// A source position that a message can be about.
class DIAG_SRCINFO {
public:
    virtual ~DIAG_SRCINFO() = default;
    virtual const char *file() const = 0; // null or empty: no position
    virtual unsigned line() const = 0;    // from 1
    virtual unsigned column() const = 0;  // from 1; 0: not known
    virtual bool approx() const = 0;      // near this line
};

class DIAG_SRCINFO_DATA : public DIAG_SRCINFO {
public:
    DIAG_SRCINFO_DATA(std::string file, unsigned line, unsigned column = 0, bool approx = false)
        : file_(std::move(file)), line_(line), column_(column), approx_(approx) {}
    const char *file() const override { return file_.c_str(); }
    unsigned line() const override { return line_; }
    unsigned column() const override { return column_; }
    bool approx() const override { return approx_; }

private:
    std::string file_;
    unsigned line_, column_;
    bool approx_;
};

class DIAGNOSTIC {
public:
    // `info` is the message's row, `file` and `line` the place in this system's own sources that
    // makes the message; `file` must outlive it.
    DIAGNOSTIC(DIAG_INFO *info, const char *file, unsigned line);
    virtual ~DIAGNOSTIC();

    // Prints header and body and flushes, which may end the program. A message is reported once:
    // later calls do nothing.
    virtual void report() = 0;
    virtual std::unique_ptr<DIAGNOSTIC> alloc() const = 0; // a copy on the heap
    // Whether `other` would tell the user the same; only advice knows.
    virtual bool is_equal(const DIAGNOSTIC &other) const;
    virtual void dump() const;            // for debugging: number, severity, origin to fp()
    virtual void free_mem();              // gives up the text that the message holds
    virtual std::string &get_sp_buffer(); // where sp_print() puts its text

    // Print wrapped. Both give the length of the formatted text; print() gives 0 for a suppressed
    // message. Without memory the program ends with exit code 1.
    int print(const char *format, ...) __attribute__((format(printf, 2, 3)));
    // Lays out text that is itself part of a message, at fixed margins, in get_sp_buffer().
    int sp_print(const char *format, ...) __attribute__((format(printf, 2, 3)));
    // Lays `text` out on fp() and gives the number of lines that it begins. `in_out_remaining` is
    // what is left of the current line. With `measure` nothing is written.
    int print_formatted(const char *text, bool measure, int &in_out_remaining, int diag_cols,
                        int indent, int wrap_indent) const;
    void print_header();
    // Ends the line, counts the message, and ends the program after a fatal message (abort() for
    // an internal fault, else exit code 1) or when there are too many errors. Once per message.
    void flush();
    bool suppress() const; // not shown at all under the current settings
    void set_src(const DIAG_SRCINFO *src) { src_ = src; } // not owned; must outlive the message
    void start_new_line();
    void show_annotated_source() const;
    bool is_discretionary() const;
    FILE *fp() const;
    dc_SEVERITY severity() const { return info_->severity; }
    const DIAG_INFO &info() const { return *info_; }

    // How many characters at the head of `text` can be printed in `columns` columns without
    // breaking a word or passing a line end; 0 when even the first word is longer.
    static int last_printable_char(const char *text, int columns);
    static const char *sev_str(dc_SEVERITY severity);
    static std::string srcinfo_str(const DIAG_SRCINFO *src); // empty without a position
    static DIAG_INFO *get_info(int id);                      // null for an unknown number
    // Change rows of the table; dc_SUPPRESSED turns messages off. False when nothing changed hands
    // because no row fits (`id_text` is a decimal number).
    static bool override_severity(int id, dc_SEVERITY severity);
    static bool override_severity(const char *id_text, dc_SEVERITY severity);
    static bool override_severity(dc_SEVERITY from, dc_SEVERITY to);

    static void push_indent(int columns); // adds to the current indent
    static void pop_indent();
    static void push_debug_mode(bool on);
    static void pop_debug_mode();

    static int diag_cols_m;   // right margin
    static int wrap_indent_m; // extra indent of continuation lines
    static int indent_m;      // current indent
    static std::vector<int> indent_stack_m;
    static unsigned long max_errors_m;                    // the error limit
    static unsigned long error_count_m;                   // errors and fatal errors so far
    static bool warnings_m, remarks_m, debug_m, advice_m; // show these
    static bool verbose_m; // show the annotated source line after a message
    static bool wrap_enabled_m;
    static bool wrap_headers_m; // wrap the header too
    static bool display_ipos_m; // show where in this system a message is made
    static bool display_code_m; // show message numbers
    static bool debug_mode_m;   // nothing counts as an error, nothing ends the program
    static std::vector<bool> debug_mode_stack_m;
    static FILE *fp_m; // null: standard output below warnings, standard error from them up

protected:
    bool was_reported() const { return reported_; }
    const DIAG_SRCINFO *src() const { return src_; }

private:
    // Where laid-out text goes: the buffer if there is one, else the stream.
    struct SINK {
        FILE *stream;
        std::string *buffer;
        void write(const char *text, int length) const;
        void new_line(int indent) const;
    };
    // Writes nothing without a sink.
    static int lay_out(const SINK *sink, const char *text, int &in_out_remaining, int diag_cols,
                       int indent, int wrap_indent);

    DIAG_INFO *info_;
    int budget_; // columns left of the current line
    const DIAG_SRCINFO *src_ = nullptr;
    const char *file_;
    unsigned line_;
    bool reported_ = false;
};

// Formats like vprintf into a string of the fitting length. Without memory, or with a format that
// cannot be printed, the program ends with exit code 1.
std::string diag_vformat(const char *format, va_list args);
