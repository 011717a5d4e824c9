// The primitive encodings and the record frame.
#include "tests/records/text_helpers.h"

namespace {
template <class WRITE> std::string written(WRITE write) {
    if_record r;
    write(r);
    std::string out;
    r.flush(1, out);
    return hex_of_bytes(std::string_view(out).substr(2)); // behind tag and length
}
} // namespace

TEST(Stream, UintsAreUleb128) {
    const struct {
        std::uint32_t value;
        const char *bytes;
    } cases[] = {
        {0, "00"},
        {1, "01"},
        {127, "7f"},
        {128, "80 01"},
        {300, "ac 02"},
        {16383, "ff 7f"},
        {16384, "80 80 01"},
        {0x0fffffff, "ff ff ff 7f"},
        {0x80000000, "80 80 80 80 08"},
        {0xffffffff, "ff ff ff ff 0f"},
    };
    for (const auto &c : cases) {
        EXPECT_EQ(written([&](if_record &r) { r.write_uint(c.value); }), c.bytes);
        const std::string bytes = bytes_of_hex(c.bytes);
        if_source source(bytes);
        EXPECT_EQ(source.read_uint(), c.value);
        EXPECT_TRUE(source.at_end() && !source.overrun()) << c.bytes;
    }
}

TEST(Stream, SintsAreSleb128) {
    const struct {
        std::int32_t value;
        const char *bytes;
    } cases[] = {
        {0, "00"},
        {-1, "7f"},
        {63, "3f"},
        {64, "c0 00"},
        {-64, "40"},
        {-65, "bf 7f"},
        {8191, "ff 3f"},
        {-8192, "80 40"},
        {INT32_MAX, "ff ff ff ff 07"},
        {INT32_MIN, "80 80 80 80 78"},
    };
    for (const auto &c : cases) {
        EXPECT_EQ(written([&](if_record &r) { r.write_sint(c.value); }), c.bytes);
        const std::string bytes = bytes_of_hex(c.bytes);
        if_source source(bytes);
        EXPECT_EQ(source.read_sint(), c.value);
        EXPECT_TRUE(source.at_end() && !source.overrun()) << c.bytes;
    }
}

TEST(Stream, FixedWidthsAreLowByteFirst) {
    EXPECT_EQ(written([](if_record &r) { r.write_i8(-2); }), "fe");
    EXPECT_EQ(written([](if_record &r) { r.write_bool(true); }), "01");
    EXPECT_EQ(written([](if_record &r) { r.write_i16(-73); }), "b7 ff");
    EXPECT_EQ(written([](if_record &r) { r.write_i16(65535); }), "ff ff");
    EXPECT_EQ(written([](if_record &r) { r.write_i32(0x12345678); }), "78 56 34 12");
    EXPECT_EQ(written([](if_record &r) { r.write_string("ab"); }), "61 62 00");
    EXPECT_EQ(written([](if_record &r) { r.write_bytes({"a\0b", 3}); }), "61 00 62");

    const std::string bytes =
        bytes_of_hex("fe 80 02 b7 ff ff ff 78 56 34 12 fe ff ff ff 61 62 00 63");
    if_source source(bytes);
    EXPECT_EQ(source.read_u8(), 0xfe);
    EXPECT_EQ(source.read_s8(), -128);
    EXPECT_TRUE(source.read_bool());
    EXPECT_EQ(source.read_s16(), -73);
    EXPECT_EQ(source.read_u16(), 65535);
    EXPECT_EQ(source.read_u32(), 0x12345678u);
    EXPECT_EQ(source.read_s32(), -2);
    EXPECT_EQ(source.read_string(), "ab");
    EXPECT_EQ(source.read_bytes(1), "c");
    EXPECT_TRUE(source.at_end());
    EXPECT_FALSE(source.overrun());
}

TEST(Stream, FramesCarryTagAndLength) {
    std::string out;
    if_record r;
    r.flush(93, out); // an empty body
    r.write_bytes(std::string(300, 'x'));
    r.flush(34, out);
    EXPECT_TRUE(r.empty());
    EXPECT_EQ(hex_of_bytes(out.substr(0, 6)), "5d 00 22 ac 02 78");
    out += static_cast<char>(if_end_tag);

    if_source source(out);
    if_source::frame f = source.read_header();
    EXPECT_EQ(f.tag, 93);
    EXPECT_EQ(f.size, 0u);
    f = source.read_header();
    EXPECT_EQ(f.tag, 34);
    EXPECT_EQ(f.size, 300u);
    source.skip(f.size);
    f = source.read_header();
    EXPECT_EQ(f.tag, if_end_tag);
    EXPECT_FALSE(source.overrun());
    f = source.read_header(); // behind the end it looks like another end mark
    EXPECT_EQ(f.tag, if_end_tag);
    EXPECT_TRUE(source.overrun());
}

TEST(Stream, ReadingBehindTheEndIsHarmless) {
    const struct {
        const char *name;
        void (*read)(if_source &);
    } cases[] = {
        {"u8", [](if_source &s) { s.read_u8(); }},
        {"u16", [](if_source &s) { s.read_u16(); }},
        {"u32", [](if_source &s) { s.read_u32(); }},
        {"uint", [](if_source &s) { s.read_uint(); }},
        {"sint", [](if_source &s) { s.read_sint(); }},
        {"string", [](if_source &s) { EXPECT_EQ(s.read_string(), ""); }},
        {"bytes", [](if_source &s) { EXPECT_EQ(s.read_bytes(0xffffffff).size(), s.size()); }},
        {"skip", [](if_source &s) { s.skip(0xffffffff); }},
    };
    for (const auto &c : cases)
        for (const char *bytes : {"", "\xff"}) {
            if_source source{std::string_view(bytes)};
            c.read(source);
            if (*bytes && std::string_view(c.name) == "u8") continue;
            EXPECT_TRUE(source.overrun()) << c.name;
            EXPECT_TRUE(source.at_end()) << c.name;
        }
}

TEST(Stream, OverlongNumbersEnd) {
    const std::string bytes(20, '\x80'); // no last byte within a number's length
    if_source source(bytes);
    EXPECT_EQ(source.read_uint(), 0u);
    EXPECT_EQ(source.tell(), 10u);
    EXPECT_EQ(source.read_sint(), 0);
    EXPECT_TRUE(source.at_end());
}
