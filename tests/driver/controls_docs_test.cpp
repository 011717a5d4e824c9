// docs/debugging.md lists the controls that the sources ask for, and no others.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>
#include <set>
#include <string>

namespace {
namespace fs = std::filesystem;
using std::string;

string read_text(const fs::path &path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

// Adds what the groups of `pattern` catch wherever `word` begins in `text`, joined by colons.
// Looking for the word first keeps the regular expression away from most of the text.
void find_keys(const string &text, const char *word, const std::regex &pattern,
               std::set<string> &keys) {
    constexpr std::size_t longest = 200;
    for (std::size_t at = text.find(word); at != string::npos; at = text.find(word, at + 1)) {
        const string here = text.substr(at, longest);
        std::smatch match;
        if (!std::regex_search(here, match, pattern, std::regex_constants::match_continuous))
            continue;
        string key = match[1];
        if (match.size() > 2) key += ":" + match[2].str();
        keys.insert(key);
    }
}

void find_keys_of_source(const string &text, std::set<string> &keys) {
    static const std::regex query(R"re(pass_(debug|disable|enable)\s*\(\s*"([^"]*)"\s*\))re"),
        object(R"re(register_option\s+\w+\s*[({]\s*"([^"]*)")re");
    find_keys(text, "pass_", query, keys);
    find_keys(text, "register_option", object, keys);
}

TEST(ControlsDocument, KeysAreRecognizedInSources) {
    std::set<string> keys;
    find_keys_of_source("if (pass_debug(\"a\") || pass_enable(\n    \"b\")) {}\n"
                        "static register_option pass_disable_c(\"disable:c\");\n"
                        "register_option d{\"debug:d\"}; bool pass_debug(const char *);",
                        keys);
    EXPECT_THAT(keys, testing::ElementsAre("debug:a", "debug:d", "disable:c", "enable:b"));
}

TEST(ControlsDocument, ListsWhatTheSourcesAskFor) {
    std::set<string> asked;
    for (const char *folder : {"OPT5", "DIAG"})
        for (const auto &entry :
             fs::recursive_directory_iterator(fs::path(QUILL_SOURCE_DIR) / folder)) {
            const string extension = entry.path().extension().string();
            if (extension == ".cpp" || extension == ".h" || extension == ".def")
                find_keys_of_source(read_text(entry.path()), asked);
        }
    static const std::regex in_table(R"(`((?:debug|disable|enable):[^`]*)`)");
    std::set<string> listed;
    std::ifstream document(fs::path(QUILL_SOURCE_DIR) / "docs" / "debugging.md");
    for (string line; std::getline(document, line);)
        if (line.starts_with("| "))
            find_keys(line.substr(0, line.find(" | ")), "`", in_table, listed);
    EXPECT_EQ(asked, listed);
    EXPECT_TRUE(asked.count("debug:parser"));
}
} // namespace
