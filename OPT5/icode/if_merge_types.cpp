// The types of a file that merges several translation units: what each of these defined for itself
// becomes one, and the writer writes one record.
#include "OPT5/icode/if_file.h"

void I_FILE::if_merge_type_defs() {
    EARLIER_TYPES earlier;
    const auto find_equivalent_type = [&earlier](TYPE *type) {
        if (type) earlier.find_equivalent_type(type);
    };
    for (const TYPE_INFO &entry : near_types_)
        find_equivalent_type(entry.type);
    for (const auto &[number, entry] : far_types_)
        find_equivalent_type(entry.type);
}
