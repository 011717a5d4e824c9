// The storage of a type package: everything it makes lives here and ends with the package.
#pragma once

#include "OPT5/rep/type_pkg.h"

#include <boost/unordered_map.hpp>
#include <boost/unordered_set.hpp>

#include <array>
#include <cstddef>
#include <memory>
#include <memory_resource>
#include <new>
#include <type_traits>
#include <utility>

// Storage for objects of one size, in chunks. It neither constructs nor destroys.
template <class T> class OBJECT_POOL {
public:
    void *take() {
        if (FREE *first = free_) {
            free_ = first->next;
            return first;
        }
        if (top_ == end_) {
            chunks_.emplace_back(new CHUNK);
            top_ = chunks_.back()->bytes;
            end_ = top_ + sizeof(CHUNK::bytes);
        }
        return std::exchange(top_, top_ + sizeof(T));
    }
    // The object taken last goes back to the top.
    void give_back(void *object) {
        if (static_cast<std::byte *>(object) + sizeof(T) == top_)
            top_ = static_cast<std::byte *>(object);
        else
            free_ = new (object) FREE{free_};
    }

private:
    struct FREE {
        FREE *next;
    };
    static_assert(sizeof(T) >= sizeof(FREE) && alignof(T) >= alignof(FREE));
    struct CHUNK {
        alignas(T) std::byte bytes[256 * sizeof(T)];
    };
    std::vector<std::unique_ptr<CHUNK>> chunks_;
    std::byte *top_ = nullptr, *end_ = nullptr;
    FREE *free_ = nullptr;
};

struct TYPE_PKG::POOLS {
    OBJECT_POOL<TYPE> types;
    OBJECT_POOL<CSU> classes;
    OBJECT_POOL<PARAM_ELEM> params;
    std::pmr::monotonic_buffer_resource arena; // the other list elements and the text of names
    boost::unordered_set<std::string_view> names;

    // The ends of the lists of types that are not frozen; open functions are always in it.
    struct OPEN_LISTS {
        std::array<void *, LK_count> last{};
        std::uint32_t members = 0;
    };
    boost::unordered_map<TYPE *, OPEN_LISTS> open;

    // A function type may get parameters after types have been built on it. While there is such a
    // function, the depths of the types registered meanwhile are lower bounds.
    std::uint32_t functions_used_open = 0;
    std::vector<TYPE *> of_unknown_depth;

    TYPE *tp_alloc() { return new (types.take()) TYPE; }
    // Destroys a type and its parts; nobody may refer to it.
    void tp_free(TYPE *type) {
        if (type->kind_ >= TYPE::CLASS) {
            std::destroy_at(type->sub.csu);
            classes.give_back(type->sub.csu);
        } else if (type->kind_ == TYPE::FUNCTION) {
            for (PARAM_ELEM *param = type->sub.func.params; param;) {
                PARAM_ELEM *next = param->next;
                params.give_back(param);
                param = next;
            }
        }
        open.erase(type);
        std::destroy_at(type);
        types.give_back(type);
    }
    // The one copy of a name, with a zero behind it.
    const char *name(std::string_view text);
    template <class ELEM> ELEM *element(const ELEM &elem) {
        static_assert(std::is_trivially_destructible_v<ELEM>);
        return new (arena.allocate(sizeof(ELEM), alignof(ELEM))) ELEM(elem);
    }
};

// Calls visit for all types that a type is derived from: none for basic types, whose derivation
// ends, and for classes, through which types may come back to themselves.
template <class Visit> void for_each_component(const TYPE *type, Visit visit) {
    const TYPE::SUB &sub = type->sub;
    switch (type->kind_) {
    case TYPE::FIXEDPT: visit(sub.fixed.underlying); break;
    case TYPE::COMPLEX: visit(sub.complex.part); break;
    case TYPE::POINTER:
    case TYPE::REFERENCE: visit(sub.pointer.pointee); break;
    case TYPE::QUALIFIED: visit(sub.qualified.base); break;
    case TYPE::TYPEDEF: visit(sub.typedef_.base); break;
    case TYPE::ARRAY: visit(sub.array.elem); break;
    case TYPE::PTM:
        visit(sub.ptm.member);
        visit(sub.ptm.csu);
        break;
    case TYPE::FUNCTION:
        visit(sub.func.result);
        for (const PARAM_ELEM *param = sub.func.params; param; param = param->next)
            visit(param->type);
        break;
    case TYPE::ENUM: visit(sub.enum_.underlying); break;
    default: break;
    }
}
