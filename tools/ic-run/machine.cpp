// Memory, heap and streams of the machine.
#include "tools/ic-run/machine.h"

#include <algorithm>
#include <bit>
#include <cstdio>
#include <cstring>

namespace {
constexpr std::uint32_t address_mask = MACHINE::memory_units - 1;
constexpr std::size_t output_limit = 1 << 16;
constexpr std::uint32_t block_gap = 2; // units between blocks, with checking

[[noreturn]] void access_fault(const char *what, std::uint32_t address) {
    throw RUN_ERROR{RF_check, what + std::to_string(address)};
}
} // namespace

MACHINE::MACHINE(bool check_accesses) : checking(check_accesses) {
    if (checking) {
        object_.assign(memory_units + 2, 0);
        written_.assign(memory_units + 2, false);
    }
}

void MACHINE::check_access(std::uint32_t address, std::uint32_t units, bool reads) const {
    if (units == 0) return;
    if (address == 0) access_fault("access through a null pointer, address ", address);
    if (address + units > memory_units || object_[address] == 0)
        access_fault("access outside any object, address ", address);
    for (std::uint32_t i = 0; i < units; ++i) {
        if (object_[address + i] != object_[address])
            access_fault("access beyond the end of an object, address ", address + i);
        if (reads && !written_[address + i])
            access_fault("read of a value that was never written, address ", address + i);
    }
}

void MACHINE::check_alignment(std::uint32_t address) const {
    if (address & 1) access_fault("misaligned access, address ", address);
}

void MACHINE::mark_object(std::uint32_t address, std::uint32_t units) {
    if (!checking || units == 0) return;
    ++objects_;
    const auto first = object_.begin() + address;
    std::fill(first, first + units, objects_);
}

void MACHINE::begin_object(std::uint32_t address, std::uint32_t units, bool written) {
    if (!checking) return;
    mark_object(address, units);
    const auto first = written_.begin() + address;
    std::fill(first, first + units, written);
}

void MACHINE::end_objects(std::uint32_t address, std::uint32_t units) {
    if (!checking) return;
    const auto first = object_.begin() + address;
    std::fill(first, first + units, 0u);
}

std::uint16_t MACHINE::load16(std::uint32_t address) {
    address &= address_mask;
    if (checking) check_access(address, 1, true);
    return memory_[address];
}

std::uint32_t MACHINE::load32(std::uint32_t address) {
    address &= address_mask;
    if (checking) {
        check_access(address, 2, true);
        check_alignment(address);
    }
    return memory_[address] | static_cast<std::uint32_t>(memory_[address + 1]) << 16;
}

float MACHINE::load_float(std::uint32_t address) {
    return std::bit_cast<float>(load32(address));
}

void MACHINE::store16(std::uint32_t address, std::uint16_t value) {
    address &= address_mask;
    if (checking) {
        check_access(address, 1, false);
        written_[address] = true;
    }
    memory_[address] = value;
}

void MACHINE::store32(std::uint32_t address, std::uint32_t value) {
    address &= address_mask;
    if (checking) {
        check_access(address, 2, false);
        check_alignment(address);
        written_[address] = written_[address + 1] = true;
    }
    memory_[address] = static_cast<std::uint16_t>(value);
    memory_[address + 1] = static_cast<std::uint16_t>(value >> 16);
}

void MACHINE::store_float(std::uint32_t address, float value) {
    store32(address, std::bit_cast<std::uint32_t>(value));
}

std::string MACHINE::load_string(std::uint32_t address) {
    std::string text;
    while (text.size() < memory_units) {
        const std::uint16_t unit = load16(address++);
        if (!unit) break;
        text.push_back(static_cast<char>(unit));
    }
    return text;
}

void MACHINE::copy(std::uint32_t to, std::uint32_t from, std::uint32_t units) {
    if (units > memory_units) throw RUN_ERROR{RF_trap, "a copy of more units than the memory has"};
    to &= address_mask;
    from &= address_mask;
    if (checking) {
        check_access(to, units, false);
        check_access(from, units, false);
        const std::vector<bool> known(written_.begin() + from, written_.begin() + from + units);
        std::copy(known.begin(), known.end(), written_.begin() + to);
    }
    if (std::max(to, from) + units <= memory_units) {
        std::memmove(memory_ + to, memory_ + from, std::size_t{units} * sizeof *memory_);
        return;
    }
    std::vector<std::uint16_t> values(units);
    for (std::uint32_t i = 0; i < units; ++i)
        values[i] = memory_[(from + i) & address_mask];
    for (std::uint32_t i = 0; i < units; ++i)
        memory_[(to + i) & address_mask] = values[i];
}

// Room that was released is used again, lowest address first; otherwise the heap grows.
std::uint32_t MACHINE::take_room(std::uint32_t room) {
    for (auto hole = free_.begin(); hole != free_.end(); ++hole) {
        if (hole->second < room) continue;
        const auto [address, units] = *hole;
        free_.erase(hole);
        if (units > room) free_.emplace(address + room, units - room);
        return address;
    }
    if (heap_start_ < stack_end_ || heap_start_ - stack_end_ < room) return 0;
    heap_start_ -= room;
    return heap_start_;
}

std::uint32_t MACHINE::allocate(std::uint32_t units) {
    if (units > memory_units) return 0;
    const std::uint32_t room =
        std::max(2u, (units + 1) & ~1u) + (checking ? block_gap : 0); // even addresses
    const std::uint32_t address = take_room(room);
    if (address == 0) return 0;
    blocks_.emplace(address, BLOCK{units, room});
    begin_object(address, units, false);
    return address;
}

void MACHINE::release(std::uint32_t address) {
    if (address == 0) return;
    const auto block = blocks_.find(address);
    if (block == blocks_.end()) {
        if (checking) access_fault("release of what was not allocated, address ", address);
        return;
    }
    std::uint32_t room = block->second.room;
    blocks_.erase(block);
    end_objects(address, room);
    auto behind = free_.lower_bound(address);
    if (behind != free_.end() && behind->first == address + room) {
        room += behind->second;
        behind = free_.erase(behind);
    }
    if (behind != free_.begin()) {
        const auto before = std::prev(behind);
        if (before->first + before->second == address) {
            address = before->first;
            room += before->second;
            free_.erase(before);
        }
    }
    if (address == heap_start_)
        heap_start_ += room;
    else
        free_.emplace(address, room);
}

std::uint32_t MACHINE::allocated_units(std::uint32_t address) const {
    const auto block = blocks_.find(address);
    return block == blocks_.end() ? 0 : block->second.units;
}

void MACHINE::put(int stream, std::string_view text) {
    if (stream != output_stream_ || output_.size() >= output_limit) flush();
    output_stream_ = stream;
    output_ += text;
}

void MACHINE::flush() {
    std::FILE *file = output_stream_ == 2 ? stderr : stdout;
    std::fwrite(output_.data(), 1, output_.size(), file);
    std::fflush(file);
    output_.clear();
}

int MACHINE::get() {
    if (!ungot_.empty()) {
        const int character = ungot_.back();
        ungot_.pop_back();
        return character;
    }
    flush();
    const int character = std::getchar();
    return character == EOF ? -1 : character;
}

void MACHINE::unget(int character) {
    if (character >= 0) ungot_.push_back(character & 0xff);
}
