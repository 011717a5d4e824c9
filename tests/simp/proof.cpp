#include "tests/simp/proof.h"

#include "OPT5/scalar/simp.h"
#include "tests/simp/facts.h"
#include "tests/simp/normal_form.h"

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <optional>

const char *finding_name(FINDING::KIND kind) {
    static constexpr const char *names[] = {"none",     "invalid tree", "value",     "effects",
                                            "type",     "refused",      "validator", "form",
                                            "unstable", "fact",         "crash"};
    return names[kind];
}

NODE *simplified(NODE *tree, ROOT_KIND kind) {
    return kind == ROOT_KIND::condition ? simp_for_control(simp_tree(tree)) : simp_tree(tree);
}

namespace {
// Rewrites each node of the tree, the operands first.
template <class Rewrite> NODE *everywhere(NODE *tree, Rewrite rewrite) {
    if (tree->left) tree->left = everywhere(tree->left, rewrite);
    if (tree->right) tree->right = everywhere(tree->right, rewrite);
    return rewrite(tree);
}

NODE *fold_everywhere(NODE *tree, ROOT_KIND) {
    return everywhere(simp_tree(tree), [](NODE *node) {
        return VALUE_TYPE(node->type).is_scalar() ? fold_constants(node) : node;
    });
}

NODE *masks_pushed_down(NODE *tree, ROOT_KIND) {
    return everywhere(simp_tree(tree), [](NODE *node) {
        if (node->op == OP::ANDB && node->right->op == OP::ICON &&
            node->left->type->is_int_or_enum() && node->left->type->size() == node->type->size())
            node->left = prop_mask_into_subtree(node->left, node->right->u.lval);
        return node;
    });
}

NODE *sources_truncated(NODE *tree, ROOT_KIND) {
    return everywhere(simp_tree(tree), [](NODE *node) {
        if (node->op == OP::ASG)
            node->right = truncate_RHS_for_assignment(node->left, node->right, 0);
        return node;
    });
}

NODE *factors_cancelled(NODE *tree, ROOT_KIND) {
    return everywhere(simp_tree(tree), [](NODE *node) {
        if (node->op == OP::DIV && node->type->is_integer())
            cancel_common_simple_factors(&node->left, &node->right);
        return node;
    });
}

// The empty statement is an ICON 0.
NODE *effects_alone(NODE *tree, ROOT_KIND kind) {
    if (kind == ROOT_KIND::control) return tree;
    NODE *effects = peel_for_effect(tree);
    return effects ? effects : mk_ICON(INT65(0), tp->int_type());
}

constexpr SINGLE_REWRITE single[] = {
    {"fold_constants", fold_everywhere},
    {"prop_mask_into_subtree", masks_pushed_down},
    {"truncate_RHS_for_assignment", sources_truncated},
    {"cancel_common_simple_factors", factors_cancelled},
    {"peel_for_effect", effects_alone, false},
};
} // namespace

std::span<const SINGLE_REWRITE> single_rewrites() {
    return single;
}

// --- checks

namespace {
// What was done up to a trap must be done; behind it the program has no meaning.
bool same_effects(const std::vector<EFFECT> &before, const std::vector<EFFECT> &after) {
    if (before.empty() || before.back().kind != EFFECT::trap) return before == after;
    return after.size() + 1 >= before.size() &&
           std::equal(before.begin(), before.end() - 1, after.begin());
}

std::string effects_text(const std::vector<EFFECT> &effects) {
    static constexpr const char *names[] = {"store", "volatile store", "volatile read",
                                            "call",  "argument",       "trap"};
    std::string text;
    for (const EFFECT &effect : effects)
        text += std::string(text.empty() ? "" : ", ") + names[effect.kind] + " " +
                std::to_string(effect.where) + " " + std::to_string(effect.value);
    return text.empty() ? "none" : text;
}

bool is_jump(int op) {
    return op == OP::CBRANCH || op == OP::BRANCH || op == OP::IF || op == OP::SWITCH;
}

// Of a branch that is gone a constant may be left.
std::uint32_t outcome(std::uint32_t value, const NODE *root, ROOT_KIND kind) {
    while (root->op == OP::COMMAOP)
        root = root->right;
    const VALUE_TYPE type(root->type);
    const bool is_zero = type.kind == VALUE_TYPE::floating ? (value & 0x7fffffff) == 0 : value == 0;
    if (kind == ROOT_KIND::condition) return !is_zero;
    if (kind == ROOT_KIND::control) return is_jump(root->op) || root->op == OP::RETURN ? value : 0;
    return value;
}
} // namespace

