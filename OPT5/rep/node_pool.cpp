#include "OPT5/rep/node_pool.h"

#include "OPT5/rep/bbutils.h"
#include "OPT5/simulfp/simul_fval.h"

#include <memory_resource>
#include <sys/mman.h>
#include <unordered_map>
#include <unordered_set>

void (*free_dd_hook)(void *dd);
void *(*copy_dd_hook)(const void *dd);
void (*free_ptenv_hook)(void *ptenv);

namespace {
SLAB_POOL<NODE, sizeof(NODE::op)> nodes; // a free node's op tells that it is free
SLAB_POOL<LIST> list_cells;
SLAB_POOL<PSN> positions;
SLAB_POOL<simul_fval> fvals;
std::pmr::monotonic_buffer_resource texts;
std::unordered_set<std::string_view> names; // texts of the pool
std::pmr::unsynchronized_pool_resource ext_memory;
std::pmr::unordered_map<const NODE *, NODE_EXT> exts(&ext_memory);

void release_ext(const NODE *node) {
    const auto it = exts.find(node);
    if (it->second.dd && free_dd_hook) free_dd_hook(it->second.dd);
    if (it->second.ptenv && free_ptenv_hook) free_ptenv_hook(it->second.ptenv);
    exts.erase(it);
}
} // namespace

SLAB_MEMORY take_slab_memory(std::size_t bytes) {
    constexpr std::size_t cache_line = 64;
    const std::align_val_t alignment{bytes < huge_page ? cache_line : huge_page};
    void *memory = ::operator new(bytes, alignment);
    if (bytes >= huge_page) madvise(memory, bytes, MADV_HUGEPAGE); // small pages do as well
    return SLAB_MEMORY(memory, {alignment});
}

NODE *pool_node() {
    return nodes.make();
}

void release_node(NODE *node) {
    if (node->flags & NF_has_ext) release_ext(node);
    if (node->op == OP::FCON && node->u.fcon.value) fvals.release(node->u.fcon.value);
    node->op = OP::ILLOP;
    nodes.release(node);
}

LIST *pool_list_cell() {
    return list_cells.make();
}

void release_list_cell(LIST *cell) {
    list_cells.release(cell);
}

simul_fval *pool_fval(const simul_fval &value) {
    simul_fval *copy = fvals.make();
    *copy = value;
    return copy;
}

const char *node_text(std::string_view text) {
    char *copy = static_cast<char *>(texts.allocate(text.size() + 1, 1));
    if (!text.empty()) std::memcpy(copy, text.data(), text.size());
    copy[text.size()] = '\0';
    return copy;
}

const char *node_name(std::string_view name) {
    const auto it = names.find(name);
    if (it != names.end()) return it->data();
    const char *copy = node_text(name);
    names.emplace(copy, name.size());
    return copy;
}

PSN *mk_psn(const char *file, std::uint32_t line, std::uint32_t column) {
    PSN *psn = positions.make();
    *psn = {file, line, column};
    return psn;
}

NODE_EXT *find_node_ext(const NODE *node) {
    return node->flags & NF_has_ext ? &exts.find(node)->second : nullptr;
}

NODE_EXT *node_ext(NODE *node) {
    node->flags |= NF_has_ext;
    return &exts[node];
}

void erase_all_nodes() {
    for (auto &[node, ext] : exts) {
        if (ext.dd && free_dd_hook) free_dd_hook(ext.dd);
        if (ext.ptenv && free_ptenv_hook) free_ptenv_hook(ext.ptenv);
    }
    exts.clear();
    names.clear();
    texts.release();
    nodes.clear();
    list_cells.clear();
    positions.clear();
    fvals.clear();
}
