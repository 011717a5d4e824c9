// What the small programs over the record layer share: whole files in and out, "-" for the standard
// streams.
#pragma once

#include <string>
#include <string_view>

// Reads a whole file, or the standard input for "-". False when it cannot be read.
bool if_load_file(const std::string &name, std::string &bytes);

// Writes a whole file, or the standard output for "-". On failure false; a file that was begun is
// removed again.
bool if_save_file(const std::string &name, std::string_view bytes);

// Removes an output file that must not be left behind; does nothing for "-", for a name without a
// file and for devices and pipes.
void if_drop_file(const std::string &name);
