#include "tools/ic-cc/machine_target.h"

#include "clang/Basic/Builtins.h"
#include "clang/Basic/MacroBuilder.h"
#include "clang/Basic/TargetInfo.h"

using namespace clang;

namespace {

class machine_target : public TargetInfo {
public:
    machine_target() : TargetInfo(llvm::Triple("unknown-unknown-none")) {
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
        TLSSupported = false;
        VLASupported = false;
        resetDataLayout("e-p:16:16-i32:32-f32:32-n16:32");
    }
    void getTargetDefines(const LangOptions &, MacroBuilder &) const override {}
    ArrayRef<Builtin::Info> getTargetBuiltins() const override { return {}; }
    BuiltinVaListKind getBuiltinVaListKind() const override { return CharPtrBuiltinVaList; }
    bool validateAsmConstraint(const char *&, ConstraintInfo &) const override { return false; }
    bool hasInt128Type() const override { return false; }
    const char *getClobbers() const override { return ""; }
    ArrayRef<const char *> getGCCRegNames() const override { return {}; }
    ArrayRef<GCCRegAlias> getGCCRegAliases() const override { return {}; }
};

} // namespace

llvm::IntrusiveRefCntPtr<TargetInfo> make_machine_target() {
    return new machine_target;
}
