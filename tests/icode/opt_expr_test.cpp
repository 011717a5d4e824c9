// The payload of nodes as the file layer stores and reads it.
#include "tests/rep/tree_fixture.h"

#include "OPT5/simulfp/simul_fval.h"

class NodePayload : public TreeTest {
protected:
    void SetUp() override {
        TreeTest::SetUp();
        currfuninfo->is_leaf = true;
        currfuninfo->has_flag10_name = currfuninfo->has_bitfield_refs = false;
    }
};

TEST_F(NodePayload, FreshNodes) {
    const NODE *node = new_node(OP::PLUS, int_p);
    EXPECT_EQ(node->op, OP::PLUS);
    EXPECT_EQ(node->type, int_p);
    EXPECT_EQ(node->left, nullptr);
    EXPECT_EQ(node->right, nullptr);
    EXPECT_EQ(node->get_edge_profile_value(), ~0u);
    EXPECT_EQ(new_node(OP::NAME, nullptr)->type, nullptr) << "a file may leave it out";
    EXPECT_TRUE(currfuninfo->is_leaf);
    new_node(OP::UCALL, int_t);
    EXPECT_FALSE(currfuninfo->is_leaf);
}

TEST_F(NodePayload, ConversionsToEnumsAreToTheirIntegers) {
    TYPE *open = tp->mk_enum("e", 16, 16, tp->basic_int(TYPE::USHORT), false, nullptr);
    TYPE *colour = tp->type_frozen(open), *integer = normalized_underlying_type(colour);
    EXPECT_EQ(new_node(OP::SCONV, colour)->type, integer);
    EXPECT_TRUE(integer->is_integer());
    EXPECT_EQ(new_node(OP::UMINUS, colour)->type, colour);
    EXPECT_EQ(new_node(OP::SCONV, nullptr)->type, nullptr);
    TYPE *char_p = tp->mk_ptr(tp->basic_int(TYPE::SCHAR));
    const NODE *conversion = new_node(OP::PCONV, char_p);
    EXPECT_EQ(conversion->op, OP::PCONV);
    EXPECT_EQ(conversion->type, char_p);
}

TEST_F(NodePayload, Names) {
    NODE *node = new_node(OP::NAME, int_t);
    std::int32_t level = 5, index = 5;
    node->mk_name(nullptr);
    node->name_symbol(level, index);
    EXPECT_EQ(level, -1);
    EXPECT_EQ(index, 0);
    i->index = 17;
    node->mk_name(i);
    node->name_symbol(level, index);
    EXPECT_EQ(level, 2);
    EXPECT_EQ(index, 17);
    EXPECT_EQ(node->u.name.sym, i);
    EXPECT_EQ(node->u.name.decl_type, i->type);
    EXPECT_FALSE(currfuninfo->has_flag10_name);
    j->flags |= 0x10;
    node->mk_name(j);
    EXPECT_TRUE(currfuninfo->has_flag10_name);
}

TEST_F(NodePayload, Integers) {
    const struct {
        TYPE *type;
        std::uint32_t value;
        INT65 kept;
        std::uint32_t written;
    } cases[] = {
        {int_t, 5, INT65(5), 5},
        {int_t, 0xffffffffu, INT65(-1), 0xffffffffu},
        {tp->uint_type(), 0xffffffffu, INT65(0xffffffffu), 0xffffffffu},
        {int_p, 0xfffffff0u, INT65(0xfffffff0u), 0xfff0}, // an address has 16 bits and no sign
        {short_t, 0xffff8000u, INT65(-0x8000), 0xffff8000u},
        {nullptr, 0x80000000u, INT65(0x80000000u), 0x80000000u},
    };
    for (const auto &c : cases) {
        NODE *node = new_node(OP::ICON, c.type);
        node->mk_icon(c.value);
        EXPECT_EQ(node->u.lval, c.kept);
        EXPECT_EQ(node->icon_uvalue(), c.written);
        EXPECT_EQ(node->icon_svalue(), static_cast<std::int32_t>(c.value));
    }
}

