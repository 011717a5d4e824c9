// The file layer's table of opcodes. The functions that fill it are declared in if.h.
#pragma once

// Names are the program's own and live as long as it does.
struct IF_NODE_INFO {
    int number = 0;
    const char *name = nullptr; // null: the file layer knows no such opcode
    int arity = 0;              // child records of a node
};

inline constexpr int if_node_limit = 201; // opcodes are below this
extern IF_NODE_INFO if_node_info[if_node_limit];
