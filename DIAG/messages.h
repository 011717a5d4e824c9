// The family of messages: one class for each row of the table.
#pragma once

#include "DIAG/diag.h"

#include <tuple>
#include <utility>

namespace DIAG {

// A message with the row `Id`, whose format takes `Args` (std::string for %s).
template <int Id, class... Args> class message : public DIAGNOSTIC {
public:
    message(const char *file, unsigned line, Args... args)
        : DIAGNOSTIC(get_info(Id), file, line), args_(std::move(args)...) {}

    void report() override {
        if (was_reported()) return;
        print_header();
        if constexpr (sizeof...(Args) == 0)
            print("%s", info().format);
        else
            std::apply([this](const Args &...args) { print(info().format, printable(args)...); },
                       args_);
        flush();
    }
    std::unique_ptr<DIAGNOSTIC> alloc() const override { return std::make_unique<message>(*this); }
    void free_mem() override { args_ = {}; }

private:
    static const char *printable(const std::string &text) { return text.c_str(); }
    static unsigned long printable(unsigned long number) { return number; }

    std::tuple<Args...> args_;
};

using text = std::string;
using number = unsigned long;

using null_pointer = message<6000, text>;
using cannot_open_file_because = message<6001, text, text>;
using conflicting_options = message<6002, text, text>;
using invalid_parameter = message<6003, text, text>;
using cannot_open_file = message<6004, text>;
using not_an_archive = message<6005, text>;
using invalid_option = message<6006, text>;
using non_null_pointer = message<6007, text>;

using optgen_invalid_option = message<24000>;
using optgen_out_of_memory = message<24001>;
using optgen_conflict_option = message<24002, text, text>;
using optgen_conflict_override_option = message<24003, text, text>;
using optgen_conflict_quiet_option = message<24004, text, text>;
using optgen_bad_parm_type = message<24005>;
using optgen_clear_persistent = message<24006, text>;
using optgen_unhandled_setarg = message<24007, number>;
using optgen_unhandled_option_handler = message<24008, number>;
using optgen_list_handler_for_non_list = message<24009, number>;
using optgen_missing_parameter = message<24010, text, text>;
using optgen_out_of_range = message<24011, text, text>;
using optgen_negative = message<24012, text, text>;
using optgen_not_in_range = message<24013, text, text, number, number>;
using optgen_corruption = message<24014>;
using optgen_bad_word = message<24015, text, text>;
using optgen_deprecated_case = message<24016, text, text>;
using optgen_not_valid_ignored = message<24017, text, text, text>;
using optgen_not_valid = message<24018, text, text, text>;
using optgen_garbage = message<24019, text>;
using optgen_merge_missing = message<24020, text, text>;
using optgen_merge_new = message<24021, text, text>;
using optgen_merge_incompatible = message<24022, text, text, text>;
using optgen_merge_conflict = message<24023, text, text, text>;
using optgen_hard_float_abi = message<24024>;
using optgen_unaligned_workaround = message<24025, text>;
using optgen_power_of_2 = message<24026, text>;
using optgen_output_like_level = message<24027, text, text>;
using optgen_shell_only = message<24028, text>;
using optgen_empty = message<24029>;
using optgen_unknown_tool_type = message<24030, text>;
using optgen_unhandled_history = message<24031, number>;
using optgen_unknown_tool = message<24032, text>;
using optgen_bad_silicon_version = message<24033, text>;
using optgen_no_small_model = message<24034>;
using optgen_variant_dropped = message<24035, text>;
using optgen_option_dropped = message<24036, text>;
using optgen_far_heapsize = message<24037, text>;
using optgen_remark = message<24038, text>;
using optgen_warning = message<24039, text>;
using optgen_error = message<24040, text>;
using optgen_fatal = message<24041, text>;
using optgen_dp_load_opt = message<24042>;

using max_errors = message<99900, number>;

using gremark = message<99921, text>;
using gerror = message<99923, text>;
using gapperror = message<99924, text>;
using gfatal = message<99925, text>;

// Texts that are set off by parentheses from the place in the sources that precedes them.
template <int Id> class parenthesized : public DIAGNOSTIC {
public:
    parenthesized(const char *file, unsigned line, std::string words)
        : DIAGNOSTIC(get_info(Id), file, line), words_(std::move(words)) {}
    void report() override {
        if (was_reported()) return;
        print_header();
        print("(%s)", words_.c_str());
        flush();
    }
    std::unique_ptr<DIAGNOSTIC> alloc() const override {
        return std::make_unique<parenthesized>(*this);
    }
    void free_mem() override { words_.clear(); }

private:
    std::string words_;
};
using gdebug = parenthesized<99920>;
using gdie = parenthesized<99926>;

// A warning with the number, and so the severity, of any row.
class gwarning : public DIAGNOSTIC {
public:
    // An `id` that is in no row, such as 0, means the general warning.
    gwarning(const char *file, unsigned line, unsigned id, std::string words);
    void report() override;
    std::unique_ptr<DIAGNOSTIC> alloc() const override { return std::make_unique<gwarning>(*this); }
    void free_mem() override { words_.clear(); }

private:
    std::string words_;
};

// Advice keeps its laid-out text and position, so that it can be compared.
class gadvice : public DIAGNOSTIC {
public:
    gadvice(const char *file, unsigned line, const DIAG_SRCINFO *src, const std::string &words);
    void report() override;
    std::unique_ptr<DIAGNOSTIC> alloc() const override { return std::make_unique<gadvice>(*this); }
    bool is_equal(const DIAGNOSTIC &other) const override;
    void free_mem() override { buffer_.clear(); }
    std::string &get_sp_buffer() override { return buffer_; }

private:
    std::string buffer_, position_;
};

} // namespace DIAG
