// ic-diff: finds programs that do something else after optimizing.
#include "tools/ic-diff/ic_diff.h"

#include <charconv>
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
                named_[word.substr(2, equals - 2)] = word.substr(equals + 1);
            else if (++i < argc)
                named_[word.substr(2)] = argv[i];
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

private:
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
