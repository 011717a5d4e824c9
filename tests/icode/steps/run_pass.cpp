// run_pass: one step of the pipeline, or single passes, alone on a file; the result as text.
//
// The optimizer itself runs, in a process of its own, with all steps without effect but the one
// that is asked for. Passes are put behind the barriers, each as a step that is logged and
// validated like any other.
#include "OPT5/driver/driver.h"
#include "OPT5/driver/pass.h"
#include "OPT5/icode/records/if_text.h"
#include "OPT5/icode/records/if_tool.h"
#include "OPT5/loops/loops.h"
#include "OPT5/scalar/alias.h"
#include "OPT5/scalar/scalar.h"
#include "tools/ic-lint/lint.h"

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <sstream>

namespace {
namespace fs = std::filesystem;

constexpr char usage[] =
    "usage: run_pass STEP|PASS[/PASS...] [quillopt's options] FILE [OUT]\n"
    "Runs one step, by its number or its name, or passes one after the other, alone on an icode\n"
    "file or its text form, and prints the result as text, without positions; OUT gets the icode\n"
    "file. The level is 2 unless given. Exit code 1 when the optimizer refuses the file, a\n"
    "validator complains or ic-lint would.\nPasses:\n";

struct PASS_ROW {
    const char *name;
    void (*run)();
};
constexpr PASS_ROW passes[] = {
    {"none", [] {}},
    {"beta_convert", beta_convert},
    {"beta_parms", beta_parms},
    {"combine_asgs_to_memory", combine_asgs_to_memory},
    {"copyprop", [] { copyprop(true); }},
    {"elim_dead_assigns", [] { elim_dead_assigns(); }},
    {"elim_dead_assigns(true)", [] { elim_dead_assigns(true); }},
    {"expand_bitfields", expand_bitfields},
    {"explode_auto_struct_vars", explode_auto_struct_vars},
    {"fast_CP(0,1)", [] { fast_CP(0, 1); }},
    {"fast_CP(4,0)", [] { fast_CP(4, 0); }},
    {"fast_CP(4,1)", [] { fast_CP(4, 1); }},
    {"fold_ANDBASGs", fold_ANDBASGs},
    {"loop_hierarchy",
     [] { // built with all that is done to loops, and taken down
         build_loop_hierarchy(true, false, true, 1);
         unbuild_loop_hierarchy();
     }},
    {"promote_all_embedded_assignments", promote_all_embedded_assignments},
    {"rebuildcfg", rebuildcfg},
    {"remove_unreferenced_autos", remove_unreferenced_autos},
    {"simp_all_trees", simp_all_trees},
    {"simpcfg", [] { simpcfg(false, false); }},
    {"simpcfg(true,false)", [] { simpcfg(true, false); }},
    {"simpcfg(false,true)", [] { simpcfg(false, true); }},
    {"straighten_cond_paths", straighten_cond_paths},
    {"sym_split",
     [] { // which stands on what the pass before it has found
         init_aliasing_info();
         sym_split();
     }},
    {"unsimplify",
     [] { // the same
         init_aliasing_info();
         unsimplify();
     }},
};

const PASS_ROW *find_pass(const std::string &name) {
    for (const PASS_ROW &row : passes)
        if (name == row.name) return &row;
    return nullptr;
}

// The number of a step by its number or its first name in the table; -1 without one.
int find_step(const std::string &word) {
    fill_steps_table(build_steps_table()); // adds the trailer
    for (const pass *step : global_pass_manager.members)
        if (word == step->name() || word == std::to_string(step->number()))
            return static_cast<int>(step->number());
    return -1;
}

std::vector<const PASS_ROW *> wanted;

void add_passes(std::vector<pass *> &steps) {
    auto at = std::find_if(steps.rbegin(), steps.rend(), [](pass *p) { return p->is_barrier(); });
    auto behind_barriers = at.base();
    for (const PASS_ROW *row : wanted)
        behind_barriers =
            std::next(steps.insert(behind_barriers, new pass(row->name, row->run, true)));
}

int fail(const std::string &text) {
    std::cerr << "run_pass: " << text << "\n";
    return 1;
}

// Fills `wanted` or gives the number of the step; stops with what is no name of either.
bool parse_work(const std::string &words, int &step) {
    step = no_work;
    std::istringstream names(words);
    for (std::string name; std::getline(names, name, '/');) {
        const PASS_ROW *row = find_pass(name);
        if (row)
            wanted.push_back(row);
        else if (wanted.empty() && name == words && find_step(name) >= 0)
            step = find_step(name);
        else
            return false;
    }
    return !wanted.empty() || step != no_work;
}

// Runs the optimizer in a child process, whose output on the standard output goes to `printed`.
bool optimize_in_child(std::vector<std::string> words, const fs::path &printed) {
    std::vector<char *> argv;
    for (std::string &word : words)
        argv.push_back(word.data());
    argv.push_back(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        if (!std::freopen(printed.c_str(), "w", stdout)) std::exit(1);
        try {
            optimize_file(static_cast<int>(words.size()), argv.data(), add_passes);
        } catch (const std::exception &e) {
            std::cerr << "Exception: " << e.what() << "\n";
            std::exit(1);
        }
        std::fflush(nullptr);
        _exit(0); // what the run has it keeps to its end
    }
    int status = 0;
    return child > 0 && waitpid(child, &status, 0) == child && WIFEXITED(status) &&
           WEXITSTATUS(status) == 0;
}

// Whether a validator has written to the log; its lines go to the standard error.
bool validators_complain(const fs::path &log) {
    std::string text;
    if (!if_load_file(log, text)) return true;
    std::istringstream lines(text);
    bool complain = false;
    for (std::string line; std::getline(lines, line);)
        if (line.find("+++++") != std::string::npos) {
            std::cerr << line << "\n";
            complain = true;
        }
    return complain;
}

// The text without the comments that tell how the optimizer was called.
std::string without_command_lines(std::string text) {
    std::size_t at;
    while ((at = text.find("  comment \";\\tquillopt ")) != std::string::npos)
        text.erase(at, text.find('\n', at) + 1 - at);
    return text;
}

int run(int step, const std::vector<std::string> &options, const std::vector<std::string> &files,
        const fs::path &folder) {
    std::string bytes, error, text;
    if (!if_load_file(files[0], bytes)) return fail(files[0] + ": cannot be read");
    constexpr char header_tag = 8;
    if (!bytes.empty() && bytes[0] != header_tag) {
        text = std::exchange(bytes, {});
        if (!if_bytes_of(text, bytes, error)) return fail(files[0] + ":" + error);
    }
    const fs::path in = folder / "in.ic", out = folder / "out.ic";
    if (!if_save_file(in, bytes)) return fail(in.string() + ": cannot be written");
    std::vector<std::string> words = {"quillopt", "--opt_level=1", "--debug_log=1"};
    words.insert(words.end(), options.begin(), options.end());
    words.push_back("--debug=only_step=" + std::to_string(step));
    words.push_back(in);
    words.push_back(out);
    if (!optimize_in_child(words, folder / "printed")) return fail("the optimizer has failed");
    if (validators_complain(folder / "in.odb")) return fail("a validator complains");
    if (!if_load_file(out, bytes)) return fail("no output");
    if (files.size() > 1 && !if_save_file(files[1], bytes))
        return fail(files[1] + ": cannot be written");
    IF_MODEL model;
    if (!if_read_model(bytes, model)) return fail(if_error_lines(model, "output: "));
    IF_TEXT_OPTIONS plain;
    plain.positions = false;
    std::cout << without_command_lines(if_text_of_model(model, plain));
    for (const LINT_VIOLATION &violation : LINTER(model).run())
        error += "\n  " + violation.text;
    if (!error.empty()) return fail("the output is not clean:" + error);
    return 0;
}
} // namespace

int main(int argc, char **argv) {
    std::vector<std::string> options, files;
    for (int i = 2; i < argc; ++i)
        (argv[i][0] == '-' ? options : files).push_back(argv[i]);
    if (files.empty() || files.size() > 2) {
        std::cerr << usage;
        for (const PASS_ROW &row : passes)
            std::cerr << "  " << row.name << "\n";
        return 1;
    }
    int step = no_work;
    if (!parse_work(argv[1], step)) return fail(std::string("no step or pass ") + argv[1]);
    std::string folder = (fs::temp_directory_path() / "run_pass-XXXXXX").string();
    if (!mkdtemp(folder.data())) return fail("no temporary folder");
    const int exit_code = run(step, options, files, folder);
    fs::remove_all(folder);
    return exit_code;
}
