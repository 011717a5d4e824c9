// Makes a failing program small. First by itself, with rounds of ever finer cuts in the text:
// groups of lines, brackets with what stands before them, single tokens; then creduce, which knows
// C, has the rest of the time. A cut stays when the program is still correct and still fails in the
// same way.
#include "tools/ic-diff/ic_diff.h"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <functional>
#include <set>

namespace fs = std::filesystem;
using CLOCK = std::chrono::steady_clock;

namespace {
using TEXT = std::vector<std::string>; // lines or tokens

std::string join(const TEXT &pieces) {
    std::string text;
    for (const std::string &piece : pieces)
        text += piece;
    return text;
}

// Lines with their ends.
TEXT split_lines(const std::string &text) {
    TEXT lines;
    for (std::size_t begin = 0; begin < text.size();) {
        const std::size_t end = std::min(text.find('\n', begin), text.size() - 1) + 1;
        lines.push_back(text.substr(begin, end - begin));
        begin = end;
    }
    return lines;
}

// Tokens with the blanks that follow; a line of the preprocessor is one.
TEXT split_tokens(const std::string &text) {
    TEXT tokens;
    const auto is_word = [](char c) {
        return std::isalnum(static_cast<unsigned char>(c)) || c == '_' || c == '.';
    };
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t begin = at;
        if (text[at] == '#' || text.compare(at, 2, "//") == 0) {
            at = std::min(text.find('\n', at), text.size());
        } else if (text[at] == '"') {
            for (++at; at < text.size() && text[at] != '"'; ++at)
                at += text[at] == '\\';
            ++at;
        } else if (is_word(text[at])) {
            while (at < text.size() && is_word(text[at]))
                ++at;
        } else {
            ++at;
            while (at < text.size() && std::ispunct(static_cast<unsigned char>(text[at])) &&
                   std::string_view("=<>&|+-").find(text[at]) != std::string_view::npos &&
                   std::string_view("(){}[];,#\"").find(text[begin]) == std::string_view::npos &&
                   (text[at] == '=' || text[at] == text[begin]))
                ++at;
        }
        while (at < text.size() && std::isspace(static_cast<unsigned char>(text[at])))
            ++at;
        at = std::min(at, text.size());
        tokens.push_back(text.substr(begin, at - begin));
    }
    return tokens;
}

bool is_balanced(const std::string &text) {
    std::string open;
    for (const char c : text) {
        if (c == '(' || c == '[' || c == '{') open.push_back(c);
        if (c != ')' && c != ']' && c != '}') continue;
        const char partner = c == ')' ? '(' : c == ']' ? '[' : '{';
        if (open.empty() || open.back() != partner) return false;
        open.pop_back();
    }
    return open.empty();
}

// The partner of each bracket, itself for other tokens.
std::vector<std::size_t> partners(const TEXT &tokens) {
    std::vector<std::size_t> partner(tokens.size()), open;
    for (std::size_t i = 0; i < tokens.size(); ++i) {
        partner[i] = i;
        const char c = tokens[i][0];
        if (c == '(' || c == '[' || c == '{') open.push_back(i);
        if ((c == ')' || c == ']' || c == '}') && !open.empty()) {
            partner[i] = open.back();
            partner[open.back()] = i;
            open.pop_back();
        }
    }
    return partner;
}

class REDUCER {
public:
    REDUCER(const WORKSHOP &shop, const SUBJECT &subject, TRIAL trial, FAILURE_KIND kind,
            const DEMANDS &demands, CLOCK::time_point deadline)
        : candidate_(shop, shop.scratch + "/candidate.c", subject.calls()),
          trial_(std::move(trial)), kind_(kind), demands_(demands), deadline_(deadline),
          best_(read_whole_file(subject.source())) {
        demands_.host = false; // the most expensive question is the last
        asks_host_ = demands.host;
    }
    // Whether the text is a correct program that fails in the same way.
    bool is_interesting(const std::string &text) {
        if (!is_balanced(text) || !write_whole_file(candidate_.source(), text)) return false;
        // What makes quillopt fail need not run.
        if (kind_ != run_differs)
            return !candidate_.compile() && candidate_.try_trial(trial_).kind == kind_;
        if (candidate_.prepare(demands_)) return false;
        if (candidate_.try_trial(trial_).kind != kind_) return false;
        return !asks_host_ || !candidate_.differs_from_host();
    }
    void run() {
        if (!is_interesting(best_)) return;
        std::size_t before;
        do {
            before = best_.size();
            cut_brackets('{', '{'); // bodies of functions and loops, the largest cuts
            cut_windows(split_lines);
            cut_brackets('(', '[');
            cut_windows(split_tokens);
            simplify_tokens();
        } while (best_.size() < before && !is_late());
    }
    const std::string &best() const { return best_; }

private:
    bool is_late() const { return CLOCK::now() >= deadline_; }

