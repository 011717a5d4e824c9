// Pragmas of loops, symbols and functions. Arguments may be macros.
#include "tools/ic-cc/pragmas.h"

#include "clang/Lex/LiteralSupport.h"
#include "clang/Lex/Pragma.h"
#include "clang/Lex/Preprocessor.h"

#include <memory>
#include <optional>

using namespace clang;

namespace {

// The tokens of a parenthesised list, split at commas; nullopt when the parentheses are missing.
std::optional<std::vector<std::vector<Token>>> read_arguments(Preprocessor &pp) {
    Token t;
    pp.Lex(t);
    if (t.isNot(tok::l_paren)) return std::nullopt;
    std::vector<std::vector<Token>> args(1);
    for (unsigned depth = 0;;) {
        pp.Lex(t);
        if (t.isOneOf(tok::eod, tok::eof)) return std::nullopt;
        if (t.is(tok::r_paren) && depth-- == 0) break;
        if (t.is(tok::l_paren)) ++depth;
        if (t.is(tok::comma) && depth == 0)
            args.emplace_back();
        else
            args.back().push_back(t);
    }
    pp.DiscardUntilEndOfDirective();
    return args;
}

std::string spelling(Preprocessor &pp, const std::vector<Token> &tokens) {
    std::string text;
    for (const Token &t : tokens)
        text += pp.getSpelling(t);
    return text;
}

// A string literal's contents, any other argument as it is spelled.
std::string argument_text(Preprocessor &pp, const std::vector<Token> &tokens) {
    if (tokens.empty() || !tokens.front().is(tok::string_literal)) return spelling(pp, tokens);
    StringLiteralParser literal(tokens, pp);
    return literal.hadError ? std::string() : literal.GetString().str();
}

// A decimal count; empty for an empty argument.
std::optional<std::string> argument_count(Preprocessor &pp, const std::vector<Token> &tokens) {
    if (tokens.empty()) return std::string();
    std::uint64_t value = 0;
    std::string text = spelling(pp, tokens);
    StringRef rest(text);
    if (tokens.size() != 1 || !tokens.front().is(tok::numeric_constant) ||
        rest.consumeInteger(0, value) || rest.find_first_not_of("uUlL") != StringRef::npos)
        return std::nullopt;
    return std::to_string(value);
}

class pragma_handler : public PragmaHandler {
public:
    pragma_handler(StringRef name, pragma_store &store) : PragmaHandler(name), store_(store) {}

protected:
    pragma_store &store_;
    void complain(Preprocessor &pp, SourceLocation at, const char *what) {
        DiagnosticsEngine &d = pp.getDiagnostics();
        unsigned id = d.getCustomDiagID(DiagnosticsEngine::Error, "pragma %0 %1");
        d.Report(at, id) << getName() << what;
    }
};

class loop_pragma_handler : public pragma_handler {
public:
    loop_pragma_handler(StringRef name, pragma_store &store, unsigned kind, unsigned count)
        : pragma_handler(name, store), kind_(kind), count_(count) {}

    void HandlePragma(Preprocessor &pp, PragmaIntroducer introducer, Token &) override {
        auto args = read_arguments(pp);
        if (!args || args->size() > count_)
            return complain(pp, introducer.Loc, "has other arguments than it takes");
        loop_pragma made;
        made.at = pp.getSourceManager().getExpansionLoc(introducer.Loc);
        made.prag.kind = kind_;
        for (const auto &tokens : *args) {
            std::optional<std::string> text = argument_count(pp, tokens);
            if (!text) return complain(pp, introducer.Loc, "takes whole numbers");
            made.prag.args.push_back(*text);
        }
        if (made.prag.args.front().empty() && count_ == 1)
            return complain(pp, introducer.Loc, "takes a whole number");
        made.prag.args.resize(count_);
        store_.loops.push_back(std::move(made));
    }

private:
    unsigned kind_, count_;
};

class symbol_pragma_handler : public pragma_handler {
public:
    symbol_pragma_handler(StringRef name, pragma_store &store, unsigned kind)
        : pragma_handler(name, store), kind_(kind) {}

    void HandlePragma(Preprocessor &pp, PragmaIntroducer introducer, Token &) override {
        auto args = read_arguments(pp);
        if (!args || args->front().size() != 1 || !args->front().front().is(tok::identifier))
            return complain(pp, introducer.Loc, "takes the name of a symbol");
        pragma made;
        made.kind = kind_;
        for (std::size_t i = 1; i < args->size(); ++i)
            made.args.push_back(argument_text(pp, (*args)[i]));
        store_.symbols[spelling(pp, args->front())].push_back(std::move(made));
    }

private:
    unsigned kind_;
};

class function_options_handler : public pragma_handler {
public:
    explicit function_options_handler(pragma_store &store)
        : pragma_handler("FUNCTION_OPTIONS", store) {}

    void HandlePragma(Preprocessor &pp, PragmaIntroducer introducer, Token &) override {
        auto args = read_arguments(pp);
        if (!args || args->size() != 2 || (*args)[0].size() != 1)
            return complain(pp, introducer.Loc, "takes a function and a string of options");
        std::vector<std::string> &options = store_.function_options[spelling(pp, (*args)[0])];
        SmallVector<StringRef, 8> words;
        std::string text = argument_text(pp, (*args)[1]);
        StringRef(text).split(words, ' ', -1, false);
        for (StringRef word : words)
            options.push_back(word.str());
    }
};

struct symbol_pragma {
    const char *name;
    unsigned kind;
};

constexpr symbol_pragma symbol_pragmas[] = {
    {"DATA_ALIGN", pk_data_align},
    {"DATA_SECTION", pk_data_section},
    {"FUNC_NEVER_RETURNS", pk_never_returns},
    {"FUNC_CANNOT_INLINE", pk_cannot_inline},
    {"FUNC_NO_GLOBAL_ASG", pk_no_global_asg},
    {"FUNC_NO_IND_ASG", pk_no_ind_asg},
    {"FUNC_IS_PURE", pk_is_pure},
    {"FUNC_IS_SYSTEM", pk_is_system},
    {"INTERRUPT", pk_interrupt},
    {"FUNC_EXT_CALLED", pk_ext_called},
    {"CODE_SECTION", pk_code_section},
    {"FUNC_INTERRUPT_THRESHOLD", pk_interrupt_threshold},
    {"SYM_IS_REFERENCED", pk_is_referenced},
    {"CODE_ALIGN", pk_code_align},
    {"NO_HOOKS", pk_no_hooks},
    {"FUNC_ALWAYS_INLINE", pk_always_inline},
    {"RETAIN", pk_retain},
    {"NOINIT", pk_noinit},
    {"PERSISTENT", pk_persistent},
};

struct loop_pragma_row {
    const char *name;
    unsigned kind, count;
};

constexpr loop_pragma_row loop_pragmas[] = {
    {"UNROLL", pk_unroll, 1},
    {"MUST_ITERATE", pk_must_iterate, 3},
    {"PROB_ITERATE", pk_prob_iterate, 2},
};

} // namespace

void add_pragma_handlers(Preprocessor &pp, pragma_store &store) {
    // The preprocessor owns its handlers.
    auto add = [&](std::unique_ptr<PragmaHandler> handler) {
        pp.AddPragmaHandler(handler.release());
    };
    for (const loop_pragma_row &row : loop_pragmas)
        add(std::make_unique<loop_pragma_handler>(row.name, store, row.kind, row.count));
    for (const symbol_pragma &row : symbol_pragmas)
        add(std::make_unique<symbol_pragma_handler>(row.name, store, row.kind));
    add(std::make_unique<function_options_handler>(store));
}
