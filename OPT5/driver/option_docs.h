// Texts made from the option table.
#pragma once

#include <string>

std::string option_help_text();     // what --help prints
std::string option_docs_markdown(); // docs/options.md
