// I_FILE and the record tables describe one format twice. Here they check each other: a file that
// the tables have written goes through I_FILE's reader and writer, and the tables read the result.
#include "recording_client.h"

#include "OPT5/icode/records/if_text.h"
#include "OPT5/icode/records/if_tool.h"

#include <regex>
#include <set>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {
using LINES = std::vector<std::string>;

std::string bytes_of(const std::string &name) {
    std::string text, bytes, error;
    EXPECT_TRUE(if_load_file(std::string(QUILL_SOURCE_DIR) + "/tests/icode/" + name, text));
    EXPECT_TRUE(if_bytes_of(text, bytes, error)) << error;
    return bytes;
}

// The lines of a file's text without indentation, sorted. Types have new numbers in a new file.
LINES lines_of(const std::string &bytes) {
    std::string text, error;
    EXPECT_TRUE(if_text_of(bytes, {}, text, error)) << error;
    text = std::regex_replace(text, std::regex("([^@])#[0-9]+"), "$1");
    std::multiset<std::string> lines;
    for (std::size_t at = 0, end; at < text.size(); at = end + 1) {
        at = std::min(text.find_first_not_of(" \n", at), text.size());
        end = std::min(text.find('\n', at), text.size());
        if (at < end) lines.insert(text.substr(at, end - at));
    }
    return {lines.begin(), lines.end()};
}

// The lines of the first that the second has not.
LINES only_in(const LINES &first, const LINES &second) {
    LINES lines;
    std::set_difference(first.begin(), first.end(), second.begin(), second.end(),
                        std::back_inserter(lines));
    return lines;
}

TEST(Codings, AgreeOnEveryRecord) {
    const std::string bytes = bytes_of("every_record.ict");
    const LINES in = lines_of(bytes), out = lines_of(rewritten(bytes, true));
    const LINES gone = {
        "(ASG:float (NAME:float f) (FCON:float \"1.5\"))",           // floats have one form
        "(ASG:int (NAME:int i) (ICON:int 0)) @every_record.c:40:1",  // clean-ups lose positions
        "(ASG:int (NAME:int i) (LCON:int 2147483647))",              // trees hold ICONs only
        "(LCON:int -2)",                                             //
        "(NASSERT:int (DDNODE:int 7 1 2 (NAME:int i)))",             // trees hold no such numbers
        "instruction \"\"",                                          // no writer has these
        "instruction \"\\x01\\x02 raw bytes\" @every_record.c:51:1", //
        "irend @every_record.c:52:1",                                //
        "irfunction _unprototyped -1 2 3 @every_record.c:50:1",      //
        "ldspec 4 9",                                                // nor is there a call for it
        "param class.base flag mode=3 name=\"with blank\"",          // the flag is written false
        "source \"third.h\"",                                        // the client drops it
        "type  = kind 26 \"opaque \\x00\\xff\"",                     // it defines no type
    };
    EXPECT_EQ(only_in(in, out), gone);
    const LINES made = {
        "(ASG:float (NAME:float f) (FCON:float 0x1.8p+0))",
        "(ASG:int (NAME:int i) (ICON:int 0))",
        "(ASG:int (NAME:int i) (ICON:int 2147483647))",
        "(ICON:int -2)",
        "(NASSERT:int (DDNODE:int 0 0 0 (NAME:int i)))",
        "param class.base mode=3 name=\"with blank\"",
        "type char = signed_char size=16 align=16", // the type package's own
        "type unsigned_char = unsigned_char size=16 align=16",
        "type void* = pointer void size=16 align=16",
    };
    EXPECT_EQ(only_in(out, in), made);
}

TEST(Codings, AgreeOnVirtualRegisters) {
    const std::string bytes = bytes_of("vreg.ict");
    const LINES in = lines_of(bytes), out = lines_of(rewritten(bytes));
    EXPECT_EQ(only_in(in, out),
              (LINES{"(ASG:int (NAME:int i) (VREG:int -7))", "type void = void"}));
    EXPECT_EQ(only_in(out, in),
              LINES{"(ASG:int (NAME:int i) (VREG:int 0))"}); // trees hold no number
}
} // namespace
