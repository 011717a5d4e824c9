// The debug log and the information file.
#pragma once

#include <cstdio>

extern FILE *fdebug;        // debug log, null while it is off
extern FILE *finfo;         // information file, null while it is off
extern int print_debug;     // level of the debug log; 0: off
extern int write_opt_info;  // level of the information file; 0: off

// Write to the debug log, only when it is on. tprintf is for the terser trace of a pass.
void dprintf(const char *format, ...) __attribute__((format(printf, 1, 2)));
void tprintf(const char *format, ...) __attribute__((format(printf, 1, 2)));
