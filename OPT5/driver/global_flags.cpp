#include "OPT5/driver/global_flags.h"

#include "OPT5/driver/abort.h"
#include "OPT5/driver/register_option.h"
#include "OPT5/rep/symbol.h"
#include "OPT5/rep/type_pkg.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <iterator>

option_obj *cmdline_options = nullptr;
std::vector<option_obj *> all_option_sets;
option_obj *file_options = nullptr;

int alias_vars, inline_single, cache_sys_funinfo, code_is_reentrant, dump_ocg_in_GDL, dwim_aliases,
    dwim_loops, far_externs, kr_flag, memory_is_big_endian, memory_model, mini_mult,
    apply_symbolic_methods, pass_args_in_regs, program_mode, source_interlist, unsigned_index_wraps,
    unsigned_ok_for_RPTB, volit_vars, max_unrolled_loop_size, old_const_pointer_behavior,
    chars_alias_other_types, pointer_args_are_disjoint, loop_increments_are_not_zero, strict_fp,
    use_g2, aux_cmd_flag[10], remove_hooks_when_inlining, inhibit_clustering, decode_mangle_scheme;

const int default_o3_auto_inline = 100;

namespace {
using id = option_obj::option_id;

// Numbers of the options whose argument is read here.
constexpr id opt_abi{1}, opt_auto_inline{4}, opt_aux_cmd{5}, opt_program_mode{8}, opt_debug{11},
    opt_disable{14}, opt_enable{19}, opt_endian{20}, opt_fp_mode{23}, opt_fp_reassoc{24},
    opt_interrupt_threshold{31}, opt_max_unrolled_loop_size{35}, opt_opt_level{45},
    opt_debug_log{48}, opt_sat_reassoc{51}, opt_size_speed_goal{55}, opt_use_llvm{66};

// Enumeration values of their words.
constexpr long abi_eabi = 2, endian_big = 8, fp_mode_relaxed = 13, fp_mode_strict = 14,
               fp_reassoc_off = 15, level_off = 33, level_1 = 35, level_2 = 36, level_3 = 37,
               level_none = 38, sat_reassoc_on = 40, goal_5 = 43, goal_0 = 44, goal_3 = 45,
               goal_2 = 46, goal_1 = 48;

struct FLAG_DEFAULT {
    int *flag;
    int value;
};

constexpr FLAG_DEFAULT defaults[] = {
    {&alias_vars, 0},
    {&inline_single, 0},
    {&cache_sys_funinfo, 2},
    {&code_is_reentrant, 1},
    {&dump_ocg_in_GDL, 0},
    {&dwim_aliases, 0},
    {&dwim_loops, 0},
    {&far_externs, 0},
    {&kr_flag, 0},
    {&memory_is_big_endian, 0},
    {&memory_model, 0},
    {&mini_mult, 0},
    {&apply_symbolic_methods, 0},
    {&pass_args_in_regs, 0},
    {&program_mode, -1},
    {&source_interlist, 0},
    {&unsigned_index_wraps, 1},
    {&unsigned_ok_for_RPTB, 0},
    {&volit_vars, 0},
    {&max_unrolled_loop_size, 195},
    {&old_const_pointer_behavior, 0},
    {&chars_alias_other_types, 1},
    {&pointer_args_are_disjoint, 0},
    {&loop_increments_are_not_zero, 0},
    {&strict_fp, 1},
    {&use_g2, 0},
    {&remove_hooks_when_inlining, 0},
    {&inhibit_clustering, 0},
    {&decode_mangle_scheme, 0},
    {&TYPE_PKG::abi, 0},
};

// Options that set a flag to a constant.
struct FLAG_OPTION {
    int option;
    int *flag;
    int value;
};

constexpr FLAG_OPTION flag_options[] = {
    {3, &alias_vars, 1},
    {6, &memory_is_big_endian, 1},
    {16, &dump_ocg_in_GDL, 1},
    {18, &dwim_loops, 1},
    {21, &far_externs, 1},
    {33, &kr_flag, 1},
    {38, &dwim_aliases, 1},
    {38, &dwim_loops, 1},
    {40, &code_is_reentrant, 0},
    {46, &source_interlist, 1},
    {47, &pass_args_in_regs, 1},
    {49, &remove_hooks_when_inlining, 1},
    {54, &inline_single, 1},
    {56, &cache_sys_funinfo, 1},
    {57, &cache_sys_funinfo, 2},
    {58, &cache_sys_funinfo, 0},
    {61, &unsigned_ok_for_RPTB, 1},
    {63, &old_const_pointer_behavior, 1},
    {64, &use_g2, 1},
    {65, &use_g2, 0},
    {68, &volit_vars, 1},
};

bool variables_may_be_aliased_at(long level) {
    return level == level_off || level == level_none;
}

void check_enum(const char *format, long value, long first, long last) {
    if (value >= first && value <= last) return;
    std::fprintf(stderr, format, value);
    abort_optimizer();
}

// Options whose argument counts.
void apply_argument(const option_obj &options, const option_obj::option_pair &pair) {
    if (option_obj::parm_type[pair.id] == option_obj::parm_none) return;
    if (option_obj::parm_type[pair.id] == option_obj::parm_list) {
        const char *element = options.getstrarg(pair.id, pair.index);
        if (!element) return;
        if (pair.id == opt_debug) process_debug_option("debug", element);
        if (pair.id == opt_disable) process_debug_option("disable", element);
        if (pair.id == opt_enable) process_debug_option("enable", element);
        if (pair.id == opt_aux_cmd && options.testopt(opt_debug_log) &&
            std::isdigit(static_cast<unsigned char>(*element)))
            aux_cmd_flag[*element - '0'] = 1;
        return;
    }
    if (option_obj::parm_type[pair.id] == option_obj::parm_string) return;
    const long value = options.getnumarg(pair.id, 0);
    switch (pair.id) {
    case opt_abi:
        if (value == abi_eabi) TYPE_PKG::abi = decode_mangle_scheme = 1;
        break;
    case opt_program_mode: program_mode = static_cast<int>(value); break;
    case opt_endian: memory_is_big_endian = value == endian_big; break;
    case opt_fp_mode:
        if (value == fp_mode_strict) strict_fp = 1;
        if (value == fp_mode_relaxed) strict_fp = 0;
        break;
    case opt_max_unrolled_loop_size: max_unrolled_loop_size = static_cast<int>(value); break;
    case opt_opt_level:
        check_enum("--opt_level given invalid value: %ld\n", value, level_off, level_none);
        break;
    case opt_size_speed_goal:
        check_enum("--size_speed_goal given invalid value:  %ld\n", value, goal_5, goal_1);
        break;
    default: break;
    }
}

// The argument of an option of the current set, 0 when the option is absent.
long current_value(id option) {
    const option_obj *options = current_option_set();
    return options && options->testopt(option) ? options->getnumarg(option, 0) : 0;
}
} // namespace

