// The table of messages: one row each, by ascending number.
#include "DIAG/diag.h"

namespace {
enum : std::uint8_t { external = 0, internal = 1 };
enum : std::uint8_t { free_ = 0, fixed = 1 };
} // namespace

// clang-format off
DIAG_INFO DIAG_INFO_ENTRY[] = {
    // General.
    {6000, "pointer \"%s\" should not be NULL at this point", 0, dc_FATAL, internal, free_},
    {6001, "cannot open file \"%s\":  %s", 0, dc_FATAL, external, free_},
    {6002, "%s option conflicts with previous option %s", 0, dc_ERROR, external, free_},
    {6003, "invalid parameter %s to option %s", 0, dc_ERROR, external, free_},
    {6004, "cannot open file \"%s\"", 0, dc_FATAL, external, free_},
    {6005, "\"%s\" is not a valid archive file", 0, dc_FATAL, external, free_},
    {6006, "invalid option:  %s", 0, dc_FATAL, external, free_},
    {6007, "pointer \"%s\" should be NULL at this point", 0, dc_FATAL, internal, free_},
    // Option handling. The faults of the option engine itself are internal, yet not fatal: the
    // engine goes on without the option.
    {24000, "option is invalid", 0, dc_ERROR, external, free_},
    {24001, "out of memory", 0, dc_FATAL, external, free_},
    {24002, "option %s conflicts with previous option %s", 0, dc_ERROR, external, free_},
    {24003, "option %s overrides preceding option %s", 0, dc_WARNING, external, free_},
    {24004, "option %s clears preceding option %s", 0, dc_REMARK, external, free_},
    {24005, "option object: bad parm_type [A1]", 0, dc_ERROR, internal, free_},
    {24006, "Attempt to clear PERSISTENT option %s ignored", 0, dc_WARNING, external, free_},
    {24007, "unhandled clause in setarg() [%lu]", 0, dc_ERROR, internal, free_},
    {24008, "unhandled option handler [%lu]", 0, dc_ERROR, internal, free_},
    {24009, "list handler for non-list option [%lu]", 0, dc_ERROR, internal, free_},
    {24010, "option %s is missing its parameter '%s'", 0, dc_ERROR, external, free_},
    {24011, "argument to option %s (%s) is out of range", 0, dc_ERROR, external, free_},
    {24012, "argument to option %s (%s) is out of range (must be a non-negative_number)",
     0, dc_ERROR, external, free_},
    {24013, "argument to option %s (%s) is out of range (must be a number from %lu to %lu",
     0, dc_ERROR, external, free_},
    {24014, "corruption in option handler", 0, dc_ERROR, internal, free_},
    {24015, "bad argument to option %s: should be one of {%s}", 0, dc_ERROR, external, free_},
    {24016, "Case insensitivity of options has been deprecated; %s must be written as %s in "
            "future releases", 0, dc_WARNING, external, free_},
    {24017, "Option %s is not valid %s %s (ignored)", 0, dc_WARNING, external, free_},
    {24018, "Option %s is not valid %s %s", 0, dc_ERROR, external, free_},
    {24019, "garbage following option -%s ignored", 0, dc_WARNING, external, free_},
    {24020, "option %s was set in previous files, but not in \"%s\"", 0, dc_ERROR, external, free_},
    {24021, "option %s is set in \"%s\", but not in previous files", 0, dc_ERROR, external, free_},
    {24022, "option %s is set in \"%s\", and is incompatible with the previously seen option %s",
     0, dc_ERROR, external, free_},
    {24023, "option %s in file \"%s\" conflicts with previous option %s",
     0, dc_ERROR, external, free_},
    {24024, "Hardware floating point on a Cortex-M4 requires --abi=eabi",
     0, dc_ERROR, external, free_},
    {24025, "The workaround option %s disables unaligned access", 0, dc_WARNING, external, free_},
    {24026, "Argument of %s must be a power of 2", 0, dc_ERROR, external, free_},
    {24027, "Argument %s of the output file option %s looks like an optimization level; use "
            "--opt_level to set one", 0, dc_WARNING, external, free_},
    {24028, "option %s needs to be passed to the compiler shell instead of directly to the "
            "linker.  Ignoring.", 0, dc_WARNING, external, free_},
    {24029, "", 0, dc_ERROR, external, free_},
    {24030, "Cannot find tool type with command \"%s\". Is the command defined in the tooldef?",
     0, dc_ERROR, external, free_},
    {24031, "unhandled clause in add_to_history() [%lu]", 0, dc_ERROR, internal, free_},
    {24032, "No known tool \"%s\" when adding file to option list.", 0, dc_ERROR, external, free_},
    {24033, "Silicon version %s is not a supported or valid value", 0, dc_ERROR, external, free_},
    {24034, "Small memory model is no longer supported", 0, dc_ERROR, external, free_},
    {24035, "Variant %s is no longer supported; an older release of the tools supports it",
     0, dc_ERROR, external, free_},
    {24036, "Option %s is no longer supported; an older release of the tools supports it",
     0, dc_ERROR, external, free_},
    {24037, "The --far_heapsize option is deprecated. Use --heap_size instead. %s.",
     0, dc_WARNING, external, free_},
    {24038, "%s", 0, dc_REMARK, external, free_},
    {24039, "%s", 0, dc_WARNING, external, free_},
    {24040, "%s", 0, dc_ERROR, external, free_},
    {24041, "%s", 0, dc_FATAL, external, free_},
    {24042, "Option --disable_dp_load_opt is not supported in EABI mode. Consider using the "
            "blocked and noblocked attributes to change the default blocking behavior for global "
            "variables.", 0, dc_WARNING, external, free_},
    {99900, "error limit reached; %lu errors detected", 0, dc_FATAL, external, free_},
    // Free texts of USER_MSG.
    {99920, "%s", 0, dc_DEBUG, internal, free_},
    {99921, "%s", 0, dc_REMARK, external, fixed},
    {99922, "%s", 0, dc_WARNING, external, fixed},
    {99923, "%s", 0, dc_ERROR, external, fixed},
    {99924, "%s", 0, dc_ERROR, internal, fixed},
    {99925, "%s", 0, dc_FATAL, external, fixed},
    {99926, "%s", 0, dc_FATAL, internal, fixed},
    {99927, "%s", 0, dc_ADVICE, external, fixed},
    {0, nullptr, 0, dc_SUPPRESSED, external, free_},
};
// clang-format on
