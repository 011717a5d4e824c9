// The command line of ic-cc, and clang's set-up.
#include "OPT5/icode/records/if_tool.h"
#include "tools/ic-cc/embedded.h"
#include "tools/ic-cc/ic_cc.h"
#include "tools/ic-cc/machine_target.h"

#include "clang/AST/ASTConsumer.h"
#include "clang/Basic/Builtins.h"
#include "clang/Basic/DiagnosticSema.h"
#include "clang/Frontend/CompilerInstance.h"
#include "clang/Frontend/TextDiagnosticPrinter.h"
#include "clang/Frontend/Utils.h"
#include "clang/Lex/HeaderSearch.h"
#include "clang/Lex/Preprocessor.h"
#include "clang/Lex/PreprocessorOptions.h"
#include "clang/Parse/ParseAST.h"
#include "llvm/Support/CrashRecoveryContext.h"
#include "llvm/Support/VirtualFileSystem.h"
#include "llvm/Support/raw_ostream.h"

#include <cstdio>
#include <cstring>

using namespace clang;

namespace {

constexpr const char *header_folder = "/ic-cc/include"; // exists in memory only
constexpr const char *cpp_header_folder = "/ic-cc/include/c++";
constexpr const char *usage =
    "Usage: ic-cc [options] file\n"
    "The file is C, or C++ when its name ends in .cpp, .cc, .cxx or .C.\n"
    "  -o file            write to this file (default: the source's name with .ic)\n"
    "  -I dir             look for included files here\n"
    "  -D name[=value]    define a macro\n"
    "  -U name            undefine a macro\n"
    "  -E                 preprocess only, to standard output\n"
    "  -W                 show warnings\n"
    "  -Xopt text         put an option into the file's option set\n"
    "  --option text      the same\n"
    "  --show-sizes       print sizes and offsets of the file's types, write nothing\n"
    "  --help             print this text\n";

struct command_line {
    std::string input, output;
    std::vector<std::string> includes;
    std::vector<std::pair<std::string, bool>> macros; // text, whether it is undefined
    std::vector<std::string> options;
    bool preprocess = false, show_sizes = false, warnings = false, help = false;
};

// False, after a message, when the words make no sense.
bool parse_command_line(int argc, char **argv, command_line &c) {
    auto fail = [](const std::string &what) {
        std::fprintf(stderr, "ic-cc: %s\n%s", what.c_str(), usage);
        return false;
    };
    for (int i = 1; i < argc; ++i) {
        std::string word = argv[i];
        bool missing = false;
        // The rest of this word, or the next one.
        auto value = [&](std::size_t prefix) -> std::string {
            if (word.size() > prefix) return word.substr(prefix);
            if (i + 1 < argc) return argv[++i];
            missing = true;
            return {};
        };
        if (word == "--help" || word == "-h") {
            c.help = true;
        } else if (word == "-E") {
            c.preprocess = true;
        } else if (word == "-W" || word == "-Wall") {
            c.warnings = true;
        } else if (word == "--show-sizes") {
            c.show_sizes = true;
        } else if (word == "-Xopt" || word == "--option") {
            c.options.push_back(value(word.size()));
        } else if (word.starts_with("--option=")) {
            c.options.push_back(word.substr(std::strlen("--option=")));
        } else if (word.starts_with("-o")) {
            c.output = value(2);
        } else if (word.starts_with("-I")) {
            c.includes.push_back(value(2));
        } else if (word.starts_with("-D")) {
            c.macros.emplace_back(value(2), false);
        } else if (word.starts_with("-U")) {
            c.macros.emplace_back(value(2), true);
        } else if (word.starts_with("-")) {
            return fail("unknown option '" + word + "'");
        } else if (!c.input.empty()) {
            return fail("more than one input file");
        } else {
            c.input = word;
        }
        if (missing) return fail("option '" + word + "' needs a value");
    }
    if (c.input.empty() && !c.help) return fail("no input file");
    if (c.output.empty()) {
        std::size_t dot = c.input.rfind('.'), slash = c.input.rfind('/');
        bool has_extension =
            dot != std::string::npos && (slash == std::string::npos || dot > slash);
        c.output = (has_extension ? c.input.substr(0, dot) : c.input) + ".ic";
    }
    return true;
}

// Prints messages and counts errors. A failed static assertion is not one: clang measured it with
// its own char, and the translator decides it again.
class diagnostic_filter : public TextDiagnosticPrinter {
public:
    using TextDiagnosticPrinter::TextDiagnosticPrinter;
    unsigned errors = 0;
    void HandleDiagnostic(DiagnosticsEngine::Level level, const Diagnostic &info) override {
        if (info.getID() == diag::err_static_assert_failed ||
            info.getID() == diag::err_static_assert_requirement_failed)
            return;
        if (level >= DiagnosticsEngine::Error) ++errors;
        TextDiagnosticPrinter::HandleDiagnostic(level, info);
    }
};

class translation_consumer : public ASTConsumer {
public:
    translation_consumer(const command_line &c, diagnostic_filter &filter, pragma_store &pragmas,
                         std::string &bytes)
        : line_(c), filter_(filter), pragmas_(pragmas), bytes_(bytes) {}

