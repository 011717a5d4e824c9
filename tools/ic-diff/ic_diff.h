// The commands of ic-diff.
#pragma once

#include "tools/ic-diff/subject.h"

#include <chrono>
#include <map>
#include <string>

// What a campaign over many programs has seen.
struct TALLY {
    unsigned programs = 0, trials = 0, failures = 0, on_host = 0;
    unsigned faults = 0;                      // refusals that show a fault of our programs
    std::map<std::string, unsigned> refusals; // by reason

    void refuse(const std::string &name, const REFUSAL &refusal); // counts and prints
    void add(const TALLY &other);
    std::string text() const;
};

// A folder of its own for each object, gone with it.
class SCRATCH_FOLDER {
public:
    SCRATCH_FOLDER();
    ~SCRATCH_FOLDER();
    SCRATCH_FOLDER(const SCRATCH_FOLDER &) = delete;
    SCRATCH_FOLDER &operator=(const SCRATCH_FOLDER &) = delete;
    const std::string &path() const { return path_; }

private:
    std::string path_;
};

// The trials that a fixed run makes of the program of a seed: every level, each with a goal that
// changes from seed to seed, and one of them with the log.
std::vector<TRIAL> sampled_trials(std::uint64_t seed);

// Goes through the seeds first, first + 1, ... of which every `stride`th is taken, and prints what
// fails. `host_every`: how many programs go by for each that the host's compiler is asked about; 0:
// none does.
TALLY check_seeds(const WORKSHOP &shop, std::uint64_t first, std::uint64_t count,
                  std::uint64_t stride, unsigned host_every);
// The same for a program of one's own, at every level and goal.
TALLY check_file(const WORKSHOP &shop, const std::string &source);

struct FUZZ_OPTIONS {
    double minutes = 10;
    unsigned jobs = 2;
    std::uint64_t first_seed = 0;
    double reduce_minutes = 6;            // for each failure
    std::string folder = "fuzz-failures"; // where failures go, each in a folder of its own
    unsigned most_failures = 10;          // ends the run
};
// Goes through seeds, with further options of quillopt in some trials, until the time is over. Of
// the first failure of a program the step is found, and the program is reduced and kept.
TALLY fuzz(const WORKSHOP &shop, const FUZZ_OPTIONS &options);

// Makes the subject's source smaller as long as the trial fails in the same way, until `deadline`.
// Half of the time is creduce's, where it is installed. Returns the smallest text.
std::string reduce(const WORKSHOP &shop, const SUBJECT &subject, const TRIAL &trial,
                   FAILURE_KIND kind, std::chrono::steady_clock::time_point deadline);
// Whether the subject is a program that fulfils the demands and fails in this way.
bool is_interesting(const WORKSHOP &shop, const SUBJECT &subject, const TRIAL &trial,
                    FAILURE_KIND kind, const DEMANDS &demands);

struct BISECTION {
    FAILURE failure; // as it is after the step; none when the trial does not fail
    int step = 0;    // as debug:last_step counts
    std::string name;
};
// Finds the first step after which the program no longer does what it did, by leaving out the
// effects of all later steps. The subject is prepared.
BISECTION bisect(const SUBJECT &subject, const TRIAL &trial);
