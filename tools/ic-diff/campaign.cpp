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
    demands.step_limit = 2'000'000'000;
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
