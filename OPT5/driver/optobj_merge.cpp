// Merging of option sets by policy.
#include "DIAG/messages.h"
#include "OPT5/driver/option_table.h"

#include <algorithm>

namespace {
constexpr char this_file[] = "../../master/OPT5/optobj.cpp";

std::string spelled(option_obj::option_id id) {
    return "--" + option_obj::internal_option_string(id);
}
} // namespace

void option_obj::merge_init() {
    parsed_ = {};
    for (int i = 0; i < num_options; ++i)
        parsed_[i] = state_[i];
}

void option_obj::merge_options(option_obj &other) {
    for (int i = 0; i < num_options; ++i) {
        const auto id = option_id(i);
        const merge_policy policy = merge_policy_functions[i];
        if (!policy) continue;
        if (other.state_[i]) do_merge_conflicts(other, id);
        (this->*policy)(other, id);
    }
}

// `id`, which is set in `other`, against what is set here. An option with an override function
// decides for itself.
void option_obj::do_merge_conflicts(option_obj &other, option_id id) {
    for (int i = 0; i < num_options; ++i) {
        if (i == id || !state_[i] || !merge_conflicts[id][i]) continue;
        if (const merge_policy override_function = mutex_merge_override_functions[id]) {
            (this->*override_function)(other, id);
            continue;
        }
        DIAG::optgen_merge_conflict message(this_file, __LINE__, spelled(id), other.file_name_,
                                            spelled(option_id(i)));
        report_diagnostic(message);
    }
}

void option_obj::take_over(const option_obj &other, option_id id) {
    state_[id] = other.state_[id];
    parsed_[id] += other.parsed_[id];
    form_[id] = other.form_[id];
    arguments_[id] = other.arguments_[id];
    order_[id] = ++last_order_;
}

bool option_obj::merge_policy_none(option_obj &, option_id id) {
    return testopt(id);
}

bool option_obj::merge_policy_or(option_obj &other, option_id id) {
    if (!state_[id] && other.state_[id]) take_over(other, id);
    return testopt(id);
}

bool option_obj::merge_policy_and(option_obj &other, option_id id) {
    if (state_[id] && !other.state_[id]) clearopt(id);
    return testopt(id);
}

bool option_obj::merge_policy_main(option_obj &other, option_id id) {
    // What this set was given first stands; only a set that knows nothing of the option takes it.
    if (!parsed_[id] && other.state_[id]) take_over(other, id);
    return testopt(id);
}

bool option_obj::merge_exactly(option_obj &other, option_id id) {
    if (arguments_[id] != other.arguments_[id]) {
        DIAG::optgen_merge_incompatible message(this_file, __LINE__, other.export_option(id, 0),
                                                other.file_name_, export_option(id, 0));
        report_diagnostic(message);
    }
    return testopt(id);
}

bool option_obj::merge_policy_exact(option_obj &other, option_id id) {
    if (state_[id] && !other.state_[id]) {
        DIAG::optgen_merge_missing message(this_file, __LINE__, spelled(id), other.file_name_);
        report_diagnostic(message);
        return true;
    }
    if (!state_[id] && other.state_[id]) {
        DIAG::optgen_merge_new message(this_file, __LINE__, spelled(id), other.file_name_);
        report_diagnostic(message);
        return false;
    }
    return merge_exactly(other, id);
}

bool option_obj::merge_policy_exact_notset(option_obj &other, option_id id) {
    if (!state_[id] || !other.state_[id]) return merge_policy_or(other, id);
    return merge_exactly(other, id);
}

bool option_obj::merge_by_value(option_obj &other, option_id id, bool want_greater) {
    if (!other.state_[id]) return testopt(id);
    const bool greater = other.arguments_[id] > arguments_[id];
    if (!state_[id] || (other.arguments_[id] != arguments_[id] && greater == want_greater))
        take_over(other, id);
    return true;
}

bool option_obj::merge_policy_max(option_obj &other, option_id id) {
    return merge_by_value(other, id, true);
}

bool option_obj::merge_policy_min(option_obj &other, option_id id) {
    return merge_by_value(other, id, false);
}

bool option_obj::args_match_list(option_id id, const option_obj &other) const {
    if (!in_range(id) || parm_type[id] != parm_list) {
        DIAG::optgen_list_handler_for_non_list(this_file, __LINE__, static_cast<unsigned long>(id))
            .report();
        return false;
    }
    std::vector<an_argument_t> mine = arguments_[id], others = other.arguments_[id];
    std::sort(mine.begin(), mine.end());
    std::sort(others.begin(), others.end());
    return mine == others;
}
