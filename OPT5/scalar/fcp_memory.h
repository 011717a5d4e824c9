// Fast copy propagation: what statements have changed, as numbers of statements. Private to it.
#pragma once

#include "OPT5/scalar/alias.h"
#include "OPT5/scalar/fcp.h"

bool fcp_is_part(int op); // operators that make of an lvalue, on the left, a part of it or the same

struct FCP_MEMORY {
    std::uint32_t now = 0;
    // What has changed memory: the target of an assignment, or a call; null: anything.
    struct EFFECT {
        std::uint32_t when;
        const NODE *node;
    };
    std::vector<EFFECT> recent; // in the order of time
    // The loads that are asked about are not where the program does them: they would move behind
    // the stores.
    bool loads_move = false;

    // All that the tree does, but for the store of the one node and the call of the other.
    void note_effects(NODE *tree, const NODE *but_store, const NODE *but_call);
    void note_store(NODE *lvalue);
    // Of a statement that was simplified once its effects from `since` on had been noted.
    void note_again(NODE *stmt, std::size_t since);
    void note_call(const NODE *call) {
        recent.push_back({now, node_is_call(call) ? call : nullptr});
    }
    // Whether a tree without effects has the value that it had behind statement `then`.
    bool is_unchanged(const NODE *tree, std::uint32_t then) const;

private:
    void note_change(SYMTAB *sym) const;
    void note_names(const NODE *tree);
    bool memory_is_unchanged(const NODE *lvalue, std::uint32_t then) const;
    bool lvalue_is_unchanged(const NODE *lvalue, std::uint32_t then) const;
};
extern FCP_MEMORY fcp_memory;
