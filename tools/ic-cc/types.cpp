// From clang's types to the machine's. Where the source spelled a type, its TypeLoc is followed, so
// that array bounds are worked out anew; a type that clang made up is followed by its structure.
#include "tools/ic-cc/ic_cc.h"

#include "clang/AST/DeclTemplate.h"

using namespace clang;

const type *translator::conv_builtin(const BuiltinType *bt) {
    switch (bt->getKind()) {
    case BuiltinType::Void: return types_.void_();
    case BuiltinType::Bool: return types_.integer(ikind::boolean);
    case BuiltinType::Char_S:
    case BuiltinType::Char_U: return types_.integer(ikind::plain_char);
    case BuiltinType::SChar: return types_.integer(ikind::schar);
    case BuiltinType::UChar: return types_.integer(ikind::uchar);
    case BuiltinType::Short: return types_.integer(ikind::short_);
    case BuiltinType::UShort: return types_.integer(ikind::ushort_);
    case BuiltinType::Int: return types_.integer(ikind::int_);
    case BuiltinType::UInt: return types_.integer(ikind::uint_);
    case BuiltinType::Long: return types_.integer(ikind::long_);
    case BuiltinType::ULong: return types_.integer(ikind::ulong_);
    case BuiltinType::LongLong: return types_.integer(ikind::llong);
    case BuiltinType::ULongLong: return types_.integer(ikind::ullong);
    case BuiltinType::Float: return types_.floating(0);
    case BuiltinType::Double: return types_.floating(1);
    case BuiltinType::LongDouble: return types_.floating(2);
    case BuiltinType::WChar_S:
    case BuiltinType::WChar_U: return types_.integer(ikind::short_);
    case BuiltinType::Char8: return types_.integer(ikind::uchar);
    case BuiltinType::Char16: return types_.integer(ikind::ushort_);
    case BuiltinType::Char32: return types_.uint();
    case BuiltinType::NullPtr: return types_.pointer(types_.void_());
    default: return nullptr;
    }
}

static unsigned qualifier_bits(Qualifiers quals) {
    return (quals.hasConst() ? q_const : 0u) | (quals.hasVolatile() ? q_volatile : 0u) |
           (quals.hasRestrict() ? q_restrict : 0u);
}

const type *translator::conv(QualType qt) {
    SplitQualType split = qt.split();
    if (split.Quals.hasQualifiers() && qualifier_bits(split.Quals) != 0)
        return types_.qualified(conv(QualType(split.Ty, 0)), qualifier_bits(split.Quals));
    const Type *ty = split.Ty;
    if (const auto *t = dyn_cast<BuiltinType>(ty))
        if (const type *known = conv_builtin(t)) return known;
    if (const auto *t = dyn_cast<PointerType>(ty)) return types_.pointer(conv(t->getPointeeType()));
    if (const auto *t = dyn_cast<ReferenceType>(ty))
        return types_.pointer(conv(t->getPointeeType()));
    if (const auto *t = dyn_cast<TypedefType>(ty)) return conv_named(t->getDecl());
    if (const auto *t = dyn_cast<RecordType>(ty)) return conv_record(t->getDecl());
    if (const auto *t = dyn_cast<EnumType>(ty)) return conv_enum(t->getDecl());
    if (const auto *t = dyn_cast<ConstantArrayType>(ty)) {
        const type *element = complete(conv(t->getElementType()));
        return types_.array(element, static_cast<std::uint32_t>(t->getSize().getZExtValue()), true);
    }
    if (const auto *t = dyn_cast<IncompleteArrayType>(ty))
        return types_.array(complete(conv(t->getElementType())), 0, false);
    if (const auto *t = dyn_cast<FunctionProtoType>(ty)) {
        std::vector<const type *> params;
        for (QualType p : t->getParamTypes())
            params.push_back(unqualified(conv(p)));
        const type *written =
            types_.function(conv(t->getReturnType()), std::move(params), t->isVariadic(), true);
        return in_cpp() ? machine_function(written, t->getReturnType(), t->getParamTypes())
                        : written;
    }
    if (const auto *t = dyn_cast<FunctionNoProtoType>(ty))
        return types_.function(conv(t->getReturnType()), {}, false, false);
    QualType inner = ty->getLocallyUnqualifiedSingleStepDesugaredType();
    if (inner.getTypePtr() != ty) return conv(inner);
    refuse({}, "the type '" + qt.getAsString() + "'");
    return types_.int_();
}