FINDING PROOF::compare(const TREE_CODE &before, const TREE_CODE &after, ROOT_KIND kind,
                       std::uint64_t seed) {
    const NODE *root = before.cells[0].node, *new_root = after.cells[0].node;
    const VALUE_TYPE type = before.cells[0].type;
    const bool has_value = compares_values && (kind == ROOT_KIND::condition ||
                                               kind == ROOT_KIND::control || type.is_scalar());
    std::optional<FACTS> facts;
    if (checks_facts) facts.emplace(after);
    std::vector<EVALUATOR::REACHED> values;
    for (unsigned i = 0; i < environments; ++i) {
        const std::uint64_t own = i < 2
                                      ? (seed + i) % ENVIRONMENT::special_environments
                                      : CHANCE::mixed(seed + i) | ENVIRONMENT::special_environments;
        environment_.begin(own, before.constants);
        const std::uint32_t x = EVALUATOR(environment_).run(before);
        const std::vector<EFFECT> effects = environment_.effects;
        const bool trapped = environment_.trapped;
        const std::uint32_t y = EVALUATOR(environment_).run(after, facts ? &values : nullptr);
        if (!same_effects(effects, environment_.effects))
            return {FINDING::effects,
                    effects_text(effects) + "\n  became " + effects_text(environment_.effects),
                    own};
        if (facts) {
            const std::string text = facts->contradiction(values);
            if (!text.empty()) return {FINDING::fact, text, own};
        }
        if (trapped || !has_value) continue;
        const std::uint32_t a = outcome(x, root, kind), b = outcome(y, new_root, kind);
        if (!same_value(a, b,
                        kind == ROOT_KIND::value || kind == ROOT_KIND::statement ? type
                                                                                 : VALUE_TYPE()))
            return {FINDING::value, std::to_string(a) + " became " + std::to_string(b), own};
    }
    return {};
}

FINDING PROOF::check(const RANDOM_TREE &of, std::uint64_t seed, bool *changed) {
    const TREE_CODE before(of.tree, world_);
    std::string text = world_.complaints(of.tree);
    if (!before.problem.empty() || !text.empty())
        return {FINDING::invalid_tree, before.problem + text};
    NODE *result = rewrite_(copy_tree(of.tree), of.kind);
    if (!result) return {FINDING::refused, "there is no tree"};
    if (changed) *changed = !same_trees(of.tree, result);
    const TREE_CODE after(result, world_);
    if (!after.problem.empty()) return {FINDING::refused, after.problem};
    if (compares_values && of.kind == ROOT_KIND::value &&
        before.cells[0].type != after.cells[0].type)
        return {FINDING::type, of.tree->type->printstr() + " became " + result->type->printstr()};
    if (FINDING finding = compare(before, after, of.kind, seed)) return finding;
    text = world_.complaints(result);
    if (!text.empty()) return {FINDING::validator, text};
    if (!checks_form) return {};
    text = find_broken_promise(result);
    if (!text.empty()) return {FINDING::form, text};
    NODE *again = rewrite_(copy_tree(result), of.kind);
    if (!same_trees(result, again))
        return {FINDING::unstable, std::string("again: ") + typed_text(again)};
    return {};
}

FINDING PROOF::check_guarded(const RANDOM_TREE &of, std::uint64_t seed) {
    const pid_t child = fork();
    if (child == 0) {
        alarm(5);
        std::fclose(stderr);
        _exit(check(of, seed).kind + 100);
    }
    int status = 0;
    waitpid(child, &status, 0);
    if (!WIFEXITED(status) || WEXITSTATUS(status) < 100)
        return {FINDING::crash, WIFSIGNALED(status)
                                    ? "signal " + std::to_string(WTERMSIG(status))
                                    : "exit code " + std::to_string(WEXITSTATUS(status))};
    return WEXITSTATUS(status) == 100 ? FINDING() : check(of, seed);
}

// --- making a tree smaller

