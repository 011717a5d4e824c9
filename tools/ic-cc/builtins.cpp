// clang's built-in functions: operators, functions of the library under another name, and those of
// the header zra_builtins.h.
#include "tools/ic-cc/ic_cc.h"

#include "clang/Basic/Builtins.h"

using namespace clang;

namespace {

// The function of zra_builtins.h that does what the built-in one does.
const char *helper_name(unsigned id) {
    switch (id) {
    case Builtin::BI__builtin_popcount:
    case Builtin::BI__builtin_popcountl:
    case Builtin::BI__builtin_popcountll: return "__zra_popcount";
    case Builtin::BI__builtin_parity:
    case Builtin::BI__builtin_parityl:
    case Builtin::BI__builtin_parityll: return "__zra_parity";
    case Builtin::BI__builtin_ctz:
    case Builtin::BI__builtin_ctzl:
    case Builtin::BI__builtin_ctzll: return "__zra_ctz";
    case Builtin::BI__builtin_clz:
    case Builtin::BI__builtin_clzl:
    case Builtin::BI__builtin_clzll: return "__zra_clz";
    case Builtin::BI__builtin_clrsb:
    case Builtin::BI__builtin_clrsbl:
    case Builtin::BI__builtin_clrsbll: return "__zra_clrsb";
    case Builtin::BI__builtin_ffs:
    case Builtin::BI__builtin_ffsl:
    case Builtin::BI__builtin_ffsll: return "__zra_ffs";
    case Builtin::BI__builtin_bswap16: return "__zra_bswap16";
    case Builtin::BI__builtin_bswap32: return "__zra_bswap32";
    case Builtin::BI__builtin_rotateleft32: return "__zra_rotateleft32";
    case Builtin::BI__builtin_isnan: return "__zra_isnan";
    case Builtin::BI__builtin_isinf: return "__zra_isinf";
    case Builtin::BI__builtin_isinf_sign: return "__zra_isinf_sign";
    case Builtin::BI__builtin_isfinite: return "__zra_isfinite";
    case Builtin::BI__builtin_signbit:
    case Builtin::BI__builtin_signbitf:
    case Builtin::BI__builtin_signbitl: return "__zra_signbit";
    case Builtin::BI__builtin_add_overflow:
    case Builtin::BI__builtin_sadd_overflow:
    case Builtin::BI__builtin_saddl_overflow:
    case Builtin::BI__builtin_saddll_overflow:
    case Builtin::BI__builtin_uadd_overflow:
    case Builtin::BI__builtin_uaddl_overflow:
    case Builtin::BI__builtin_uaddll_overflow: return "__zra_add_overflow";
    case Builtin::BI__builtin_sub_overflow:
    case Builtin::BI__builtin_ssub_overflow:
    case Builtin::BI__builtin_ssubl_overflow:
    case Builtin::BI__builtin_ssubll_overflow:
    case Builtin::BI__builtin_usub_overflow:
    case Builtin::BI__builtin_usubl_overflow:
    case Builtin::BI__builtin_usubll_overflow: return "__zra_sub_overflow";
    case Builtin::BI__builtin_mul_overflow:
    case Builtin::BI__builtin_smul_overflow:
    case Builtin::BI__builtin_smull_overflow:
    case Builtin::BI__builtin_smulll_overflow:
    case Builtin::BI__builtin_umul_overflow:
    case Builtin::BI__builtin_umull_overflow:
    case Builtin::BI__builtin_umulll_overflow: return "__zra_mul_overflow";
    default: return nullptr;
    }
}

} // namespace

// The symbol of a function that the program need not have declared.
symbol *translator::library_function(llvm::StringRef function, const type *t) {
    for (NamedDecl *d : context_.getTranslationUnitDecl()->lookup(&context_.Idents.get(function)))
        if (const auto *f = dyn_cast<FunctionDecl>(d)) return function_symbol(f);
    symbol *&s = library_symbols_[function.str()];
    if (!s) s = unit_.add_global("_" + function.str(), t, 5, {});
    return s;
}

// A call with arguments that are translated already; they convert to the parameters' types.
node *translator::call_symbol(symbol *callee, const std::vector<node *> &args) {
    node *f = make(OP::UAND, types_.pointer(callee->stype), name(callee));
    return call_pointer(f, args, {});
}

// The arguments in their order, each kept from what statements in later ones do.
std::vector<node *> translator::arguments(llvm::ArrayRef<const Expr *> exprs) {
    std::vector<node *> args;
    std::size_t last_hoist = 0; // arguments before this one are settled
    for (std::size_t i = 0; i < exprs.size(); ++i)
        if (hoists(exprs[i])) last_hoist = i;
    for (std::size_t i = 0; i < exprs.size(); ++i) {
        node *n = argument(exprs[i]);
        args.push_back(i < last_hoist ? settled(n) : n);
    }
    return args;
}

static llvm::ArrayRef<const Expr *> argument_list(const CallExpr *e) {
    return {e->getArgs(), e->getNumArgs()};
}