const type *translator::conv(TypeLoc tl) {
    if (auto q = tl.getAs<QualifiedTypeLoc>())
        return types_.qualified(conv(q.getUnqualifiedLoc()),
                                qualifier_bits(tl.getType().getLocalQualifiers()));
    if (auto t = tl.getAs<PointerTypeLoc>()) return types_.pointer(conv(t.getPointeeLoc()));
    if (auto t = tl.getAs<ReferenceTypeLoc>()) return types_.pointer(conv(t.getPointeeLoc()));
    if (auto t = tl.getAs<ArrayTypeLoc>()) return conv_array(t);
    if (auto t = tl.getAs<FunctionTypeLoc>()) return conv_function(t);
    if (auto t = tl.getAs<ParenTypeLoc>()) return conv(t.getInnerLoc());
    if (auto t = tl.getAs<AttributedTypeLoc>()) return conv(t.getModifiedLoc());
    if (auto t = tl.getAs<MacroQualifiedTypeLoc>()) return conv(t.getInnerLoc());
    if (auto t = tl.getAs<ElaboratedTypeLoc>()) return conv(t.getNamedTypeLoc());
    if (auto t = tl.getAs<TypedefTypeLoc>()) return conv_named(t.getTypedefNameDecl());
    if (auto t = tl.getAs<TypeOfTypeLoc>()) return conv(t.getUnderlyingTInfo()->getTypeLoc());
    if (auto t = tl.getAs<TypeOfExprTypeLoc>()) return expr_type(t.getUnderlyingExpr());
    const Type *ty = tl.getTypePtr();
    if (isa<ComplexType, VectorType, AtomicType, BlockPointerType, BitIntType, MemberPointerType>(
            ty)) {
        refuse(tl.getBeginLoc(), "the type '" + tl.getType().getAsString() + "'");
        return types_.int_();
    }
    if (const auto *bt = dyn_cast<BuiltinType>(ty); bt && !conv_builtin(bt)) {
        refuse(tl.getBeginLoc(), "the type '" + tl.getType().getAsString() + "'");
        return types_.int_();
    }
    return conv(tl.getType());
}

const type *translator::conv_array(ArrayTypeLoc tl) {
    const type *element = complete(conv(tl.getElementLoc()));
    QualType qt = tl.getType();
    if (isa<IncompleteArrayType>(qt)) return types_.array(element, 0, false);
    if (const auto *known = dyn_cast<ConstantArrayType>(qt.getTypePtr())) {
        std::uint64_t count = known->getSize().getZExtValue();
        if (const Expr *bound = tl.getSizeExpr())
            if (std::optional<std::int64_t> v = evaluate_integer(bound)) {
                if (*v < 0) refuse(bound->getBeginLoc(), "an array bound below 0");
                count = static_cast<std::uint64_t>(*v < 0 ? 0 : *v);
            }
        if (count * std::max<std::uint64_t>(units(strip(element)->size), 1) > 65536) {
            refuse(tl.getLBracketLoc(), "an array larger than the machine's memory");
            count = 1;
        }
        return types_.array(element, static_cast<std::uint32_t>(count), true);
    }
    refuse(tl.getLBracketLoc(), "an array of variable length");
    return types_.array(element, 1, true);
}

const type *translator::conv_function(FunctionTypeLoc tl) {
    const type *result = conv(tl.getReturnLoc());
    const auto *proto = dyn_cast<FunctionProtoType>(tl.getTypePtr());
    std::vector<const type *> params;
    if (proto)
        for (ParmVarDecl *p : tl.getParams())
            params.push_back(p ? unqualified(decl_type(p)) : types_.int_());
    const type *written =
        types_.function(result, std::move(params), proto && proto->isVariadic(), proto != nullptr);
    return in_cpp() && proto
               ? machine_function(written, proto->getReturnType(), proto->getParamTypes())
               : written;
}

