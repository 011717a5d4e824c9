// Runs other programs with bounds on their time and memory, and keeps what they print.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

struct PROCESS_RESULT {
    int exit_code = -1; // -1: ended by a signal
    int signal = 0;
    std::string out, err;

    bool ended_with(int code) const { return signal == 0 && exit_code == code; }
    // "exit code 3" or "signal 11".
    std::string how() const;
};

struct PROCESS_BOUNDS {
    unsigned cpu_seconds = 60;          // then SIGXCPU
    std::uint64_t memory = 0;           // address space in bytes; 0: no bound
    std::uint64_t file_size = 1u << 28; // of each file that is written, in bytes; then SIGXFSZ
    std::string directory;              // to run in; empty: the caller's
};

// Runs words[0], looked up in PATH when it holds no slash. Standard output and error go through the
// files `out_file` and `err_file`, which are left behind. A program that cannot be started gives
// exit code 126.
PROCESS_RESULT run_process(const std::vector<std::string> &words, const std::string &out_file,
                           const std::string &err_file, const PROCESS_BOUNDS &bounds = {});

// The whole file; empty when it cannot be read.
std::string read_whole_file(const std::string &path);
// False when it cannot be written.
bool write_whole_file(const std::string &path, const std::string &bytes);
