// State of an option set: setting, clearing, asking, exporting.
#include "OPT5/driver/optobj.h"

#include "DIAG/messages.h"
#include "OPT5/driver/option_table.h"

#include <algorithm>

namespace {
constexpr char this_file[] = "../../master/OPT5/optobj.cpp";

bool is_numeric(std::uint8_t parm) {
    return parm == option_obj::parm_number || parm == option_obj::parm_number_3 ||
           parm == option_obj::parm_oneof || parm == option_obj::parm_number_6 ||
           parm == option_obj::parm_number_7;
}

bool is_text(std::uint8_t parm) {
    return parm == option_obj::parm_string || parm == option_obj::parm_list;
}

std::string text_of_argument(const an_argument_t &argument) {
    if (argument.kind == option_obj::parm_oneof && argument.value > 0 &&
        argument.value < option_obj::num_enums)
        if (const char *word =
                option_obj::enum_to_enumtxt[static_cast<std::size_t>(argument.value)])
            return word;
    return is_text(static_cast<std::uint8_t>(argument.kind)) ? argument.text
                                                             : std::to_string(argument.value);
}
} // namespace

option_obj::conflict_table option_obj::conflicts = {};
option_obj::conflict_table option_obj::merge_conflicts = {};
std::array<option_obj::merge_policy, option_obj::num_options> option_obj::merge_policy_functions =
    {};
std::array<option_obj::merge_policy, option_obj::num_options>
    option_obj::mutex_merge_override_functions = {};
void (*option_obj::print_banner)() = nullptr;
const char *(*option_obj::next_arg)() = nullptr;
const char *option_obj::executable_name = "";
const char *const option_obj::xml_option_def = "";
std::map<std::string, std::string> option_obj::tn_fileopt_map, option_obj::tool_cmd_map;

option_obj::option_obj(bool command_line) : command_line_(command_line) {}

void option_obj::report_diagnostic(DIAGNOSTIC &message) {
    message.report();
    if (parsing_ && message.severity() > dc_WARNING) throw parse_error();
}

bool option_obj::check_range(option_id id) {
    if (in_range(id)) return true;
    DIAG::optgen_invalid_option message(this_file, __LINE__);
    report_diagnostic(message);
    return false;
}

void option_obj::setopt(option_id id) {
    setopt_internal(id);
}

void option_obj::setopt_internal(option_id id) {
    if (!check_range(id)) return;
    ++state_[id];
    ++parsed_[id];
    order_[id] = ++last_order_;
    if (debug_level_)
        std::fprintf(stderr, "%s: Set    option id %s to state %d\n", "opt option debug",
                     internal_option_string(id).c_str(), static_cast<int>(state_[id]));
    if (!internal_) do_conflicts(id);
}

void option_obj::do_conflicts(option_id id) {
    for (int i = 0; i < num_options; ++i) {
        const auto other = option_id(i);
        if (i == id || !state_[i] || !conflicts[id][i]) continue;
        const std::string name = "--" + internal_option_string(id);
        const std::string other_name = "--" + internal_option_string(other);
        switch (conflicts[id][i]) {
        case 3: {
            DIAG::optgen_conflict_option message(this_file, __LINE__, name, other_name);
            report_diagnostic(message);
            break;
        }
        case 2: {
            DIAG::optgen_conflict_override_option message(this_file, __LINE__, name, other_name);
            report_diagnostic(message);
            clearopt(other);
            break;
        }
        case 1: {
            DIAG::optgen_conflict_quiet_option message(this_file, __LINE__, name, other_name);
            report_diagnostic(message);
            clearopt(other);
            break;
        }
        default: {
            DIAG::optgen_corruption message(this_file, __LINE__);
            report_diagnostic(message);
        }
        }
    }
}

void option_obj::clearopt(option_id id) {
    if (!check_range(id)) return;
    if (state_[id] && (option_row(id).flags & PERSISTENT)) {
        DIAG::optgen_clear_persistent message(this_file, __LINE__,
                                              "--" + internal_option_string(id));
        report_diagnostic(message);
        return;
    }
    state_[id] = 0;
    arguments_[id].clear();
    if (debug_level_)
        std::fprintf(stderr, "%s: Clear  option id %s\n", "opt option debug",
                     internal_option_string(id).c_str());
}

void option_obj::setarg(option_id id, long value) {
    if (!check_range(id)) return;
    if (!is_numeric(parm_type[id])) {
        DIAG::optgen_unhandled_setarg message(this_file, __LINE__, parm_type[id]);
        report_diagnostic(message);
        return;
    }
    store_argument(id, {parm_type[id], value, {}});
}

void option_obj::setarg(option_id id, const char *text) {
    if (!check_range(id)) return;
    if (!is_text(parm_type[id])) {
        DIAG::optgen_unhandled_setarg message(this_file, __LINE__, parm_type[id]);
        report_diagnostic(message);
        return;
    }
    store_argument(id, {parm_type[id], 0, text});
}

void option_obj::store_argument(option_id id, an_argument_t argument) {
    if (debug_level_)
        std::fprintf(stderr, "%s: Arg    option id %s gets %s\n", "opt option debug",
                     internal_option_string(id).c_str(), text_of_argument(argument).c_str());
    if (parm_type[id] != parm_list) arguments_[id].clear();
    arguments_[id].push_back(argument);
    setopt_internal(id);
    add_to_history(id, argument);
}

void option_obj::add_to_history(option_id id, const an_argument_t &argument) {
    if (internal_) return;
    const auto kind = static_cast<std::uint8_t>(argument.kind);
    if (!is_numeric(kind) && !is_text(kind)) {
        DIAG::optgen_unhandled_history message(this_file, __LINE__, kind);
        report_diagnostic(message);
        return;
    }
    history_[id].push_back(text_of_argument(argument));
}