    void HandleTranslationUnit(ASTContext &context) override {
        if (filter_.errors) return;
        icode_unit unit;
        unit.options.front().texts = line_.options;
        translator t(context, pragmas_, unit, line_.input);
        if (line_.show_sizes)
            llvm::outs() << t.sizes();
        else if (t.translate())
            bytes_ = unit.finish(line_.input);
    }

private:
    const command_line &line_;
    diagnostic_filter &filter_;
    pragma_store &pragmas_;
    std::string &bytes_;
};

IntrusiveRefCntPtr<llvm::vfs::FileSystem> file_system() {
    IntrusiveRefCntPtr<llvm::vfs::InMemoryFileSystem> headers(new llvm::vfs::InMemoryFileSystem);
    for (const embedded_header &h : embedded_headers)
        headers->addFile(std::string(header_folder) + "/" + h.name, 0,
                         llvm::MemoryBuffer::getMemBuffer(h.text, h.name));
    IntrusiveRefCntPtr<llvm::vfs::OverlayFileSystem> all(
        new llvm::vfs::OverlayFileSystem(llvm::vfs::getRealFileSystem()));
    all->pushOverlay(headers);
    return all;
}

bool is_cpp_source(llvm::StringRef file) {
    return file.endswith(".cpp") || file.endswith(".cc") || file.endswith(".cxx") ||
           file.endswith(".C");
}

void set_options(CompilerInstance &ci, const command_line &c) {
    LangOptions &lang = ci.getLangOpts();
    std::vector<std::string> unused;
    const bool is_cpp = is_cpp_source(c.input);
    CompilerInvocation::setLangDefaults(
        lang, is_cpp ? Language::CXX : Language::C, llvm::Triple("unknown-unknown-none"), unused,
        is_cpp ? LangStandard::lang_gnucxx17 : LangStandard::lang_gnu11);
    lang.CXXExceptions = lang.Exceptions = is_cpp;
    lang.DoubleSquareBracketAttributes = lang.CXXOperatorNames = is_cpp;
    lang.NoBuiltin = false;
    HeaderSearchOptions &headers = ci.getHeaderSearchOpts();
    headers.UseBuiltinIncludes = headers.UseStandardSystemIncludes = false;
    headers.UseStandardCXXIncludes = false;
    for (const std::string &dir : c.includes)
        headers.AddPath(dir, frontend::Angled, false, true);
    if (is_cpp) headers.AddPath(cpp_header_folder, frontend::System, false, true);
    headers.AddPath(header_folder, frontend::System, false, true);
    PreprocessorOptions &pp = ci.getPreprocessorOpts();
    auto redefine = [&pp](const char *name, const char *value) {
        pp.addMacroUndef(name);
        pp.addMacroDef(std::string(name) + "=" + value);
    };
    if (!c.preprocess) pp.Includes.push_back(std::string(header_folder) + "/zra_builtins.h");
    pp.addMacroDef("__ZRA__=1");
    redefine("__CHAR_BIT__", "16");
    redefine("__SCHAR_MAX__", "32767");
    redefine("__SIZEOF_SHORT__", "1");
    redefine("__SIZEOF_WCHAR_T__", "1");
    redefine("__SIZEOF_POINTER__", "1");
    for (const char *name : {"__SIZEOF_INT__", "__SIZEOF_LONG__", "__SIZEOF_LONG_LONG__",
                             "__SIZEOF_FLOAT__", "__SIZEOF_DOUBLE__", "__SIZEOF_LONG_DOUBLE__",
                             "__SIZEOF_SIZE_T__", "__SIZEOF_PTRDIFF_T__", "__SIZEOF_WINT_T__"})
        redefine(name, "2");
    for (const char *name : {"__INT8_TYPE__", "__UINT8_TYPE__", "__INT64_TYPE__", "__UINT64_TYPE__",
                             "__SIZEOF_INT128__"})
        pp.addMacroUndef(name);
    for (const char *name : foreign_macros)
        pp.addMacroUndef(name);
    for (const auto &[text, undefined] : c.macros)
        undefined ? pp.addMacroUndef(text) : pp.addMacroDef(text);
}

int compile(const command_line &c) {
    CompilerInstance ci;
    ci.getDiagnosticOpts().IgnoreWarnings = !c.warnings;
    auto *filter = new diagnostic_filter(llvm::errs(), &ci.getDiagnosticOpts());
    ci.createDiagnostics(filter, true);
    set_options(ci, c);
    if (!set_machine_target(ci)) return 1;
    ci.createFileManager(file_system());
    ci.createSourceManager(ci.getFileManager());
    auto file = ci.getFileManager().getFileRef(c.input);
    if (!file) {
        llvm::consumeError(file.takeError());
        std::fprintf(stderr, "ic-cc: cannot read '%s'\n", c.input.c_str());
        return 1;
    }
    ci.getSourceManager().setMainFileID(
        ci.getSourceManager().createFileID(*file, SourceLocation(), SrcMgr::C_User));
    ci.createPreprocessor(TU_Complete);
    pragma_store pragmas;
    if (c.preprocess) {
        filter->BeginSourceFile(ci.getLangOpts(), &ci.getPreprocessor());
        PreprocessorOutputOptions &out = ci.getPreprocessorOutputOpts();
        out.ShowCPP = true;
        DoPrintPreprocessedInput(ci.getPreprocessor(), &llvm::outs(), out);
        return filter->errors ? 1 : 0;
    }
    add_pragma_handlers(ci.getPreprocessor(), pragmas);
    ci.getPreprocessor().getBuiltinInfo().initializeBuiltins(
        ci.getPreprocessor().getIdentifierTable(), ci.getLangOpts());
    ci.createASTContext();
    std::string bytes;
    filter->BeginSourceFile(ci.getLangOpts(), &ci.getPreprocessor());
    translation_consumer consumer(c, *filter, pragmas, bytes);
    ParseAST(ci.getPreprocessor(), &consumer, ci.getASTContext(), false, TU_Complete);
    filter->EndSourceFile();
    if (filter->errors) return 1;
    if (c.show_sizes) return 0;
    if (if_save_file(c.output, bytes)) return 0;
    std::fprintf(stderr, "ic-cc: cannot write '%s'\n", c.output.c_str());
    return 1;
}

} // namespace

int main(int argc, char **argv) {
    command_line c;
    if (!parse_command_line(argc, argv, c)) return 1;
    if (c.help) {
        std::fputs(usage, stdout);
        return 0;
    }
    // clang walks deep sources by recursion: it gets a stack of its own.
    constexpr unsigned stack_bytes = 512u << 20;
    int status = 1;
    llvm::CrashRecoveryContext context;
    context.RunSafelyOnThread([&] { status = compile(c); }, stack_bytes);
    return status;
}
