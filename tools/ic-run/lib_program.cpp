// The ways a program ends, sorting and searching, and the time, which stands still.
#include "tools/ic-run/library.h"

#include <algorithm>
#include <numeric>

namespace {
std::uint32_t lib_exit(LIBRARY_CALL &call) {
    const auto status = static_cast<std::int32_t>(call.dword());
    run_exit_functions(call.machine);
    throw PROGRAM_EXIT{status};
}

std::uint32_t lib_abort(LIBRARY_CALL &) {
    throw RUN_ERROR{RF_abort, "the program has aborted"};
}

// Text for a message about a program: what cannot be printed is shown as '?'.
std::string printable(MACHINE &machine, std::uint32_t address) {
    std::string text;
    for (char16_t unit : load_units(machine, address, 1000))
        text.push_back(unit >= ' ' && unit < 127 ? static_cast<char>(unit) : '?');
    return text;
}

std::uint32_t lib_assert_fail(LIBRARY_CALL &call) {
    const std::string condition = printable(call.machine, call.word());
    const std::string file = printable(call.machine, call.word());
    const auto line = static_cast<std::int32_t>(call.dword());
    throw RUN_ERROR{RF_abort, file + ":" + std::to_string(line) + ": assertion '" + condition +
                                  "' has failed"};
}

std::uint32_t lib_atexit(LIBRARY_CALL &call) {
    constexpr std::size_t most = 1024;
    if (call.machine.exit_functions.size() == most) return 1;
    call.machine.exit_functions.push_back(call.word());
    return 0;
}

// A comparison function of the program, called with two addresses.
class COMPARISON {
public:
    COMPARISON(MACHINE &machine, std::uint32_t function) : machine_(machine), function_(function) {}
    std::int32_t operator()(std::uint32_t a, std::uint32_t b) const {
        const MACHINE::ARGUMENT arguments[] = {{a & 0xffff, 1}, {b & 0xffff, 1}};
        return static_cast<std::int32_t>(machine_.call(function_, arguments));
    }

private:
    MACHINE &machine_;
    std::uint32_t function_;
};

// Bottom-up merge sort of the numbers of elements: stable, and at an end whatever the comparison
// says. Elements stay where they are meanwhile.
std::vector<std::uint32_t> sorted_order(const COMPARISON &compare, std::uint32_t base,
                                        std::uint32_t count, std::uint32_t size) {
    std::vector<std::uint32_t> order(count), merged(count);
    std::iota(order.begin(), order.end(), 0u);
    for (std::uint32_t run = 1; run < count; run *= 2) {
        for (std::uint32_t begin = 0; begin < count; begin += 2 * run) {
            const std::uint32_t middle = std::min(begin + run, count);
            const std::uint32_t end = std::min(begin + 2 * run, count);
            std::uint32_t left = begin, right = middle;
            for (std::uint32_t to = begin; to < end; ++to) {
                const bool from_left =
                    right == end || (left < middle && compare(base + order[left] * size,
                                                              base + order[right] * size) <= 0);
                merged[to] = order[from_left ? left++ : right++];
            }
        }
        order.swap(merged);
    }
    return order;
}

// Moves element order[i] to place i for all i, along the cycles of the permutation, with room for
// one element at `spare`.
void arrange(MACHINE &machine, std::uint32_t base, std::uint32_t size, std::uint32_t spare,
             std::vector<std::uint32_t> order) {
    for (std::uint32_t start = 0; start < order.size(); ++start) {
        if (order[start] == start) continue;
        machine.copy(spare, base + start * size, size);
        std::uint32_t place = start;
        while (order[place] != start) {
            const std::uint32_t source = order[place];
            machine.copy(base + place * size, base + source * size, size);
            order[place] = place;
            place = source;
        }
        machine.copy(base + place * size, spare, size);
        order[place] = place;
    }
}

// Elements that compare equal keep their order. One element's room is taken from the heap.
std::uint32_t lib_qsort(LIBRARY_CALL &call) {
    MACHINE &machine = call.machine;
    const std::uint32_t base = call.word();
    const std::uint64_t count = call.dword();
    const std::uint32_t size = call.dword();
    const COMPARISON compare(machine, call.word());
    if (count < 2 || !size) return 0;
    checked_units(count * size, "qsort");
    auto order = sorted_order(compare, base, static_cast<std::uint32_t>(count), size);
    if (std::is_sorted(order.begin(), order.end())) return 0;
    const std::uint32_t spare = machine.allocate(size);
    if (!spare) throw RUN_ERROR{RF_stack_overflow, "qsort: no room for one more element"};
    arrange(machine, base, size, spare, std::move(order));
    machine.release(spare);
    return 0;
}

std::uint32_t lib_bsearch(LIBRARY_CALL &call) {
    MACHINE &machine = call.machine;
    const std::uint32_t key = call.word();
    const std::uint32_t base = call.word();
    const std::uint64_t count = call.dword();
    const std::uint32_t size = call.dword();
    const COMPARISON compare(machine, call.word());
    checked_units(count * size, "bsearch");
    std::uint64_t begin = 0, end = count;
    while (begin < end) {
        const std::uint64_t middle = begin + (end - begin) / 2;
        const std::uint32_t element = base + static_cast<std::uint32_t>(middle) * size;
        const std::int32_t order = compare(key, element);
        if (order == 0) return element;
        if (order < 0)
            end = middle;
        else
            begin = middle + 1;
    }
    return 0;
}

// The same at any time, so that each run of a program is the same.
std::uint32_t lib_time(LIBRARY_CALL &call) {
    constexpr std::uint32_t now = 1000000000;
    const std::uint32_t to = call.word();
    if (to) call.machine.store32(to, now);
    return now;
}

std::uint32_t lib_clock(LIBRARY_CALL &) {
    return 0;
}

std::uint32_t lib_difftime(LIBRARY_CALL &call) {
    const auto end = static_cast<std::int32_t>(call.dword());
    const auto begin = static_cast<std::int32_t>(call.dword());
    return float_result(static_cast<float>(std::int64_t{end} - begin));
}

std::uint32_t lib_memory_barrier(LIBRARY_CALL &) {
    return 0;
}

constexpr LIBRARY_ENTRY entries[] = {
    {"exit", lib_exit},
    {"abort", lib_abort},
    {"__assert_fail", lib_assert_fail},
    {"atexit", lib_atexit},
    {"qsort", lib_qsort},
    {"bsearch", lib_bsearch},
    {"time", lib_time},
    {"clock", lib_clock},
    {"difftime", lib_difftime},
    {"__memory_barrier", lib_memory_barrier},
};
} // namespace

void run_exit_functions(MACHINE &machine) {
    // A function may register others, among them itself.
    constexpr unsigned most = 10000;
    for (unsigned count = 0; !machine.exit_functions.empty(); ++count) {
        if (count == most) library_fault("exit: functions that register others without an end");
        const std::uint32_t function = machine.exit_functions.back();
        machine.exit_functions.pop_back();
        machine.call(function, {});
    }
}

constexpr std::span<const LIBRARY_ENTRY> program_functions = entries;
