// The spine: files, startup, the step loop, finishing.
#pragma once

#include "OPT5/rep/program.h"

#include <cstdio>
#include <vector>

class pass;

inline constexpr char banner[] = "Larkspur Accelerator C/C++ Optimizer";
inline constexpr char build_number[] = "1";

// The whole of a run, from the command line to the closed files. `edit_steps`, if not null, may
// change the list of steps, without the trailer, before anything is read. Ends the run itself, by
// exit code 1, on whatever is reported, and with 0 where an option asks for nothing but a listing.
void optimize_file(int argc, char **argv, void (*edit_steps)(std::vector<pass *> &steps) = nullptr);

// Command line, input, option sets, output. Every failure ends the run with exit code 1.
void open_files(int argc, char **argv);
// Closes both intermediate files, which writes the trailer of the output, then log and information
// file. An output that could not be written completely is removed, and the run ends with 1.
void close_files();
// Removes the output file if it is an ordinary one that close_files() has not finished, so that
// nothing half-written stays behind. Fit to be called by a signal handler.
void remove_output();

// Opens the debug log, named after the input with ".odb", or with ".<suffix>.odb" for the log of
// one function. With `fatal` a failure ends the run; otherwise the log goes to standard error.
void open_debug_file(bool fatal, const char *suffix);
// What the log of a function starts with; may switch to a log of its own.
void begin_function_log();
// Back to the log that begin_function_log() found.
void restore_debug_log();

void init_fileopts();
void restore_global_flags();
// Clears the per-function analysis caches; with a current function record also its body.
void erase_all();

// Globals, pragmas DEAD, initialisers; then closes the files.
void finish_file();

// Symbol maps of a function that has been written.
void clear_symbol_maps(FUNINFO *funinfo);
