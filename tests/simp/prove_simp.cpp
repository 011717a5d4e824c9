// Simplifies random trees without end and compares what they do before and after. Not a test: the
// tests do a little of it, this does as much of it as there is time for. See docs/proving.md.
#include "tests/simp/exhaustive.h"
#include "tests/simp/normal_form.h"
#include "tests/simp/proof.h"

#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <map>
#include <new>
#include <regex>

namespace {
constexpr const char *usage =
    "usage: prove_simp [--seed N] [--first N] [--count N | --minutes M] [--failures N] "
    "[--no-form]\n"
    "       prove_simp --exhaustive SHAPE [--type TYPE] [--narrow] [--step N]\n"
    "       prove_simp --exhaustive-all [--step N]\n";

struct OPTIONS {
    std::uint64_t seed = 1, count = 1'000'000, first = 0;
    double minutes = 0; // 0: by count
    unsigned failures = 20;
    bool form = true;
    std::string_view rewrite;   // one of single_rewrites() in place of the simplifier
    EXHAUSTIVE_CASE exhaustive; // to be proved for all values, if it has a shape
    bool all_operators = false; // or all of them
};

// What the processes that do the work tell the one that reports.
struct SHARED {
    std::uint64_t next = 0; // the tree being worked on
    std::uint64_t trees = 0, changed = 0, found[FINDING::crash + 1] = {};
    std::uint64_t with_op[256] = {}, changed_with_op[256] = {};
    bool has_finding = false;
};

std::uint64_t seed_of(const OPTIONS &options, std::uint64_t index) {
    return CHANCE::mixed(options.seed * 0x9e3779b97f4a7c15u + index);
}

void note_opcodes(const NODE *tree, bool (&ops)[256]) {
    for (; tree; tree = tree->left) {
        ops[tree->op] = true;
        note_opcodes(tree->right, ops);
    }
}

PROOF make_proof(const OPTIONS &options, WORLD &world) {
    for (const SINGLE_REWRITE &one : single_rewrites())
        if (one.name == options.rewrite) return PROOF(world, one);
    PROOF proof(world, simplified);
    proof.checks_form = options.form;
    return proof;
}

// Works on trees from shared.next on, until `end`, the first finding, or a crash.
void work(const OPTIONS &options, SHARED &shared, std::uint64_t end) {
    WORLD world;
    PROOF proof = make_proof(options, world);
    for (; shared.next < end && !shared.has_finding; ++shared.next) {
        if (shared.next % 256 == 0) alarm(20);
        const std::uint64_t seed = seed_of(options, shared.next);
        const RANDOM_TREE tree = TREE_GENERATOR(world, seed).any();
        bool ops[256] = {}, changed = false;
        note_opcodes(tree.tree, ops);
        const FINDING finding = proof.check(tree, seed, &changed);
        ++shared.trees;
        shared.changed += changed;
        for (int op = 0; op < 256; ++op) {
            shared.with_op[op] += ops[op];
            shared.changed_with_op[op] += ops[op] && changed;
        }
        if (finding) {
            ++shared.found[finding.kind];
            shared.has_finding = true;
            break;
        }
        world.forget_trees();
    }
}

// What all trees with the same fault have in common, as far as it can be told: the kind of finding
// and the smallest tree without names and numbers.
std::string signature(const FINDING &finding, const std::string &infix) {
    std::string text = finding_name(finding.kind);
    text += ' ';
    static const std::regex number("-?(0x[0-9a-f.]+p[-+][0-9]+|\\b[0-9]+)"),
        name("\\b([a-z])[0-9]+\\b");
    text += std::regex_replace(std::regex_replace(infix, number, "N"), name, "$1");
    return text;
}

// Makes the tree that was found small and prints it, unless one like it was printed before.
void report(const OPTIONS &options, std::uint64_t index, bool crashed,
            std::map<std::string, unsigned> &seen) {
    WORLD world;
    PROOF proof = make_proof(options, world);
    const std::uint64_t seed = seed_of(options, index);
    const RANDOM_TREE tree = TREE_GENERATOR(world, seed).any();
    FINDING finding = crashed ? proof.check_guarded(tree, seed) : proof.check(tree, seed);
    if (!finding) {
        std::printf("tree %llu of seed %llu: found once, not again\n",
                    static_cast<unsigned long long>(index),
                    static_cast<unsigned long long>(options.seed));
        return;
    }
    const RANDOM_TREE small = proof.smallest(tree, seed, finding);
    if (seen[signature(finding, stmt2infix(small.tree))]++ > 0) return;
    std::printf("--- tree %llu of seed %llu\n%s", static_cast<unsigned long long>(index),
                static_cast<unsigned long long>(options.seed),
                proof.report(small, finding).c_str());
    std::fflush(stdout);
}

void print_counts(const SHARED &shared) {
    std::printf("%-10s %12s %12s\n", "opcode", "trees", "changed");
    for (int op = 0; op < 256; ++op)
        if (shared.with_op[op])
            std::printf("%-10s %12llu %12llu\n", opname(op),
                        static_cast<unsigned long long>(shared.with_op[op]),
                        static_cast<unsigned long long>(shared.changed_with_op[op]));
    std::printf("%llu trees, %llu changed\n", static_cast<unsigned long long>(shared.trees),
                static_cast<unsigned long long>(shared.changed));
    std::uint64_t all = 0;
    for (int kind = FINDING::invalid_tree; kind <= FINDING::crash; ++kind) {
        all += shared.found[kind];
        if (shared.found[kind])
            std::printf("%llu with a finding of kind '%s'\n",
                        static_cast<unsigned long long>(shared.found[kind]),
                        finding_name(static_cast<FINDING::KIND>(kind)));
    }
    if (all == 0) std::printf("no difference\n");
}

int prove_random(const OPTIONS &options) {
    void *memory =
        mmap(nullptr, sizeof(SHARED), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) return 2;
    SHARED &shared = *new (memory) SHARED;
    shared.next = options.first;
    const auto start = std::chrono::steady_clock::now();
    const auto is_over = [&] {
        const std::chrono::duration<double> spent = std::chrono::steady_clock::now() - start;
        return options.minutes > 0 ? spent.count() > options.minutes * 60
                                   : shared.next >= options.first + options.count;
    };
    constexpr std::uint64_t chunk = 20'000;
    std::map<std::string, unsigned> seen;
    std::uint64_t findings = 0;
    while (!is_over() && seen.size() < options.failures) {
        std::uint64_t end = shared.next + chunk;
        if (options.minutes <= 0) end = std::min(end, options.first + options.count);
        std::fflush(stdout);
        const pid_t child = fork();
        if (child == 0) {
            std::freopen("/dev/null", "w", stderr);
            work(options, shared, end);
            _exit(0);
        }
        int status = 0;
        waitpid(child, &status, 0);
        const bool crashed = !WIFEXITED(status) || WEXITSTATUS(status) != 0;
        if (!crashed && !shared.has_finding) continue;
        if (crashed) ++shared.trees, ++shared.found[FINDING::crash];
        shared.has_finding = false;
        report(options, shared.next, crashed, seen);
        ++shared.next;
        ++findings;
    }
    print_counts(shared);
    for (const auto &[text, times] : seen)
        std::printf("%6u  %s\n", times, text.c_str());
    return findings ? 1 : 0;
}

// --- all values of shapes

bool print_result(const EXHAUSTIVE_RESULT &result) {
    if (!result.problem.empty()) {
        std::fprintf(stderr, "%s\n", result.problem.c_str());
        return false;
    }
    for (const std::string &text : result.findings)
        std::printf("%s\n", text.c_str());
    std::printf(
        "%llu trees, %llu pairs of values; %llu trees with %llu pairs stayed; %llu differ\n",
        static_cast<unsigned long long>(result.trees),
        static_cast<unsigned long long>(result.pairs),
        static_cast<unsigned long long>(result.same_trees),
        static_cast<unsigned long long>(result.same_pairs),
        static_cast<unsigned long long>(result.differences));
    std::fflush(stdout);
    return true;
}

int prove_shapes(const std::vector<EXHAUSTIVE_CASE> &cases) {
    EXHAUSTIVE_RESULT all;
    for (const EXHAUSTIVE_CASE &one : cases) {
        std::printf("%s of %s%s: ", one.shape.c_str(), one.type.c_str(),
                    one.narrow ? ", narrow" : "");
        std::fflush(stdout);
        const EXHAUSTIVE_RESULT result = prove_exhaustively(one);
        if (!print_result(result)) return 2;
        all += result;
    }
    if (cases.size() > 1) {
        std::printf("%zu shapes: ", cases.size());
        print_result(all);
    }
    return all.differences ? 1 : 0;
}

const char *value_of(int argc, char **argv, int &i) {
    if (i + 1 < argc) return argv[++i];
    std::fprintf(stderr, "%s wants a value\n", argv[i]);
    std::exit(2);
}
} // namespace

