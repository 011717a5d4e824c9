// The option table as data: what option_table.def says, in arrays.
#pragma once

#include "OPT5/driver/optobj.h"

#include <span>

struct OPTION_ROW {
    const char *name;  // long spelling without dashes
    std::uint8_t parm; // option_obj::parm_type
    option_obj::class_id group;
    const char *parameter;
    unsigned flags; // OPTION_FLAG
    long low, high;
    const char *help;
};

enum OPTION_FLAG : unsigned { PERSISTENT = 1, POWER_OF_2 = 2 };

struct OPTION_WORD {
    option_obj::option_id option;
    const char *word;
    int value;
    const char *help;
};

// A word that an option took once: what to say of it before it is refused.
struct OPTION_FORMER_WORD {
    option_obj::option_id option;
    const char *word;
    unsigned notice; // message
};

// How a spelling is told from what follows it.
enum FORM_KIND : std::uint8_t {
    WHOLE,    // ends at "=" or at the end
    ATTACHED, // digits may also follow at once
};

struct OPTION_FORM {
    option_obj::option_id option;
    const char *text; // without the first dash
    FORM_KIND kind;
    unsigned notice; // message to give when it is used, or 0
    bool long_name;  // the option's own name
};

const OPTION_ROW &option_row(option_obj::option_id id); // `id` must be in range
std::span<const OPTION_WORD> option_words();            // by option; in an option, for the reader
std::span<const OPTION_FORMER_WORD> option_former_words();
std::span<const OPTION_FORM> option_forms(); // long names first, by option
