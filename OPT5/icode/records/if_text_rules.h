// What the text form may leave out: values that follow from the rest of the model. The printer
// leaves out what equals them, the assembler fills them in.
#pragma once

#include "OPT5/icode/records/if_model.h"

// Size or alignment (role IF_ROLE::size or alignment, bits) of a type by its record; 0 for types
// without one.
std::int64_t if_type_measure(const IF_MODEL &model, std::uint32_t type, IF_ROLE role);
// The slot of that measure in a record; -1 without one.
int if_measure_slot(const IF_LAYOUT &layout, IF_ROLE role);
// Entries behind the exception table head at `index`, by the records that follow.
std::int64_t if_count_entries(const IF_SECTION &section, std::uint32_t index);
// Clauses in the catch list behind the exception table entry at `index`.
std::int64_t if_count_clauses(const IF_MODEL &model, const IF_SECTION &section,
                              std::uint32_t index);
// CASEs in the left-towered chain under the SWITCH at `index`.
std::int64_t if_count_cases(const IF_SECTION &section, std::uint32_t index);

// Fit to stand bare in a position: no ':', not beginning with '#'.
bool if_is_file_word(std::string_view s);
// A hexadecimal floating constant, "inf" or "nan": stands bare in an FCON and is taken as it is.
bool if_is_float_word(std::string_view s);
