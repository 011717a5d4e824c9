// Expression trees: flat records in prefix order, a payload per opcode.
#include "OPT5/icode/if_file.h"
#include "OPT5/icode/if_node_table.h"

#include "OPT5/rep/bbutils.h"

#include <array>

namespace {
constexpr const char *bad_record = "Invalid I-code record";

const std::array<bool, 256> is_leaf = [] {
    std::array<bool, 256> table{};
    for (int op = 0; op < op_file_limit; ++op)
        table[static_cast<std::size_t>(op)] = op_is_file_leaf(op);
    return table;
}();

struct PAYLOAD_ROW {
    void (I_FILE::*read)(NODE *) = nullptr;
    void (I_FILE::*write)(const NODE *) = nullptr;
};

constexpr std::array<PAYLOAD_ROW, 256> make_payloads() {
    std::array<PAYLOAD_ROW, 256> table{};
    table[OP::LABEL] = {&I_FILE::if_read_expr_label, &I_FILE::if_write_expr_label};
    table[OP::NAME] = {&I_FILE::if_read_expr_name, &I_FILE::if_write_expr_name};
    table[OP::SCON] = {&I_FILE::if_read_expr_scon, &I_FILE::if_write_expr_scon};
    table[OP::ICON] = {&I_FILE::if_read_expr_icon, &I_FILE::if_write_expr_icon};
    table[OP::FCON] = {&I_FILE::if_read_expr_fcon, &I_FILE::if_write_expr_fcon};
    table[OP::LCON] = {&I_FILE::if_read_expr_lcon, &I_FILE::if_write_expr_lcon};
    table[OP::FIELD] = {&I_FILE::if_read_expr_field, &I_FILE::if_write_expr_field};
    table[OP::SWITCH] = {&I_FILE::if_read_expr_switch, &I_FILE::if_write_expr_switch};
    table[OP::CALL] = {&I_FILE::if_read_expr_call, &I_FILE::if_write_expr_call};
    table[OP::UCALL] = {&I_FILE::if_read_expr_ucall, &I_FILE::if_write_expr_ucall};
    table[OP::EPVAL] = {&I_FILE::if_read_expr_pval, &I_FILE::if_write_expr_pval};
    table[OP::SKIP] = {&I_FILE::if_read_expr_skip, &I_FILE::if_write_expr_skip};
    table[OP::DDNODE] = {&I_FILE::if_read_expr_ddnode, &I_FILE::if_write_expr_ddnode};
    for (int op : {OP::ICALL, OP::UICALL, OP::MCALL, OP::UMCALL})
        table[static_cast<std::size_t>(op)] = {&I_FILE::if_read_expr_icall,
                                               &I_FILE::if_write_expr_icall};
    table[OP::VREG] = {&I_FILE::if_read_expr_vreg, &I_FILE::if_write_expr_vreg};
    return table;
}
constexpr std::array<PAYLOAD_ROW, 256> payloads = make_payloads();

bool is_signed(const TYPE *type) {
    return type && type->is_signed();
}
} // namespace

// --- reading

// An explicit stack of the nodes that still want a child keeps deep trees off the machine's stack.
NODE *I_FILE::if_read_expr_node(bool read_frame) {
    open_nodes_.clear();
    NODE *root = nullptr;
    NODE **link = &root;
    for (;; read_frame = true) {
        if (read_frame && i_read_header().tag != 101) i_invalid(bad_record);
        const std::uint8_t op = i_read_u8();
        if (op >= op_file_limit) i_invalid(bad_record);
        const int arity = is_leaf[op] ? 0 : if_node_info[op].arity;
        NODE *node = new_node(op, find_typeref(i_read_uint()));
        *link = node;
        if (const auto read = payloads[op].read) (this->*read)(node);
        if (arity != 0) {
            if (open_nodes_.size() >= if_max_tree_levels)
                i_invalid("Tree nested too deeply in I-code");
            open_nodes_.push_back({node, arity == 2});
            link = &node->left;
            continue;
        }
        while (!open_nodes_.empty() && !open_nodes_.back().wants_right)
            open_nodes_.pop_back();
        if (open_nodes_.empty()) return root;
        open_nodes_.back().wants_right = false;
        link = &open_nodes_.back().node->right;
    }
}

void I_FILE::if_read_expr_header() {
    PSN *psn = i_read_psn();
    NODE *tree = if_read_expr_node(true);
    client->cl_expr(tree, psn);
}

void I_FILE::if_read_expr_name(NODE *node) {
    const auto level = static_cast<std::int32_t>(i_read_uint());
    node->mk_name(i_symbol(level, static_cast<std::int32_t>(i_read_uint())));
}

void I_FILE::if_read_expr_field(NODE *node) {
    const int kind = i_read_s8();
    const std::uint32_t member = i_read_uint();
    const std::uint32_t csu = i_read_uint();
    fkMDATA *mdata = find_mdataref(csu, member);
    node->mk_field(kind, mdata, find_typeref(csu));
}