const option_obj *current_option_set() {
    if (currfunc && currfunc->option_set < all_option_sets.size())
        return all_option_sets[currfunc->option_set];
    return file_options;
}

void reset_global_flags() {
    for (const FLAG_DEFAULT &entry : defaults)
        *entry.flag = entry.value;
    std::fill(std::begin(aux_cmd_flag), std::end(aux_cmd_flag), 0);
}

// The flags have sensible values even where no option set is ever applied.
static const bool flags_start_at_their_defaults = (reset_global_flags(), true);

void set_global_flags(option_obj *options) {
    options->post_process_option_depends();
    for (const option_obj::option_pair &pair :
         options->export_option_pairs(option_obj::export_set, option_obj::class_all)) {
        for (const FLAG_OPTION &entry : flag_options)
            if (entry.option == pair.id) *entry.flag = entry.value;
        apply_argument(*options, pair);
    }
    if (!options->testopt(opt_debug_log))
        std::fill(std::begin(aux_cmd_flag), std::end(aux_cmd_flag), 0);
    if (dwim_aliases) {
        alias_vars = 0;
        chars_alias_other_types = 0;
        pointer_args_are_disjoint = 1;
    }
    if (dwim_loops) loop_increments_are_not_zero = 1;
    if (variables_may_be_aliased_at(options->getnumarg(opt_opt_level, 0))) alias_vars = 1;
    for (const option_obj *set : all_option_sets)
        if (variables_may_be_aliased_at(set->getnumarg(opt_opt_level, 0))) inhibit_clustering = 1;
}

int opt_level() {
    switch (current_value(opt_opt_level)) {
    case level_off:
    case level_none: return 0;
    case level_1: return 2;
    case level_2: return 3;
    case level_3: return 4;
    default: return 1;
    }
}

int size_speed_goal() {
    switch (current_value(opt_size_speed_goal)) {
    case goal_5: return 5;
    case goal_0: return 0;
    case goal_3: return 3;
    case goal_2: return 2;
    case goal_1: return 1;
    default: return 4;
    }
}

int auto_inline() {
    const option_obj *options = current_option_set();
    if (options && options->testopt(opt_auto_inline))
        return static_cast<int>(options->getnumarg(opt_auto_inline, 0));
    if (pass_disable("newinline")) return 1;
    switch (current_value(opt_opt_level)) {
    case level_1: return 20;
    case level_2:
    case level_3: return default_o3_auto_inline;
    default: return 0;
    }
}

bool fp_add_is_associative() {
    return current_value(opt_fp_reassoc) != fp_reassoc_off;
}
bool saturating_add_is_associative() {
    return current_value(opt_sat_reassoc) == sat_reassoc_on;
}
int interrupt_threshold() {
    return static_cast<int>(current_value(opt_interrupt_threshold));
}

bool use_llvm() {
    const option_obj *options = current_option_set();
    return options && options->testopt(opt_use_llvm);
}
