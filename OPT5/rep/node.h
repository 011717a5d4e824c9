// NODE: the one tree record; LIST: a statement list. Opcodes: OPT5/icode/records/opcodes.h.
#pragma once

#include "OPT5/icode/records/opcodes.h"
#include "OPT5/rep/int65.h"

#include <cstddef>
#include <cstdint>
#include <string_view>

class TYPE;
class BBLK;
struct NODE;
struct SYMTAB;
struct LS;
struct LBL;
struct PSN;
struct PRAGMA;
struct FUNINFO;
struct fkMDATA;
struct simul_fval; // 16-byte simulated floating value, OPT5/simulfp/simul_fval.h

// What the file layer knows of a node: opcode, type and operands as fields, the payload through
// these operations. They are bound at link time, as IF_CLIENT's are: the representation's own
// definitions stand in OPT5/icode/opt_expr.cpp, so a node carries no table pointer.
struct BASE_NODE {
    std::uint8_t op = OP::ILLOP;
    std::uint8_t flags = 0;  // NODE_FLAGS
    std::uint16_t mark = 0;  // per-pass mark; cleared by a copy and by erasure
    std::int32_t depnum = 0; // number of the expression computed; negative: none
    TYPE *type = nullptr;    // null only while the node is built
    NODE *left = nullptr;
    NODE *right = nullptr;

    // Payload as the file holds it. Strings stay owned by the node.
    void name_symbol(std::int32_t &level, std::int32_t &index) const; // -1, 0 for no symbol
    int field_kind() const;
    std::uint32_t field_mval() const; // member index
    TYPE *field_csu() const;
    std::uint32_t icon_uvalue() const;
    std::int32_t icon_svalue() const;
    const char *lcon_value() const; // static text
    const char *fcon_value() const; // static text
    std::string_view scon_value() const;
    std::uint32_t scon_length() const;
    std::uint32_t label_id() const;
    std::int32_t vreg_id() const;
    std::uint32_t skip_count() const;
    std::uint32_t case_count() const;
    std::uint32_t ddnode_id() const;
    std::uint32_t ddnode_flags() const;
    std::uint32_t ddnode_locale() const;
    std::uint32_t call_num_vargs() const;
    const char *icall_name() const;
    std::uint32_t eh_entry_id() const;
    std::uint32_t get_edge_profile_value() const; // LABEL, QUEST, COLON, EPVAL; all ones: none
    void set_edge_profile_value(std::uint32_t value);

    void mk_name(SYMTAB *sym);
    void mk_field(int kind, fkMDATA *member, TYPE *csu);
    void mk_icon(std::uint32_t value);   // sign-extended when the node's type is signed
    void mk_lcon(std::string_view text); // the node becomes an ICON
    void mk_fcon(std::string_view text);
    void mk_scon(std::string_view bytes); // copied
    void mk_label(std::uint32_t number);
    void mk_vreg(std::int32_t number);
    void mk_skip(std::uint32_t count);
    void mk_switch(std::uint32_t cases);
    void mk_ddnode(std::uint32_t id, std::uint32_t flags, std::uint32_t locale);
    void mk_call(std::uint32_t extra_args, std::uint32_t eht_id);
    void mk_ucall(std::uint32_t eht_id);
    void mk_icall(std::string_view name); // copied
};

enum NODE_FLAGS : std::uint8_t {
    NF_kept = 1,     // the one flag bit that a copy keeps
    NF_has_ext = 2,  // a NODE_EXT exists for this node
    NF_likely = 4,   // LABEL: the branch to it is likely,
    NF_unlikely = 8, // or unlikely; neither: unknown
};

// Rarely used words of a node, kept aside so that a NODE stays small.
struct NODE_EXT {
    double probability = -1.0;          // branch weight of a LABEL; negative: not set
    void *dd = nullptr;                 // dependence data; its tree is dd_tree
    NODE *dd_tree = nullptr;            // erased with the node
    void *ptenv = nullptr;              // points-to environment
    void *pass_words[3] = {};           // per-pass attachments
    const char *earlier_name = nullptr; // NAME, printed "%s ==> "
    std::int32_t pass_word = 0;
    std::uint16_t marks[2] = {}; // further per-pass marks, kept by a copy
};

// One fixed-size record for all opcodes; `op` selects the member of `u`.
struct NODE : BASE_NODE {
    LS *scope = nullptr; // lexical scope and source position; null when unknown
    // clang-format off
    union PAYLOAD {
        INT65 lval; // ICON; SKIP 16-bit units; SWITCH case count; any opcode without a row below
        struct { LBL *lbl; std::int32_t index; std::uint32_t edge_profile; } label; // LABEL, LABELDEF; lbl, when set, is the truth
        struct { std::uint32_t edge_profile; } arms;             // QUEST, COLON, and EPVAL on its way to or from a file
        struct { SYMTAB *sym; TYPE *decl_type; } name;           // NAME
        struct { const char *text; std::uint32_t length; } scon; // SCON
        struct { const char *text; std::uint32_t kind; } asm_;   // ASM: file tag 36 or 47
        struct { simul_fval *value; } fcon;                      // FCON
        struct { TYPE *csu; fkMDATA *mdata; } field;             // FIELD
        struct { std::uint32_t num_vargs, eht_id; } call;        // CALL, UCALL
        struct { const char *name; } icall;                      // ICALL, UICALL, MCALL, UMCALL
        struct { PRAGMA *pragma; } ppragma;                      // PPRAGMA
        struct { TYPE *csu; } stasg;                             // STASG
        struct { void *var; void *phi_args; } ssa;               // SSA_*
        struct { std::uintptr_t handle; } mix;                   // MIXVALUE; 0 and 1 reserved
        struct { std::uint32_t id, flags, locale; } ddnode;      // DDNODE
        std::uint64_t words[2];                                  // all of the payload
        PAYLOAD() : words{} {}
    } u;
    // clang-format on

    // Greater than 0: the branch to this LABEL is likely; less: unlikely.
    int branch_hint() const {
        return op != OP::LABEL ? 0 : flags & NF_likely ? 1 : flags & NF_unlikely ? -1 : 0;
    }
    void set_branch_hint(int hint) {
        flags &= static_cast<std::uint8_t>(~(NF_likely | NF_unlikely));
        flags |= hint > 0 ? NF_likely : hint < 0 ? NF_unlikely : 0;
    }
};
static_assert(sizeof(NODE) == 56, "most of a run's memory is nodes");

// A cell of a statement list. Cells come from a pool; the list owns its trees.
struct LIST {
    NODE *first = nullptr;
    LIST *rest = nullptr;
    PSN *psn = nullptr;
    std::uint16_t a = 0, b = 0; // ordering words
};

// A source position. `file` is a name of the name table, null when unknown.
struct PSN {
    const char *file = nullptr;
    std::uint32_t line = 0;
    std::uint32_t column = 0;
};