const type *translator::conv_named(const TypedefNameDecl *decl) {
    decl = decl->getCanonicalDecl();
    auto known = named_types_.find(decl);
    if (known != named_types_.end()) return known->second;
    const type *base = decl->getTypeSourceInfo() && decl->getLocation().isValid()
                           ? conv(decl->getTypeSourceInfo()->getTypeLoc())
                           : conv(decl->getUnderlyingType());
    // va_list and its like have no place in the source.
    const type *t = decl->getLocation().isValid()
                        ? types_.named(decl->getName(), base, pos(decl->getLocation()))
                        : base;
    named_types_[decl] = t;
    return t;
}

type *translator::conv_record(const RecordDecl *decl) {
    decl = cast<RecordDecl>(decl->getCanonicalDecl());
    auto [place, is_new] = records_.try_emplace(decl, nullptr);
    if (is_new) {
        const RecordDecl *definition = decl->getDefinition();
        std::string own_name = decl->getName().str();
        if (isa<ClassTemplateSpecializationDecl>(decl))
            own_name += "$" + std::to_string(++specialisations_);
        place->second = types_.record(own_name, decl->isUnion(),
                                      pos((definition ? definition : decl)->getLocation()));
        record_order_.push_back(decl);
        record_decls_[place->second] = decl;
    }
    return records_[decl];
}

const type *translator::conv_enum(const EnumDecl *decl) {
    decl = cast<EnumDecl>(decl->getCanonicalDecl());
    auto known = enums_.find(decl);
    if (known != enums_.end()) return known->second;
    const EnumDecl *definition = decl->getDefinition();
    if (!definition) return types_.uint();
    std::vector<enumerator> list;
    bool any_negative = false;
    for (const EnumConstantDecl *c : definition->enumerators()) {
        list.push_back({c->getName().str(), enumerator_value(c), pos(c->getLocation())});
        any_negative |= list.back().value < 0;
    }
    const type *underlying = definition->isFixed() ? strip(conv(definition->getIntegerType()))
                             : any_negative        ? types_.int_()
                                                   : types_.uint();
    type *t = types_.enumeration(definition->getName(), underlying, pos(definition->getLocation()));
    t->enumerators = std::move(list);
    enums_[decl] = t;
    return t;
}

// The alignment that the source asks for, in bits; 0 for none.
std::uint32_t translator::written_alignment(const Decl *decl) {
    constexpr std::int64_t greatest = 4096;
    std::uint32_t bits = 0;
    for (const auto *a : decl->specific_attrs<AlignedAttr>()) {
        std::int64_t wanted = 2; // the greatest that any type needs
        if (a->isAlignmentExpr() && a->getAlignmentExpr())
            wanted = evaluate_integer(a->getAlignmentExpr()).value_or(0);
        else if (!a->isAlignmentExpr() && a->getAlignmentType())
            wanted = units(strip(conv(a->getAlignmentType()->getTypeLoc()))->align);
        if (wanted < 0 || wanted > greatest || (wanted & (wanted - 1)) != 0)
            refuse(decl->getLocation(), "this alignment");
        else
            bits = std::max(bits, static_cast<std::uint32_t>(wanted) * unit_bits);
    }
    return bits;
}

// Packing may not ask for more than what is so anyway: a scalar of two units lies at an even
// address.
void translator::check_packing(const RecordDecl *definition, const type &record) {
    const auto *limit = definition->getAttr<MaxFieldAlignmentAttr>(); // in bits of clang's char
    const bool limited = limit && limit->getAlignment() / 8 * unit_bits < record.align;
    bool packs = definition->hasAttr<PackedAttr>() || limited;
    for (const FieldDecl *f : definition->fields())
        packs |= f->hasAttr<PackedAttr>();
    if (!packs || record.is_union) return;
    std::uint32_t end = 0;
    bool gaps = false;
    for (const member &m : record.members) {
        gaps |= m.offset != end;
        end = m.offset + (m.is_bitfield ? m.width : strip(m.mtype)->size);
    }
    if (gaps || end != record.size) refuse(definition->getLocation(), "a packed record with gaps");
}

