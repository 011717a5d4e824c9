// What a node holds beside its operands, as text.
#include "OPT5/rep/bblk.h"
#include "OPT5/rep/dump_tree.h"
#include "OPT5/rep/pragmas.h"

#include <algorithm>
#include <cstdio>

unsigned (*ssa_variable_number_hook)(const void *variable) = nullptr;

namespace {
void append_text(std::string &out, std::string_view text) {
    append_escaped(out, text.substr(0, longest_printed_text), 0);
    if (text.size() > longest_printed_text) out += "...";
}

void append_name(std::string &out, const char *name) {
    append_text(out, name ? name : "<NULL>");
}

void append_quoted(std::string &out, std::string_view bytes) {
    out += '"';
    append_escaped(out, bytes.substr(0, longest_printed_text), '"');
    out += bytes.size() > longest_printed_text ? "\"..." : "\"";
}

void append_integer(std::string &out, const NODE *node) {
    if (node->type)
        out += node->lcon_value();
    else // an unfinished node
        out += std::to_string(static_cast<std::int64_t>(node->u.lval.low64()));
}

void append_pragma(std::string &out, const PRAGMA *pragma) {
    if (!pragma) return;
    out += pragma_name(pragma->kind);
    out += '(';
    for (std::int32_t i = 0; i < pragma->count; ++i) {
        if (i) out += ", ";
        append_name(out, pragma->args[i]);
    }
    out += ')';
}

void append_member(std::string &out, const fkMDATA *member) {
    if (member && member->name && *member->name)
        append_name(out, member->name);
    else
        out += "#" + std::to_string(member ? member->index : 0);
}
} // namespace

void append_escaped(std::string &out, std::string_view bytes, char quote) {
    static constexpr struct {
        char byte, letter;
    } named[] = {{'\n', 'n'}, {'\t', 't'}, {'\r', 'r'}, {'\\', '\\'}};
    for (const char c : bytes) {
        const auto byte = static_cast<unsigned char>(c);
        const auto *name = std::find_if(std::begin(named), std::end(named),
                                        [c](const auto &row) { return row.byte == c; });
        if (quote != 0 && c == quote) {
            out += '\\';
            out += c;
        } else if (name != std::end(named) && (c != '\\' || quote != 0)) {
            out += '\\';
            out += name->letter;
        } else if (byte < 0x20 || byte >= 0x7f) { // always three digits: a digit may follow
            char octal[8];
            std::snprintf(octal, sizeof octal, "\\%03o", byte);
            out += octal;
        } else {
            out += c;
        }
    }
}

void append_type(std::string &out, const TYPE *type) {
    append_text(out, type ? type->printstr() : "?");
}

void append_payload(std::string &out, const NODE *node) {
    switch (node->op) {
    case OP::ICON:
    case OP::LCON: append_integer(out, node); break;
    case OP::FCON: out += node->u.fcon.value ? node->fcon_value() : "<NULL>"; break;
    case OP::SCON: append_quoted(out, node->scon_value()); break;
    case OP::NAME: append_name(out, node->u.name.sym ? node->u.name.sym->name : nullptr); break;
    case OP::LABEL:
    case OP::LABELDEF:
        out += "g" + std::to_string(static_cast<std::int32_t>(node->label_id()));
        break;
    case OP::FIELD: append_member(out, node->u.field.mdata); break;
    case OP::ICALL:
    case OP::UICALL:
    case OP::MCALL:
    case OP::UMCALL: append_name(out, node->u.icall.name); break;
    case OP::ASM: append_quoted(out, node->u.asm_.text ? node->u.asm_.text : ""); break;
    case OP::PPRAGMA: append_pragma(out, node->u.ppragma.pragma); break;
    case OP::SKIP: out += std::to_string(node->skip_count()); break;
    case OP::SSA_PHI:
    case OP::SSA_USE:
    case OP::SSA_DEF:
    case OP::SSA_MU:
    case OP::SSA_CHI: {
        const void *variable = node->u.ssa.var;
        const unsigned number =
            variable && ssa_variable_number_hook ? ssa_variable_number_hook(variable) : 0;
        out += " SSA#" + std::to_string(number);
        break;
    }
    default: break;
    }
}

const NODE *skip_ssa_operators(const NODE *node) {
    while (node && is_ssa_wrapper(node))
        node = node->left;
    return node;
}
