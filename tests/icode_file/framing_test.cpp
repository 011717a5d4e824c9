// The file as a whole: header, sections, positions, name table, raw copies.
#include "recording_client.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using testing::HasSubstr;
using testing::StartsWith;

namespace {
const std::string int_type = REC(116).u(1).b(6).b(1).u(32).u(32).b(0).b(0);
const std::string func_type = REC(116).u(2).b(20).u(1).b(0).b(1).b(0).b(0) +
                              REC(116).u(2).b(254).b(0) + REC(116).u(2).b(255).b(0);

std::string function_body(std::uint32_t index, const std::string &statements) {
    return REC(1).psn(1).u(index) + REC(5).psn(2) + REC(6).psn(3) + statements + REC(2).psn(9);
}

FILE_BYTES unit() {
    FILE_BYTES f;
    f.types = int_type + func_type;
    f.names = REC(126).str("unit.c");
    f.globals = symbol("_f", 2, 2, 0, 0) + symbol("_x", 1, 2);
    f.body = function_body(0, REC(42).u(7));
    return f;
}

TEST(Header, Refusals) {
    struct {
        const char *what;
        std::function<void(FILE_BYTES &)> change;
        bool valid;
    } const cases[] = {
        {"current", [](FILE_BYTES &) {}, true},
        {"oldest", [](FILE_BYTES &f) { f.version = -86; }, true},
        {"no reserved word yet", [](FILE_BYTES &f) { f.version = -84; }, true},
        {"too old", [](FILE_BYTES &f) { f.version = -87; }, false},
        {"too new", [](FILE_BYTES &f) { f.version = -72; }, false},
        {"another family", [](FILE_BYTES &f) { f.cpu_id = 999; }, false},
    };
    for (const auto &c : cases) {
        FILE_BYTES f;
        c.change(f);
        for (bool mapped : {true, false}) {
            I_FILE *file = open_bytes(f.str(), mapped);
            EXPECT_EQ(file != nullptr, c.valid) << c.what;
            if (file) {
                EXPECT_FALSE(file->if_close(true, false));
            }
        }
    }
    const std::string good = FILE_BYTES().str();
    for (std::size_t n = 0; n < good.size() - 1; ++n)
        ASSERT_EQ(open_bytes(good.substr(0, n)), nullptr) << "cut at " << n;
    std::string other_magic = good;
    other_magic[5] = '?';
    EXPECT_EQ(open_bytes(other_magic), nullptr);
    EXPECT_EQ(open_bytes("\x09" + good.substr(1)), nullptr);
}

TEST(Header, ClientMayRefuse) {
    FILE *stream = std::tmpfile();
    const std::string bytes = FILE_BYTES().str();
    std::fwrite(bytes.data(), 1, bytes.size(), stream);
    std::rewind(stream);
    recording.reset();
    recording.accept = false;
    EXPECT_EQ(I_FILE::if_open(stream, &recording_client), nullptr);
    EXPECT_EQ(recording.log, "magic -73 1000\n");
    std::fclose(stream);
}

TEST(Header, NothingButAHeader) {
    EXPECT_EQ(read_log(FILE_BYTES().str()),
              "magic -73 1000\nsource unit.c\nmerge_type_defs\npreprocess_statics\n");
}

// All positions count from where the stream stood when the file took it over.
TEST(Header, BaseWithinAStream) {
    FILE_BYTES f = unit();
    f.options = REC(111).u(3).u(1).str("-o2");
    const std::string bytes = f.str();
    const std::string expected = read_log(bytes);
    for (bool regular : {true, false}) {
        FILE *stream = regular ? std::tmpfile() : fmemopen(nullptr, bytes.size() + 200, "w+");
        std::fputs(std::string(100, 'x').c_str(), stream);
        std::fwrite(bytes.data(), 1, bytes.size(), stream);
        std::fseek(stream, 100, SEEK_SET);
        recording.reset();
        I_FILE *file = I_FILE::if_open(stream, &recording_client);
        ASSERT_NE(file, nullptr);
        file->if_type_init(tp = new TYPE_PKG);
        tp->init_type_pkg();
        file->if_read_file();
        EXPECT_EQ(recording.log, expected);
        file->if_close(true, false);
    }
}

TEST(Sections, OrderOfReading) {
    FILE_BYTES f = unit();
    f.options = REC(111).u(0).u(2).str("-o2").str("-g") + REC(111).u(1).u(0);
    f.init = REC(105).u(1) + REC(101).b(OP::ICON).u(1).s(5) + REC(101).b(OP::ENDINIT).u(0);
    EXPECT_EQ(read_log(f.str()),
              "magic -73 1000\n"
              "source unit.c\n"
              "options 0 2 -o2 -g\n"
              "options 1 0\n"
              "merge_type_defs\n"
              "symbol _f size0 align0 offset0 sc2 flags0 set0 fn 01 cc0 i6e/32/32 - nowhere\n"
              "defined _f level0 index0\n"
              "symbol _x size32 align32 offset0 sc2 flags0 set0 i6e/32/32 - nowhere\n"
              "defined _x level0 index1\n"
              "init _x (ICON:i6e/32/32 5) (ENDINIT:-)\n"
              "preprocess_statics\n"
              "begin_func _f unit.c:1:1\n"
              "end_args unit.c:2:1\n"
              "end_locals unit.c:3:1\n"
              "label 7\n"
              "end_func unit.c:9:1\n");
}

// Offsets that point nowhere give empty sections; so does the end of the file within one.
TEST(Sections, OffsetsOutsideTheFile) {
    const std::string good = FILE_BYTES().str();
    for (const char *offset : {"\xff\xff\xff\xff", "\xff\xff\xff\x7f", "\x00\x00\x00\x80"})
        for (int field = 0; field < 5; ++field) {
            std::string bytes = good;
            bytes.replace(2 + 10 + 4 + 4 * static_cast<std::size_t>(field), 4, offset, 4);
            EXPECT_EQ(read_log(bytes),
                      "magic -73 1000\nsource unit.c\nmerge_type_defs\npreprocess_statics\n");
        }
}

TEST(Sections, UnknownTagsAreReportedAndNotSkipped) {
    FILE_BYTES f;
    // The body of the unknown record is a comment record, which is read on its own.
    f.body = REC(77).raw(std::string(REC(47).str("x"))) + REC(8) + REC(63) + REC(91) + REC(111);
    const std::string bytes = f.str();
    const std::size_t start = bytes.find(f.body) + 2;
    const OUTCOME child = in_child([&bytes] {
        read_log(bytes);
        std::printf("%s", recording.log.c_str());
    });
    EXPECT_EQ(child.status, 0);
    std::string expected;
    for (std::size_t at : {start, start + 6, start + 8, start + 10, start + 12}) {
        char line[40];
        std::snprintf(line, sizeof line, "\n///ERROR @0x%zx\n\n", at);
        expected += line;
    }
    EXPECT_THAT(child.out, StartsWith(expected));
    EXPECT_THAT(child.out, HasSubstr("comment [x]\n"));
}

TEST(Names, WriterFindsReaderAppends) {
    FILE *stream = std::tmpfile();
    I_FILE *out = I_FILE::if_create(stream, nullptr, "unit.c");
    char buffer[] = "a.c";
    EXPECT_EQ(out->i_enter_file_name(buffer), 1u);
    EXPECT_EQ(out->i_enter_file_name("b.c"), 2u);
    EXPECT_EQ(out->i_enter_file_name(std::string("a.c").c_str()), 1u);
    EXPECT_EQ(out->i_enter_file_name(buffer), 1u);
    buffer[0] = 'c'; // the same place, another name
    EXPECT_EQ(out->i_enter_file_name(buffer), 3u);
    EXPECT_EQ(out->i_get_file_id("c.c"), 3u);
    EXPECT_EQ(out->i_get_file_id("d.c"), 0u);
    EXPECT_STREQ(out->i_get_file_name(2), "b.c");
    EXPECT_EQ(out->i_get_file_name(0), nullptr);
    EXPECT_EQ(out->i_get_file_name(4), nullptr);
    out->if_close(true, true);

    FILE_BYTES f;
    f.names = REC(126).str("a.c") + REC(126).str("a.c");
    I_FILE *in = open_bytes(f.str());
    in->if_read_file_names();
    EXPECT_STREQ(in->i_get_file_name(2), "a.c");
    in->if_close(true, false);
}

TEST(Writer, EmptyFileAndClosing) {
    FILE *stream = std::tmpfile();
    FILE *copy = fdopen(dup(fileno(stream)), "rb");
    I_FILE *out = I_FILE::if_create(stream, nullptr, "unit.c");
    const std::uint32_t header = out->if_tell();
    out->if_write_comment("");
    EXPECT_EQ(out->if_tell(), header + 3);
    EXPECT_FALSE(out->if_close(true, false));
    FILE_BYTES expected; // no options, types or names; always a section of globals, here empty
    expected.body = REC(47).str("");
    std::string bytes = expected.str() + "\xff";
    bytes[2 + 10 + 4 + 16] = static_cast<char>(bytes.size() - 1);
    EXPECT_EQ(slurp(copy), bytes);
}

TEST(Writer, ReportsStreamErrors) {
    FILE *full = std::fopen("/dev/full", "wb");
    ASSERT_NE(full, nullptr);
    I_FILE *out = I_FILE::if_create(full, nullptr, "unit.c");
    for (int i = 0; i < 10000; ++i)
        out->if_write_comment("a line of text");
    EXPECT_TRUE(out->if_close(true, false));
}

// Positions have 32 bits.
TEST(Writer, ReportsFilesThatAreTooLong) {
    for (std::uint32_t position : {0xffff0000u, 0xfffffff0u}) {
        I_FILE *out = I_FILE::if_create(std::tmpfile(), nullptr, "unit.c");
        out->if_seek(position); // leaves a hole
        out->if_write_comment("a line of text");
        EXPECT_EQ(out->if_close(true, true), position == 0xfffffff0u);
    }
}

TEST(Writer, ShortsOutOfRange) {
    for (int value : {-32769, 65536}) {
        const OUTCOME child = in_child(
            [value] { I_FILE::if_create(std::tmpfile(), nullptr, "")->i_write_i16(value); });
        EXPECT_EQ(child.status, 1);
        EXPECT_EQ(child.out, ">> Value exceeds size of short\n");
    }
    EXPECT_EQ(in_child([] {
                  I_FILE *out = I_FILE::if_create(std::tmpfile(), nullptr, "");
                  out->i_write_i16(-32768);
                  out->i_write_i16(65535);
              }).status,
              0);
}

// Small pieces: a record that is read alone, a body that is read again or skipped.
TEST(Pieces, FunctionsByPosition) {
    FILE_BYTES f = unit();
    const std::string second = function_body(0, REC(42).u(8));
    f.body = function_body(0, REC(42).u(7)) + second;
    const std::string bytes = f.str();
    I_FILE *file = open_bytes(bytes);
    file->if_read_file_names();
    file->if_read_type_defs();
    file->if_read_globals();
    const std::uint32_t start = file->if_tell();
    file->if_skip_func();
    EXPECT_EQ(file->if_tell(), bytes.find(second, start + second.size()));
    recording.log.clear();
    file->if_read_func(0);
    EXPECT_THAT(recording.log, HasSubstr("label 8\n"));
    recording.log.clear();
    file->if_read_func(start);
    EXPECT_THAT(recording.log, testing::AllOf(HasSubstr("label 7\n"), HasSubstr("end_func")));
    EXPECT_EQ(file->if_read_record(), 1);
    EXPECT_EQ(file->if_read_record(), 5);
    file->if_close(true, false);
}

// Types and initialisers among the records of a function hold for the file; a second reading of the
// function finds them done.
TEST(Pieces, FunctionReadAgain) {
    FILE_BYTES f = unit();
    f.body = function_body(0, REC(116).u(9).b(15).u(1).u(16).u(16) + REC(105).u(1) +
                                  REC(101).b(OP::ENDINIT).u(0) + REC(46).psn(4) +
                                  REC(101).b(OP::ICON).u(9).u(3));
    I_FILE *file = open_bytes(f.str());
    file->if_read_file();
    const std::string first = recording.log.substr(recording.log.find("begin_func"));
    recording.log.clear();
    file->if_read_func(static_cast<std::uint32_t>(f.str().find(f.body)));
    const std::string init = "init _x (ENDINIT:-)\n";
    EXPECT_THAT(first, HasSubstr(init));
    std::string without = first;
    without.erase(first.find(init), init.size());
    EXPECT_EQ(recording.log, without);
    file->if_close(true, false);
}

TEST(Pieces, LengthsAreChecked) {
    FILE_BYTES f = unit();
    f.body += REC(33).raw("abc") + REC(43) + REC(60) + REC(62);
    const OUTCOME good = in_child([&f] {
        I_FILE *file = open_bytes(f.str());
        const std::uint32_t before = file->if_tell();
        if (!file->if_check_lengths() || file->if_tell() != before) std::exit(7);
    });
    EXPECT_EQ(good.status, 0);
    EXPECT_EQ(good.out, "");
    // That something was read behind the end of the file before is no fault of its lengths.
    FILE_BYTES cut;
    cut.globals = symbol("_x", 1, 2);
    const OUTCOME after_end = in_child([&cut] {
        const std::string bytes = cut.str();
        I_FILE *file = open_bytes(bytes.substr(0, bytes.size() - 1));
        file->if_seek(0xffffffff);
        file->i_read_u8();
        if (!file->if_check_lengths()) std::exit(7);
    });
    EXPECT_EQ(after_end.status, 0);
    FILE_BYTES bad;
    bad.body = REC(47).str("x") + REC(105).u(1);
    const std::size_t at = bad.str().find(bad.body);
    const OUTCOME child = in_child([&bad] {
        if (open_bytes(bad.str())->if_check_lengths()) std::exit(7);
    });
    EXPECT_EQ(child.status, 0);
    EXPECT_EQ(child.out, ">>I-file error:@" + std::to_string(at + 4) + ",id=105,sz=1,prev [@" +
                             std::to_string(at) + ",id=47,sz=2]\n");
}

TEST(Pieces, CopiesOfAFile) {
    FILE_BYTES f = unit();
    f.globals = symbol("_f", 2, 2, 2, 0) + REC(94).u(49).u(1).str("C++") + REC(94).u(4).u(0) +
                symbol("_x", 1, 2);
    const std::string bytes = f.str();
    const std::string path = testing::TempDir() + "extracted.ic";
    I_FILE *file = open_bytes(bytes);
    // A longer name than the header's: nothing of the placeholder may remain.
    EXPECT_FALSE(file->if_extract_file(path.c_str()));
    EXPECT_EQ(slurp(std::fopen(path.c_str(), "rb")), bytes);
    EXPECT_FALSE(file->if_extract_file("/nowhere/at/all"));
    EXPECT_THAT(recording.log, Not(HasSubstr("pragma"))); // copies tell the client nothing

    FILE *stream = std::tmpfile();
    FILE *copy = fdopen(dup(fileno(stream)), "rb");
    I_FILE *out = I_FILE::if_create(stream, nullptr, "");
    const std::uint32_t header = out->if_tell();
    file->if_copy_raw(5, 20000, out); // more than there is
    file->if_copy_symbols(out);
    out->if_close(true, true);
    EXPECT_EQ(slurp(copy).substr(header), bytes.substr(5) + f.globals + "\xff");
    file->if_close(true, false);
}
} // namespace