const type *translator::complete(const type *t) {
    const type *inner = strip(t);
    if (inner->kind != tkind::record || inner->complete) return t;
    const RecordDecl *decl = record_decls_[inner];
    const RecordDecl *definition = decl->getDefinition();
    if (!definition || definition->isInvalidDecl()) return t;
    type *record = records_[decl];
    record->align = std::max(unit_bits, written_alignment(definition));
    unsigned own = 0; // index of the first member that the source declares
    if (record->members.empty()) {
        if (const auto *c = dyn_cast<CXXRecordDecl>(definition)) {
            add_base_members(c, *record);
            own = static_cast<unsigned>(record->members.size());
        }
        for (const FieldDecl *f : definition->fields()) {
            member m;
            m.name = f->getName();
            m.mtype = complete(decl_type(f));
            m.pos = pos(f->getLocation());
            m.align = written_alignment(f);
            if (f->isBitField()) {
                m.is_bitfield = true;
                std::int64_t width = evaluate_integer(f->getBitWidth()).value_or(1);
                if (width < 0 || width > strip(m.mtype)->size) {
                    refuse(f->getLocation(), "a bit-field wider than its type");
                    width = 1;
                }
                m.width = static_cast<std::uint32_t>(width);
            }
            record->members.push_back(std::move(m));
        }
    }
    std::vector<const FieldDecl *> named;
    for (const FieldDecl *f : definition->fields())
        if (!f->isUnnamedBitfield()) named.push_back(f);
    if (!lay_out(*record)) {
        refuse(definition->getLocation(), "a record larger than the machine's memory");
        record->complete = true;
    }
    if (in_cpp() && record->size == 0) record->size = record->align; // objects differ in address
    for (unsigned i = 0; i < named.size(); ++i)
        field_indices_[named[i]] = own + i;
    check_packing(definition, *record);
    return t;
}

void translator::complete_all_records() {
    for (std::size_t i = 0; i < record_order_.size(); ++i)
        complete(records_[record_order_[i]]);
}

const type *translator::decl_type(const DeclaratorDecl *decl) {
    const TypeSourceInfo *info = decl->getTypeSourceInfo();
    if (info && info->getType()->getContainedDeducedType()) info = nullptr; // it says auto
    const type *t = info && info->getTypeLoc().getBeginLoc().isValid() ? conv(info->getTypeLoc())
                                                                       : conv(decl->getType());
    if (isa<ParmVarDecl>(decl)) return complete(decayed(t));
    // The initialiser may have completed the array.
    const type *inner = strip(t);
    if (inner->kind == tkind::array && !inner->complete && isa<VarDecl>(decl))
        if (const auto *known = context_.getAsConstantArrayType(decl->getType()))
            return types_.qualified(
                types_.array(inner->base,
                             static_cast<std::uint32_t>(known->getSize().getZExtValue()), true),
                qualifiers_of(t));
    return complete(t);
}

const type *translator::function_type(const FunctionDecl *decl) {
    const FunctionDecl *best = decl->getDefinition();
    if (!best || !best->hasPrototype()) {
        for (const FunctionDecl *d : decl->redecls())
            if (d->hasPrototype() && d->getTypeSourceInfo()) best = d;
        if (!best) best = decl;
    }
    const type *t = decl_type(best);
    return in_cpp() && is_instance_method(decl) ? with_this(strip(t), cast<CXXMethodDecl>(decl))
                                                : t;
}

const type *translator::value_type(QualType qt) {
    qt = qt.getCanonicalType().getUnqualifiedType();
    if (const auto *e = qt->getAs<EnumType>()) {
        const type *t = conv_enum(e->getDecl());
        return t->kind == tkind::enumeration ? t->base : t;
    }
    return conv(qt);
}

