// Labels. A number leads to its label through a table of the current function.
#include "OPT5/driver/abort.h"
#include "OPT5/driver/log.h"
#include "OPT5/icode/if.h"
#include "OPT5/rep/cfg_pools.h"

#include <unordered_map>

namespace {
constexpr std::int32_t last_new_number = -30000;

const FUNINFO *table_owner; // the function whose numbers the table holds
std::unordered_map<std::int32_t, LBL *> table;

// The table follows the current function; of one that has blocks only their labels are known.
void use_table() {
    if (table_owner == currfuninfo) return;
    reset_labels();
    for (LBL *label : currfuninfo->labels)
        if (label->index && (label->bb || !currfuninfo->bb_list)) table[label->index] = label;
}

LBL *lookup(std::int32_t number) {
    const auto it = table.find(number);
    return it == table.end() ? nullptr : it->second;
}

// Numbers repeat after 30,000 labels: one is known by its record.
std::int32_t next_new_number() {
    std::int32_t &counter = currfuninfo->label_counter;
    if (--counter < last_new_number) counter = -1;
    return counter;
}

LBL *head_label(const LBL *label) {
    return label && label->bb ? label->bb->label : nullptr;
}

// Case lists are chains to the left, so that the recursion is shallow.
void count_references(NODE *tree) {
    for (; tree; tree = tree->left) {
        if (tree->op == OP::LABEL) {
            if (LBL *label = head_label(tree->u.label.lbl)) ++label->refcount;
        }
        if (tree->right) count_references(tree->right);
    }
}

// The part of a jump that holds its labels.
NODE *labels_of_jump(NODE *stmt) {
    switch (stmt->op) {
    case OP::BRANCH: return stmt->left;
    case OP::IF:
    case OP::CBRANCH:
    case OP::SWITCH: return stmt->right;
    default: return nullptr;
    }
}

void count_references(const BBLK *bb) {
    if (bb->lir_head) {
        for (const EDGE *edge = bb->successors; edge; edge = edge->next)
            if (edge->bb->label) ++edge->bb->label->refcount;
        return;
    }
    for (const LIST *cell = bb->statements; cell; cell = cell->rest)
        count_references(labels_of_jump(cell->first));
}
} // namespace

void bad_label(long number, const char *what) {
    const std::string message =
        "Label " + std::to_string(number) + " of function \"" + currfuninfo->name + "\" " + what;
    abort_optimizer(message.c_str());
}

void reset_labels() {
    table.clear();
    table_owner = currfuninfo;
    if (currfuninfo) currfuninfo->label_counter = 0;
}

void erase_labels(FUNINFO *funinfo) {
    for (LBL *label : funinfo->labels)
        label_pool.release(label);
    funinfo->labels.clear();
    funinfo->label_counter = 0;
    if (table_owner == funinfo) {
        table.clear();
        table_owner = nullptr;
    }
}

LBL *mklabel(int number, LBL *next, BBLK *bb) {
    use_table();
    if (number < 0) bad_label(number, "is out of range");
    LBL *label = number ? lookup(number) : nullptr;
    if (!label) {
        label = label_pool.make();
        label->index = number ? number : next_new_number();
        currfuninfo->labels.push_back(label);
        table[label->index] = label;
    }
    if (next) label->next = next;
    if (bb) label->bb = bb;
    return label;
}

LBL *find_label(int index) {
    use_table();
    if (LBL *label = lookup(index)) return label;
    constexpr const char *format =
        "\n!!! COMPILER (OPTIMIZER) ERROR IN 'find_label', INDEX=%d !!!\n";
    std::fprintf(stderr, format, index);
    dprintf(format, index);
    abort_optimizer();
}

BBLK *label_block(NODE *label) {
    if (label->op != OP::LABEL) abort_optimizer("A jump of the intermediate file has no label");
    LBL *&record = label->u.label.lbl;
    if (!record) {
        use_table();
        const std::int32_t number = label->u.label.index;
        record = lookup(number);
        if (!record) bad_label(number, "is not defined");
    }
    if (!record->bb) bad_label(record->index, "is not defined");
    return record->bb;
}

// All labels of a block share one number, and their references count for the first of them. Labels
// without references keep a negative number and lose a positive one.
void number_labels() {
    use_table();
    for (BBLK *bb = currfuninfo->bb_list; bb; bb = bb->dflink)
        for (LBL *label = bb->label; label; label = label->next)
            label->refcount = 0;
    for (const BBLK *bb = currfuninfo->bb_list; bb; bb = bb->dflink)
        count_references(bb);
    for (unsigned i = 1; i < currfuninfo->eht_size; ++i)
        for (const I_CATCH_ENTRY &clause : currfuninfo->eht[i].catches)
            if (LBL *label = head_label(clause.lbl)) ++label->refcount;
    table.clear();
    std::int32_t number = 0;
    for (BBLK *bb = currfuninfo->bb_list; bb; bb = bb->dflink) {
        const bool is_referenced = bb->label && bb->label->refcount > 0;
        if (is_referenced) ++number;
        for (LBL *label = bb->label; label; label = label->next) {
            if (is_referenced)
                label->index = number;
            else if (label->index > 0)
                label->index = 0;
        }
        if (bb->label && bb->label->index) table[bb->label->index] = bb->label;
    }
}
