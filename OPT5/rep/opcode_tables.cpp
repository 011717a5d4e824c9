// Checks at start that the file layer and the trees mean the same opcodes.
#include "OPT5/driver/abort.h"
#include "OPT5/driver/log.h"
#include "OPT5/icode/if.h"
#include "OPT5/icode/if_node_table.h"
#include "OPT5/rep/bbutils.h"

#include <cstdio>
#include <cstring>

namespace {
constexpr int tree_op_limit = 190; // codes from here on exist in no tree

bool row_is(int op, const char *name, int arity) {
    const IF_NODE_INFO &row = if_node_info[op];
    return row.number == op && row.arity == arity && row.name && std::strcmp(row.name, name) == 0;
}

// A code that is illegal in a tree has nothing that could differ.
bool is_tree_opcode(int op) {
    return node_operator_name[op] && number_of_operands[op] != OP_NONE;
}
} // namespace

// Enters this program's own opcodes into the file layer's table, which must have been filled, and
// compares it with the tables of opcodes.def. Any difference ends the run.
void init_opcode_tables() {
    for (int op = op_first_internal; op < tree_op_limit; ++op)
        if_enter_node(op, node_operator_name[op], number_of_operands[op]);

    if (!row_is(OP::NAME, "NAME", 0) || !row_is(OP::UMINUS, "UMINUS", 1) ||
        !row_is(OP::CALL, "CALL", 2)) {
        std::fprintf(stderr, "INTERNAL ERROR: if_node_info[] mismatch\n");
        abort_optimizer();
    }

    dprintf(" *** VALIDATING OPCODE TABLES\n");
    bool mismatch = false;
    for (int op = 0; op < tree_op_limit; ++op) {
        if (!is_tree_opcode(op) || row_is(op, node_operator_name[op], number_of_operands[op]))
            continue;
        const IF_NODE_INFO &row = if_node_info[op];
        dprintf("OP#%d: %d || %d || (%d != %d) <<%s>> <<%s>>\n", op, op, row.number,
                number_of_operands[op], row.arity, node_operator_name[op],
                row.name ? row.name : "");
        dprintf("\tNo match for %s\n", node_operator_name[op]);
        mismatch = true;
    }
    if (mismatch) abort_optimizer();
    dprintf(" *** OPCODE TABLES ARE OK\n\n");
}
