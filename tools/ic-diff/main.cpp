// ic-diff: finds programs that do something else after optimizing.
#include "tools/ic-diff/ic_diff.h"

#include <charconv>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <stdexcept>
#include <string_view>

namespace fs = std::filesystem;

namespace {
constexpr char usage[] =
    "usage: ic-diff COMMAND [options]\n"
    "Compiles programs with ic-cc, optimizes them with quillopt, and compares what they do under\n"
    "ic-run before and after; ic-lint and the validators of the debug log have to be content too.\n"
    "  seeds FIRST COUNT        the programs that csmith makes of these seeds\n"
    "    --shard I/N              only every Nth of them, from the Ith (from 0) on\n"
    "    --host_every N           ask the host's compiler about every Nth program; 0: never\n"
    "    --most_refused PERCENT   more refused programs than that are a failure (default 10)\n"
    "  files FILE.c...          these programs, at every level and goal\n"
    "  fuzz MINUTES             programs of new seeds; failures are reduced and kept\n"
    "    --first_seed N           begin with this seed instead of one that the clock gives\n"
    "    --jobs N                 threads (default 2)\n"
    "    --reduce_minutes N       time for each failure (default 6)\n"
    "    --folder FOLDER          where failures go (default fuzz-failures)\n"
    "    --most_failures N        end the run after so many (default 10)\n"
    "  bisect FILE.c            the first step after which the program goes wrong\n"
    "  reduce FILE.c            a smaller program that fails in the same way, on standard output\n"
    "    --minutes N              time for it (default 6)\n"
    "  interesting FILE.c       for reducers: exit code 0 when the program fails in the same way\n"
    "    --kind N --checked 0|1 --host 0|1   in which way, and what is asked of the program\n"
    "The last three take one way of optimizing:\n"
    "    --opt_level L --size_speed_goal G (default 3 and 4), --logged 1: with the debug log,\n"
    "    --option=OPTION          a further option of quillopt, may be repeated\n"
    "    --calls 1                safe operations are calls\n"
    "Exit code: 0 all programs do the same, 1 some do not, 2 the command line is wrong.\n";

[[noreturn]] void wrong_usage(const std::string &text) {
    throw std::invalid_argument(text);
}

std::uint64_t number(std::string_view text) {
    std::uint64_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size())
        wrong_usage("\"" + std::string(text) + "\" is no number");
    return value;
}

// The words of the command line: those with "--" by name, the others in order.
class WORDS {
public:
    WORDS(int argc, char **argv) {
        for (int i = 2; i < argc; ++i) {
            const std::string word = argv[i];
            if (!word.starts_with("--")) {
                plain.push_back(word);
                continue;
            }
            const std::size_t equals = word.find('=');
            if (equals != std::string::npos)
                give(word.substr(2, equals - 2), word.substr(equals + 1));
            else if (++i < argc)
                give(word.substr(2), argv[i]);
            else
                wrong_usage(word + " needs a value");
        }
    }
    std::string take(const std::string &name, const std::string &otherwise) {
        const auto found = named_.find(name);
        if (found == named_.end()) return otherwise;
        const std::string value = found->second;
        named_.erase(found);
        return value;
    }
    void expect_all_taken() const {
        if (!named_.empty()) wrong_usage("unknown option --" + named_.begin()->first);
    }
    std::vector<std::string> plain;
    std::vector<std::string> options; // those of quillopt

private:
    void give(const std::string &name, const std::string &value) {
        if (name == "option")
            options.push_back(value);
        else
            named_[name] = value;
    }
    std::map<std::string, std::string> named_;
};

int report(const TALLY &tally, unsigned most_refused) {
    std::printf("%s\n", tally.text().c_str());
    unsigned refused = 0;
    for (const auto &[reason, count] : tally.refusals)
        refused += count;
    const bool too_few = refused * 100 > (refused + tally.programs) * most_refused;
    if (too_few) std::printf("FAILED: more than %u%% of the programs are refused\n", most_refused);
    return tally.failures + tally.faults == 0 && !too_few ? 0 : 1;
}

int command_seeds(const WORKSHOP &shop, WORDS &words) {
    if (words.plain.size() != 2) wrong_usage("seeds needs the first seed and how many");
    const std::string shard = words.take("shard", "0/1");
    const std::size_t slash = shard.find('/');
    if (slash == std::string::npos) wrong_usage("--shard needs I/N");
    const std::uint64_t index = number(shard.substr(0, slash)),
                        shards = number(shard.substr(slash + 1));
    const auto host_every = static_cast<unsigned>(number(words.take("host_every", "1")));
    const auto most_refused = static_cast<unsigned>(number(words.take("most_refused", "10")));
    words.expect_all_taken();
    const std::uint64_t first = number(words.plain[0]), count = number(words.plain[1]);
    if (index >= shards || index >= count) wrong_usage("there is no such shard");
    return report(check_seeds(shop, first + index, count - index, shards, host_every),
                  most_refused);
}

