// The text form of intermediate files: what ic-dis writes and ic-as reads. docs/icode.md describes
// it.
#pragma once

#include "OPT5/icode/records/if_model.h"

struct IF_TEXT_OPTIONS {
    bool positions = true;     // print source positions
    bool keep_unknown = false; // print records with an unknown tag as raw bytes, not as errors
};

// The text of a model that was read without errors. Ends in a line break.
std::string if_text_of_model(const IF_MODEL &model, const IF_TEXT_OPTIONS &options = {});

// A line for each of the first errors of a model, "offset N: expected ..., found ...", each with
// `prefix` before it.
std::string if_error_lines(const IF_MODEL &model, const std::string &prefix);

// The text of a file's bytes. On broken input false; `error` then has its if_error_lines and `text`
// is empty.
bool if_text_of(std::string_view bytes, const IF_TEXT_OPTIONS &options, std::string &text,
                std::string &error);
// The same for callers who show the result to a person or compare it: the text or the errors.
std::string if_text_of(std::string_view bytes, const IF_TEXT_OPTIONS &options = {});

// Assembles a text. On a mistake false; `error` then has "line:column: expected ..." lines.
bool if_bytes_of(std::string_view text, std::string &bytes, std::string &error);
