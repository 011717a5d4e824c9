#include "DIAG/signals.h"

#include <gtest/gtest.h>

#include <csignal>
#include <cstring>

namespace {
void handler(int signal_number) {
    common_signal_handler(signal_number, "tool", "at %s", "work");
}

void say_callback(int signal_number) {
    std::fprintf(stderr, "[callback %d]", signal_number);
}

void raise_handled(int signal_number) {
    install_common_handlers(handler, say_callback);
    std::raise(signal_number);
}

TEST(SignalsDeathTest, RequestsToStopEndWithCode2) {
    EXPECT_EXIT(raise_handled(SIGHUP), testing::ExitedWithCode(2), "^\\[tool forced exit\\]\n$");
    EXPECT_EXIT(raise_handled(SIGINT), testing::ExitedWithCode(2), "^\\[tool forced exit\\]\n$");
    EXPECT_EXIT(raise_handled(SIGTERM), testing::ExitedWithCode(2),
                "^\\[tool received a terminate signal\\]\n$");
}

TEST(SignalsDeathTest, FaultsAreWorded) {
    struct {
        int number;
        const char *words;
    } faults[] = {{4, "executed an illegal instruction"},
                  {5, "received a TRAP signal"},
                  {6, "had an internal inconsistency and aborted"},
                  {7, "experienced a bus alignment fault"},
                  {8, "received a floating point exception"},
                  {11, "experienced a segmentation fault"},
                  {24, "exceeded the CPU time limit"},
                  {25, "exceeded the file size limit"},
                  {31, "experienced a bad system call"}};
    for (const auto &fault : faults)
        EXPECT_EXIT(raise_handled(fault.number), testing::ExitedWithCode(2),
                    std::string("^\nINTERNAL ERROR: tool ") + fault.words +
                        "\n                  at work\n\nThis is caused by a defect in the compiler "
                        "itself. QV Customer\n(.|\n)*\\[callback " +
                        std::to_string(fault.number) + "\\]$");
    EXPECT_EXIT(handler(SIGUSR1), testing::ExitedWithCode(2),
                "tool experienced a fatal internal fault\n");
}

TEST(SignalsDeathTest, SmallPointersCountAsNull) {
    const auto small = [] { return reinterpret_cast<const char *>(100000); };
    EXPECT_EXIT(common_signal_handler(SIGINT, small(), "%s", ""), testing::ExitedWithCode(2),
                "^\\[unknown forced exit\\]\n$");
    EXPECT_FALSE(is_plausible_pointer(small()));
    EXPECT_TRUE(is_plausible_pointer(reinterpret_cast<const void *>(100001)));
}

// A handler whose argument faults when it is formatted.
void faulting_handler(int signal_number) {
    common_signal_handler(signal_number, "tool", "at %s",
                          reinterpret_cast<const char *>(std::uintptr_t(1) << 46));
}

TEST(SignalsDeathTest, ASecondFaultPrintsTheSameWords) {
    EXPECT_EXIT(
        {
            install_common_handlers(faulting_handler, nullptr);
            std::raise(SIGFPE);
        },
        testing::ExitedWithCode(2), "INTERNAL ERROR: tool received a floating point exception\n");
}

TEST(Signals, AppendStaysInTheBuffer) {
    char buffer[8] = "ab";
    sigstrnappend(buffer, sizeof buffer, "%d", 12);
    EXPECT_STREQ(buffer, "ab12");
    sigstrnappend(buffer, sizeof buffer, "%s", "345678");
    EXPECT_STREQ(buffer, "ab12345");
    sigstrnappend(buffer, sizeof buffer, "%s", "9");
    EXPECT_STREQ(buffer, "ab12345");
}

TEST(Signals, DebugHandlerArmsItselfAgain) {
    const auto old = std::signal(SIGUSR1, debug_signal_handler);
    std::raise(SIGUSR1);
    std::raise(SIGUSR1);
    EXPECT_EQ(std::signal(SIGUSR1, old), &debug_signal_handler);
}
} // namespace