int main(int argc, char **argv) {
    OPTIONS options;
    const auto number = [](const char *text) { return std::strtoull(text, nullptr, 0); };
    const struct {
        std::string_view word;
        std::function<void(const char *)> take;
    } with_value[] = {
        {"--seed", [&](const char *text) { options.seed = number(text); }},
        {"--first", [&](const char *text) { options.first = number(text); }},
        {"--count", [&](const char *text) { options.count = number(text); }},
        {"--minutes", [&](const char *text) { options.minutes = std::strtod(text, nullptr); }},
        {"--failures",
         [&](const char *text) { options.failures = static_cast<unsigned>(number(text)); }},
        {"--rewrite", [&](const char *text) { options.rewrite = text; }},
        {"--exhaustive", [&](const char *text) { options.exhaustive.shape = text; }},
        {"--type", [&](const char *text) { options.exhaustive.type = text; }},
        {"--step",
         [&](const char *text) {
             options.exhaustive.step = std::max(1u, static_cast<unsigned>(number(text)));
         }},
    };
    for (int i = 1; i < argc; ++i) {
        const std::string_view word = argv[i];
        const auto *row = std::find_if(std::begin(with_value), std::end(with_value),
                                       [&](const auto &one) { return one.word == word; });
        if (row != std::end(with_value)) {
            row->take(value_of(argc, argv, i));
        } else if (word == "--no-form") {
            options.form = false;
        } else if (word == "--narrow") {
            options.exhaustive.narrow = true;
        } else if (word == "--exhaustive-all") {
            options.all_operators = true;
        } else {
            std::fputs(usage, stderr);
            return 2;
        }
    }
    const auto rewrites = single_rewrites();
    const auto is_named = [&](const SINGLE_REWRITE &one) { return one.name == options.rewrite; };
    if (!options.rewrite.empty() && std::none_of(rewrites.begin(), rewrites.end(), is_named)) {
        std::fprintf(stderr, "rewrites:");
        for (const SINGLE_REWRITE &one : rewrites)
            std::fprintf(stderr, " %s", one.name);
        std::fprintf(stderr, "\n");
        return 2;
    }
    if (options.all_operators) {
        std::vector<EXHAUSTIVE_CASE> cases = all_binary_operators();
        for (EXHAUSTIVE_CASE &one : cases)
            one.step = options.exhaustive.step;
        return prove_shapes(cases);
    }
    if (!options.exhaustive.shape.empty()) return prove_shapes({options.exhaustive});
    return prove_random(options);
}
