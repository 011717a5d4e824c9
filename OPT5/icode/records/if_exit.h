// The one way out for errors in an input file: messages are printed by the caller, then if_exit.
#pragma once

// Called when the status is not 0: says where in an input file the program was; may be null.
extern void (*if_context_hook)();

// Runs the hook once, flushes all streams and ends the program with `status`.
[[noreturn]] void if_exit(int status);
