// Many programs, each under several ways of optimizing.
#include "tools/ic-diff/ic_diff.h"

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <mutex>
#include <thread>

namespace fs = std::filesystem;

namespace {
std::mutex printing;

template <class... T> void say(const char *format, const T &...arguments) {
    const std::lock_guard lock(printing);
    std::printf(format, arguments...);
    std::fflush(stdout);
}

void say_failure(const std::string &name, const SUBJECT &subject, const TRIAL &trial,
                 const FAILURE &failure) {
    say("FAILED %s with %s%s\n%s", name.c_str(), trial.text().c_str(),
        subject.calls() ? ", compiled with -D SAFE_CALLS" : "", failure.text.c_str());
}
} // namespace

void TALLY::refuse(const std::string &name, const REFUSAL &refusal) {
    ++refusals[refusal.reason];
    faults += refusal.fault;
    say("%s %s: %s\n%s", refusal.fault ? "FAILED" : "refused", name.c_str(), refusal.reason.c_str(),
        refusal.text.c_str());
}

void TALLY::add(const TALLY &other) {
    programs += other.programs;
    trials += other.trials;
    failures += other.failures;
    faults += other.faults;
    on_host += other.on_host;
    for (const auto &[reason, count] : other.refusals)
        refusals[reason] += count;
}

std::string TALLY::text() const {
    unsigned refused = 0;
    std::string reasons;
    for (const auto &[reason, count] : refusals) {
        refused += count;
        reasons += (reasons.empty() ? ": " : ", ") + reason + " " + std::to_string(count);
    }
    return std::to_string(programs) + " programs (" + std::to_string(on_host) +
           " compared with the host's compiler), " + std::to_string(trials) + " trials, " +
           std::to_string(failures) + " failures, " + std::to_string(refused) +
           " programs refused" + reasons;
}

SCRATCH_FOLDER::SCRATCH_FOLDER() {
    std::string name = (fs::temp_directory_path() / "ic-diff-XXXXXX").string();
    if (!mkdtemp(name.data())) {
        std::perror("ic-diff: no scratch folder");
        std::exit(2);
    }
    path_ = name;
}

SCRATCH_FOLDER::~SCRATCH_FOLDER() {
    std::error_code error;
    fs::remove_all(path_, error);
}

std::vector<TRIAL> sampled_trials(std::uint64_t seed) {
    std::vector<TRIAL> trials;
    for (std::size_t l = 0; l < all_levels.size(); ++l) {
        TRIAL trial;
        trial.level = all_levels[l];
        trial.goal = all_goals[(seed + l) % all_goals.size()];
        trial.logged = seed / all_goals.size() % all_levels.size() == l;
        trials.push_back(trial);
    }
    return trials;
}

TALLY check_seeds(const WORKSHOP &shop, std::uint64_t first, std::uint64_t count,
                  std::uint64_t stride, unsigned host_every) {
    TALLY tally;
    const std::string source = shop.scratch + "/program.c";
    for (std::uint64_t seed = first; seed < first + count; seed += stride) {
        const std::string name = "seed " + std::to_string(seed);
        SUBJECT subject(shop, source, seed_has_calls(seed));
        DEMANDS demands;
        demands.host = host_every != 0 && (seed - first) / stride % host_every == 0;
        REFUSAL refusal = generate_program(shop, seed, source);
        if (!refusal) refusal = subject.prepare(demands);
        if (refusal) {
            tally.refuse(name, refusal);
            continue;
        }
        ++tally.programs;
        tally.on_host += demands.host;
        for (const TRIAL &trial : sampled_trials(seed)) {
            ++tally.trials;
            if (const FAILURE failure = subject.try_trial(trial)) {
                ++tally.failures;
                say_failure(name, subject, trial, failure);
            }
        }
    }
    return tally;
}

TALLY check_file(const WORKSHOP &shop, const std::string &source) {
    TALLY tally;
    SUBJECT subject(shop, source);
    DEMANDS demands;
    demands.host = true;
    if (const REFUSAL refusal = subject.prepare(demands)) {
        tally.refuse(source, refusal);
        return tally;
    }
    tally.programs = tally.on_host = 1;
    for (const std::string &level : all_levels)
        for (const int goal : all_goals) {
            TRIAL trial;
            trial.level = level;
            trial.goal = goal;
            trial.logged = goal == all_goals.back();
            ++tally.trials;
            if (const FAILURE failure = subject.try_trial(trial)) {
                ++tally.failures;
                say_failure(source, subject, trial, failure);
            }
        }
    return tally;
}

