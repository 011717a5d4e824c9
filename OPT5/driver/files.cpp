// Opening and closing of all files, and the option sets that come with the input.
#include "OPT5/driver/abort.h"
#include "OPT5/driver/driver.h"
#include "OPT5/driver/global_flags.h"
#include "OPT5/driver/log.h"
#include "OPT5/driver/optobj.h"
#include "OPT5/driver/register_option.h"
#include "OPT5/driver/signals.h"
#include "OPT5/icode/if.h"
#include "OPT5/icode/opt_client.h"
#include "OPT5/icode/records/if_exit.h"
#include "OPT5/interproc/interproc.h"
#include "OPT5/vector/mdbuilder.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <string_view>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {
constexpr std::size_t max_debug_stem = 250;

// Words of the command line, for next_arg.
char **arguments = nullptr;
int argument_count = 0, argument_cursor = 0;

const char *next_arg() {
    return argument_cursor + 1 < argument_count ? arguments[++argument_cursor] : nullptr;
}

volatile bool output_is_unfinished = false; // read by signal handlers

FILE *log_before_function = nullptr; // what restore_debug_log() goes back to
bool function_log_is_open = false;

template <std::size_t N> void copy_name(char (&to)[N], std::string_view from) {
    const std::size_t n = from.copy(to, N - 1);
    to[n] = '\0';
}

std::string with_extension(std::string_view name, const char *extension) {
    return fs::path(name).replace_extension(extension).string();
}

// Takes options at once and counts the other words; the first two are file names.
int walk_command_line() {
    int positional = 0;
    for (argument_cursor = 1; argument_cursor < argument_count && arguments[argument_cursor];
         ++argument_cursor) {
        const char *word = arguments[argument_cursor];
        if (word[0] == '-' && word[1] != '\0') {
            const char *rest = nullptr;
            if (!cmdline_options->process_option(word + 1, &rest)) if_exit(1);
            continue;
        }
        switch (++positional) {
        case 1: copy_name(i_file_name, word); break;
        case 2: copy_name(o_file_name, word); break;
        case 3: break;
        default:
            std::fprintf(stderr, "\n>>>> OPTIMIZER ERROR: Unexpected options: %s %s %s\n",
                         i_file_name, o_file_name, word);
        }
    }
    return positional;
}

void open_input() {
    FILE *stream = std::fopen(i_file_name, "rb");
    if (!stream) {
        std::fprintf(stderr, "\n>> Cannot Open Input icode File, %s : %s, Aborting\n", i_file_name,
                     std::strerror(errno));
        if_exit(1);
    }
    i_file = I_FILE::if_open(stream, &opt_client);
    if (!i_file) {
        std::fprintf(stderr, "\n>> Error when opening input icode file : %s, Aborting\n",
                     i_file_name);
        if_exit(1);
    }
}

// One object per option set of the file, at least one. The file's arguments come first, so that
// the command line's override them.
void build_option_sets() {
    const bool ignore_stored = cmdline_options->parsed_option(option_obj::option_id(10));
    if (icode_optionlist.empty()) icode_optionlist.push_back({0, {}});
    for (const OPTION_RECORD &record : icode_optionlist) {
        auto *set = new option_obj(false);
        if (!ignore_stored)
            for (const std::string &arg : record.args) {
                const char *rest = nullptr;
                set->process_option(arg.c_str() + (arg[0] == '-'), &rest);
            }
        set->copy_options_of(*cmdline_options);
        all_option_sets.push_back(set);
    }
    file_options = all_option_sets.front();
}

bool same_file(const char *a, const char *b) {
    std::error_code error;
    return fs::equivalent(a, b, error) && !error;
}

void choose_output_name(int positional) {
    if (positional == 0) {
        std::fprintf(stderr, "Usage: %s [-options] filename\n", option_obj::executable_name);
        if_exit(1);
    }
    if (positional > 2) {
        std::fprintf(stderr, "\n>>>> OPTIMIZER ERROR: Garbage on command line\n\n");
        if_exit(1);
    }
    if (positional == 1) copy_name(o_file_name, with_extension(i_file_name, ".opt"));
}

void open_info_file() {
    const option_obj &options = *file_options;
    const bool has_debug = options.parsed_option(option_obj::option_id(48));
    const long level = options.getnumarg(option_obj::option_id(45), 0);
    const long info_level = options.getnumarg(option_obj::option_id(27), 0);
    if (!((level == 36 || level == 37 || has_debug) && info_level != 0)) {
        file_options->clearopt(option_obj::option_id(27));
        return;
    }
    const char *given = options.getstrarg(option_obj::option_id(44), 0);
    const std::string name = given && *given ? given : with_extension(i_file_name, ".nfo");
    finfo = std::fopen(name.c_str(), "w");
    if (!finfo) {
        std::fprintf(stderr, "\n>> Cannot Open Info File, %s : %s, Aborting\n", name.c_str(),
                     std::strerror(errno));
        if_exit(1);
    }
    write_opt_info = static_cast<int>(info_level);
    std::fprintf(finfo, "%-40s\nBuild Number %s\n", banner, build_number);
}

void open_output() {
    if (same_file(i_file_name, o_file_name)) {
        std::fprintf(stderr, "\n>> Cannot Open Output icode File, %s : %s, Aborting\n", o_file_name,
                     "It is the input file");
        if_exit(1);
    }
    FILE *stream = std::fopen(o_file_name, "wb");
    if (!stream) {
        std::fprintf(stderr, "\n>> Cannot Open Output icode File, %s : %s, Aborting\n", o_file_name,
                     std::strerror(errno));
        if_exit(1);
    }
    output_is_unfinished = true;
    o_file = I_FILE::if_create(stream, tp, i_file->name.c_str());
    std::atexit(remove_output); // whatever ends the run before close_files() has been through
    for (const OPTION_RECORD &record : icode_optionlist)
        if (record.id != 0 || !record.args.empty() || icode_optionlist.size() > 1)
            o_file->if_enter_option_set(record.id, record.args);
}