    bool keep_if_interesting(const TEXT &pieces) {
        std::string text = join(pieces);
        if (text == best_ || is_late() || !tried_.insert(std::hash<std::string>()(text)).second)
            return false;
        if (!is_interesting(text)) return false;
        best_ = std::move(text);
        return true;
    }

    // Cuts windows of half the text, of a quarter and so on down to single pieces.
    void cut_windows(TEXT (*split)(const std::string &)) {
        TEXT pieces = split(best_);
        const std::size_t largest = split == split_lines ? pieces.size() / 2 : 16;
        for (std::size_t width = largest; width > 0 && !is_late(); width /= 2)
            for (std::size_t at = 0; at + width <= pieces.size() && !is_late();) {
                TEXT shorter = pieces;
                const auto from = shorter.begin() + static_cast<std::ptrdiff_t>(at);
                shorter.erase(from, from + static_cast<std::ptrdiff_t>(width));
                if (keep_if_interesting(shorter))
                    pieces = std::move(shorter);
                else
                    at += split == split_lines ? width : 1;
            }
    }

    // Replaces the tokens [from, to) of the text.
    static TEXT with(const TEXT &tokens, std::size_t from, std::size_t to, const TEXT &by) {
        TEXT result(tokens.begin(), tokens.begin() + static_cast<std::ptrdiff_t>(from));
        result.insert(result.end(), by.begin(), by.end());
        result.insert(result.end(), tokens.begin() + static_cast<std::ptrdiff_t>(to), tokens.end());
        return result;
    }

    // What may stand instead of the brackets from `open` to `close`, and of the tokens before them
    // from `begin` on.
    static std::vector<TEXT> replacements(const TEXT &tokens, std::size_t open, std::size_t close) {
        std::vector<TEXT> result;
        if (tokens[open][0] == '{') {
            result.push_back({"{}\n"});
            result.push_back({";\n"});
            result.emplace_back(tokens.begin() + static_cast<std::ptrdiff_t>(open) + 1,
                                tokens.begin() + static_cast<std::ptrdiff_t>(close));
            return result;
        }
        result.push_back({""});
        result.push_back({"0"});
        result.push_back({"1"});
        std::size_t depth = 0, begin = open + 1;
        for (std::size_t i = open + 1; i <= close; ++i) {
            const char c = tokens[i][0];
            if (i == close || (c == ',' && depth == 0)) {
                TEXT argument = {"("};
                argument.insert(argument.end(), tokens.begin() + static_cast<std::ptrdiff_t>(begin),
                                tokens.begin() + static_cast<std::ptrdiff_t>(i));
                argument.push_back(")");
                result.push_back(argument);
                begin = i + 1;
            }
            depth += c == '(' || c == '[' || c == '{';
            depth -= i != close && (c == ')' || c == ']' || c == '}');
        }
        return result;
    }

    // Where the statement, declaration or call that ends in this bracket may begin: at the bracket,
    // and some tokens before it.
    static std::vector<std::size_t>
    beginnings(const TEXT &tokens, const std::vector<std::size_t> &partner, std::size_t open) {
        std::vector<std::size_t> result = {open};
        if (open == 0) return result;
        std::size_t at = open - 1;
        if (tokens[open][0] == '{') { // if (...) {, for (...) {, type name(...) {
            while (at > 0 && std::string_view(";{}#").find(tokens[at][0]) == std::string_view::npos)
                at = tokens[at][0] == ')' ? (partner[at] ? partner[at] - 1 : 0) : at - 1;
            if (at + 1 < open) result.push_back(at + 1);
        } else if (std::isalpha(static_cast<unsigned char>(tokens[at][0]))) {
            result.insert(result.begin(), at);
        }
        return result;
    }

    bool cut_at_bracket(const TEXT &tokens, const std::vector<std::size_t> &partner,
                        std::size_t open) {
        const std::size_t close = partner[open];
        if (close == open + 1 && tokens[open][0] == '{') return false;
        for (const std::size_t begin : beginnings(tokens, partner, open))
            for (const TEXT &by : replacements(tokens, open, close))
                if (keep_if_interesting(with(tokens, begin, close + 1, by))) return true;
        return false;
    }

