// The step after which a program goes wrong.
#include "tools/ic-diff/ic_diff.h"

namespace {
constexpr int nothing = -4, everything = 52;

// The names of steps stand in the debug log.
std::string step_name(int number, const std::string &log) {
    static const std::string reading[] = {
        "nothing but reading and writing the file", "simplifying trees while reading",
        "tidying the flow graph while reading", "propagation while reading"};
    if (number < 0) return reading[number - nothing];
    const std::string step = "step " + std::to_string(number), entering = "ENTERING " + step + " '";
    const std::size_t at = log.find(entering);
    if (at == std::string::npos) return step;
    const std::size_t begin = at + entering.size() - 1;
    return step + " " + log.substr(begin, log.find('\'', begin + 1) + 1 - begin);
}

FAILURE try_up_to(const SUBJECT &subject, TRIAL trial, int last, bool logged = false) {
    trial.logged |= logged;
    trial.options.push_back("--debug=last_step=" + std::to_string(last));
    return subject.try_trial(trial);
}
} // namespace

BISECTION bisect(const SUBJECT &subject, const TRIAL &trial) {
    BISECTION result;
    result.failure = try_up_to(subject, trial, everything);
    if (!result.failure) return result;
    int good = nothing - 1, bad = everything;
    while (good + 1 < bad) {
        const int middle = good + (bad - good) / 2;
        // Half-done work may fail in another way, such as a statement without effect that the next
        // step drops.
        const FAILURE failure = try_up_to(subject, trial, middle);
        if (failure.kind == result.failure.kind) {
            bad = middle;
            result.failure = failure;
        } else {
            good = middle;
        }
    }
    result.step = bad;
    try_up_to(subject, trial, bad, true);
    result.name = step_name(bad, subject.log());
    return result;
}
