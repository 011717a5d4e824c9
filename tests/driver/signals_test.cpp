#include "OPT5/driver/signals.h"

#include "OPT5/driver/driver.h"
#include "OPT5/driver/log.h"
#include "OPT5/icode/if.h"
#include "OPT5/rep/program.h"

#include <gtest/gtest.h>

#include <csignal>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace {
std::string text_of(const std::string &name) {
    std::stringstream text;
    text << std::ifstream(name).rdbuf();
    return text.str();
}

TEST(OptimizerSignalsDeathTest, AFaultIsTiedToFunctionAndFile) {
    const std::string log = testing::TempDir() + "signals.odb", info = log + ".nfo";
    SYMTAB function;
    function.name = "_f";
    const auto fault = [&](SYMTAB *current) {
        currfunc = current;
        std::strcpy(i_file_name, "a.ic");
        fdebug = std::fopen(log.c_str(), "w");
        finfo = std::fopen(info.c_str(), "w");
        std::fputs("log", fdebug);
        install_optimizer_handlers();
        std::raise(SIGSEGV);
    };
    EXPECT_EXIT(fault(&function), testing::ExitedWithCode(2),
                "INTERNAL ERROR: quillopt experienced a segmentation fault\n"
                "                  while processing function f file a.ic\n");
    EXPECT_EQ(text_of(log), "log\n>>>> Optimizer terminated by signal: SIGSEGV.\n");
    EXPECT_EQ(text_of(info), "\n>>>> Optimizer terminated by signal: SIGSEGV.\n");
    for (std::uintptr_t bad : {std::uintptr_t(0), std::uintptr_t(100000), std::uintptr_t(1) << 46})
        EXPECT_EXIT(fault(reinterpret_cast<SYMTAB *>(bad)), testing::ExitedWithCode(2),
                    "while processing function <unknown> file a.ic\n")
            << bad;
}

// In a child: opens all files of a run on an input without a function, then meets the signal.
void end_run_by(int signal_number, std::string input, std::string output) {
    tp = new TYPE_PKG();
    tp->init_type_pkg();
    I_FILE *empty = I_FILE::if_create(std::fopen(input.c_str(), "wb"), tp, "a.c");
    empty->if_close(true, false);
    std::string words[] = {"quillopt", "-g1", std::move(input), std::move(output)};
    char *argv[] = {words[0].data(), words[1].data(), words[2].data(), words[3].data(), nullptr};
    open_files(4, argv);
    std::raise(signal_number);
}

TEST(OptimizerSignalsDeathTest, OnlyAFaultRemovesTheOutput) {
    const std::string input = testing::TempDir() + "stopped.ic",
                      log = testing::TempDir() + "stopped.odb",
                      output = testing::TempDir() + "stopped.opt";
    struct {
        int number;
        const char *words;
        bool is_fault;
    } cases[] = {{SIGTERM, "\\[quillopt received a terminate signal\\]\n$", false},
                 {SIGINT, "\\[quillopt forced exit\\]\n$", false},
                 {SIGHUP, "\\[quillopt forced exit\\]\n$", false},
                 {SIGXCPU, "INTERNAL ERROR: quillopt exceeded the CPU time limit\n", true}};
    for (const auto &c : cases) {
        std::remove(output.c_str());
        EXPECT_EXIT(end_run_by(c.number, input, output), testing::ExitedWithCode(2), c.words);
        EXPECT_EQ(std::filesystem::exists(output), !c.is_fault) << c.words;
        EXPECT_EQ(text_of(log).find("terminated by signal") != std::string::npos, c.is_fault);
    }
}

TEST(OptimizerSignals, Names) {
    const std::pair<int, const char *> names[] = {
        {1, "SIGHUP"},  {6, "SIGABRT"},   {7, "SIGBUS"},    {10, "SIGUSR1"},   {23, "SIGURG"},
        {31, "SIGSYS"}, {3, "<unknown>"}, {0, "<unknown>"}, {-1, "<unknown>"}, {64, "<unknown>"}};
    for (auto [number, name] : names)
        EXPECT_STREQ(signal_name(number), name) << number;
}
} // namespace
