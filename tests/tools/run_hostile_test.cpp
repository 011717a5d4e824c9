// The library against the programs' headers, and against programs that pass it anything.
#include "tests/tools/run_library_fixture.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <random>
#include <regex>

namespace {
// A function that a header declares. Kinds of parameters: 's' stream, 'c' pointer to function,
// 'p' other pointer, 'f' float, 'i' integer.
struct DECLARATION {
    std::string name, parameters;
};

char parameter_kind(const std::string &parameter) {
    if (parameter.starts_with("FILE")) return 's';
    if (parameter.find('(') != std::string::npos) return 'c';
    if (parameter.find('*') != std::string::npos || parameter.starts_with("va_list")) return 'p';
    return parameter.starts_with("double") || parameter.starts_with("float") ? 'f' : 'i';
}

std::string parameter_kinds(const std::string &list) {
    std::string kinds, parameter;
    int depth = 0;
    for (char c : list + ",") {
        depth += (c == '(') - (c == ')');
        if (c != ',' || depth) {
            if (c != ' ' || !parameter.empty()) parameter += c;
            continue;
        }
        if (parameter != "void" && parameter != "...") kinds += parameter_kind(parameter);
        parameter.clear();
    }
    return kinds;
}

// All function declarations of all headers, which stand on lines of their own.
std::vector<DECLARATION> declarations() {
    static const std::regex form(
        R"re(^(?:__attribute__\(\(noreturn\)\) )?[a-z_]\w*[\w *]*?\b(\w+)\(([^#;]*)\);)re");
    std::vector<DECLARATION> all;
    const std::filesystem::path folder = QUILL_SOURCE_DIR "/tools/ic-cc/include";
    for (const auto &header : std::filesystem::directory_iterator(folder)) {
        std::ifstream file(header.path());
        std::string line, more;
        while (std::getline(file, line)) {
            if (line.starts_with('#') || line.starts_with("//") || line.starts_with("typedef"))
                continue;
            while (line.find('(') != std::string::npos && line.back() != ';' &&
                   std::getline(file, more))
                line += more;
            if (line.starts_with("static inline")) continue; // defined in the header itself
            std::smatch found;
            if (std::regex_search(line, found, form))
                all.push_back({found[1], parameter_kinds(found[2])});
        }
    }
    std::ranges::sort(all, {}, &DECLARATION::name);
    return all;
}

// Keeps what the functions write from the test's own output, and their input empty. Failures of
// the test itself are not seen meanwhile.
class QUIET {
public:
    QUIET() {
        EXPECT_TRUE(std::freopen("/dev/null", "r", stdin));
        testing::internal::CaptureStdout();
        testing::internal::CaptureStderr();
    }
    void end() {
        if (!active_) return;
        active_ = false;
        testing::internal::GetCapturedStdout();
        testing::internal::GetCapturedStderr();
    }
    ~QUIET() { end(); }

private:
    bool active_ = true;
};
} // namespace

class RunHostile : public RunLibrary {};

TEST_F(RunHostile, FindsWhatThereIs) {
    EXPECT_EQ(find_library_function(""), nullptr);
    EXPECT_EQ(find_library_function("_printf"), nullptr);
    EXPECT_EQ(find_library_function("printfx"), nullptr);
    std::string names;
    for (const LIBRARY_OBJECT &object : library_objects())
        names += std::string(object.name) + std::to_string(object.units) + " ";
    EXPECT_EQ(names, "errno2 stdin1 stdout1 stderr1 ");
}

// Every declared function exists, and reads no more arguments, nor wider ones, than declared: with
// checking, a read behind them would be a fault.
TEST_F(RunHostile, HeadersAndLibraryAgree) {
    const std::vector<DECLARATION> all = declarations();
    EXPECT_GE(all.size(), 150u);
    std::string wrong;
    QUIET quiet;
    for (const DECLARATION &d : all) {
        if (d.name == "setjmp" || d.name == "longjmp") continue;
        if (!find_library_function(d.name)) {
            wrong += d.name + " is missing\n";
            continue;
        }
        LIBRARY_MACHINE on(true);
        on.functions = {[](auto) { return 0; }};
        ARGUMENT_LIST list(on);
        const bool of_heap = d.name == "free" || d.name == "realloc";
        for (char kind : d.parameters) {
            switch (kind) {
            case 's': list.add(out); break;
            case 'c': list.add(POINTER{0}); break;
            case 'p': list.add(of_heap ? null : POINTER{on.place(8)}); break;
            case 'f': list.add(1.0f); break;
            default: list.add(1);
            }
        }
        on.lay_out(list.units());
        LIBRARY_CALL call = {on, LIBRARY_MACHINE::arguments_at, on.place(4)};
        try {
            find_library_function(d.name)(call);
        } catch (const RUN_ERROR &e) {
            if (e.fault == RF_check) wrong += d.name + "(" + d.parameters + "): " + e.text + "\n";
        } catch (const PROGRAM_EXIT &) {
            if (d.name != "exit") wrong += d.name + " ends the program\n";
        }
    }
    quiet.end();
    EXPECT_EQ(wrong, "");
}

