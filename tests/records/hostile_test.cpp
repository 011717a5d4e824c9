// Two files with every kind of record, the second for the one that the optimizer refuses: that they
// have them all, that text and bytes are equivalent, and that no damage to either does harm.
#include "tests/records/text_helpers.h"

#include <gmock/gmock.h>

#include <random>
#include <set>

using ::testing::IsEmpty;

namespace {
class EveryRecord : public ::testing::Test {
protected:
    const std::string text_ = source_file("tests/icode/every_record.ict");
    const std::string bytes_ = assembled(text_);

    // Reads damaged bytes in every way the tools do. What the reader accepts has a text; what the
    // text assembles to has the same text again.
    static void survive(const std::string &damaged, const std::string &how) {
        IF_MODEL model;
        const bool good = if_read_model(damaged, model);
        EXPECT_EQ(good, model.errors.empty()) << how;
        for (const IF_ERROR &e : model.errors)
            EXPECT_LE(e.offset, damaged.size()) << how;
        if_layout_note(model);
        std::string text, error;
        EXPECT_EQ(if_text_of(damaged, {}, text, error), good) << how;
        EXPECT_EQ(text.empty(), !good) << how;
        EXPECT_EQ(error.empty(), good) << how;
        if (!good) return;
        std::string again;
        ASSERT_TRUE(if_bytes_of(text, again, error)) << how << error;
        EXPECT_EQ(if_text_of(again), text) << how;
    }
};
} // namespace

TEST_F(EveryRecord, HasEveryKindOfRecordTypeAndPayload) {
    std::set<const IF_LAYOUT *> used;
    std::set<std::int64_t> lists;
    for (const std::string &bytes : {bytes_, assembled(source_file("tests/icode/vreg.ict"))}) {
        IF_MODEL model;
        ASSERT_TRUE(if_read_model(bytes, model)) << if_error_lines(model, "");
        for (const IF_SECTION &section : model.sections)
            for (const IF_RECORD &r : section.records) {
                used.insert(r.layout);
                if (r.tag == IF_TAG_type && r.selector == IF_KIND_list)
                    lists.insert(model.number(r, IF_TYPE::fields));
            }
        EXPECT_EQ(if_layout_note(model), "");
    }
    std::vector<std::string> missing;
    for (const IF_LAYOUT &l : if_all_layouts())
        if (!used.count(&l))
            missing.push_back(std::string(l.name) + " " + std::to_string(l.selector));
    EXPECT_THAT(missing, IsEmpty());
    EXPECT_EQ(lists.size(), 10u);
}

TEST_F(EveryRecord, IsTheSameAsTextAndAsBytes) {
    const std::string printed = if_text_of(bytes_);
    const std::string again = assembled(printed);
    IF_MODEL first, second;
    ASSERT_TRUE(if_read_model(bytes_, first));
    ASSERT_TRUE(if_read_model(again, second));
    for (unsigned id = 0; id < IF_SECTION_COUNT; ++id) {
        const auto &a = first.sections[id].records, &b = second.sections[id].records;
        ASSERT_EQ(a.size(), b.size()) << if_section_name[id];
        for (std::size_t i = 0; i < a.size(); ++i)
            EXPECT_EQ(hex_of_bytes(record_bytes(first, a[i])),
                      hex_of_bytes(record_bytes(second, b[i])))
                << if_section_name[id] << " record " << i << " at offset " << a[i].offset;
    }
    EXPECT_EQ(again, bytes_);
    EXPECT_EQ(if_text_of(again), printed);
}

TEST_F(EveryRecord, WithoutItsEndIsRefused) {
    for (std::size_t n = 0; n < bytes_.size(); ++n) {
        IF_MODEL model;
        EXPECT_FALSE(if_read_model(bytes_.substr(0, n), model)) << n;
        survive(bytes_.substr(0, n), "cut at " + std::to_string(n));
    }
}

TEST_F(EveryRecord, SurvivesChangedBytes) {
    std::mt19937 random(20240501);
    for (int round = 0; round < 4000; ++round) {
        std::string damaged = bytes_;
        std::string how;
        for (unsigned n = 1 + random() % 3; n > 0; --n) {
            const std::size_t at = random() % damaged.size();
            const auto bit = static_cast<char>(1u << random() % 8);
            damaged[at] = random() % 2 ? static_cast<char>(damaged[at] ^ bit)
                                       : static_cast<char>(random() % 256);
            how += "byte " + std::to_string(at) + " = " +
                   std::to_string(static_cast<unsigned char>(damaged[at])) + " ";
        }
        survive(damaged, how);
        if (HasFailure()) return;
    }
}

// Whatever the assembler accepts, the reader accepts.
TEST_F(EveryRecord, SurvivesChangedText) {
    std::mt19937 random(7);
    static constexpr std::string_view pieces[] = {"(",       ")",
                                                  "[",       "]",
                                                  "\"",      "\n",
                                                  " ",       "=",
                                                  "#",       "@",
                                                  "*",       "0",
                                                  "-1",      "4294967295",
                                                  ";",       ".",
                                                  ",",       "none",
                                                  "int",     " label 1\n",
                                                  "types\n", "raw 200 \"x\"\n",
                                                  "\\",      ":",
                                                  "1:1",     "entry",
                                                  "eht\n"};
    for (int round = 0; round < 4000; ++round) {
        std::string damaged = text_;
        const std::size_t at = random() % damaged.size();
        const std::string_view piece = pieces[random() % std::size(pieces)];
        switch (random() % 4) {
        case 0: damaged.insert(at, piece); break;
        case 1: damaged.replace(at, piece.size(), piece); break;
        case 2: damaged.erase(at, 1 + random() % 20); break;
        default: { // a line taken out
            const std::size_t begin = damaged.rfind('\n', at) + 1;
            const std::size_t end = damaged.find('\n', at);
            damaged.erase(begin, end == std::string::npos ? end : end - begin + 1);
        }
        }
        std::string bytes, error;
        if (!if_bytes_of(damaged, bytes, error)) {
            EXPECT_TRUE(bytes.empty());
            EXPECT_TRUE(error.ends_with('\n') && error.find(':') != std::string::npos) << error;
            continue;
        }
        IF_MODEL model;
        EXPECT_TRUE(if_read_model(bytes, model, {.keep_unknown = true}))
            << "round " << round << "\n"
            << if_error_lines(model, "") << damaged.substr(at < 100 ? 0 : at - 100, 200);
        if (HasFailure()) return;
    }
}

