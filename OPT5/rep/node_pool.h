// The pools behind trees: nodes, list cells, positions and floating values come from slabs and go
// back to them singly; texts stay until erase_all_nodes() empties everything at once.
#pragma once

#include "OPT5/rep/node.h"

#include <cstring>
#include <memory>
#include <new>
#include <string_view>
#include <type_traits>
#include <vector>

#if defined(__SANITIZE_ADDRESS__)
#define QUILL_ASAN 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define QUILL_ASAN 1
#endif
#endif
#ifdef QUILL_ASAN
#include <sanitizer/asan_interface.h>
#endif

constexpr std::size_t huge_page = std::size_t{1} << 21; // bytes

struct SLAB_RELEASE {
    std::align_val_t alignment;
    void operator()(void *memory) const { ::operator delete(memory, alignment); }
};

// Memory of a slab, owned by its pool. As much as a huge page is aligned to one, and the system is
// asked to take one: walks over large functions are then not bound by address translation.
using SLAB_MEMORY = std::unique_ptr<void, SLAB_RELEASE>;
SLAB_MEMORY take_slab_memory(std::size_t bytes);

// Cells of one type. A free cell keeps the link to the next one in its last word, and its first
// `Kept` bytes as they were when it was released; under AddressSanitizer the rest is out of bounds
// until the cell is given out again.
template <class T, std::size_t Kept = 0> class SLAB_POOL {
    static_assert(std::is_trivially_destructible_v<T> && sizeof(T) >= Kept + sizeof(void *));

public:
    // A fresh T with its default values.
    T *make() {
        void *cell = free_;
        if (cell) {
            unpoison(cell);
            std::memcpy(&free_, link_of(cell), sizeof free_);
        } else {
            if (used_ == slab_cells_) grow();
            cell = static_cast<CELL *>(slabs_.back().get()) + used_++;
        }
        return new (cell) T;
    }
    void release(T *object) {
        void *cell = object;
        std::memcpy(link_of(cell), &free_, sizeof free_);
        free_ = cell;
        poison(cell);
    }
    // Everything that was given out is gone.
    void clear() {
        slabs_.clear();
        free_ = nullptr;
        used_ = slab_cells_ = cells_ = 0;
    }

private:
    struct alignas(sizeof(T) % 64 == 0 ? 64 : alignof(T)) CELL {
        std::byte bytes[sizeof(T)];
    };
    static constexpr std::size_t first_slab = 64, large_slab = 4096,
                                 huge_slab = huge_page / sizeof(CELL);

    static char *link_of(void *cell) {
        return static_cast<char *>(cell) + sizeof(T) - sizeof(void *);
    }
    void grow() {
        slab_cells_ = slabs_.empty()             ? first_slab
                      : cells_ >= huge_slab      ? huge_slab
                      : slab_cells_ < large_slab ? slab_cells_ * 2
                                                 : large_slab;
        cells_ += slab_cells_;
        const bool is_huge = slab_cells_ == huge_slab;
        slabs_.push_back(take_slab_memory(is_huge ? huge_page : slab_cells_ * sizeof(CELL)));
        used_ = 0;
    }
    static void poison([[maybe_unused]] void *cell) {
#ifdef QUILL_ASAN
        ASAN_POISON_MEMORY_REGION(static_cast<char *>(cell) + Kept, sizeof(T) - Kept);
#endif
    }
    static void unpoison([[maybe_unused]] void *cell) {
#ifdef QUILL_ASAN
        ASAN_UNPOISON_MEMORY_REGION(cell, sizeof(T));
#endif
    }

    std::vector<SLAB_MEMORY> slabs_;
    void *free_ = nullptr;
    std::size_t used_ = 0, slab_cells_ = 0; // of the last slab
    std::size_t cells_ = 0;                 // of all
};

NODE *pool_node(); // op is ILLOP until the caller sets it
// Gives back the node alone, with what it owns besides its operands. Its op reads ILLOP until the
// cell is used again.
void release_node(NODE *node);

LIST *pool_list_cell();
void release_list_cell(LIST *cell);

simul_fval *pool_fval(const simul_fval &value); // a copy; owned by the node that holds it

// A copy with a zero behind it.
const char *node_text(std::string_view text);
// The pool's one copy of a text, for the names of intrinsics.
const char *node_name(std::string_view name);