const type *translator::unqualified(const type *t) {
    if (qualifiers_of(t) == 0) return t;
    while (t->kind == tkind::qualified)
        t = t->base;
    return qualifiers_of(t) == 0 ? t : strip(t);
}

const type *translator::element_of(const type *array) {
    return types_.qualified(strip(array)->base, qualifiers_of(array));
}

const type *translator::pointee(const type *pointer) {
    return strip(pointer)->base;
}

const type *translator::decayed(const type *t) {
    if (is_array(t)) return types_.pointer(element_of(t));
    if (is_kind(t, tkind::function)) return types_.pointer(t);
    return t;
}

const type *translator::promoted(const type *t) {
    t = strip(t);
    if (t->kind == tkind::enumeration) t = t->base;
    if (t->kind != tkind::integer) return t;
    return t->size < 32 || t->ik == ikind::boolean ? types_.int_() : t;
}

std::uint32_t translator::size_of(const type *t, SourceLocation at) {
    complete(t);
    t = strip(t);
    if (t->kind == tkind::void_type || t->kind == tkind::function) return 1;
    if (!t->complete) refuse(at, "the size of an incomplete type");
    return units(t->size);
}

std::uint32_t translator::stride_bits(const type *pointer, SourceLocation at) {
    return size_of(pointee(pointer), at) * unit_bits;
}

const member *translator::find_member(const FieldDecl *field, const type **record) {
    *record = conv_record(field->getParent());
    complete(*record);
    auto place = field_indices_.find(field);
    if (place == field_indices_.end() || place->second >= (*record)->members.size()) return nullptr;
    return &(*record)->members[place->second];
}

// The type of an operand that is not evaluated. Lvalues keep the type of their declaration.
const type *translator::expr_type(const Expr *e) {
    e = e->IgnoreParens();
    if (const auto *d = dyn_cast<DeclRefExpr>(e)) {
        if (const auto *f = dyn_cast<FunctionDecl>(d->getDecl())) return function_type(f);
        if (const auto *v = dyn_cast<VarDecl>(d->getDecl())) {
            if (v->getType()->isReferenceType()) return conv(e->getType());
            if (isa<ParmVarDecl>(v)) return decl_type(v);
            const VarDecl *known = v->getDefinition() ? v->getDefinition() : v->getMostRecentDecl();
            return decl_type(known);
        }
    }
    if (const auto *m = dyn_cast<MemberExpr>(e)) {
        const type *record;
        if (const auto *f = dyn_cast<FieldDecl>(m->getMemberDecl()))
            if (const member *found = find_member(f, &record))
                return f->getType()->isReferenceType() ? pointee(found->mtype) : found->mtype;
    }
    if (const auto *s = dyn_cast<ArraySubscriptExpr>(e)) {
        const type *t = strip(expr_type(s->getBase()->IgnoreParenImpCasts()));
        if (t->kind == tkind::array || t->kind == tkind::pointer) return t->base;
    }
    if (const auto *u = dyn_cast<UnaryOperator>(e)) {
        const type *t = strip(expr_type(u->getSubExpr()->IgnoreParenImpCasts()));
        if (u->getOpcode() == UO_Deref && (t->kind == tkind::array || t->kind == tkind::pointer))
            return t->base;
        if (u->getOpcode() == UO_AddrOf) return types_.pointer(expr_type(u->getSubExpr()));
    }
    if (const auto *c = dyn_cast<ExplicitCastExpr>(e))
        return conv(c->getTypeInfoAsWritten()->getTypeLoc());
    if (const auto *c = dyn_cast<CompoundLiteralExpr>(e)) {
        const type *t = conv(c->getTypeSourceInfo()->getTypeLoc());
        return is_array(t) && !strip(t)->complete ? conv(c->getType()) : t;
    }
    if (const auto *c = dyn_cast<ImplicitCastExpr>(e))
        if (c->getCastKind() == CK_LValueToRValue) return unqualified(expr_type(c->getSubExpr()));
    return conv(e->getType());
}