namespace {
bool is_value(const NODE *tree) {
    switch (tree->op) {
    case OP::COLON:
    case OP::COMMA:
    case OP::LABEL:
    case OP::FIELD:
    case OP::CASE:
    case OP::DEFAULT: return false;
    default: return side_effects[tree->op] != SE_CONTROL && VALUE_TYPE(tree->type).is_scalar();
    }
}

// Places of values in the tree, not of lvalues and callees.
void find_places(NODE **place, std::vector<NODE **> &places) {
    NODE *tree = *place;
    if (is_value(tree)) places.push_back(place);
    const bool keeps_left = tree->op == OP::UAND || tree->op == OP::STDOT ||
                            opcode_is_ASG(tree->op) || tree->op == OP::PLUSPLUS ||
                            tree->op == OP::MINMIN || tree->op == OP::RETURN;
    if (tree->left && !keeps_left)
        find_places(&tree->left, places);
    else if (tree->left && tree->left->op == OP::UMULT)
        find_places(&tree->left->left, places);
    const bool keeps_right = tree->op == OP::STDOT || tree->op == OP::STREF ||
                             tree->op == OP::PLUSPLUS || tree->op == OP::MINMIN ||
                             tree->op == OP::PMCONV || tree->op == OP::PVCONV;
    if (tree->right && !keeps_right) find_places(&tree->right, places);
}

// Simpler than what stands at the place, the simplest first; the place's tree is gone then.
std::vector<NODE *> simpler_trees(const NODE *tree, WORLD &world) {
    TREE_GENERATOR generator(world, 1);
    std::vector<NODE *> list;
    const auto add = [&](const NODE *part) {
        if (part && is_value(part))
            list.push_back(generator.converted(copy_tree(part), tree->type));
    };
    TYPE *type = tree->type->stds();
    if (tree->op == OP::ICON) {
        for (const INT65 &value :
             {INT65(0), INT65(1), tree->u.lval / INT65(2), tree->u.lval / INT65(16)})
            if (!type->is_ptr()) list.push_back(world.icon(value, type));
        return list;
    }
    if (tree->op == OP::FCON || tree->op == OP::NAME) return list;
    if (type->is_int_or_enum())
        list.push_back(world.icon(INT65(0), type)), list.push_back(world.icon(INT65(1), type));
    for (SYMTAB *sym : world.variables)
        if (sym->type == type->normalized()) {
            list.push_back(world.name(sym));
            break;
        }
    add(tree->left);
    add(tree->right);
    if (tree->op == OP::QUEST) add(tree->right->left), add(tree->right->right);
    return list;
}

// Nodes, then the digits of constants.
std::size_t weight(const NODE *tree) {
    if (!tree) return 0;
    std::size_t own = 100;
    if (tree->op == OP::ICON) own += std::to_string(tree->u.lval.s32()).size();
    if (tree->op == OP::NAME) own += 1;
    return own + weight(tree->left) + weight(tree->right);
}
} // namespace

RANDOM_TREE PROOF::smallest(const RANDOM_TREE &of, std::uint64_t seed, FINDING &finding) {
    const FINDING::KIND kind = finding.kind;
    const auto found = [&](const RANDOM_TREE &tree) {
        return kind == FINDING::crash ? check_guarded(tree, seed) : check(tree, seed);
    };
    RANDOM_TREE best{copy_tree(of.tree), of.kind};
    if (kind == FINDING::invalid_tree) return best; // something else may be wrong with smaller ones
    for (bool improved = true; improved;) {
        improved = false;
        std::vector<NODE **> places;
        find_places(&best.tree, places);
        for (std::size_t n = 0; n < places.size() && !improved; ++n) {
            for (NODE *simpler : simpler_trees(*places[n], world_)) {
                RANDOM_TREE trial{copy_tree(best.tree), best.kind};
                std::vector<NODE **> trial_places;
                find_places(&trial.tree, trial_places);
                *trial_places[n] = simpler;
                if (weight(trial.tree) >= weight(best.tree)) continue;
                FINDING now = found(trial);
                if (now.kind != kind) continue;
                best = trial;
                finding = now;
                improved = true;
                break;
            }
        }
    }
    return best;
}

std::string PROOF::report(const RANDOM_TREE &of, const FINDING &finding) {
    static constexpr const char *roots[] = {"value", "condition", "statement", "control"};
    std::string text = std::string(finding_name(finding.kind)) + " of a " +
                       roots[static_cast<int>(of.kind)] + ": " + finding.text + "\n  before  " +
                       stmt2infix(of.tree) + "\n          " + typed_text(of.tree) + "\n";
    if (finding.kind == FINDING::crash || finding.kind == FINDING::invalid_tree) return text;
    const NODE *result = rewrite_(copy_tree(of.tree), of.kind);
    if (!result) return text;
    text +=
        std::string("  after   ") + stmt2infix(result) + "\n          " + typed_text(result) + "\n";
    if (finding.kind != FINDING::value && finding.kind != FINDING::effects &&
        finding.kind != FINDING::fact)
        return text;
    environment_.begin(finding.environment, TREE_CODE(of.tree, world_).constants);
    return text + "  with    " + environment_.describe(of.tree) + "\n";
}
