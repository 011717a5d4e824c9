// Types as text. A spelling is the declaration of nothing in particular, as the language writes it:
// the declarator grows from the inside out while the layers of the type are taken off from the
// outside in.
#include "OPT5/rep/node.h"
#include "OPT5/rep/type_pkg.h"

#include <cinttypes>

namespace {
class SPELLING {
public:
    std::string spell(const TYPE *type);

private:
    std::string parameters(const TYPE *function);
    std::string last_layer(const TYPE *type); // of a type that adds nothing to the declarator

    // A type that shares its components could be spelled without end.
    static constexpr int max_layers = 500;
    int layers = 0;
};

std::string qualifiers(unsigned bits) {
    static constexpr struct {
        unsigned bit;
        const char *text;
    } names[] = {{TQ_const, "const "},   {TQ_volatile, "volatile "}, {TQ_packed, "packed "},
                 {TQ_near, "near "},     {TQ_far, "far "},           {TQ_restrict, "restrict "},
                 {TQ_ioport, "ioport "}, {TQ_onchip, "onchip "}};
    std::string text;
    for (const auto &name : names)
        if ((bits & name.bit) != 0) text += name.text;
    return text;
}

const char *integer_name(const TYPE *type) {
    static constexpr const char *names[] = {
        "bool", "char",     "unsigned char", "wchar_t",       "short",     "unsigned short",
        "int",  "unsigned", "long",          "unsigned long", "long long", "unsigned long long"};
    const auto &integer = type->sub.integer;
    if (integer.ikind >= std::size(names)) tp_die("bad type kind: TYPE::print()");
    return integer.ikind == TYPE::SCHAR && integer.explicit_sign ? "signed char"
                                                                 : names[integer.ikind];
}

const char *float_name(const TYPE *type) {
    static constexpr const char *names[] = {"float", "double", "long double"};
    if (type->sub.floating.fkind >= std::size(names)) tp_die("bad type kind: TYPE::print()");
    return names[type->sub.floating.fkind];
}

std::string tagged(const char *tag, const char *name) {
    return *name == '\0' ? tag : std::string(tag) + ' ' + TYPE_PKG::fix_fake_name(name);
}

// What is being declared, without a name: "*", "(*)[3]", "*const".
class DECLARATOR {
public:
    void add_prefix(const std::string &prefix, unsigned bits) {
        std::string front = prefix + qualifiers(bits);
        if (bits != 0 && text.empty()) front.pop_back();
        text.insert(0, front);
        ends_in_prefix = true;
    }
    void add_suffix(const std::string &suffix) {
        if (ends_in_prefix) text = '(' + text + ')'; // suffixes bind tighter
        text += suffix;
        ends_in_prefix = false;
    }
    std::string of(const std::string &type) const {
        return text.empty() ? type : type + ' ' + text;
    }

private:
    std::string text;
    bool ends_in_prefix = false; // added last
};

std::string SPELLING::spell(const TYPE *type) {
    DECLARATOR declarator;
    unsigned bits = 0; // of the layer that comes next
    for (; layers < max_layers && type; ++layers) {
        const TYPE::SUB &sub = type->sub;
        if (type->kind_ == TYPE::QUALIFIED) {
            bits |= sub.qualified.bits;
            type = sub.qualified.base;
        } else if (type->kind_ == TYPE::POINTER || type->kind_ == TYPE::REFERENCE) {
            declarator.add_prefix(type->kind_ == TYPE::POINTER ? "*" : "&", bits);
            bits = 0;
            type = sub.pointer.pointee;
        } else if (type->kind_ == TYPE::PTM) {
            ++layers;
            declarator.add_prefix(spell(sub.ptm.csu) + "::*", bits);
            bits = 0;
            type = sub.ptm.member;
        } else if (type->kind_ == TYPE::ARRAY && !sub.array.is_vector) {
            const bool bound = sub.array.is_complete;
            declarator.add_suffix(bound ? '[' + std::to_string(sub.array.count) + ']' : "[]");
            type = sub.array.elem;
        } else if (type->kind_ == TYPE::FUNCTION) {
            ++layers;
            declarator.add_suffix('(' + parameters(type) + ')');
            type = sub.func.result;
        } else {
            ++layers;
            return declarator.of(qualifiers(bits) + last_layer(type));
        }
    }
    return declarator.of(qualifiers(bits) + (type ? "..." : "?"));
}

std::string SPELLING::parameters(const TYPE *function) {
    const auto &func = function->sub.func;
    std::string text;
    for (const PARAM_ELEM *p = func.params; p; p = p->next) {
        if (!text.empty()) text += ", ";
        if (layers >= max_layers) return text + "...";
        text += spell(p->type);
    }
    if (func.flag1) return text + (text.empty() ? "..." : ", ...");
    return text.empty() && func.flag2 ? "void" : text;
}

std::string SPELLING::last_layer(const TYPE *type) {
    const TYPE::SUB &sub = type->sub;
    switch (type->kind_) {
    case TYPE::VOID_: return "void";
    case TYPE::INTEGER: return integer_name(type);
    case TYPE::FLOATING: return float_name(type);
    case TYPE::FIXEDPT: return "fixed<" + std::to_string(sub.fixed.binary_point) + '>';
    case TYPE::COMPLEX: {
        const TYPE *part = sub.complex.part ? sub.complex.part->stds() : nullptr;
        if (part && part->kind_ == TYPE::INTEGER)
            return std::string("complex ") + integer_name(part);
        if (part && part->kind_ == TYPE::FLOATING)
            return std::string("complex ") + float_name(part);
        tp_die("Bad parttype: TYPE::print()");
    }
    case TYPE::TYPEDEF: return sub.typedef_.name;
    case TYPE::ARRAY:
        return "vector<" + spell(sub.array.elem) + ", " + std::to_string(sub.array.count) + '>';
    case TYPE::ENUM: return tagged("enum", sub.enum_.name);
    case TYPE::CLASS: return tagged("class", sub.csu->name);
    case TYPE::STRUCT: return tagged("struct", sub.csu->name);
    case TYPE::UNION: return tagged("union", sub.csu->name);
    default: tp_die("bad type kind: TYPE::print()");
    }
}
} // namespace