void option_obj::setclassmembers(class_id group) {
    for (int i = 0; i < num_options; ++i)
        if (classes[i][group]) setopt(option_id(i));
}

void option_obj::clearclassmembers(class_id group) {
    for (int i = 0; i < num_options; ++i)
        if (classes[i][group]) clearopt(option_id(i));
}

bool option_obj::testopt(option_id id) const {
    return in_range(id) && state_[id] != 0;
}
bool option_obj::parsed_option(option_id id) const {
    return in_range(id) && parsed_[id] != 0;
}

bool option_obj::testclass(class_id group) const {
    for (int i = 0; i < num_options; ++i)
        if (classes[i][group] && state_[i]) return true;
    return false;
}

bool option_obj::seenclass(class_id group) const {
    for (int i = 0; i < num_options; ++i)
        if (classes[i][group] && parsed_[i]) return true;
    return false;
}

bool option_obj::isclass(option_id id, class_id group) {
    return in_range(id) && classes[id][group] != 0;
}

std::uint32_t option_obj::state(option_id id) const {
    return in_range(id) ? state_[id] : 0;
}
std::uint8_t option_obj::form(option_id id) const {
    return in_range(id) ? form_[id] : 0;
}

void option_obj::register_option_form(option_id id, std::uint8_t form) {
    if (form >= option_forms().size() || !in_range(id) || option_forms()[form].option != id) {
        DIAG::optgen_corruption message(this_file, __LINE__);
        report_diagnostic(message);
        return;
    }
    form_[id] = form;
}

long option_obj::getnumarg(option_id id, unsigned index) const {
    if (!parsed_option(id) || index >= arguments_[id].size()) return 0;
    if (!is_numeric(parm_type[id])) {
        DIAG::optgen_unhandled_option_handler(this_file, __LINE__, parm_type[id]).report();
        return 0;
    }
    return arguments_[id][index].value;
}

const char *option_obj::getstrarg(option_id id, unsigned index) const {
    if (!parsed_option(id) || index >= arguments_[id].size()) return nullptr;
    return arguments_[id][index].text.c_str();
}

unsigned option_obj::getargcount(option_id id) const {
    return in_range(id) ? static_cast<unsigned>(arguments_[id].size()) : 0;
}

bool option_obj::get_argument(option_id id, an_argument_t *argument) const {
    if (!in_range(id) || arguments_[id].empty()) return false;
    *argument = arguments_[id].back();
    return true;
}

std::string option_obj::export_option(option_id id, int index) const {
    if (!in_range(id)) return {};
    std::string text = "--" + internal_option_string(id);
    if (index >= 0 && static_cast<std::size_t>(index) < arguments_[id].size())
        text += "=" + text_of_argument(arguments_[id][static_cast<std::size_t>(index)]);
    return text;
}

std::vector<option_obj::option_pair> option_obj::export_option_pairs(export_type type,
                                                                     class_id group) const {
    const auto &wanted = type == export_seen ? parsed_ : state_;
    std::vector<option_id> ids;
    for (int i = 0; i < num_options; ++i)
        if (wanted[i] && classes[i][group]) ids.push_back(option_id(i));
    std::sort(ids.begin(), ids.end(),
              [this](option_id a, option_id b) { return order_[a] < order_[b]; });
    std::vector<option_pair> pairs;
    for (option_id id : ids) {
        const unsigned count = std::max(1u, getargcount(id));
        for (unsigned index = 0; index < count; ++index)
            pairs.push_back({id, index, export_option(id, static_cast<int>(index))});
    }
    return pairs;
}

std::vector<std::string> option_obj::export_option_class(export_type type, class_id group) const {
    std::vector<std::string> texts;
    for (option_pair &pair : export_option_pairs(type, group))
        texts.push_back(std::move(pair.text));
    return texts;
}

std::vector<std::string> option_obj::export_option_list(export_type type) const {
    return export_option_class(type, class_all);
}

void option_obj::post_process_option_depends() {
    const option_id aux_cmd{5}, debug_log{48}, abi{1}, disable_dp_load_opt{15};
    constexpr long eabi = 2;
    if (testopt(aux_cmd) && !testopt(debug_log)) {
        DIAG::optgen_not_valid_ignored message(this_file, __LINE__,
                                               "--" + internal_option_string(aux_cmd), "without",
                                               "--" + internal_option_string(debug_log));
        report_diagnostic(message);
    }
    if (testopt(disable_dp_load_opt) && getnumarg(abi, 0) == eabi) {
        DIAG::optgen_dp_load_opt message(this_file, __LINE__);
        report_diagnostic(message);
    }
}

std::string option_obj::internal_option_string(option_id id) {
    return in_range(id) ? option_row(id).name : "(unknown)";
}

std::string option_obj::format_of_option(option_id id) {
    std::string text = "--" + internal_option_string(id);
    if (in_range(id) && parm_type[id] != parm_none)
        text += std::string("=<") + option_row(id).parameter + ">";
    return text;
}

const char *option_obj::rot13(const char *text) {
    static std::string buffers[5];
    static unsigned turn = 0;
    std::string &buffer = buffers[turn++ % std::size(buffers)];
    buffer = text ? text : "";
    buffer.reserve(buffer.size() + 80);
    for (std::size_t i = buffer.size(); i-- > 0;) {
        char &c = buffer[i];
        if (c == '%')
            c = '-';
        else if (c == '-')
            c = '%';
        else if (c >= 'a' && c <= 'z')
            c = static_cast<char>('a' + (c - 'a' + 13) % 26);
        else if (c >= 'A' && c <= 'Z')
            c = static_cast<char>('A' + (c - 'A' + 13) % 26);
    }
    return buffer.c_str();
}
