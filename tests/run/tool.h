// Runs the programs of the project as a person would, and looks at what they leave behind.
#pragma once

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace fs = std::filesystem;

struct TOOL_RESULT {
    int exit_code = -1; // -1: ended by a signal
    int signal = 0;
    std::string out, err;
};

inline std::string read_file(const fs::path &path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

inline void write_file(const fs::path &path, std::string_view bytes) {
    std::ofstream(path, std::ios::binary)
        .write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

// A folder of its own for each test, gone when the test ends.
class SCRATCH {
public:
    SCRATCH() {
        std::string name = (fs::temp_directory_path() / "quill-XXXXXX").string();
        if (mkdtemp(name.data())) dir_ = name;
    }
    ~SCRATCH() {
        std::error_code error;
        fs::remove_all(dir_, error);
    }
    SCRATCH(const SCRATCH &) = delete;
    SCRATCH &operator=(const SCRATCH &) = delete;
    fs::path operator/(const std::string &name) const { return dir_ / name; }

private:
    fs::path dir_;
};

// Runs build/bin/<words[0]>; a minute of processor time, then SIGXCPU. With `memory`, in bytes, the
// address space is limited (not under a sanitizer, which maps all of it).
inline TOOL_RESULT run_tool(std::vector<std::string> words, const SCRATCH &scratch,
                            rlim_t memory = RLIM_INFINITY) {
    words[0] = std::string(QUILL_BIN_DIR) + "/" + words[0];
    const fs::path out = scratch / "stdout.txt", err = scratch / "stderr.txt";
    std::vector<char *> argv;
    for (std::string &word : words)
        argv.push_back(word.data());
    argv.push_back(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        const rlimit time{60, 60}, space{memory, memory}, no_core{0, 0};
        setrlimit(RLIMIT_CPU, &time);
        setrlimit(RLIMIT_CORE, &no_core);
#if !defined(__SANITIZE_ADDRESS__)
        setrlimit(RLIMIT_AS, &space);
#else
        (void)space;
#endif
        setenv("ASAN_OPTIONS", "detect_leaks=0", 0); // what a program has it keeps to its end
        dup2(open(out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600), 1);
        dup2(open(err.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600), 2);
        execv(argv[0], argv.data());
        _exit(126);
    }
    int status = 0;
    waitpid(child, &status, 0);
    TOOL_RESULT result;
    if (WIFEXITED(status)) result.exit_code = WEXITSTATUS(status);
    if (WIFSIGNALED(status)) result.signal = WTERMSIG(status);
    result.out = read_file(out);
    result.err = read_file(err);
    return result;
}

inline void expect_success(const TOOL_RESULT &result, const std::string &what) {
    EXPECT_EQ(result.exit_code, 0) << what << ", signal " << result.signal << "\n"
                                   << result.out.substr(0, 2000) << result.err.substr(0, 2000);
}

// All C and C++ programs of a folder of the sources, in alphabetical order.
inline std::vector<std::string> c_programs(const char *folder) {
    std::vector<std::string> names;
    for (const auto &entry : fs::directory_iterator(fs::path(QUILL_SOURCE_DIR) / folder))
        if (entry.path().extension() == ".c" || entry.path().extension() == ".cpp")
            names.push_back(entry.path().string());
    std::sort(names.begin(), names.end());
    return names;
}