std::string TYPE::printstr() const {
    return SPELLING().spell(this);
}

void TYPE::print(std::FILE *stream) const {
    std::fputs(printstr().c_str(), stream);
}

void TYPE::println(std::FILE *stream) const {
    print(stream);
    std::fputc('\n', stream);
}

// --- dumps

namespace {
void dump_members(const fkMDATA *member, std::FILE *stream) {
    for (; member; member = member->next) {
        std::fprintf(stream, "\t%u: off:%3d ", member->index, member->offset);
        if (member->is_bitfield) std::fprintf(stream, "bitfld(%2u) ", member->width);
        std::fprintf(stream, "%s: %s\n", member->name,
                     member->type ? member->type->printstr().c_str() : "?");
    }
}
} // namespace

void TYPE::dump(std::FILE *stream) const {
    const TYPE *base = TYPE_PKG::base_type(const_cast<TYPE *>(this));
    std::fprintf(stream, "%u: %s   size=%u align=%u", uid, printstr().c_str(), size_, align_);
    std::fprintf(stream, "   merg=%d refd=%d writ=%d cpp=%d complete=%d equiv=%u base=%u", merg,
                 refd, writ, cpp, is_complete(), equiv ? equiv->uid : 0, base ? base->uid : 0);
    if (psn)
        std::fprintf(stream, " tu=%u psn=%s:%" PRIu32, tu, psn->file ? psn->file : "", psn->line);
    std::fputc('\n', stream);
    if (kind_ >= CLASS) dump_members(sub.csu->mdata, stream);
}