void I_FILE::if_read_expr_icon(NODE *node) {
    node->mk_icon(is_signed(node->type) ? static_cast<std::uint32_t>(i_read_sint())
                                        : i_read_uint());
}

void I_FILE::if_read_expr_lcon(NODE *node) {
    node->mk_lcon(i_read_string());
}

void I_FILE::if_read_expr_fcon(NODE *node) {
    node->mk_fcon(i_read_string());
}

void I_FILE::if_read_expr_scon(NODE *node) {
    const std::uint32_t length = i_read_uint();
    i_check_count(length, 1);
    node->mk_scon(length ? i_read_string(length) : "");
}

void I_FILE::if_read_expr_label(NODE *node) {
    node->mk_label(i_read_uint());
}

void I_FILE::if_read_expr_pval(NODE *node) {
    node->set_edge_profile_value(i_read_uint());
}

void I_FILE::if_read_expr_vreg(NODE *node) {
    node->mk_vreg(i_read_sint());
}

void I_FILE::if_read_expr_skip(NODE *node) {
    node->mk_skip(i_read_uint());
}

void I_FILE::if_read_expr_switch(NODE *node) {
    node->mk_switch(i_read_uint());
}

void I_FILE::if_read_expr_ddnode(NODE *node) {
    const std::uint32_t id = i_read_uint();
    const std::uint32_t flags = i_read_uint();
    node->mk_ddnode(id, flags, i_read_u8());
}

void I_FILE::if_read_expr_call(NODE *node) {
    const std::uint32_t extra_args = i_read_uint();
    node->mk_call(extra_args, i_read_uint());
}

void I_FILE::if_read_expr_ucall(NODE *node) {
    node->mk_ucall(i_read_uint());
}

void I_FILE::if_read_expr_icall(NODE *node) {
    node->mk_icall(i_read_string());
}

// --- writing

void I_FILE::if_write_expr(NODE *tree, PSN *psn) {
    i_write_psn(psn);
    i_flush(46);
    if (tree) if_write_expr_node(tree);
}

void I_FILE::if_write_expr_node(NODE *tree) {
    std::vector<const NODE *> rights; // operands to write once the left ones are
    for (const NODE *node = tree; node;) {
        i_write_i8(node->op);
        i_write_typeref(node->type);
        if (const auto write = payloads[node->op].write) (this->*write)(node);
        i_flush(101);
        if (node->left) {
            if (node->right) rights.push_back(node->right);
            node = node->left;
        } else if (node->right) {
            node = node->right;
        } else if (rights.empty()) {
            node = nullptr;
        } else {
            node = rights.back();
            rights.pop_back();
        }
    }
}

void I_FILE::if_write_expr_name(const NODE *node) {
    std::int32_t level = -1, index = 0;
    node->name_symbol(level, index);
    i_write_uint(static_cast<std::uint32_t>(level));
    i_write_uint(static_cast<std::uint32_t>(index));
}

void I_FILE::if_write_expr_field(const NODE *node) {
    i_write_i8(node->field_kind());
    i_write_uint(node->field_mval());
    i_write_typeref(node->field_csu());
}

void I_FILE::if_write_expr_icon(const NODE *node) {
    if (is_signed(node->type))
        i_write_sint(node->icon_svalue());
    else
        i_write_uint(node->icon_uvalue());
}

void I_FILE::if_write_expr_lcon(const NODE *node) {
    i_write_string(node->lcon_value());
}

void I_FILE::if_write_expr_fcon(const NODE *node) {
    i_write_string(node->fcon_value());
}

void I_FILE::if_write_expr_scon(const NODE *node) {
    const std::uint32_t length = node->scon_length();
    i_write_uint(length);
    if (length) i_write_string(node->scon_value(), length);
}

void I_FILE::if_write_expr_label(const NODE *node) {
    i_write_uint(node->label_id());
}

void I_FILE::if_write_expr_pval(const NODE *node) {
    i_write_uint(node->get_edge_profile_value());
}

void I_FILE::if_write_expr_vreg(const NODE *node) {
    i_write_sint(node->vreg_id());
}

void I_FILE::if_write_expr_skip(const NODE *node) {
    i_write_uint(node->skip_count());
}

void I_FILE::if_write_expr_switch(const NODE *node) {
    i_write_uint(node->case_count());
}

void I_FILE::if_write_expr_ddnode(const NODE *node) {
    i_write_uint(node->ddnode_id());
    i_write_uint(node->ddnode_flags());
    i_write_i8(static_cast<int>(node->ddnode_locale()));
}

void I_FILE::if_write_expr_call(const NODE *node) {
    i_write_uint(node->call_num_vargs());
    i_write_uint(node->eh_entry_id());
}

void I_FILE::if_write_expr_ucall(const NODE *node) {
    i_write_uint(node->eh_entry_id());
}

void I_FILE::if_write_expr_icall(const NODE *node) {
    i_write_string(node->icall_name());
}
