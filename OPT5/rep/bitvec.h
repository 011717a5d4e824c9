// BITVEC: a set of small numbers, for data flow over blocks, symbols and triples.
//
// The words of a vector come from the heap, or from a zone: an arena that gives back the memory of
// all its vectors at once. All operations work a word at a time, in place, without allocating.
#pragma once

#include <bit>
#include <cstdint>
#include <memory_resource>
#include <string>

using BV_ZONE = std::pmr::monotonic_buffer_resource;

struct BITVEC {
    static constexpr unsigned word_bits = 64;

    std::uint32_t size = 0;     // members are below it
    std::uint32_t words = 0;    // in use; the bits of the last one beyond size are 0
    std::uint32_t capacity = 0; // words that data has room for
    BV_ZONE *zone = nullptr;    // where data comes from, not owned; null: the heap
    std::uint64_t *data = nullptr;

    BITVEC() = default;
    explicit BITVEC(unsigned size, BV_ZONE *zone = nullptr); // the empty set
    BITVEC(const BITVEC &other);                             // on the heap
    BITVEC(BITVEC &&other) noexcept;
    BITVEC &operator=(const BITVEC &other); // takes the size of the other; keeps its own zone
    BITVEC &operator=(BITVEC &&other) noexcept;
    ~BITVEC();

    bool contains(unsigned index) const { // false beyond the size
        return index < size && (data[index / word_bits] >> index % word_bits & 1);
    }
    // An index beyond the size ends the run.
    void add(unsigned index) {
        if (index >= size) index_is_beyond("Index beyond size:add");
        data[index / word_bits] |= std::uint64_t{1} << index % word_bits;
    }
    void remove(unsigned index) {
        if (index >= size) index_is_beyond("Index beyond size:remove");
        data[index / word_bits] &= ~(std::uint64_t{1} << index % word_bits);
    }

    void clear();   // every member
    void set_all(); // every number below the size
    void clr(unsigned first,
             unsigned end); // those from first to end - 1; end beyond the size ends the run
    bool empty() const;
    unsigned count() const;
    unsigned
    next(unsigned from) const; // the first member from there on; the size when there is none

    // Vectors of different sizes end the run. Those that give a bool tell whether the set changed.
    bool merge(const BITVEC &other); // union
    bool intersect(const BITVEC &other);
    bool subtract(const BITVEC &other);
    bool and3(const BITVEC &a, const BITVEC &b);       // becomes what is in both
    bool merge_less(const BITVEC &a, const BITVEC &b); // union with what is in a and not in b
    // Becomes gen, and what is in the other and not in kill: the transfer of a block.
    bool transfer(const BITVEC &gen, const BITVEC &other, const BITVEC &kill);
    bool overlaps(const BITVEC &other) const;
    bool is_subset_of(const BITVEC &other) const;
    bool operator==(const BITVEC &other) const;

    template <class Visit> void for_each(Visit visit) const { // ascending
        for (std::uint32_t w = 0; w < words; ++w)
            for (std::uint64_t rest = data[w]; rest; rest &= rest - 1)
                visit(w * word_bits + static_cast<unsigned>(std::countr_zero(rest)));
    }

private:
    [[noreturn]] static void index_is_beyond(const char *message);
    void require_size_of(const BITVEC &other, const char *message) const;
    template <class Word> bool combine(Word word); // data[w] = word(w) for all words
};

// Keeps the members below the new size. A zoned vector that outgrows its capacity leaves its old
// words to the zone.
void bv_resize(BITVEC &set, unsigned size);
// Gives the words back now and makes it a set of size 0. A zoned vector ends the run.
void bv_free(BITVEC &set);
std::string bv_text(const BITVEC &set);             // "1 5 8-12 40"
void bv_dump(const char *title, const BITVEC &set); // one line of the debug log