int command_files(const WORKSHOP &shop, WORDS &words) {
    words.expect_all_taken();
    if (words.plain.empty()) wrong_usage("files needs C files");
    TALLY tally;
    for (const std::string &source : words.plain)
        tally.add(check_file(shop, fs::absolute(source)));
    return report(tally, 0);
}

unsigned small_number(WORDS &words, const char *name, const char *otherwise) {
    const std::uint64_t value = number(words.take(name, otherwise));
    if (value > 1'000'000) wrong_usage(std::string("--") + name + " is too large");
    return static_cast<unsigned>(value);
}

int command_fuzz(const WORKSHOP &shop, WORDS &words) {
    FUZZ_OPTIONS options;
    if (words.plain.size() > 1) wrong_usage("fuzz needs the time in minutes");
    if (!words.plain.empty()) options.minutes = static_cast<double>(number(words.plain[0]));
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(now).count();
    options.first_seed =
        number(words.take("first_seed", std::to_string(seconds % 10'000'000 * 100)));
    options.jobs = small_number(words, "jobs", "2");
    options.reduce_minutes = small_number(words, "reduce_minutes", "6");
    options.folder = words.take("folder", options.folder);
    options.most_failures = small_number(words, "most_failures", "10");
    words.expect_all_taken();
    return report(fuzz(shop, options), 100);
}

// The program and the way of optimizing that the command line names.
struct CASE {
    SUBJECT subject;
    TRIAL trial;
};

CASE take_case(const WORKSHOP &shop, WORDS &words) {
    if (words.plain.size() != 1) wrong_usage("one C file is needed");
    const bool calls = small_number(words, "calls", "0") != 0;
    TRIAL trial;
    trial.level = words.take("opt_level", trial.level);
    trial.goal = static_cast<int>(small_number(words, "size_speed_goal", "4"));
    trial.logged = small_number(words, "logged", "0") != 0;
    trial.options = words.options;
    return {SUBJECT(shop, fs::absolute(words.plain[0]), calls), trial};
}

// Ends in a message when the program cannot be used or does not fail.
FAILURE failure_of(CASE &c) {
    if (const REFUSAL refusal = c.subject.prepare())
        throw std::invalid_argument(refusal.reason + "\n" + refusal.text);
    return c.subject.try_trial(c.trial);
}

int command_bisect(const WORKSHOP &shop, WORDS &words) {
    CASE c = take_case(shop, words);
    words.expect_all_taken();
    if (!failure_of(c)) {
        std::printf("%s: no failure with %s\n", words.plain[0].c_str(), c.trial.text().c_str());
        return 0;
    }
    const BISECTION found = bisect(c.subject, c.trial);
    std::printf("%s: first wrong after %s (debug:last_step=%d)\n%s", words.plain[0].c_str(),
                found.name.c_str(), found.step, found.failure.text.c_str());
    return 1;
}

int command_reduce(const WORKSHOP &shop, WORDS &words) {
    CASE c = take_case(shop, words);
    const std::chrono::minutes minutes(small_number(words, "minutes", "6"));
    words.expect_all_taken();
    const FAILURE failure = failure_of(c);
    if (!failure) wrong_usage("the program does not fail with " + c.trial.text());
    std::fputs(
        reduce(shop, c.subject, c.trial, failure.kind, std::chrono::steady_clock::now() + minutes)
            .c_str(),
        stdout);
    return 1;
}

int command_interesting(const WORKSHOP &shop, WORDS &words) {
    CASE c = take_case(shop, words);
    const auto kind = static_cast<FAILURE_KIND>(small_number(words, "kind", "4"));
    DEMANDS demands;
    demands.checked = small_number(words, "checked", "1") != 0;
    demands.host = small_number(words, "host", "1") != 0;
    words.expect_all_taken();
    return is_interesting(shop, c.subject, c.trial, kind, demands) ? 0 : 1;
}

int run_command(int argc, char **argv) {
    const std::string command = argv[1];
    const SCRATCH_FOLDER scratch;
    WORKSHOP shop;
    WORDS words(argc, argv);
    shop.bin = words.take("bin", fs::read_symlink("/proc/self/exe").parent_path());
    shop.include = QUILL_CSMITH_INCLUDE;
    shop.scratch = scratch.path();
    if (command == "seeds") return command_seeds(shop, words);
    if (command == "files") return command_files(shop, words);
    if (command == "fuzz") return command_fuzz(shop, words);
    if (command == "bisect") return command_bisect(shop, words);
    if (command == "reduce") return command_reduce(shop, words);
    if (command == "interesting") return command_interesting(shop, words);
    wrong_usage("unknown command \"" + command + "\"");
}
} // namespace

int main(int argc, char **argv) {
    if (argc < 2 || std::strcmp(argv[1], "help") == 0 || std::strcmp(argv[1], "--help") == 0) {
        std::fputs(usage, argc < 2 ? stderr : stdout);
        return argc < 2 ? 2 : 0;
    }
    try {
        return run_command(argc, argv);
    } catch (const std::invalid_argument &error) {
        std::fprintf(stderr, "ic-diff: %s; see ic-diff help\n", error.what());
        return 2;
    }
}
