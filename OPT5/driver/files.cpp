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

char info_file_name[500] = "";

volatile bool output_is_unfinished = false; // read by signal handlers

FILE *log_before_function = nullptr; // what restore_debug_log() goes back to
bool function_log_is_open = false;

// A name that the buffer cannot hold is cut; false then.
template <std::size_t N> bool copy_name(char (&to)[N], std::string_view from) {
    const std::size_t n = from.copy(to, N - 1);
    to[n] = '\0';
    return n == from.size();
}

[[noreturn]] void cannot_open(const char *what, const char *name, const char *why) {
    std::fprintf(stderr, "\n>> Cannot Open %s, %s : %s, Aborting\n", what, name, why);
    if_exit(1);
}

[[noreturn]] void cannot_open(const char *what, const char *name) {
    cannot_open(what, name, std::strerror(errno));
}

constexpr char input_file[] = "Input icode File", output_file[] = "Output icode File",
               info_file[] = "Info File", debug_file[] = "Debug File";

std::string with_extension(std::string_view name, const char *extension) {
    return fs::path(name).replace_extension(extension).string();
}

// Takes options at once and counts the other words; the first two are file names.
int walk_command_line() {
    int positional = 0;
    for (argument_cursor = 1; argument_cursor < argument_count && arguments[argument_cursor];
         ++argument_cursor) {
        const char *word = arguments[argument_cursor];
        if (word[0] == '-') {
            const char *rest = nullptr;
            if (!cmdline_options->process_option(word + 1, &rest)) if_exit(1);
            continue;
        }
        switch (++positional) {
        case 1:
            if (!copy_name(i_file_name, word))
                cannot_open(input_file, word, std::strerror(ENAMETOOLONG));
            break;
        case 2:
            if (!copy_name(o_file_name, word))
                cannot_open(output_file, word, std::strerror(ENAMETOOLONG));
            break;
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
    if (!stream) cannot_open(input_file, i_file_name);
    i_file = I_FILE::if_open(stream, &opt_client);
    if (!i_file) {
        std::fprintf(stderr, "\n>> Error when opening input icode file : %s, Aborting\n",
                     i_file_name);
        if_exit(1);
    }
}

[[noreturn]] void bad_option_set(unsigned id, const char *what) {
    std::fprintf(stderr, "\n>> Option set %u of the input icode File %s, Aborting\n", id, what);
    if_exit(1);
}

// One object per option set of the file, by number; a file without any has set 0. The file's
// arguments come first, so that the command line's override them.
void build_option_sets() {
    const bool ignore_stored = cmdline_options->parsed_option(option_obj::option_id(10));
    all_option_sets.assign(std::max<std::size_t>(icode_optionlist.size(), 1), nullptr);
    for (const OPTION_RECORD &record : icode_optionlist) {
        if (record.id >= all_option_sets.size()) bad_option_set(record.id, "has too high a number");
        option_obj *&set = all_option_sets[record.id];
        if (set) bad_option_set(record.id, "is there twice");
        set = new option_obj(false);
        if (ignore_stored) continue;
        for (const std::string &arg : record.args) {
            const char *rest = nullptr;
            if (!set->process_option(arg.c_str() + (arg[0] == '-'), &rest))
                bad_option_set(record.id, "has a bad option");
        }
    }
    for (option_obj *&set : all_option_sets) {
        if (!set) set = new option_obj(false);
        set->copy_options_of(*cmdline_options);
    }
    file_options = all_option_sets.front();
}

// Ends the run when the file that is to be written is one that the run reads or writes already.
void refuse_file_in_use(const char *what, const char *name) {
    static constexpr struct {
        const char *name, *text;
    } files[] = {{i_file_name, "It is the input file"},
                 {info_file_name, "It is the information file"},
                 {bug_file_name, "It is the debug file"}};
    std::error_code error;
    if (!fs::is_regular_file(name, error)) return;
    for (const auto &file : files) {
        if (*file.name && fs::equivalent(name, file.name, error) && !error)
            cannot_open(what, name, file.text);
    }
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
    if (positional == 1) {
        const std::string name = with_extension(i_file_name, ".opt");
        if (!copy_name(o_file_name, name))
            cannot_open(output_file, name.c_str(), std::strerror(ENAMETOOLONG));
    }
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
    refuse_file_in_use(info_file, name.c_str());
    finfo = std::fopen(name.c_str(), "w");
    if (!finfo) cannot_open(info_file, name.c_str());
    if (!copy_name(info_file_name, name))
        cannot_open(info_file, name.c_str(), std::strerror(ENAMETOOLONG));
    write_opt_info = static_cast<int>(info_level);
    std::fprintf(finfo, "%-40s\nBuild Number %s\n", banner, build_number);
}

void open_output() {
    refuse_file_in_use(output_file, o_file_name);
    FILE *stream = std::fopen(o_file_name, "wb");
    if (!stream) cannot_open(output_file, o_file_name);
    output_is_unfinished = true;
    o_file = I_FILE::if_create(stream, tp, i_file->name.c_str());
    std::atexit(remove_output); // whatever ends the run before close_files() has been through
    for (const OPTION_RECORD &record : icode_optionlist)
        o_file->if_enter_option_set(record.id, record.args);
}

void emit_cmd_line_text() {
    std::string text = ";\t";
    for (int i = 0; i < argument_count && arguments[i]; ++i)
        (text += arguments[i]) += ' ';
    o_file->if_write_comment(text.c_str());
    if (!print_debug) return;
    for (std::size_t i = 0; i < all_option_sets.size(); ++i) {
        dprintf("Option set %d%s:\n", static_cast<int>(i), i == 0 ? " (file-level options)" : "");
        for (const std::string &arg :
             all_option_sets[i]->export_option_list(option_obj::export_set))
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
    stem += ".odb";
    if (!suffix) refuse_file_in_use(debug_file, stem.c_str());
    copy_name(bug_file_name, stem);
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
