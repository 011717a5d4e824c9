// Turns a crash into a worded internal error.
#pragma once

// Sets `fatal_handler` for the signals that end a run. `callback`, which may be null, is called
// once by common_signal_handler() before the program ends after a fault.
void install_common_handlers(void (*fatal_handler)(int), void (*callback)(int));

// Says what happened and ends the program with code 2, without running exit handlers. `tool` is the
// program's name; `format` and what follows say what it was doing. Pointers too small to be real
// count as null, so that it survives a damaged program.
[[noreturn]] void common_signal_handler(int signal_number, const char *tool, const char *format,
                                        ...) __attribute__((format(printf, 3, 4)));

// Appends formatted text to the string in `buffer`, which has `size` bytes; cuts what does not fit.
void sigstrnappend(char *buffer, unsigned size, const char *format, ...)
    __attribute__((format(printf, 3, 4)));

// Whether a pointer can be real.
bool is_plausible_pointer(const void *pointer);

const char *support_message_text(); // what is shown after an internal error

void try_gen_corefile(int signal_number); // hook without content

// Handles a signal by waiting for the next one: for work under a debugger, which sees it first.
void debug_signal_handler(int signal_number);
