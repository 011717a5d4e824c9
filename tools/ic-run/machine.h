// The machine that ic-run runs programs on, as its library functions see it: 65536 units of 16
// bits, little end first, address 0 never allocated. Addresses are unit numbers.
#pragma once

#include <cstdint>
#include <map>
#include <span>
#include <string>
#include <string_view>
#include <vector>

// How a run ends other than by the program's own exit status. The values are exit codes of ic-run.
enum RUN_FAULT : int {
    RF_usage = 120,          // command line
    RF_file = 121,           // a file cannot be read, or is not clean
    RF_link = 122,           // no main, a symbol that is nowhere defined, or defined twice
    RF_stack_overflow = 123, // stack and heap have met
    RF_limit = 124,          // more steps than --limit allows
    RF_trap = 125,  // division by zero, a jump nowhere, a call of something that is no function
    RF_check = 126, // found by --check
    RF_abort = 127, // abort() or a failed assertion of the program
};

// Thrown to end the run; main prints `text` behind the place and exits with `fault`.
struct RUN_ERROR {
    RUN_FAULT fault;
    std::string text;
};

// Thrown by the program's exit(), after its atexit functions have run.
struct PROGRAM_EXIT {
    int status;
};

// Memory, heap, input and output. The stack grows up from the end of the static objects, the heap
// down from the functions' numbers, which take the highest addresses.
class MACHINE {
public:
    static constexpr std::uint32_t memory_units = 65536;

    explicit MACHINE(bool check_accesses);
    virtual ~MACHINE() = default;
    MACHINE(const MACHINE &) = delete;
    MACHINE &operator=(const MACHINE &) = delete;

    // Whether accesses are checked: null, outside any object, misaligned, not yet written.
    const bool checking;

    // Memory for library functions. 32-bit values lie low unit first. With checking each access is
    // checked as the program's own are; without, addresses wrap at 16 bits.
    std::uint16_t load16(std::uint32_t address);
    std::uint32_t load32(std::uint32_t address);
    float load_float(std::uint32_t address);
    void store16(std::uint32_t address, std::uint16_t value);
    void store32(std::uint32_t address, std::uint32_t value);
    void store_float(std::uint32_t address, float value);
    std::string load_string(std::uint32_t address); // up to the zero unit; low 8 bits of each unit
    // Copies units, which may overlap, with what is known of them (written or not).
    void copy(std::uint32_t to, std::uint32_t from, std::uint32_t units);

    // Heap, in units; 0 when there is no room. Released memory must have come from allocate(), or
    // be 0; anything else is a fault with checking and ignored without.
    std::uint32_t allocate(std::uint32_t units);
    void release(std::uint32_t address);
    std::uint32_t allocated_units(std::uint32_t address) const; // 0: not the start of a block

    // Runs a function of the program to its end and gives its result (0 for void): for qsort,
    // bsearch, atexit. Each argument is a scalar of 1 or 2 units.
    struct ARGUMENT {
        std::uint32_t value;
        unsigned units;
    };
    virtual std::uint32_t call(std::uint32_t function, std::span<const ARGUMENT> arguments) = 0;

    // Standard output and error are written when the run ends, when their buffers fill, and before
    // input is read.
    void put(int stream, std::string_view text); // 1 or 2
    void flush();
    int get(); // next character of standard input, -1 at the end
    void unget(int character);

    std::vector<std::uint32_t> exit_functions; // atexit, latest last
    std::uint32_t random_state = 1;            // rand, srand
    std::uint32_t errno_address = 0;           // of the program's errno; 0: it refers to none
    std::uint32_t token_rest = 0;              // where strtok goes on
    std::uint32_t error_text = 0;              // the block that strerror gives, once allocated

protected:
    // Ends the run unless the units lie in one object and, for a read, have been written.
    void check_access(std::uint32_t address, std::uint32_t units, bool reads) const;
    void check_alignment(std::uint32_t address) const; // of 32 bits
    // Makes units an object of their own (with checking).
    void begin_object(std::uint32_t address, std::uint32_t units, bool written);
    void mark_object(std::uint32_t address, std::uint32_t units); // what is written stays known
    void end_objects(std::uint32_t address, std::uint32_t units);

    std::uint16_t memory_[memory_units + 2] = {}; // a 32-bit access may begin at the last unit
    // With checking: the object that a unit belongs to (0: none), and whether it has been written.
    std::vector<std::uint32_t> object_;
    std::vector<bool> written_;
    std::uint32_t stack_end_ = 0;             // first unit behind the stack
    std::uint32_t heap_start_ = memory_units; // lowest unit of the heap

private:
    struct BLOCK {
        std::uint32_t units, room; // as asked for; as taken
    };
    std::uint32_t take_room(std::uint32_t room);

    std::uint32_t objects_ = 0;                   // object numbers given so far
    std::map<std::uint32_t, BLOCK> blocks_;       // of the heap, by address
    std::map<std::uint32_t, std::uint32_t> free_; // released room within the heap, by address
    std::string output_;                          // not yet written, all for one stream
    int output_stream_ = 1;
    std::vector<int> ungot_;
};

// A call of a library function: arguments lie one after the other in memory from `next`, each at
// its alignment, as a variadic function of the program would find them.
struct LIBRARY_CALL {
    MACHINE &machine;
    std::uint32_t next;
    std::uint32_t result = 0; // where a result of class type goes; its units are written there

    std::uint16_t word() { return machine.load16(next++); } // char, short, pointers
    std::uint32_t dword() {
        next = (next + 1) & ~1u;
        next += 2;
        return machine.load32(next - 2);
    }
    float real() {
        next = (next + 1) & ~1u;
        next += 2;
        return machine.load_float(next - 2);
    }
};

// Gives the result: low 16 or all 32 bits by the function's type, floats as their bits.
using LIBRARY_FUNCTION = std::uint32_t (*)(LIBRARY_CALL &);

// By the C name without prefix; null for none. setjmp and longjmp are the machine's own.
LIBRARY_FUNCTION find_library_function(std::string_view name);

// The objects of the library that programs refer to as external data: errno, stdin, stdout and
// stderr, by their C names without prefix. The linker of the program gives each the units, the
// first value and, for errno, sets `errno_address`.
struct LIBRARY_OBJECT {
    std::string_view name;
    unsigned units;
    std::uint32_t value;
};
std::span<const LIBRARY_OBJECT> library_objects();

// Runs the functions that atexit has registered, latest first, each once: by exit(), and when main
// returns.
void run_exit_functions(MACHINE &machine);
