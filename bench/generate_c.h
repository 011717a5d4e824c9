// A deterministic generator of large C translation units for benchmarks.
#pragma once

#include <string>

// C source of `functions` functions of about forty lines each: integer and pointer arithmetic,
// loops, switches, structures, arrays and calls. The same arguments give the same text.
std::string generate_c_program(int functions, unsigned seed);
// The same with all statements, `statements` of them at the outermost level, in one function.
std::string generate_long_function(int statements, unsigned seed);
