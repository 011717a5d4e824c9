#include "OPT5/icode/if_node_table.h"

#include "OPT5/icode/if.h"
#include "OPT5/icode/records/if_exit.h"
#include "OPT5/icode/records/opcodes.h"

IF_NODE_INFO if_node_info[if_node_limit];

// Adds a row, or replaces the one that is there.
void if_enter_node(int op, const char *name, int arity) {
    if (op < 0 || op >= if_node_limit) {
        std::printf("\nINTERNAL ERROR: Invalid opcode, aborting\n");
        if_exit(1);
    }
    if_node_info[op] = {op, name, arity};
}

// A second file that is opened leaves the rows alone which the program has added since.
void if_node_table_init() {
    if (if_node_info[OP::NAME].name) return;
    for (int op = 0; op < op_file_limit; ++op)
        if (op_file_arity[op] != OP_NONE)
            if_enter_node(op, node_operator_name[op], op_file_arity[op]);
    if_enter_node(OP::VREG, "VREG", 0);
}
