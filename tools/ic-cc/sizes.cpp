// --show-sizes: what the machine's layout gives.
#include "tools/ic-cc/ic_cc.h"

#include "llvm/Support/Format.h"
#include "llvm/Support/raw_ostream.h"

using namespace clang;

std::string translator::sizes() {
    std::string text;
    llvm::raw_string_ostream out(text);
    out << "sizes, alignments and offsets in units of 16 bits\n";
    auto line = [&out](llvm::StringRef what, const type *t) {
        out << llvm::format("%-24s size %u align %u\n", what.str().c_str(), units(strip(t)->size),
                            units(strip(t)->align));
    };
    const CanQualType basics[] = {context_.BoolTy,   context_.CharTy,   context_.ShortTy,
                                  context_.IntTy,    context_.LongTy,   context_.LongLongTy,
                                  context_.FloatTy,  context_.DoubleTy, context_.LongDoubleTy,
                                  context_.VoidPtrTy};
    for (CanQualType t : basics)
        line(QualType(t).getAsString(), conv(QualType(t)));
    for (const Decl *d : context_.getTranslationUnitDecl()->decls()) {
        const auto *r = dyn_cast<RecordDecl>(d);
        if (!r || !r->isThisDeclarationADefinition()) continue;
        const type *t = conv_record(r);
        complete(t);
        line((t->is_union ? "union " : "struct ") + t->name, t);
        for (const member &m : t->members) {
            out << llvm::format("  %-22s offset %u", m.name.c_str(), m.offset / unit_bits);
            if (m.is_bitfield)
                out << llvm::format(" bit %u width %u", m.offset % unit_bits, m.width);
            out << "\n";
        }
    }
    return out.str();
}
