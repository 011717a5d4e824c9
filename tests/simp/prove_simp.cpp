// Simplifies random trees without end and compares what they do before and after. Not a test: the
// tests do a little of it, this does as much of it as there is time for. See docs/proving.md.
#include "tests/simp/proof.h"

#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <new>

namespace {
struct OPTIONS {
    std::uint64_t seed = 1, count = 1'000'000, first = 0;
    double minutes = 0; // 0: by count
    unsigned failures = 20;
    bool form = true;
    const char *exhaustive = nullptr;
    const char *type = "short";
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

// Works on trees from shared.next on, until `end`, the first finding, or a crash.
void work(const OPTIONS &options, SHARED &shared, std::uint64_t end) {
    WORLD world;
    PROOF proof(world, simplified);
    proof.checks_form = options.form;
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
    for (char c : infix)
        if (!std::isdigit(static_cast<unsigned char>(c)) && c != '-') text += c;
    return text;
}

// Makes the tree that was found small and prints it, unless one like it was printed before.
void report(const OPTIONS &options, std::uint64_t index, bool crashed,
            std::map<std::string, unsigned> &seen) {
    WORLD world;
    PROOF proof(world, simplified);
    proof.checks_form = options.form;
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

const char *value_of(int argc, char **argv, int &i) {
    if (i + 1 < argc) return argv[++i];
    std::fprintf(stderr, "%s wants a value\n", argv[i]);
    std::exit(2);
}
} // namespace

int main(int argc, char **argv) {
    OPTIONS options;
    for (int i = 1; i < argc; ++i) {
        const std::string_view word = argv[i];
        if (word == "--seed")
            options.seed = std::strtoull(value_of(argc, argv, i), nullptr, 0);
        else if (word == "--count")
            options.count = std::strtoull(value_of(argc, argv, i), nullptr, 0);
        else if (word == "--first")
            options.first = std::strtoull(value_of(argc, argv, i), nullptr, 0);
        else if (word == "--minutes")
            options.minutes = std::strtod(value_of(argc, argv, i), nullptr);
        else if (word == "--failures")
            options.failures =
                static_cast<unsigned>(std::strtoul(value_of(argc, argv, i), nullptr, 0));
        else if (word == "--no-form")
            options.form = false;
        else {
            std::fprintf(stderr,
                         "usage: prove_simp [--seed N] [--first N] [--count N | --minutes M]"
                         " [--failures N] [--no-form]\n");
            return 2;
        }
    }
    return prove_random(options);
}
