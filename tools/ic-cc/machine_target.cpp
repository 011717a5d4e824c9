#include "tools/ic-cc/machine_target.h"

#include "clang/Basic/Builtins.h"
#include "clang/Basic/TargetInfo.h"
#include "clang/Frontend/CompilerInstance.h"

using namespace clang;

// clang hands out a TargetInfo with all its private parts only for targets that it knows. A plain
// one without extensions of its own lends them; everything about types is replaced.
static constexpr const char *lending_triple = "lanai-unknown-none";
const char *const foreign_macros[2] = {"__lanai__", "__LANAI_V11__"};

namespace {

// Carries the machine's widths; never used as a target itself.
class machine_widths : public TargetInfo {
public:
    machine_widths() : TargetInfo(llvm::Triple(lending_triple)) {
        PointerWidth = PointerAlign = 16;
        BoolWidth = BoolAlign = 32;
        IntWidth = IntAlign = 32;
        LongWidth = LongAlign = 32;
        LongLongWidth = LongLongAlign = 32;
        FloatWidth = FloatAlign = 32;
        DoubleWidth = DoubleAlign = 32;
        LongDoubleWidth = LongDoubleAlign = 32;
        FloatFormat = DoubleFormat = LongDoubleFormat = &llvm::APFloat::IEEEsingle();
        SuitableAlign = 32;
        SizeType = UnsignedInt;
        PtrDiffType = SignedInt;
        IntPtrType = SignedShort;
        IntMaxType = SignedLongLong;
        WCharType = SignedShort;
        WIntType = SignedInt;
        Char16Type = UnsignedShort;
        Char32Type = UnsignedInt;
        Int16Type = SignedShort;
        Int64Type = SignedLongLong;
        SigAtomicType = SignedInt;
    }
    void getTargetDefines(const LangOptions &, MacroBuilder &) const override {}
    ArrayRef<Builtin::Info> getTargetBuiltins() const override { return {}; }
    BuiltinVaListKind getBuiltinVaListKind() const override { return CharPtrBuiltinVaList; }
    bool validateAsmConstraint(const char *&, ConstraintInfo &) const override { return false; }
    const char *getClobbers() const override { return ""; }
    ArrayRef<const char *> getGCCRegNames() const override { return {}; }
    ArrayRef<GCCRegAlias> getGCCRegAliases() const override { return {}; }
};

} // namespace

bool set_machine_target(CompilerInstance &ci) {
    auto options = std::make_shared<TargetOptions>();
    options->Triple = lending_triple;
    TargetInfo *target = TargetInfo::CreateTargetInfo(ci.getDiagnostics(), options);
    if (!target) return false;
    const IntrusiveRefCntPtr<machine_widths> widths(new machine_widths);
    static_cast<TransferrableTargetInfo &>(*target) = *widths;
    ci.setTarget(target);
    target->adjust(ci.getDiagnostics(), ci.getLangOpts());
    return true;
}
