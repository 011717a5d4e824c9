#include "OPT5/rep/bitvec.h"

#include "OPT5/driver/abort.h"
#include "OPT5/driver/log.h"

#include <algorithm>
#include <utility>

namespace {
constexpr std::uint64_t all_ones = ~std::uint64_t{0};

std::uint32_t words_for(unsigned size) {
    return (size + BITVEC::word_bits - 1) / BITVEC::word_bits;
}

std::uint64_t *new_words(std::uint32_t count, BV_ZONE *zone) {
    if (count == 0) return nullptr;
    if (!zone) return new std::uint64_t[count]();
    auto *words = static_cast<std::uint64_t *>(
        zone->allocate(count * sizeof(std::uint64_t), alignof(std::uint64_t)));
    std::fill_n(words, count, 0);
    return words;
}

// The bits of the last word that belong to the set.
std::uint64_t last_word_mask(unsigned size) {
    const unsigned used = size % BITVEC::word_bits;
    return used == 0 ? all_ones : all_ones >> (BITVEC::word_bits - used);
}
} // namespace

BITVEC::BITVEC(unsigned size_, BV_ZONE *zone_)
    : size(size_), words(words_for(size_)), capacity(words), zone(zone_),
      data(new_words(words, zone_)) {}

BITVEC::BITVEC(const BITVEC &other) : BITVEC(other.size) {
    std::copy_n(other.data, words, data);
}

BITVEC::BITVEC(BITVEC &&other) noexcept
    : size(std::exchange(other.size, 0)), words(std::exchange(other.words, 0)),
      capacity(std::exchange(other.capacity, 0)), zone(other.zone),
      data(std::exchange(other.data, nullptr)) {}

BITVEC &BITVEC::operator=(const BITVEC &other) {
    if (this == &other) return *this;
    bv_resize(*this, other.size);
    std::copy_n(other.data, words, data);
    return *this;
}

BITVEC &BITVEC::operator=(BITVEC &&other) noexcept {
    std::swap(size, other.size);
    std::swap(words, other.words);
    std::swap(capacity, other.capacity);
    std::swap(zone, other.zone);
    std::swap(data, other.data);
    return *this;
}

BITVEC::~BITVEC() {
    if (!zone) delete[] data;
}

void BITVEC::index_is_beyond(const char *message) {
    abort_optimizer(message);
}

void BITVEC::require_size_of(const BITVEC &other, const char *message) const {
    if (size != other.size) abort_optimizer(message);
}

template <class Word> bool BITVEC::combine(Word word) {
    std::uint64_t changed = 0;
    for (std::uint32_t w = 0; w < words; ++w) {
        const std::uint64_t value = word(w);
        changed |= data[w] ^ value;
        data[w] = value;
    }
    return changed != 0;
}

void BITVEC::clear() {
    std::fill_n(data, words, 0);
}

void BITVEC::set_all() {
    if (words == 0) return;
    std::fill_n(data, words, all_ones);
    data[words - 1] = last_word_mask(size);
}

void BITVEC::clr(unsigned first, unsigned end) {
    if (end > size) abort_optimizer("Endpoint beyond size:clr");
    if (first >= end) return;
    const unsigned last = end - 1;
    const std::uint64_t from = all_ones << first % word_bits, to = last_word_mask(last + 1);
    if (first / word_bits == last / word_bits) {
        data[first / word_bits] &= ~(from & to);
        return;
    }
    data[first / word_bits] &= ~from;
    std::fill(data + first / word_bits + 1, data + last / word_bits, 0);
    data[last / word_bits] &= ~to;
}

bool BITVEC::empty() const {
    return std::all_of(data, data + words, [](std::uint64_t word) { return word == 0; });
}

unsigned BITVEC::count() const {
    unsigned members = 0;
    for (std::uint32_t w = 0; w < words; ++w)
        members += static_cast<unsigned>(std::popcount(data[w]));
    return members;
}