TEST_F(NodePayload, LongIntegersAreText) {
    TYPE *wide = tp->mk_int(TYPE::LLONG, true, 64, 32),
         *unsigned_wide = tp->mk_int(TYPE::ULLONG, true, 64, 32);
    const struct {
        TYPE *type;
        const char *text;
        INT65 value;
        const char *back;
    } cases[] = {
        {wide, "0", INT65(0), "0"},
        {wide, "-0", INT65(0), "0"},
        {wide, "4294967296", INT65(0, 1, 0), "4294967296"},
        {wide, "-4294967297", INT65(-4294967297LL), "-4294967297"},
        {wide, "9223372036854775807", INT65(0x7fffffffffffffffLL), "9223372036854775807"},
        {wide, "-9223372036854775808", INT65(0, 0x80000000u, ~0u), "-9223372036854775808"},
        {wide, "9223372036854775808", INT65(0, 0x80000000u, ~0u), "-9223372036854775808"},
        {unsigned_wide, "18446744073709551615", INT65(~0u, ~0u, 0), "18446744073709551615"},
        {unsigned_wide, "-1", INT65(~0u, ~0u, 0), "18446744073709551615"},
        {int_t, "4294967295", INT65(-1), "-1"},
        {int_t, "", INT65(0), "0"},
        {int_t, "12x4", INT65(12), "12"},
        {float_t, "7", INT65(7), nullptr},
        {nullptr, "7", INT65(7), nullptr},
    };
    for (const auto &c : cases) {
        NODE *node = new_node(OP::LCON, c.type);
        node->mk_lcon(c.text);
        EXPECT_EQ(node->op, OP::ICON) << "the text is only a way of transport";
        EXPECT_EQ(node->u.lval, c.value) << c.text;
        if (c.back) {
            EXPECT_STREQ(node->lcon_value(), c.back);
        }
    }
}

TEST_F(NodePayload, FloatsAreRoundedToTheirType) {
    const struct {
        const char *text, *back;
    } cases[] = {
        {"0x1p+0", "0x1p+0"},          {"-0", "-0x0p+0"}, {"0.1", "0x1.99999ap-4"},
        {"0x1.ffffffffp+0", "0x1p+1"}, {"inf", "inf"},    {"-nan", "-nan"},
    };
    for (const auto &c : cases) {
        NODE *node = new_node(OP::FCON, float_t);
        node->mk_fcon(c.text);
        EXPECT_STREQ(node->fcon_value(), c.back) << c.text;
    }
    NODE *untyped = new_node(OP::FCON, nullptr);
    untyped->mk_fcon("1");
    EXPECT_STREQ(untyped->fcon_value(), "0x1p+0");
    EXPECT_EXIT(untyped->mk_fcon("one"), ::testing::ExitedWithCode(1), "");
}

TEST_F(NodePayload, StringsAreCopied) {
    NODE *node = new_node(OP::SCON, int_p);
    std::string bytes("a\0b", 3);
    node->mk_scon(bytes);
    bytes = "xyz";
    EXPECT_EQ(node->scon_length(), 3u);
    EXPECT_EQ(node->scon_value(), std::string_view("a\0b", 3));
    EXPECT_EQ(node->u.scon.text[3], '\0');
    node->mk_scon("");
    EXPECT_EQ(node->scon_length(), 0u);
    EXPECT_STREQ(node->u.scon.text, "");
    NODE *call = new_node(OP::MCALL, int_t);
    std::string name = "__abs";
    call->mk_icall(name);
    name[2] = 'x';
    EXPECT_STREQ(call->icall_name(), "__abs");
}

