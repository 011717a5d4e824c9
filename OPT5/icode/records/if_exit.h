// The one way out for errors in an input file: messages are printed by the caller, then if_exit.
#pragma once

// Set by a program that must tidy up (remove a half-written output) before it ends; may be null.
extern void (*if_exit_hook)();

// Called before the other one when the status is not 0: says where in an input file the program
// was; may be null.
extern void (*if_context_hook)();

// Runs the hooks once, flushes all streams and ends the program with `status`.
[[noreturn]] void if_exit(int status);
