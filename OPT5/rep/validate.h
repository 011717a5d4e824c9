// The validator of statements, in two files: rules of shape and place in validate_stmts.cpp, rules
// of operand types in validate_types.cpp. It reports to the debug log and goes on.
#pragma once

#include "OPT5/rep/bblk.h"

class STMT_VALIDATOR {
public:
    explicit STMT_VALIDATOR(const FUNINFO *funinfo_);
    int run(); // over all blocks in depth-first order; gives the number of complaints

private:
    // Where in the statements a tree stands.
    enum class PLACE {
        OUTSIDE,     // not in an argument prolog
        PROLOG,      // in an element of the prolog
        SPINE,       // the prolog, or the left operand of a PCOMMA in it
        STRAY_SPINE, // the left operand of a PCOMMA that stands outside a prolog
    };

    // --- shape
    void check_block(const BBLK *bb);
    void check_statement(const LIST *cell, bool is_prolog);
    void check_tree(const NODE *tree, int parent, PLACE place);
    bool check_operand_count(const NODE *node);
    void check_place(const NODE *node, int parent, PLACE place);
    void check_PCOMMA(const NODE *node, PLACE place);
    void check_PCOMMA_element(const NODE *element);
    void check_level_1_name(const NODE *name, PLACE place);
    void check_cases(const NODE *node);

    // --- types; the node has the operands that its opcode calls for
    void check_types(const NODE *node);
    void check_additive(const NODE *node);
    void check_additive_assignment(const NODE *node);
    void check_call(const NODE *node);
    void check_lvalue(const NODE *tree, const char *message, const NODE *node);
    void check_arithmetic(const NODE *tree);
    void check_integer(const NODE *tree);
    void check_integer_or_vector(const NODE *tree);
    void check_pointer(const NODE *tree);
    void check_scalar(const NODE *tree);
    void check_csu(const NODE *tree);

    // --- reports
    void complain(const char *message, const NODE *node);
    void complain_of_block(const char *message, const BBLK *bb);
    void complain_of_operator(const char *message, int expected, const NODE *node);
    // `tree`, an operand of `node`, without wrappers if it has this operator then; else null.
    const NODE *require_operator(int op, const NODE *tree, const NODE *node);

    const FUNINFO *const funinfo;
    const bool is_variadic, returns_by_cctor;
    const NODE *stmt = nullptr;
    bool in_NASSERT = false;
    int complaints = 0;
};
