// ic-run: runs the program that one or several icode files make up.
#include "tools/ic-run/interpreter.h"

#include <charconv>
#include <cstdio>
#include <cstring>
#include <new>
#include <pthread.h>

namespace {
constexpr char usage[] =
    "usage: ic-run [options] FILE.ic... [-- ARGUMENT...]\n"
    "Runs the program that the icode files make up, from main on. The arguments behind \"--\" are\n"
    "main's, behind the name of the first file.\n"
    "  --check        end the run at what a correct program never does: an access through a null\n"
    "                 pointer, outside any object or misaligned, a read of what was never\n"
    "                 written, a promise that does not hold, a wrong argument, a lost result\n"
    "  --limit STEPS  end the run after that many nodes\n"
    "  --count        print what was executed, and its cost, on standard error at the end\n"
    "  --costs        run nothing; print for each function what its code costs, each part once\n"
    "  --trace        print the place of each statement on standard error\n"
    "Exit code: the program's status modulo 256, or\n"
    "  120  the command line is wrong\n"
    "  121  a file cannot be read, or is not clean\n"
    "  122  no main, a symbol that is nowhere defined, or twice\n"
    "  123  stack and heap have met\n"
    "  124  more steps than --limit allows\n"
    "  125  division by zero, a jump nowhere, a call of something that is no function\n"
    "  126  found by --check\n"
    "  127  abort() or a failed assertion of the program\n";

struct COMMAND {
    RUN_OPTIONS options;
    std::vector<std::string> files, words;
    bool help = false;
};

[[noreturn]] void wrong_usage(const std::string &text) {
    throw RUN_ERROR{RF_usage, text};
}

COMMAND read_command(int argc, char **argv) {
    COMMAND command;
    int i = 1;
    for (; i < argc && std::strcmp(argv[i], "--") != 0; ++i) {
        const std::string_view word = argv[i];
        if (word == "--help") {
            command.help = true;
        } else if (word == "--check") {
            command.options.check = true;
        } else if (word == "--count") {
            command.options.count = true;
        } else if (word == "--costs") {
            command.options.list_costs = true;
        } else if (word == "--trace") {
            command.options.trace = true;
        } else if (word == "--limit") {
            const std::string_view steps = ++i < argc ? argv[i] : "";
            const auto [end, error] =
                std::from_chars(steps.data(), steps.data() + steps.size(), command.options.limit);
            if (error != std::errc() || end != steps.data() + steps.size() ||
                command.options.limit == 0)
                wrong_usage("--limit needs a number of steps");
        } else if (word.starts_with("-") && word != "-") {
            wrong_usage("unknown option " + std::string(word) + ", see ic-run --help");
        } else {
            command.files.emplace_back(word);
        }
    }
    if (command.help) return command;
    if (command.files.empty()) wrong_usage("no file is given, see ic-run --help");
    command.words.push_back(command.files[0]);
    for (++i; i < argc; ++i)
        command.words.emplace_back(argv[i]);
    return command;
}

constexpr struct {
    const char *name;
    std::uint64_t cost;
} costs[] = {
#define COST(name, cost, comment) {#name, cost},
#include "OPT5/target/costs.def"
#undef COST
};

std::uint64_t cost_of(const COUNTS &counts) {
    std::uint64_t sum = 0;
    for (std::size_t c = 0; c < counts.size(); ++c)
        sum += counts[c] * costs[c].cost;
    return sum;
}

// Names and costs of the functions with a body, in the order of the files. Copies between variables
// are left out, as where code is allocated to registers.
void print_costs(const PROGRAM &program, const COMPILED &code) {
    for (std::size_t i = 0; i < program.functions.size(); ++i) {
        const COMPILED_FUNCTION &function = code.functions[i];
        if (function.code.empty()) continue;
        std::uint64_t sum = 0;
        for (std::uint32_t s = 0; s < function.segments; ++s) {
            COUNTS counts = code.segments[function.first_segment + s].counts;
            counts[COST_move] = 0;
            sum += cost_of(counts);
        }
        std::printf("%s %llu\n", program.functions[i].name.c_str(),
                    static_cast<unsigned long long>(sum));
    }
}

void print_counts(const INTERPRETER &machine) {
    const COUNTS counts = machine.counts();
    std::fprintf(stderr, "nodes %llu\n", static_cast<unsigned long long>(machine.nodes()));
    for (std::size_t c = 0; c < counts.size(); ++c)
        std::fprintf(stderr, "%s %llu\n", costs[c].name,
                     static_cast<unsigned long long>(counts[c]));
    std::fprintf(stderr, "cost %llu\n", static_cast<unsigned long long>(cost_of(counts)));
}

int run_program(const COMMAND &command) {
    constexpr std::uint32_t gap = 2; // so that --check sees accesses behind an object's end
    PROGRAM program(command.options.check ? gap : 0);
    for (const std::string &file : command.files)
        program.add_file(file);
    program.link();
    const COMPILED code = compile_program(program, command.options);
    if (command.options.list_costs) {
        print_costs(program, code);
        return 0;
    }
    const std::uint32_t words = program.add_object(INTERPRETER::words_room(command.words));
    INTERPRETER machine(program, code, command.options);
    int status;
    try {
        status = machine.run(command.words, words);
        machine.flush();
    } catch (const RUN_ERROR &error) {
        machine.flush();
        const RUN_PLACE &place = machine.place();
        std::fprintf(stderr, "ic-run: %s", error.text.c_str());
        if (!place.function.empty())
            std::fprintf(stderr, ", in %s, %s:%u", place.function.c_str(), place.file.c_str(),
                         place.line);
        std::fputc('\n', stderr);
        status = error.fault;
    }
    if (command.options.count) print_counts(machine);
    return status;
}
int run_command(int argc, char **argv) {
    try {
        const COMMAND command = read_command(argc, argv);
        if (command.help) {
            std::fputs(usage, stdout);
            return 0;
        }
        return run_program(command);
    } catch (const RUN_ERROR &error) {
        std::fprintf(stderr, "ic-run: %s\n", error.text.c_str());
        return error.fault;
    } catch (const std::bad_alloc &) {
        std::fputs("ic-run: out of memory\n", stderr);
        return RF_file;
    }
}

struct CALL_OF_MAIN {
    int argc;
    char **argv;
    int status;
};
} // namespace

// The work is done on a stack that trees of any depth that a file may have fit on, whatever the
// limits of the shell are.
int main(int argc, char **argv) {
    constexpr std::size_t stack_bytes = std::size_t{256} << 20;
    CALL_OF_MAIN call{argc, argv, 0};
    pthread_attr_t attributes;
    pthread_t worker;
    pthread_attr_init(&attributes);
    pthread_attr_setstacksize(&attributes, stack_bytes);
    const auto work = [](void *argument) -> void * {
        auto *of_main = static_cast<CALL_OF_MAIN *>(argument);
        of_main->status = run_command(of_main->argc, of_main->argv);
        return nullptr;
    };
    if (pthread_create(&worker, &attributes, work, &call) != 0)
        work(&call);
    else
        pthread_join(worker, nullptr);
    pthread_attr_destroy(&attributes);
    return call.status;
}
