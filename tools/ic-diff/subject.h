// A C program under test, and what it does: compiled and run as it is, compiled by the host's
// compiler, and run after quillopt under various options.
#pragma once

#include "tools/ic-diff/process.h"

#include <cstdint>
#include <string>
#include <vector>

// Where programs are and where files go. One for each thread.
struct WORKSHOP {
    std::string bin;     // folder of ic-cc, quillopt, ic-lint and ic-run
    std::string include; // folder of csmith.h
    std::string scratch; // a folder that nobody else writes to
    std::string host_cc = "gcc";
};

// One way of optimizing.
struct TRIAL {
    std::string level = "3";          // of --opt_level
    int goal = 4;                     // of --size_speed_goal
    std::vector<std::string> options; // further options of quillopt
    bool logged = false;              // with the debug log, which has to be free of complaints

    std::string text() const;
};

// The kinds of failure, in the order in which they are found.
enum FAILURE_KIND {
    no_failure,
    optimizer_fails, // quillopt gives no output file
    log_complains,   // a validator has something to say
    lint_complains,  // the output breaks a rule of the format
    run_differs      // other output or exit code than before
};

struct FAILURE {
    FAILURE_KIND kind = no_failure;
    std::string text; // one or more lines that say what was seen

    explicit operator bool() const { return kind != no_failure; }
};

// Why a program cannot be used; empty when it can.
struct REFUSAL {
    std::string reason; // a short one, by which refusals are counted
    std::string text;   // what the program said that refuses
    bool fault = false; // of one of our programs, not just a program that is no use

    explicit operator bool() const { return !reason.empty(); }
};

// How closely a program is looked at before it is optimized.
struct DEMANDS {
    std::uint64_t step_limit = 20'000'000; // nodes that its run may take
    bool host = false;                     // does the same when compiled by the host's compiler
    bool checked = false;                  // runs to its end under ic-run --check
};

class SUBJECT {
public:
    // `source` is a C file; with `calls` its safe operations are calls.
    SUBJECT(const WORKSHOP &shop, std::string source, bool calls = false)
        : shop_(shop), source_(std::move(source)), calls_(calls) {}

    // Compiles the program; enough for trials that fail before the optimized program runs.
    REFUSAL compile();
    // Compiles and runs the program. To be called, and to succeed, before try_trial.
    REFUSAL prepare(const DEMANDS &demands = {});
    // Optimizes the program and compares what it does.
    FAILURE try_trial(const TRIAL &trial) const;
    // What is different when the program is compiled by the host's compiler; empty when nothing is.
    // The subject is prepared.
    REFUSAL differs_from_host() const;

    const std::string &source() const { return source_; }
    bool calls() const { return calls_; }
    // The debug log of the last trial that wrote one.
    std::string log() const { return read_whole_file(file("before.odb")); }

private:
    PROCESS_RESULT run_on_host() const;
    PROCESS_RESULT tool(std::vector<std::string> words, unsigned cpu_seconds = 60) const;
    std::string file(const char *name) const { return shop_.scratch + "/" + name; }

    const WORKSHOP &shop_;
    std::string source_;
    bool calls_;
    std::uint64_t step_limit_ = 0; // for the optimized program
    PROCESS_RESULT expected_;
};

// Writes the program that csmith makes of this seed to `path`. Which features it has goes by the
// seed too. A fixed seed gives a fixed program for one version of csmith.
REFUSAL generate_program(const WORKSHOP &shop, std::uint64_t seed, const std::string &path);
// Whether the program of this seed calls its safe operations.
bool seed_has_calls(std::uint64_t seed);

extern const std::vector<std::string> all_levels;
extern const std::vector<int> all_goals;
