// Simplifies random trees without end and compares what they do before and after. Not a test: the
// tests do a little of it, this does as much of it as there is time for. See docs/proving.md.
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
    "       prove_simp --exhaustive SHAPE [--type TYPE] [--narrow] [--step N]\n";

struct OPTIONS {
    std::uint64_t seed = 1, count = 1'000'000, first = 0;
    double minutes = 0; // 0: by count
    unsigned failures = 20;
    bool form = true;
    std::string_view rewrite;        // one of single_rewrites() in place of the simplifier
    std::string_view shape;          // to be proved for all values of its two letters
    std::string_view type = "short"; // of x, y and z in it
    bool narrow = false;             // its operators work in that type
    unsigned step = 1;
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

// --- all values of a shape

struct SHAPE_LETTER {
    char letter;
    bool is_constant;
    SYMTAB *variable;
};

TYPE *type_of_name(const WORLD &world, std::string_view name) {
    for (TYPE *type : world.integers)
        if (type->printstr() == name) return type;
    return nullptr;
}

// Every 16-bit value of the letters of a shape, of which there are one or two: a tree for each
// value of a constant, an evaluation for each value of a variable.
class EXHAUSTIVE {
public:
    EXHAUSTIVE(const OPTIONS &options, TYPE *base, WORLD &world)
        : options_(options), world_(world), base_(base), generator_(world, 1), environment_(world) {
        generator_.promotes = !options.narrow;
        for (char c : letters_of_pattern(options.shape))
            letters_.push_back({c, c < 'x' || c > 'z', nullptr});
        // Constants first: with each of their values there is another tree.
        std::stable_partition(letters_.begin(), letters_.end(),
                              [](const SHAPE_LETTER &one) { return one.is_constant; });
        for (SYMTAB *sym : world.variables)
            for (SHAPE_LETTER &one : letters_)
                if (!one.is_constant && !one.variable && sym->otype == base && !is_used(sym)) {
                    one.variable = sym;
                    break;
                }
    }

    // The exit code.
    int run() {
        if (letters_.empty() || letters_.size() > 2) {
            std::fprintf(stderr, "a shape of one or two letters is wanted\n");
            return 2;
        }
        std::vector<std::uint32_t> values(letters_.size());
        choose_constants(0, values);
        std::printf("%llu trees, %llu pairs of values, %llu differ\n",
                    static_cast<unsigned long long>(trees_),
                    static_cast<unsigned long long>(pairs_),
                    static_cast<unsigned long long>(differences_));
        return differences_ ? 1 : 0;
    }

private:
    bool is_used(const SYMTAB *sym) const {
        return std::any_of(letters_.begin(), letters_.end(),
                           [sym](const SHAPE_LETTER &one) { return one.variable == sym; });
    }
    std::uint32_t extended(std::uint32_t value) const {
        return base_->is_signed() ? static_cast<std::uint32_t>(static_cast<std::int16_t>(value))
                                  : value;
    }

    void choose_constants(std::size_t n, std::vector<std::uint32_t> &values) {
        if (n == letters_.size() || !letters_[n].is_constant) {
            prove_tree(n, values);
            return;
        }
        for (std::uint32_t v = 0; v < 65536; v += options_.step) {
            values[n] = extended(v);
            choose_constants(n + 1, values);
        }
    }

    void prove_tree(std::size_t first_variable, const std::vector<std::uint32_t> &values) {
        std::vector<PATTERN_LETTER> trees;
        for (std::size_t i = 0; i < letters_.size(); ++i) {
            const bool is_count = std::strchr("kmn", letters_[i].letter);
            TYPE *type = is_count ? world_.int_t : generator_.promoted(base_);
            trees.push_back({letters_[i].letter,
                             letters_[i].is_constant
                                 ? world_.icon(INT65(static_cast<std::int32_t>(values[i])), type)
                                 : world_.name(letters_[i].variable)});
        }
        NODE *tree = tree_of_pattern(generator_, options_.shape, base_, trees);
        NODE *result = simplified(copy_tree(tree), ROOT_KIND::value);
        ++trees_;
        const TREE_CODE before(tree, world_), after(result, world_);
        environment_.begin(9, {});
        choose_variables(first_variable, before, after);
        if (tree_differs_ && ++reported_ <= 10)
            std::printf("%s became %s, differs %s\n", stmt2infix(tree), typed_text(result).c_str(),
                        environment_.describe(tree).c_str());
        tree_differs_ = false;
        world_.forget_trees();
    }

    void choose_variables(std::size_t n, const TREE_CODE &before, const TREE_CODE &after) {
        if (n == letters_.size()) {
            ++pairs_;
            EVALUATOR evaluator(environment_);
            const std::uint32_t x = evaluator.run(before);
            if (environment_.trapped) return;
            const std::uint32_t y = evaluator.run(after);
            if (x == y && !environment_.trapped) return;
            ++differences_;
            tree_differs_ = true;
            return;
        }
        for (std::uint32_t v = 0; v < 65536 && !tree_differs_; v += options_.step) {
            environment_.set(world_.address_of(letters_[n].variable), extended(v),
                             base_->size() / 16);
            choose_variables(n + 1, before, after);
        }
    }

    const OPTIONS &options_;
    WORLD &world_;
    TYPE *const base_;
    TREE_GENERATOR generator_;
    ENVIRONMENT environment_;
    std::vector<SHAPE_LETTER> letters_;
    std::uint64_t trees_ = 0, pairs_ = 0, differences_ = 0, reported_ = 0;
    bool tree_differs_ = false;
};

int prove_all(const OPTIONS &options) {
    WORLD world;
    TYPE *base = type_of_name(world, options.type);
    if (!base) {
        std::fprintf(stderr, "no type '%s'\n", std::string(options.type).c_str());
        return 2;
    }
    return EXHAUSTIVE(options, base, world).run();
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
        {"--exhaustive", [&](const char *text) { options.shape = text; }},
        {"--type", [&](const char *text) { options.type = text; }},
        {"--step",
         [&](const char *text) {
             options.step = std::max(1u, static_cast<unsigned>(number(text)));
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
            options.narrow = true;
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
    if (!options.shape.empty()) return prove_all(options);
    return prove_random(options);
}