namespace {
// Options of quillopt that a program's behaviour does not depend on.
const std::vector<std::vector<std::string>> further_options = {
    {},
    {"--auto_inline=100"},
    {"--enable=lir"},
    {"--use_llvm"},
    {"--vectorize=on"},
    {"--program_mode=0"},
    {"--alias_vars"},
    {"--volatile_vars"},
    {"--non_reentrant", "--inline_single"},
};

std::vector<TRIAL> fuzz_trials(std::uint64_t seed) {
    std::vector<TRIAL> trials = sampled_trials(seed);
    for (std::size_t l = 0; l < trials.size(); ++l)
        if ((seed + l) % 3 == 0)
            trials[l].options = further_options[(seed / 3 + l) % further_options.size()];
    return trials;
}

std::chrono::steady_clock::duration duration_of(double minutes) {
    return std::chrono::duration_cast<std::chrono::steady_clock::duration>(
        std::chrono::duration<double>(minutes * 60));
}

// Leaves a folder with the program, a small one that fails in the same way, and what is known.
void keep_failure(const WORKSHOP &shop, const FUZZ_OPTIONS &options, std::uint64_t seed,
                  SUBJECT subject, const TRIAL &trial, const FAILURE &failure) {
    const std::string folder =
        options.folder + "/seed-" + std::to_string(seed) + "-level-" + trial.level;
    fs::create_directories(folder);
    const BISECTION found = bisect(subject, trial);
    const std::string text = "seed " + std::to_string(seed) + "\noptions " + trial.text() +
                             (subject.calls() ? "\ncompiled with -D SAFE_CALLS" : "") +
                             "\nfirst wrong after " + found.name + "\n" + failure.text;
    write_whole_file(folder + "/about.txt", text);
    write_whole_file(folder + "/program.c", read_whole_file(subject.source()));
    say("%s\n  reducing for up to %.1f minutes ...\n", text.c_str(), options.reduce_minutes);
    const std::string small =
        reduce(shop, subject, trial, failure.kind,
               std::chrono::steady_clock::now() + duration_of(options.reduce_minutes));
    write_whole_file(folder + "/case.c", small);
    say("  %s/case.c has %zu lines\n", folder.c_str(),
        static_cast<std::size_t>(std::count(small.begin(), small.end(), '\n')));
}

// What the threads of a fuzz run share.
struct FUZZ_RUN {
    FUZZ_OPTIONS options;
    std::chrono::steady_clock::time_point end;
    std::atomic<std::uint64_t> next_seed;
    std::atomic<unsigned> failures = 0;
    std::mutex adding;
    TALLY tally;
};

void fuzz_seed(const WORKSHOP &shop, FUZZ_RUN &run, std::uint64_t seed, TALLY &tally) {
    const std::string source = shop.scratch + "/program.c";
    SUBJECT subject(shop, source, seed_has_calls(seed));
    DEMANDS demands;
    demands.host = seed % 4 == 0;
    REFUSAL refusal = generate_program(shop, seed, source);
    if (!refusal) refusal = subject.prepare(demands);
    if (refusal) {
        if (refusal.fault)
            tally.refuse("seed " + std::to_string(seed), refusal);
        else
            ++tally.refusals[refusal.reason];
        return;
    }
    ++tally.programs;
    tally.on_host += demands.host;
    for (const TRIAL &trial : fuzz_trials(seed)) {
        ++tally.trials;
        const FAILURE failure = subject.try_trial(trial);
        if (!failure) continue;
        ++tally.failures;
        ++run.failures;
        say_failure("seed " + std::to_string(seed), subject, trial, failure);
        keep_failure(shop, run.options, seed, subject, trial, failure);
        return;
    }
}

void fuzz_worker(WORKSHOP shop, FUZZ_RUN &run) {
    const SCRATCH_FOLDER scratch;
    shop.scratch = scratch.path();
    TALLY tally;
    while (std::chrono::steady_clock::now() < run.end && run.failures < run.options.most_failures)
        fuzz_seed(shop, run, run.next_seed++, tally);
    const std::lock_guard lock(run.adding);
    run.tally.add(tally);
}
} // namespace

TALLY fuzz(const WORKSHOP &shop, const FUZZ_OPTIONS &options) {
    FUZZ_RUN run;
    run.options = options;
    run.end = std::chrono::steady_clock::now() + duration_of(options.minutes);
    run.next_seed = options.first_seed;
    std::vector<std::thread> workers;
    for (unsigned i = 0; i < options.jobs; ++i)
        workers.emplace_back(fuzz_worker, shop, std::ref(run));
    for (std::thread &worker : workers)
        worker.join();
    say("seeds %llu to %llu\n", static_cast<unsigned long long>(options.first_seed),
        static_cast<unsigned long long>(run.next_seed - 1));
    return run.tally;
}
