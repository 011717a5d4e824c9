#include "tools/ic-diff/subject.h"

#include <algorithm>

const std::vector<std::string> all_levels = {"off", "0", "1", "2", "3"};
const std::vector<int> all_goals = {0, 2, 4, 5};

namespace {
// Exit codes of ic-run that stand for a fault of the program or the machine.
constexpr int first_run_fault = 120, run_out_of_steps = 124, run_checked = 126,
              last_run_fault = 127;

std::string shortened(const std::string &text, std::size_t limit = 600) {
    return text.size() <= limit ? text : text.substr(0, limit) + "...\n";
}

std::string first_difference(const std::string &expected, const std::string &seen) {
    std::size_t line = 1, begin = 0, at = 0;
    const std::size_t common = std::min(expected.size(), seen.size());
    for (; at < common && expected[at] == seen[at]; ++at)
        if (expected[at] == '\n') ++line, begin = at + 1;
    const auto line_of = [&](const std::string &text) {
        return text.substr(begin, std::min<std::size_t>(text.find('\n', begin) - begin, 200));
    };
    return "line " + std::to_string(line) + " of the output: expected \"" + line_of(expected) +
           "\", seen \"" + line_of(seen) + "\"\n";
}
} // namespace

std::string TRIAL::text() const {
    std::string result = "--opt_level=" + level + " --size_speed_goal=" + std::to_string(goal);
    for (const std::string &option : options)
        result += " " + option;
    return logged ? result + " --debug_log=1" : result;
}

PROCESS_RESULT SUBJECT::tool(std::vector<std::string> words, unsigned cpu_seconds) const {
    words[0] = shop_.bin + "/" + words[0];
    PROCESS_BOUNDS bounds;
    bounds.cpu_seconds = cpu_seconds;
    return run_process(words, file("stdout"), file("stderr"), bounds);
}

REFUSAL SUBJECT::compile() {
    std::vector<std::string> words = {"ic-cc", "-I", shop_.include, "-o", file("before.ic")};
    if (calls_) words.insert(words.end(), {"-D", "SAFE_CALLS"});
    words.push_back(source_);
    const PROCESS_RESULT compiled = tool(words);
    if (!compiled.ended_with(0))
        return {"ic-cc refuses", shortened(compiled.err), compiled.exit_code != 1};
    const PROCESS_RESULT lint = tool({"ic-lint", file("before.ic")});
    if (!lint.ended_with(0))
        return {"ic-lint complains about ic-cc", shortened(lint.out + lint.err), true};
    return {};
}

REFUSAL SUBJECT::prepare(const DEMANDS &demands) {
    if (const REFUSAL refusal = compile()) return refusal;
    const std::string limit = std::to_string(demands.step_limit);
    expected_ = tool({"ic-run", "--limit", limit, file("before.ic")});
    if (expected_.signal) return {"ic-run crashes", expected_.how(), true};
    if (expected_.exit_code == run_out_of_steps) return {"too many steps", expected_.err};
    if (expected_.exit_code >= first_run_fault && expected_.exit_code <= last_run_fault)
        return {"ic-run code " + std::to_string(expected_.exit_code), shortened(expected_.err)};
    if (demands.checked) {
        const PROCESS_RESULT checked =
            tool({"ic-run", "--check", "--limit", limit, file("before.ic")});
        if (!checked.ended_with(expected_.exit_code))
            return {"fails under --check", shortened(checked.err)};
    }
    if (demands.host)
        if (const REFUSAL refusal = differs_from_host()) return refusal;
    // An optimized program may do a little more than before, not much more.
    step_limit_ = 2 * demands.step_limit;
    return {};
}

REFUSAL SUBJECT::differs_from_host() const {
    const PROCESS_RESULT host = run_on_host();
    if (host.ended_with(expected_.exit_code) && host.out == expected_.out) return {};
    return {"differs from the host",
            host.how() + ", " + first_difference(host.out, expected_.out) + shortened(host.err),
            true};
}

// The exit code is 126 when the host's compiler refuses the program.
PROCESS_RESULT SUBJECT::run_on_host() const {
    // Signed arithmetic wraps, objects may be seen through other types, constants are floats and
    // each operation is rounded: what holds on the ZRA.
    std::vector<std::string> words = {shop_.host_cc,
                                      "-x",
                                      "c",
                                      "-w",
                                      "-O1",
                                      "-fwrapv",
                                      "-fno-strict-aliasing",
                                      "-fsingle-precision-constant",
                                      "-ffp-contract=off",
                                      "-I",
                                      shop_.include,
                                      "-o",
                                      file("host.exe"),
                                      source_,
                                      "-lm"};
    if (calls_) words.insert(words.begin() + 1, "-DSAFE_CALLS");
    const PROCESS_RESULT compiled = run_process(words, file("stdout"), file("stderr"));
    if (!compiled.ended_with(0)) {
        PROCESS_RESULT refused = compiled;
        refused.exit_code = 126;
        return refused;
    }
    PROCESS_BOUNDS bounds;
    bounds.cpu_seconds = 10;
    return run_process({file("host.exe")}, file("stdout"), file("stderr"), bounds);
}

FAILURE SUBJECT::try_trial(const TRIAL &trial) const {
    std::vector<std::string> words = {"quillopt", "--opt_level=" + trial.level,
                                      "--size_speed_goal=" + std::to_string(trial.goal)};
    words.insert(words.end(), trial.options.begin(), trial.options.end());
    if (trial.logged) words.push_back("--debug_log=1");
    words.insert(words.end(), {file("before.ic"), file("after.ic")});
    const PROCESS_RESULT optimized = tool(words);
    if (!optimized.ended_with(0))
        return {optimizer_fails,
                "quillopt: " + optimized.how() + "\n" + shortened(optimized.out + optimized.err)};
    if (trial.logged) {
        const std::string text = log();
        const std::size_t complaint = text.find("+++++");
        if (complaint != std::string::npos)
            return {log_complains, shortened(text.substr(complaint))};
        if (text.find("== END OF DEBUG OUTPUT==") == std::string::npos)
            return {log_complains, "the log has no end\n"};
    }
    const PROCESS_RESULT lint = tool({"ic-lint", file("after.ic")});
    if (!lint.ended_with(0))
        return {lint_complains, "ic-lint: " + lint.how() + "\n" + shortened(lint.out + lint.err)};
    const PROCESS_RESULT seen =
        tool({"ic-run", "--limit", std::to_string(step_limit_), file("after.ic")});
    if (!seen.ended_with(expected_.exit_code))
        return {run_differs, "the run ends with " + seen.how() + " instead of " + expected_.how() +
                                 "\n" + shortened(seen.err)};
    if (seen.out != expected_.out) return {run_differs, first_difference(expected_.out, seen.out)};
    return {};
}
