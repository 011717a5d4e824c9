#include "tools/ic-diff/process.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <fstream>
#include <iterator>

namespace {
constexpr int cannot_start = 126;

void set_bound(int resource, std::uint64_t soft, std::uint64_t hard) {
    const rlimit limit{static_cast<rlim_t>(soft), static_cast<rlim_t>(hard)};
    setrlimit(static_cast<__rlimit_resource>(resource), &limit);
}

// In the child, between fork and exec: only calls that are safe there.
void become(char *const *argv, const char *out, const char *err, const PROCESS_BOUNDS &bounds) {
    set_bound(RLIMIT_CORE, 0, 0);
    set_bound(RLIMIT_CPU, bounds.cpu_seconds, bounds.cpu_seconds + 5);
    set_bound(RLIMIT_FSIZE, bounds.file_size, bounds.file_size);
    if (bounds.memory) set_bound(RLIMIT_AS, bounds.memory, bounds.memory);
    const int in_fd = open("/dev/null", O_RDONLY);
    const int out_fd = open(out, O_WRONLY | O_CREAT | O_TRUNC, 0600);
    const int err_fd = open(err, O_WRONLY | O_CREAT | O_TRUNC, 0600);
    if (in_fd < 0 || out_fd < 0 || err_fd < 0) _exit(cannot_start);
    dup2(in_fd, 0);
    dup2(out_fd, 1);
    dup2(err_fd, 2);
    if (!bounds.directory.empty() && chdir(bounds.directory.c_str()) != 0) _exit(cannot_start);
    execvp(argv[0], argv);
    _exit(cannot_start);
}
} // namespace

std::string PROCESS_RESULT::how() const {
    return signal ? "signal " + std::to_string(signal) : "exit code " + std::to_string(exit_code);
}

PROCESS_RESULT run_process(const std::vector<std::string> &words, const std::string &out_file,
                           const std::string &err_file, const PROCESS_BOUNDS &bounds) {
    std::vector<char *> argv;
    for (const std::string &word : words)
        argv.push_back(const_cast<char *>(word.c_str())); // exec does not write to them
    argv.push_back(nullptr);
    PROCESS_RESULT result;
    const pid_t child = fork();
    if (child == 0) become(argv.data(), out_file.c_str(), err_file.c_str(), bounds);
    if (child < 0) {
        result.exit_code = cannot_start;
        return result;
    }
    int status = 0;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR)
        continue;
    if (WIFEXITED(status)) result.exit_code = WEXITSTATUS(status);
    if (WIFSIGNALED(status)) result.signal = WTERMSIG(status);
    result.out = read_whole_file(out_file);
    result.err = read_whole_file(err_file);
    return result;
}

std::string read_whole_file(const std::string &path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

bool write_whole_file(const std::string &path, const std::string &bytes) {
    std::ofstream out(path, std::ios::binary);
    out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    return static_cast<bool>(out.flush());
}