unsigned BITVEC::next(unsigned from) const {
    if (from >= size) return size;
    std::uint32_t w = from / word_bits;
    std::uint64_t rest = data[w] & all_ones << from % word_bits;
    while (rest == 0) {
        if (++w == words) return size;
        rest = data[w];
    }
    return w * word_bits + static_cast<unsigned>(std::countr_zero(rest));
}

bool BITVEC::merge(const BITVEC &other) {
    require_size_of(other, "Vector size mismatch:merge");
    return combine([&](std::uint32_t w) { return data[w] | other.data[w]; });
}

bool BITVEC::intersect(const BITVEC &other) {
    require_size_of(other, "Vector size mismatch:intersect");
    return combine([&](std::uint32_t w) { return data[w] & other.data[w]; });
}

bool BITVEC::subtract(const BITVEC &other) {
    require_size_of(other, "Vector size mismatch:subtract");
    return combine([&](std::uint32_t w) { return data[w] & ~other.data[w]; });
}

bool BITVEC::and3(const BITVEC &a, const BITVEC &b) {
    require_size_of(a, "Vector size mismatch:and3");
    require_size_of(b, "Vector size mismatch:and3");
    return combine([&](std::uint32_t w) { return a.data[w] & b.data[w]; });
}

bool BITVEC::merge_less(const BITVEC &a, const BITVEC &b) {
    require_size_of(a, "Vector size mismatch:merge");
    require_size_of(b, "Vector size mismatch:merge");
    return combine([&](std::uint32_t w) { return data[w] | (a.data[w] & ~b.data[w]); });
}

bool BITVEC::transfer(const BITVEC &gen, const BITVEC &other, const BITVEC &kill) {
    require_size_of(gen, "Vector size mismatch:transfer");
    require_size_of(other, "Vector size mismatch:transfer");
    require_size_of(kill, "Vector size mismatch:transfer");
    return combine([&](std::uint32_t w) { return gen.data[w] | (other.data[w] & ~kill.data[w]); });
}

bool BITVEC::overlaps(const BITVEC &other) const {
    require_size_of(other, "Vector size mismatch:overlaps");
    for (std::uint32_t w = 0; w < words; ++w)
        if (data[w] & other.data[w]) return true;
    return false;
}

bool BITVEC::is_subset_of(const BITVEC &other) const {
    require_size_of(other, "Vector size mismatch:subset");
    for (std::uint32_t w = 0; w < words; ++w)
        if (data[w] & ~other.data[w]) return false;
    return true;
}

bool BITVEC::operator==(const BITVEC &other) const {
    return size == other.size && std::equal(data, data + words, other.data);
}

void bv_resize(BITVEC &set, unsigned size) {
    const std::uint32_t words = words_for(size);
    if (words > set.capacity) {
        std::uint64_t *data = new_words(words, set.zone);
        std::copy_n(set.data, set.words, data);
        if (!set.zone) delete[] set.data;
        set.data = data;
        set.capacity = words;
    } else if (words > set.words) {
        std::fill(set.data + set.words, set.data + words, 0);
    }
    const bool shrinks = size < set.size;
    set.size = size;
    set.words = words;
    if (shrinks && words > 0) set.data[words - 1] &= last_word_mask(size);
}

void bv_free(BITVEC &set) {
    if (set.zone) abort_optimizer("Should not free a zoned bitvector");
    delete[] set.data;
    set.data = nullptr;
    set.size = set.words = set.capacity = 0;
}

std::string bv_text(const BITVEC &set) {
    std::string text;
    for (unsigned first = set.next(0); first < set.size;) {
        unsigned last = first;
        while (set.contains(last + 1))
            ++last;
        if (!text.empty()) text += ' ';
        text += std::to_string(first);
        if (last > first) text += (last > first + 1 ? '-' : ' ') + std::to_string(last);
        first = set.next(last + 1);
    }
    return text;
}

void bv_dump(const char *title, const BITVEC &set) {
    if (print_debug) dprintf("%s:\t%s\n", title, bv_text(set).c_str());
}
