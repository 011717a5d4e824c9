// What the optimizer says and does when a signal ends it.
#pragma once

// Installs the handlers. A run that is ended by a signal ends with exit code 2.
void install_optimizer_handlers();

// "SIGSEGV" and so on; "<unknown>" for a signal that has no name here.
const char *signal_name(int signal_number);