// A memory without a zero unit: what looks for the end of a string must give up. The arguments lie
// in that memory too, so that none of their units is zero either.
TEST_F(RunHostile, StringsWithoutEnd) {
    std::string wrong;
    QUIET quiet;
    LIBRARY_MACHINE on(false);
    const POINTER s = {100}, t = {101};
    const struct {
        std::uint16_t unit;
        std::function<int()> call;
        const char *what;
    } cases[] = {
        {'x', [&] { return fault_on(on, "strlen", s); }, "strlen"},
        {'x', [&] { return fault_on(on, "strcpy", s, t); }, "strcpy"},
        {'x', [&] { return fault_on(on, "strcat", s, t); }, "strcat"},
        {'x', [&] { return fault_on(on, "strncat", s, t, 0x10001); }, "strncat"},
        {'x', [&] { return fault_on(on, "strcmp", s, s); }, "strcmp"},
        {'x', [&] { return fault_on(on, "strncmp", s, s, ~0u); }, "strncmp"},
        {'x', [&] { return fault_on(on, "strncpy", s, t, ~0u); }, "strncpy"},
        {'x', [&] { return fault_on(on, "strrchr", s, 0x10078); }, "strrchr"},
        {'x', [&] { return fault_on(on, "strstr", s, t); }, "strstr"},
        {'x', [&] { return fault_on(on, "strspn", s, t); }, "strspn"},
        {'x', [&] { return fault_on(on, "strtok", s, t); }, "strtok"},
        {'x', [&] { return fault_on(on, "strxfrm", s, t, 0x10001); }, "strxfrm"},
        {'x', [&] { return fault_on(on, "puts", s); }, "puts"},
        {'x', [&] { return fault_on(on, "fputs", s, out); }, "fputs"},
        {'x', [&] { return fault_on(on, "perror", s); }, "perror"},
        {'x', [&] { return fault_on(on, "printf", s); }, "printf"},
        {'%', [&] { return fault_on(on, "printf", s); }, "printf %"},
        {' ', [&] { return fault_on(on, "sscanf", s, s); }, "sscanf"},
        {' ', [&] { return fault_on(on, "atoi", POINTER{' '}); }, "atoi of space"},
        {'1', [&] { return fault_on(on, "atoi", POINTER{'1'}); }, "atoi"},
        {' ', [&] { return fault_on(on, "strtod", POINTER{' '}, POINTER{' '}); },
         "strtod of space"},
        {'1', [&] { return fault_on(on, "strtod", POINTER{'1'}, POINTER{'1'}); }, "strtod"},
    };
    for (const auto &c : cases) {
        on.flood(c.unit);
        if (c.call() != RF_trap) wrong += c.what + std::string("\n");
    }
    quiet.end();
    EXPECT_EQ(wrong, "");
    EXPECT_EQ(run_on(on, "memcmp", s, s, ~0u), 0u) << "has seen all there is";
}

// Every function with arguments of all sorts over memories of all sorts: the run may end, but only
// as the machine says.
TEST_F(RunHostile, AnyArguments) {
    std::string wrong;
    QUIET quiet;
    std::mt19937 random(11);
    constexpr std::uint16_t nasty[] = {0,      1,      2,      3,      100,    0x7fff,
                                       0x8000, 0xa000, 0xc000, 0xfffe, 0xffff, 0xbffe};
    constexpr std::uint16_t floods[] = {0, 'x', '%', '9', ' ', '[', '.', 0xffff};
    unsigned returned = 0, ended = 0;
    for (const DECLARATION &d : declarations()) {
        if (d.name == "setjmp" || d.name == "longjmp") continue;
        for (unsigned round = 0; round < 24; ++round) {
            LIBRARY_MACHINE on(round % 3 == 2);
            on.flood(floods[round % std::size(floods)]);
            on.functions = {[&](auto) { return random(); }};
            on.errno_address = round % 2 ? 0xffff : 0;
            on.lay_out({});
            std::vector<std::uint16_t> units;
            for (int i = 0; i < 12; ++i)
                units.push_back(nasty[random() % std::size(nasty)]);
            on.lay_out(units);
            try {
                run_laid_out(on, d.name);
                ++returned;
            } catch (const RUN_ERROR &e) {
                if (e.text.empty()) wrong += d.name + " says nothing\n";
                ++ended;
            } catch (const PROGRAM_EXIT &) {
                if (d.name != "exit") wrong += d.name + " ends the program\n";
            }
        }
    }
    quiet.end();
    EXPECT_EQ(wrong, "");
    EXPECT_GT(returned, 1000u);
    EXPECT_GT(ended, 500u);
}
