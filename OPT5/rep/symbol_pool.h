// The pool of symbols, pragmas, scopes, list cells and their names: one arena for the translation
// unit, which erase_all_symbols() empties at once. Nothing in it is destroyed; erased list
// cells are used again.
#pragma once

#include "OPT5/rep/symbol.h"

#include <memory_resource>
#include <new>
#include <type_traits>
#include <utility>

extern std::pmr::monotonic_buffer_resource symbol_pool;

template <class T, class... Args> T *pool_new(Args &&...args) {
    static_assert(std::is_trivially_destructible_v<T>);
    return new (symbol_pool.allocate(sizeof(T), alignof(T))) T(std::forward<Args>(args)...);
}

// A copy with a zero behind it.
const char *pool_string(std::string_view text);

// Reset of the state that single sources keep; called by erase_all_symbols() only.
void reset_FUNINFOs();
void reset_interned_symbols();
void reset_pragmas();
void reset_scopes();
void reset_symbol_lists();