TEST(Hostile, HeadersThatAreRefused) {
    const std::string good = assembled("icode version=-73 cpu=1000 name=\"x\"\n");
    const auto with = [&](std::size_t at, const char *hex) {
        std::string bytes = good;
        const std::string change = bytes_of_hex(hex);
        return bytes.replace(at, change.size(), change);
    };
    const struct {
        std::string bytes;
        const char *error;
    } cases[] = {
        {"", "offset 0: expected the file header (tag 8), found an empty file\n"},
        {with(0, "09"), "offset 0: expected the file header (tag 8), found tag 9\n"},
        {with(0, "ff"), "offset 0: expected the file header (tag 8), found tag 255\n"},
        {with(1, "7f"), "offset 1: header of 127 bytes, but only 41 are left in the file\n"},
        {with(2, "22"), "offset 2: expected the magic \"!<icode>\\n\" and its NUL\n"},
        {with(12, "b8 ff"), "offset 12: expected a version from -86 to -73, found -72\n"},
        {with(12, "a9 ff"), "offset 12: expected a version from -86 to -73, found -87\n"},
        {with(14, "e9 03"), "offset 14: expected cpu id 1000, found 1001\n"},
        {with(32, "01"),
         "offset 32: expected a position of section globals between 42 and the file's "
         "end 43, found 1\n"},
        {with(35, "80"),
         "offset 32: expected a position of section globals between 42 and the file's "
         "end 43, found -2147483648\n"},
        {good.substr(0, good.size() - 1),
         "offset 42: expected a record or the end mark 255 of section code, found the end of the "
         "file\n"},
    };
    for (const auto &c : cases)
        EXPECT_EQ(if_text_of(c.bytes), c.error);
}

TEST(Hostile, DamagedRecordsAreNamedWithTheirOffset) {
    // Records of a main body, behind a header of 42 bytes.
    const std::string header = assembled("icode version=-73 cpu=1000 name=\"x\"\n").substr(0, 42);
    const struct {
        const char *body, *error;
    } cases[] = {
        {"c8 00 ff", "offset 42: expected a record, found the unknown tag 200\n"},
        {"2a 00 ff",
         "offset 44: expected field \"number\" of label (tag 42), found the end of its body\n"},
        {"2a 02 01 01 ff", "offset 45: expected the end of label (tag 42), found 1 more bytes\n"},
        {"2a 7f 01 ff",
         "offset 42: label (tag 42) of 127 bytes, but only 2 are left in the file\n"},
        {"2e 01 00 ff", "offset 45: expected node (tag 101), found an end mark\n"},
        {"65 02 a4 00 ff", "offset 44: expected an opcode below 164, found 164\n"},
        {"65 02 4c 00 2a 01 01 ff", "offset 46: expected node (tag 101), found label (tag 42)\n"},
        {"5d 01 01 2a 01 01 ff", "offset 45: expected entry (tag 91), found label (tag 42)\n"},
        {"3f 00 ff",
         "offset 42: expected another record, found catch (tag 63), which cannot stand here "
         "in section code\n"},
        {"23 0e 78 00 00 00 01 00 00 00 00 00 01 00 00 00 ff",
         "offset 58: expected pragma (tag 94), found an end mark\n"},
        {"5e 03 01 05 00 ff",
         "offset 45: expected field \"arguments\" of pragma (tag 94), found the end "
         "of its body\n"},
        {"3b 04 01 01 ff 00 ff",
         "offset 46: expected field \"entries\" of depvector (tag 59), found the "
         "end of its body\n"},
    };
    for (const auto &c : cases) {
        EXPECT_EQ(if_text_of(header + bytes_of_hex(c.body)), c.error) << c.body;
    }
}

TEST(Hostile, UnknownTagsCanBeKept) {
    const std::string text =
        "icode version=-73 cpu=1000 name=\"x\"\n\ncode\n  raw 200 \"a\\x00\"\n  label 1\n";
    const std::string bytes = assembled(text);
    std::string printed, error;
    EXPECT_TRUE(if_text_of(bytes, {.keep_unknown = true}, printed, error));
    EXPECT_EQ(printed, text);
    EXPECT_FALSE(if_text_of(bytes, {}, printed, error));
}

TEST(Hostile, CountsCostNoMemory) {
    // Lists that announce four billion items, in files of a few bytes.
    const std::string header = assembled("icode version=-73 cpu=1000 name=\"x\"\n").substr(0, 42);
    for (const char *body :
         {"5e 06 01 ff ff ff ff 0f", "5d 05 ff ff ff ff 0f", "65 0a 03 00 ff ff ff ff 0f 61 61 61",
          "5d 01 01 5b 08 01 02 00 ff ff ff ff 0f 3f 00"}) {
        IF_MODEL model;
        EXPECT_FALSE(if_read_model(header + bytes_of_hex(body), model)) << body;
        EXPECT_LT(model.values.size(), 100u);
    }
}