void emit_cmd_line_text() {
    std::string text = ";\t";
    for (int i = 0; i < argument_count && arguments[i]; ++i)
        (text += arguments[i]) += ' ';
    o_file->if_write_comment(text.c_str());
    if (!print_debug) return;
    for (const OPTION_RECORD &record : icode_optionlist) {
        dprintf("Option set %d%s:\n", static_cast<int>(record.id),
                record.id == 0 ? " (file-level options)" : "");
        for (const std::string &arg : record.args)
            dprintf("\t%s\n", arg.c_str());
    }
}
} // namespace

void open_files(int argc, char **argv) {
    arguments = argv;
    argument_count = argc;
    cmdline_options = new option_obj(true);
    option_obj::executable_name = argv[0];
    option_obj::next_arg = next_arg;
    install_optimizer_handlers();
    const int positional = walk_command_line();
    open_input();
    build_option_sets();
    if (file_options->parsed_option(option_obj::option_id(17))) {
        file_options->dump(0);
        std::exit(0);
    }
    reset_global_flags();
    set_global_flags(file_options);
    tp = new TYPE_PKG();
    tp->init_type_pkg();
    i_file->if_type_init(tp);
    const bool has_debug = file_options->parsed_option(option_obj::option_id(48));
    if (has_debug) {
        if (file_options->getnumarg(option_obj::option_id(27), 0) == 0)
            file_options->setarg(option_obj::option_id(27), 1);
        const long goal = file_options->getnumarg(option_obj::option_id(55), 0);
        if (goal == 44 || goal == 45 || goal == 46 || goal == 48)
            std::fprintf(stderr, "\n\t*** Optimizing code size, not speed ***\n\n");
    }
    choose_output_name(positional);
    open_info_file();
    if (has_debug) {
        open_debug_file(true, nullptr);
        print_debug = static_cast<int>(file_options->getnumarg(option_obj::option_id(48), 0));
    }
    do_MDF_vectorization =
        pass_debug("SIMD") ? 1 : file_options->getnumarg(option_obj::option_id(67), 0) == 50;
    init_proc_integration();
    open_output();
    if (volit_vars)
        for (FILE *stream : {fdebug, stderr})
            if (stream)
                std::fprintf(stream,
                             "\n>>>> Warning: All non-auto lvalues are considered VOLATILE.\n\n");
    emit_cmd_line_text();
}

void remove_output() {
    struct stat status;
    if (output_is_unfinished && stat(o_file_name, &status) == 0 && S_ISREG(status.st_mode))
        unlink(o_file_name);
}

void close_files() {
    if (i_file) i_file->if_close(true, false);
    i_file = nullptr;
    I_FILE *out = o_file;
    o_file = nullptr;
    if (out && out->if_close(true, false)) {
        std::fprintf(stderr, "\n>> Cannot Write Output icode File, %s : %s, Aborting\n",
                     o_file_name, std::strerror(errno));
        if_exit(1);
    }
    output_is_unfinished = false;
    if (print_debug && fdebug) {
        std::fprintf(fdebug, "\n== END OF DEBUG OUTPUT==\n");
        std::fclose(fdebug);
        fdebug = nullptr;
        print_debug = 0;
    }
    if (write_opt_info && finfo) {
        std::fprintf(finfo, "\n== END OF INFO OUTPUT==\n");
        std::fclose(finfo);
        finfo = nullptr;
        write_opt_info = 0;
    }
}

void open_debug_file(bool fatal, const char *suffix) {
    if (fdebug && !suffix) return;
    std::string stem = with_extension(i_file_name, "");
    if (suffix) (stem += '.') += suffix;
    stem.resize(std::min(stem.size(), max_debug_stem));
    copy_name(bug_file_name, stem + ".odb");
    if (fdebug) std::fprintf(fdebug, ">>>> SWITCHING LOG TO %s\n", bug_file_name);
    // In pass 2 the log of a function goes on where pass 1 left it.
    const bool goes_on = suffix && fileinfo && fileinfo->pass_number == 2;
    FILE *stream = std::fopen(bug_file_name, goes_on ? "a" : "w");
    if (!stream) {
        std::fprintf(stderr, "\n>> Cannot Open Debug File, %s : %s, Aborting\n", bug_file_name,
                     std::strerror(errno));
        if (fatal) if_exit(1);
        stream = stderr;
    }
    fdebug = stream;
}

void begin_function_log() {
    log_before_function = fdebug;
    function_log_is_open = false;
    if (pass_debug("split_odb")) {
        open_debug_file(true, currfuninfo->name.c_str());
        function_log_is_open = true;
    }
    dump_function_header();
    if (write_opt_info) {
        std::fprintf(finfo, "\n%s\n", std::string(78, '=').c_str());
        dump_FUNINFO(currfuninfo, nullptr);
    }
    if ((currfuninfo->flags & FUN_is_unsuppressed) && opt_level() > 2)
        std::fprintf(fdebug, "\n!!! %s() (%s) must be unsuppressed !!!\n\n",
                     currfunc->type->printstr().c_str(), currfuninfo->name.c_str());
}

void restore_debug_log() {
    if (!function_log_is_open || fdebug == log_before_function) return;
    if (fdebug && fdebug != stderr) std::fclose(fdebug);
    fdebug = log_before_function;
    function_log_is_open = false;
}
