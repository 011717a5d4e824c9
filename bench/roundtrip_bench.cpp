// Read, pass through, write: quillopt at level 0 over a large generated translation unit. Reports
// icode MB/s and peak memory over file size for one file and for a file of about ten times the
// size; growth is linear when both stay the same.
#include "bench/generate_c.h"

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <stdexcept>
#include <string>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace fs = std::filesystem;

namespace {
struct usage {
    double seconds; // user and system time
    double peak_bytes;
};

usage run(const std::vector<std::string> &words) {
    std::vector<char *> argv;
    for (const std::string &word : words)
        argv.push_back(const_cast<char *>(word.c_str()));
    argv.push_back(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        execv(argv[0], argv.data());
        _exit(127);
    }
    int status = 0;
    struct rusage r = {};
    if (child < 0 || wait4(child, &status, 0, &r) < 0 || status != 0)
        throw std::runtime_error("failed: " + words[0] + " " + words.back());
    const auto seconds = [](const timeval &t) {
        return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_usec) * 1e-6;
    };
    return {seconds(r.ru_utime) + seconds(r.ru_stime), static_cast<double>(r.ru_maxrss) * 1024};
}

// The icode of a generated program, made once.
const std::string &icode_of(int functions) {
    static std::map<int, std::string> made;
    std::string &name = made[functions];
    if (!name.empty()) return name;
    const fs::path dir = fs::temp_directory_path() / ("quill-bench-" + std::to_string(getpid()));
    fs::create_directories(dir);
    const std::string stem = (dir / ("gen" + std::to_string(functions))).string();
    std::ofstream(stem + ".c") << generate_c_program(functions, 1);
    run({QUILL_BIN_DIR "/ic-cc", "-o", stem + ".ic", stem + ".c"});
    return name = stem + ".ic";
}

void pass_through(benchmark::State &state) {
    const std::string &input = icode_of(static_cast<int>(state.range(0)));
    const double size = static_cast<double>(fs::file_size(input));
    double peak = 0;
    for (auto _ : state) {
        const usage u = run({QUILL_BIN_DIR "/quillopt", "--opt_level=0", input, input + ".out"});
        state.SetIterationTime(u.seconds);
        peak = std::max(peak, u.peak_bytes);
    }
    state.counters["icode_MB"] = size / 1e6;
    state.counters["MB_per_s"] =
        benchmark::Counter(size / 1e6, benchmark::Counter::kIsIterationInvariantRate);
    state.counters["peak_over_size"] = peak / size;
}
} // namespace

BENCHMARK(pass_through)
    ->Arg(200)
    ->Arg(2000)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond)
    ->MinTime(1.0);

BENCHMARK_MAIN();