    // The widest brackets come first, and again after each cut; texts that failed are known.
    void cut_brackets(char kind, char or_kind) {
        for (bool cut = true; cut && !is_late();) {
            cut = false;
            const TEXT tokens = split_tokens(best_);
            const std::vector<std::size_t> partner = partners(tokens);
            std::vector<std::size_t> opens;
            for (std::size_t i = 0; i < tokens.size(); ++i)
                if (partner[i] > i && (tokens[i][0] == kind || tokens[i][0] == or_kind))
                    opens.push_back(i);
            std::stable_sort(opens.begin(), opens.end(), [&](std::size_t x, std::size_t y) {
                return partner[x] - x > partner[y] - y;
            });
            for (std::size_t i = 0; i < opens.size() && !cut && !is_late(); ++i)
                cut = cut_at_bracket(tokens, partner, opens[i]);
        }
    }

    void simplify_tokens() {
        TEXT tokens = split_tokens(best_);
        for (std::size_t i = 0; i < tokens.size() && !is_late(); ++i) {
            if (!std::isalnum(static_cast<unsigned char>(tokens[i][0]))) continue;
            for (const char *by : {"0 ", "1 "}) {
                if (tokens[i].size() <= 2 && std::isdigit(static_cast<unsigned char>(tokens[i][0])))
                    break;
                if (!keep_if_interesting(with(tokens, i, i + 1, {by}))) continue;
                tokens = split_tokens(best_);
                break;
            }
        }
    }

    SUBJECT candidate_;
    TRIAL trial_;
    FAILURE_KIND kind_;
    DEMANDS demands_;
    bool asks_host_;
    CLOCK::time_point deadline_;
    std::string best_;
    std::set<std::size_t> tried_; // hashes of texts
};

std::string quoted(const std::string &word) {
    std::string result = "'";
    for (const char c : word)
        result += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return result + "'";
}

// What the program fulfils; what it cannot do is not asked of its parts either.
DEMANDS demands_met(SUBJECT subject) {
    DEMANDS met;
    for (bool DEMANDS::*demand : {&DEMANDS::checked, &DEMANDS::host}) {
        DEMANDS asked;
        asked.*demand = true;
        met.*demand = !subject.prepare(asked);
    }
    return met;
}

// creduce runs the script in a folder of its own and looks at its exit code.
std::string reduce_with_creduce(const WORKSHOP &shop, const SUBJECT &subject, const TRIAL &trial,
                                FAILURE_KIND kind, const DEMANDS &demands, const std::string &text,
                                long seconds) {
    const std::string folder = shop.scratch + "/creduce";
    fs::create_directories(folder);
    const auto flag = [](const char *name, bool value) {
        return std::string(" --") + name + (value ? " 1" : " 0");
    };
    std::string script =
        "#!/bin/sh\nexec " + quoted(shop.bin + "/ic-diff") + " interesting case.c --kind " +
        std::to_string(kind) + flag("calls", subject.calls()) + flag("checked", demands.checked) +
        flag("host", demands.host) + flag("logged", trial.logged) + " --opt_level " + trial.level +
        " --size_speed_goal " + std::to_string(trial.goal);
    for (const std::string &option : trial.options)
        script += " --option " + quoted(option);
    if (!write_whole_file(folder + "/interesting.sh", script + " >/dev/null 2>&1\n") ||
        !write_whole_file(folder + "/case.c", text))
        return text;
    fs::permissions(folder + "/interesting.sh", fs::perms::owner_all);
    PROCESS_BOUNDS bounds;
    bounds.directory = folder;
    bounds.cpu_seconds = static_cast<unsigned>(seconds) * 4;
    run_process(
        {"timeout", std::to_string(seconds), "creduce", "--n", "1", "interesting.sh", "case.c"},
        folder + "/stdout", folder + "/stderr", bounds);
    // The best so far is in the file, whole or, when creduce was ended, in part.
    return read_whole_file(folder + "/case.c");
}
} // namespace

bool is_interesting(const WORKSHOP &shop, const SUBJECT &subject, const TRIAL &trial,
                    FAILURE_KIND kind, const DEMANDS &demands) {
    REDUCER reducer(shop, subject, trial, kind, demands, CLOCK::time_point::max());
    return reducer.is_interesting(reducer.best());
}

std::string reduce(const WORKSHOP &shop, const SUBJECT &subject, const TRIAL &trial,
                   FAILURE_KIND kind, CLOCK::time_point deadline) {
    const DEMANDS demands = demands_met(subject);
    const auto half = CLOCK::now() + (deadline - CLOCK::now()) / 2;
    REDUCER reducer(shop, subject, trial, kind, demands, half);
    reducer.run();
    const auto left =
        std::chrono::duration_cast<std::chrono::seconds>(deadline - CLOCK::now()).count();
    if (left < 10) return reducer.best();
    const std::string text = reduce_with_creduce(shop, subject, trial, kind, demands,
                                                 reducer.best(), static_cast<long>(left));
    const bool better = text.size() < reducer.best().size() && reducer.is_interesting(text);
    return better ? text : reducer.best();
}
