// The costs of costs.def for the optimizer's decisions.
#pragma once

struct NODE;

enum OPERATION_COST : int {
#define COST(name, cost, comment) cost_of_##name = cost,
#include "OPT5/target/costs.def"
#undef COST
};

// What the tree's evaluation costs at most, by the classes that ic-run counts: of a QUEST both arms
// are taken. A NAME that can stay in a register is free.
int cost_of_tree(const NODE *tree);
int cost_of_operator(const NODE *node); // the node alone