TEST_F(NodePayload, Members) {
    fkMDATA bits;
    bits.index = 1;
    bits.name = "b";
    bits.type = tp->mk_qual(tp->basic_int(TYPE::LONG), TQ_const);
    bits.width = 3;
    bits.is_bitfield = true;
    TYPE *csu = tp->mk_struct("t", 32, 32, true);
    fkMDATA *bitfield = tp->append_mdata(csu, bits);
    csu = tp->type_frozen(csu);
    NODE *node = new_node(OP::FIELD, int_t);
    node->mk_field(1, member, struct_t);
    EXPECT_EQ(node->field_kind(), 1);
    EXPECT_EQ(node->field_mval(), member->index);
    EXPECT_EQ(node->field_csu(), struct_t);
    EXPECT_FALSE(currfuninfo->has_bitfield_refs);
    node = new_node(OP::FIELD, bits.type);
    node->mk_field(1, bitfield, csu);
    EXPECT_EQ(node->type, bits.type->normalized());
    EXPECT_NE(node->type, bits.type);
    EXPECT_TRUE(currfuninfo->has_bitfield_refs);
    EXPECT_EXIT(node->mk_field(2, bitfield, csu), ::testing::ExitedWithCode(1),
                "terminated abnormally");
}

TEST_F(NodePayload, Numbers) {
    NODE *node = new_node(OP::LABEL, int_t);
    node->mk_label(9);
    EXPECT_EQ(node->label_id(), 9u);
    LBL record;
    record.index = 4;
    node->u.label.lbl = &record;
    EXPECT_EQ(node->label_id(), 4u) << "the record is the truth";
    node = new_node(OP::SKIP, int_t);
    node->mk_skip(0xffffffffu);
    EXPECT_EQ(node->skip_count(), 0xffffffffu);
    node = new_node(OP::SWITCH, int_t);
    node->mk_switch(3);
    EXPECT_EQ(node->case_count(), 3u);
    EXPECT_EQ(node->get_edge_profile_value(), ~0u);
    for (int op : {OP::LABEL, OP::QUEST, OP::COLON, OP::EPVAL}) {
        node = new_node(op, int_t);
        EXPECT_EQ(node->get_edge_profile_value(), ~0u) << opname(op);
        node->set_edge_profile_value(12);
        EXPECT_EQ(node->get_edge_profile_value(), 12u) << opname(op);
    }
    node = new_node(OP::VREG, int_t);
    node->mk_vreg(8);
    EXPECT_EQ(node->vreg_id(), 0);
    node = new_node(OP::DDNODE, int_t);
    node->mk_ddnode(1, 2, 3);
    EXPECT_EQ(node->ddnode_id() | node->ddnode_flags() | node->ddnode_locale(), 0u);
}

TEST_F(NodePayload, Calls) {
    NODE *node = new_node(OP::CALL, int_t);
    EXPECT_TRUE(currfuninfo->is_leaf);
    node->mk_call(2, 7);
    EXPECT_EQ(node->call_num_vargs(), 2u);
    EXPECT_EQ(node->eh_entry_id(), 7u);
    EXPECT_FALSE(currfuninfo->is_leaf);
    node = new_node(OP::UCALL, int_t);
    currfuninfo->is_leaf = true;
    node->mk_ucall(3);
    EXPECT_EQ(node->call_num_vargs(), 0u);
    EXPECT_EQ(node->eh_entry_id(), 3u);
    EXPECT_FALSE(currfuninfo->is_leaf);
}

// Initialisers at file level are read before there is any function.
TEST_F(NodePayload, OutsideOfFunctions) {
    currfunc = nullptr;
    currfuninfo = nullptr;
    j->flags |= 0x10;
    new_node(OP::NAME, int_t)->mk_name(j);
    new_node(OP::UCALL, int_t)->mk_ucall(0);
    NODE *node = new_node(OP::FIELD, int_t);
    member->is_bitfield = true;
    node->mk_field(1, member, struct_t);
    EXPECT_EQ(node->field_csu(), struct_t);
}