// a op b into *result, and whether it did not fit.
node *translator::overflow_call(const CallExpr *e, symbol *helper) {
    std::vector<node *> args = arguments(argument_list(e));
    const type *to = strip(pointee(args[2]->ntype));
    if (is_bool(to) || !is_integer(to))
        return refuse(e->getBeginLoc(), "a result of this type of a checked operation");
    node *before = nullptr;
    auto kept = [&](node *n) {
        symbol *t = temporary(unqualified(n->ntype));
        before = comma(before, assign(name(t), n));
        return t;
    };
    symbol *a = kept(args[0]), *b = kept(args[1]), *where = kept(args[2]);
    symbol *low = temporary(types_.uint());
    auto negative = [&](symbol *s) {
        if (!is_signed(s->stype)) return icon(0);
        return make(OP::LT, types_.int_(), convert_tree(name(s), types_.int_()), icon(0));
    };
    auto word = [&](symbol *s) {
        return convert_tree(
            convert_tree(name(s), is_signed(s->stype) ? types_.int_() : types_.uint()),
            types_.uint());
    };
    node *did = call_symbol(helper, {word(a), negative(a), word(b), negative(b), icon(to->size),
                                     icon(is_signed(to)), address_of(name(low))});
    symbol *flag = kept(did);
    node *store = assign(deref(name(where)), convert_tree(name(low), to));
    const type *result = value_type(e->getType());
    return comma(comma(before, store), convert_tree(name(flag), result));
}

// Null when the call is an ordinary one.
node *translator::builtin_call(const CallExpr *e, unsigned id) {
    auto one = [&](int op) { return make(op, value_type(e->getType()), rvalue(e->getArg(0))); };
    auto first_of_all = [&] { // the others only for their effects
        std::vector<node *> args = arguments(argument_list(e));
        node *before = nullptr;
        for (std::size_t i = 1; i < args.size(); ++i)
            if (node *effect = effects(args[i])) before = comma(before, effect);
        return comma(before, args[0]);
    };
    switch (id) {
    case Builtin::BI__builtin_va_start: return va_start(e);
    case Builtin::BI__builtin_va_end: {
        node *n = discarded(e->getArg(0));
        return n ? n : icon(0);
    }
    case Builtin::BI__builtin_va_copy: {
        node *to = lvalue(e->getArg(0)->IgnoreParenImpCasts());
        return assign(to, rvalue(e->getArg(1)));
    }
    case Builtin::BI__builtin_expect:
    case Builtin::BI__builtin_expect_with_probability:
    case Builtin::BI__builtin_assume_aligned:
    case Builtin::BI__builtin_launder: return first_of_all();
    case Builtin::BI__builtin_prefetch: return comma(discarded(e->getArg(0)), icon(0));
    case Builtin::BI__builtin_constant_p:
    case Builtin::BI__builtin_huge_val:
    case Builtin::BI__builtin_huge_valf:
    case Builtin::BI__builtin_huge_vall:
    case Builtin::BI__builtin_inf:
    case Builtin::BI__builtin_inff:
    case Builtin::BI__builtin_infl:
    case Builtin::BI__builtin_nan:
    case Builtin::BI__builtin_nanf:
    case Builtin::BI__builtin_nanl:
    case Builtin::BI__builtin_object_size: {
        constant v;
        if (evaluate_call(e, v)) return constant_tree(v, v.ctype);
        return refuse(e->getBeginLoc(), "this constant");
    }
    case Builtin::BI__builtin_assume:
        return make(OP::NASSERT, types_.void_(), condition(e->getArg(0)));
    case Builtin::BI__builtin_unreachable: return make(OP::NASSERT, types_.void_(), icon(0));
    case Builtin::BI__builtin_trap:
    case Builtin::BI__builtin_debugtrap:
        return call_symbol(
            library_function("abort", types_.function(types_.void_(), {}, false, true)), {});
    case Builtin::BI__builtin_abs:
    case Builtin::BI__builtin_labs:
    case Builtin::BI__builtin_llabs:
    case Builtin::BI__builtin_fabs:
    case Builtin::BI__builtin_fabsf:
    case Builtin::BI__builtin_fabsl: return one(OP::ABS);
    case Builtin::BI__builtin_sqrt:
    case Builtin::BI__builtin_sqrtf:
    case Builtin::BI__builtin_sqrtl: return one(OP::SQRT);
    case Builtin::BI__builtin_alloca:
    case Builtin::BIalloca: return refuse(e->getBeginLoc(), "'alloca'");
    default: break;
    }
    const FunctionDecl *callee = e->getDirectCallee();
    if (!callee || !callee->getIdentifier() || !callee->getName().startswith("__")) return nullptr;
    if (const char *helper = helper_name(id)) {
        symbol *s = library_function(helper, nullptr);
        if (llvm::StringRef(helper).endswith("_overflow")) return overflow_call(e, s);
        node *n = call_symbol(s, arguments(argument_list(e)));
        return convert_tree(n, value_type(e->getType()));
    }
    llvm::StringRef library = callee->getName();
    if (library.consume_front("__builtin_") && context_.BuiltinInfo.isLibFunction(id))
        return call_symbol(library_function(library, conv(callee->getType())),
                           arguments(argument_list(e)));
    return refuse(e->getBeginLoc(), "the built-in function '" + callee->getName().str() + "'");
}
