#include "OPT5/driver/signals.h"

#include "OPT5/driver/log.h"
#include "OPT5/rep/program.h"

#include <gtest/gtest.h>

#include <csignal>
#include <cstring>
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

TEST(OptimizerSignals, Names) {
    const std::pair<int, const char *> names[] = {
        {1, "SIGHUP"},  {6, "SIGABRT"},   {7, "SIGBUS"},    {10, "SIGUSR1"},   {23, "SIGURG"},
        {31, "SIGSYS"}, {3, "<unknown>"}, {0, "<unknown>"}, {-1, "<unknown>"}, {64, "<unknown>"}};
    for (auto [number, name] : names)
        EXPECT_STREQ(signal_name(number), name) << number;
}
} // namespace
