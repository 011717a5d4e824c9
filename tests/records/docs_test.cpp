// docs/icode.md and the schema tell the same: every record kind has its row in the document, field
// by field, with encodings and versions.
#include "tests/records/text_helpers.h"

#include "OPT5/icode/records/opcodes.h"

#include <gmock/gmock.h>

using ::testing::IsEmpty;

namespace {
std::string encoding_name(const IF_FIELD &field) {
    if (field.role == IF_ROLE::typeref) return "typeref";
    switch (field.enc) {
    case IF_ENC::u8: return "u8";
    case IF_ENC::s8: return "s8";
    case IF_ENC::boolean: return "bool";
    case IF_ENC::u16: return "u16";
    case IF_ENC::s16: return "s16";
    case IF_ENC::u32: return "u32";
    case IF_ENC::s32: return "s32";
    case IF_ENC::uleb: return "uint";
    case IF_ENC::sleb: return "sint";
    case IF_ENC::by_type: return "sint or uint";
    case IF_ENC::string: return "string";
    case IF_ENC::counted: return "uint n, bytes(n)";
    case IF_ENC::psn: return "psn";
    case IF_ENC::rest: return "all other bytes";
    case IF_ENC::list:
    case IF_ENC::none: break;
    }
    return "";
}

std::string field_text(const IF_FIELD &field) {
    std::string text = std::string(field.name) + " ";
    if (field.enc == IF_ENC::list) {
        text += field.count == IF_ENC::none ? "(as many as the entry says): "
                : field.count == IF_ENC::u8 ? "u8 n, n times: "
                                            : "uint n, n times: ";
        for (const IF_FIELD &item : field.items)
            text += (&item == &field.items[0] ? "" : " + ") + field_text(item);
        return text;
    }
    text += encoding_name(field);
    const bool first = field.since == if_oldest_version, last = field.until == if_current_version;
    if (!first && last) text += " (from " + std::to_string(field.since) + ")";
    if (first && !last) text += " (until " + std::to_string(field.until) + ")";
    if (!first && !last)
        text += " (" + std::to_string(field.since) + " to " + std::to_string(field.until) + ")";
    return text;
}

// "| 42 | `label` | number uint |"; nodes by opcode, types by kind.
std::string row_of(const IF_LAYOUT &layout) {
    const bool is_node = layout.tag == IF_TAG_node, is_type = layout.tag == IF_TAG_type;
    std::size_t first = is_node ? IF_NODE::payload : is_type ? IF_TYPE::fields : 0;
    std::string name = is_node ? if_opcode_name(layout.selector) : layout.name;
    std::string fields;
    for (; first < layout.fields.size(); ++first)
        fields += (fields.empty() ? "" : ", ") + field_text(layout.fields[first]);
    return "| " + std::to_string(is_node || is_type ? layout.selector : layout.tag) + " | `" +
           name + "` | " + (fields.empty() ? "nothing" : fields) + " |";
}
} // namespace

TEST(Document, DescribesEveryRecord) {
    const std::string document = source_file("docs/icode.md");
    std::vector<std::string> missing;
    for (const IF_LAYOUT &layout : if_all_layouts()) {
        const bool rest_of_tag =
            layout.selector < 0 && (layout.tag == IF_TAG_node || layout.tag == IF_TAG_type);
        if (rest_of_tag) continue; // told in prose
        const std::string row = row_of(layout);
        if (document.find(row) == std::string::npos) missing.push_back(row);
    }
    EXPECT_THAT(missing, IsEmpty());
}

TEST(Document, NamesEveryOpcodeOnce) {
    const std::string document = source_file("docs/icode.md");
    const std::size_t begin = document.find("### Operands"), end = document.find("\n## ", begin);
    ASSERT_NE(begin, std::string::npos);
    const std::string table = document.substr(begin, end - begin);
    std::vector<std::string> wrong;
    for (int op = 0; op < op_file_limit; ++op) {
        if (op_file_arity[op] == OP_NONE && op != OP::VREG) continue;
        const std::string name = "`" + if_opcode_name(op) + "`";
        const std::string line_start = "\n| " + std::to_string(if_file_arity(op)) + " | ";
        const std::size_t line = table.find(line_start);
        ASSERT_NE(line, std::string::npos) << line_start;
        const std::string row = table.substr(line + 1, table.find('\n', line + 1) - line - 1);
        if (row.find(name) == std::string::npos) wrong.push_back(line_start + name);
    }
    EXPECT_THAT(wrong, IsEmpty());
}

TEST(Document, ShowsATextAsItIsPrinted) {
    const std::string document = source_file("docs/icode.md");
    const std::size_t begin = document.find("```\nicode version") + 4;
    ASSERT_GT(begin, 4u);
    const std::string text = document.substr(begin, document.find("```", begin) - begin);
    EXPECT_EQ(if_text_of(assembled(text)), text);
}
