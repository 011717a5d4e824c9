// A node as the file layer sees it: its payload by opcode, read from and stored into a NODE.
#include "OPT5/driver/abort.h"
#include "OPT5/rep/bblk.h"
#include "OPT5/rep/bbutils.h"
#include "OPT5/rep/node_pool.h"
#include "OPT5/rep/symbol.h"
#include "OPT5/simulfp/simul_fval.h"

namespace {
const NODE::PAYLOAD &payload(const BASE_NODE *node) {
    return static_cast<const NODE *>(node)->u;
}

NODE::PAYLOAD &payload(BASE_NODE *node) {
    return static_cast<NODE *>(node)->u;
}
} // namespace

NODE *new_node(int op, TYPE *type) {
    NODE *node = pool_node();
    node->op = static_cast<std::uint8_t>(op);
    node->set_edge_profile_value(~0u);
    if (op == OP::SCONV && type && type->is_enum()) type = normalized_underlying_type(type);
    node->type = type;
    if (op == OP::UCALL && currfuninfo) currfuninfo->is_leaf = false;
    return node;
}

// --- reading

void BASE_NODE::name_symbol(std::int32_t &level, std::int32_t &index) const {
    const SYMTAB *sym = payload(this).name.sym;
    level = sym ? sym->level : -1;
    index = sym ? sym->index : 0;
}

int BASE_NODE::field_kind() const {
    return 1;
}

std::uint32_t BASE_NODE::field_mval() const {
    return payload(this).field.mdata->index;
}

TYPE *BASE_NODE::field_csu() const {
    return payload(this).field.csu;
}

std::uint32_t BASE_NODE::icon_uvalue() const {
    // The constants of pointers are signed inside the optimizer, their types in files are not.
    const std::uint32_t value = payload(this).lval.u32();
    return type && type->is_ptr() ? value & type_mask(type).u32() : value;
}

std::int32_t BASE_NODE::icon_svalue() const {
    return payload(this).lval.s32();
}

const char *BASE_NODE::lcon_value() const {
    return int2text(payload(this).lval, type, 10, 0);
}

const char *BASE_NODE::fcon_value() const {
    return f_hex_text(*payload(this).fcon.value);
}

std::string_view BASE_NODE::scon_value() const {
    return {payload(this).scon.text, payload(this).scon.length};
}

std::uint32_t BASE_NODE::scon_length() const {
    return payload(this).scon.length;
}

std::uint32_t BASE_NODE::label_id() const {
    const auto &label = payload(this).label;
    return static_cast<std::uint32_t>(label.lbl ? label.lbl->index : label.index);
}

std::int32_t BASE_NODE::vreg_id() const {
    return 0;
}

std::uint32_t BASE_NODE::skip_count() const {
    return payload(this).lval.u32();
}

std::uint32_t BASE_NODE::case_count() const {
    return payload(this).lval.u32();
}

std::uint32_t BASE_NODE::ddnode_id() const {
    return payload(this).ddnode.id;
}

std::uint32_t BASE_NODE::ddnode_flags() const {
    return 0;
}

std::uint32_t BASE_NODE::ddnode_locale() const {
    return 0;
}

std::uint32_t BASE_NODE::call_num_vargs() const {
    return payload(this).call.num_vargs;
}

const char *BASE_NODE::icall_name() const {
    return payload(this).icall.name;
}

std::uint32_t BASE_NODE::eh_entry_id() const {
    return payload(this).call.eht_id;
}

std::uint32_t BASE_NODE::get_edge_profile_value() const {
    switch (op) {
    case OP::LABEL: return payload(this).label.edge_profile;
    case OP::QUEST:
    case OP::COLON:
    case OP::EPVAL: return payload(this).arms.edge_profile;
    default: return ~0u;
    }
}

// --- storing

void BASE_NODE::set_edge_profile_value(std::uint32_t value) {
    switch (op) {
    case OP::LABEL: payload(this).label.edge_profile = value; break;
    case OP::QUEST:
    case OP::COLON:
    case OP::EPVAL: payload(this).arms.edge_profile = value; break;
    default: OPTASSERT(value == ~0u);
    }
}

void BASE_NODE::mk_name(SYMTAB *sym) {
    payload(this).name = {sym, sym ? sym->type : nullptr};
    if (sym && (sym->flags & 0x10) && currfuninfo) currfuninfo->has_flag10_name = true;
}

void BASE_NODE::mk_field(int kind, fkMDATA *member, TYPE *csu) {
    if (kind != 1)
        abort_optimizer("A member reference of the intermediate file is of no known kind");
    payload(this).field = {csu, member};
    if (type) type = type->normalized();
    if (member && member->is_bitfield && currfuninfo) currfuninfo->has_bitfield_refs = true;
}

void BASE_NODE::mk_icon(std::uint32_t value) {
    if (type && type->is_signed())
        payload(this).lval = INT65(static_cast<std::int32_t>(value));
    else
        payload(this).lval = INT65(value);
}

void BASE_NODE::mk_lcon(std::string_view text) {
    const bool minus = !text.empty() && text.front() == '-';
    if (minus) text.remove_prefix(1);
    // Built below zero, where the range has one value more.
    INT65 value;
    for (const char c : text) {
        if (c < '0' || c > '9') break;
        value = value * 10 - INT65(c - '0');
    }
    if (!minus) value = -value;
    op = OP::ICON;
    const bool is_integer = type && (type->is_int_or_enum() || type->is_ptr());
    payload(this).lval = is_integer ? truncate_to_type(value, type) : value;
}

void BASE_NODE::mk_fcon(std::string_view text) {
    simul_fval value = f_atof(text);
    if (type && type->is_floating()) value = truncate_fval_to_target(value, type);
    payload(this).fcon.value = pool_fval(value);
}

void BASE_NODE::mk_scon(std::string_view bytes) {
    payload(this).scon = {node_text(bytes), static_cast<std::uint32_t>(bytes.size())};
}

void BASE_NODE::mk_label(std::uint32_t number) {
    payload(this).label.lbl = nullptr;
    payload(this).label.index = static_cast<std::int32_t>(number);
}

// Trees hold no virtual registers.
void BASE_NODE::mk_vreg(std::int32_t) {}

void BASE_NODE::mk_skip(std::uint32_t count) {
    payload(this).lval = INT65(count);
}

void BASE_NODE::mk_switch(std::uint32_t cases) {
    payload(this).lval = INT65(cases);
}

// Dependence data is made anew by whoever needs it.
void BASE_NODE::mk_ddnode(std::uint32_t, std::uint32_t, std::uint32_t) {}

void BASE_NODE::mk_call(std::uint32_t extra_args, std::uint32_t eht_id) {
    payload(this).call = {extra_args, eht_id};
    if (currfuninfo) currfuninfo->is_leaf = false;
}

void BASE_NODE::mk_ucall(std::uint32_t eht_id) {
    mk_call(0, eht_id);
}

void BASE_NODE::mk_icall(std::string_view name) {
    payload(this).icall.name = node_name(name);
}
