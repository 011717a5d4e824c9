// Objects and their addresses. An object is reached by its name where the name is known, a member
// of a pointer's object by STREF. An access keeps its type, so that what is volatile stays so.
#include "OPT5/rep/symbol.h"
#include "OPT5/rep/type_pkg.h"
#include "OPT5/scalar/simp_rules.h"

namespace {
bool same_access(const NODE *object, const NODE *access) {
    return object->type &&
           equiv_mtypes(object->type->type_qualified(), access->type->type_qualified()) &&
           object->type->qual_kind(true) == access->type->qual_kind(true);
}

// The object at the address, below casts of pointers; null when it has no name.
NODE *object_at(NODE *address) {
    while (address->op == OP::PCONV && address->left->type->is_ptr())
        address = address->left;
    return address->op == OP::UAND ? address->left : nullptr;
}

void release_address(NODE *address) {
    while (address->op == OP::PCONV)
        address = take_operand(address);
    erase_node(address);
}

// The member of a structure that an access to `bits` is: of the type and at the place.
const fkMDATA *member_at(const TYPE *csu, std::int64_t bits, const TYPE *type) {
    for (const fkMDATA *member = csu->get_csu()->mdata; member; member = member->next) {
        const std::int64_t begin = member->offset;
        if (member->is_bitfield || bits < begin || bits >= begin + member->type->size()) continue;
        if (member->type->is_csu() && !member->type->is_union()) return member;
        if (bits != begin ||
            !equiv_mtypes(member->type->type_qualified(), const_cast<TYPE *>(type)))
            continue;
        return member;
    }
    return nullptr;
}

// The part of a named object that starts so many bits from its beginning and has the type, as a
// tree of STDOTs above a copy of the object; null when there is none.
NODE *part_of(const NODE *object, std::int64_t bits, const TYPE *type, LS *scope) {
    const TYPE *at = object->type;
    NODE *part = nullptr;
    while (at->is_csu() && !at->is_union() && at->is_complete()) {
        const fkMDATA *member = member_at(at, bits, type);
        if (!member) break;
        NODE *field = maketree(OP::FIELD, nullptr, nullptr, member->type->normalized(), scope);
        field->u.field = {const_cast<TYPE *>(at->stds()), const_cast<fkMDATA *>(member)};
        if (!part) part = copy_tree(object, true);
        part = maketree(OP::STDOT, part, field, member->type->normalized(), scope);
        bits -= member->offset;
        at = member->type;
        if (bits == 0 &&
            equiv_mtypes(const_cast<TYPE *>(at)->type_qualified(), const_cast<TYPE *>(type)))
            return part;
    }
    return part ? erase_tree(part) : nullptr;
}

// --- UMULT

// *&x
NODE *object_by_its_name(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    NODE *object = tree->left->op == OP::UAND ? tree->left->left : nullptr;
    if (!object || !same_access(object, tree)) return nullptr;
    erase_node(tree->left);
    erase_node(tree);
    return simp_node(object, loop, ctx);
}

// *(T *)&s, *((T *)&s + C): the member that lies there.
NODE *member_by_its_name(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    if (!tree->type->is_scalar()) return nullptr;
    NODE *address = tree->left;
    std::int64_t units = 0;
    if (address->op == OP::PLUS && is_ICON(address->right)) {
        units = static_cast<std::int64_t>(icon_value(address->right).low64());
        address = address->left;
    }
    NODE *object = object_at(address);
    if (!object || !object->type->is_csu() || units < 0 || tree_has_side_effects(object))
        return nullptr;
    constexpr std::int64_t unit_bits = 16;
    NODE *part = part_of(object, units * unit_bits, tree->type->type_qualified(), tree->scope);
    if (!part) return nullptr;
    for (NODE *node = part; node != nullptr && node->op == OP::STDOT; node = node->left)
        fix_type_info(node);
    fix_type_info(part);
    if (!same_access(part, tree)) {
        erase_tree(part);
        return nullptr;
    }
    erase_tree(tree);
    return simp_tree(part, loop, ctx);
}

constexpr SIMP_RULE rules_of_UMULT[] = {object_by_its_name, member_by_its_name};
} // namespace

NODE *simp_UMULT(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    if (tree->right) return tree;
    NODE *replacement = apply_first(rules_of_UMULT, tree, loop, ctx);
    return replacement ? replacement : tree;
}

// &*p
NODE *simp_UAND(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    NODE *object = tree->left;
    if (tree->op != OP::UAND || object->op != OP::UMULT || object->right) return tree;
    TYPE *type = tree->type;
    NODE *pointer = object->left;
    if (!pointer->type->is_ptr() || pointer->type->size() != type->size()) return tree;
    erase_node(object);
    erase_node(tree);
    return equiv_mtypes(pointer->type, type) ? pointer
                                             : simp_node(coerce_to_type(type, pointer), loop, ctx);
}

// (*p).f is p->f.
NODE *simp_STDOT(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    NODE *object = tree->left;
    if (object->op != OP::UMULT || object->right || !object->left->type->is_ptr()) return tree;
    tree->left = take_operand(object);
    tree->op = OP::STREF;
    return simp_node(tree, loop, ctx);
}

// (&s)->f is s.f.
NODE *simp_STREF(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    NODE *address = tree->left, *object = object_at(address);
    if (!object || !object->type->is_csu() || tree->right->op != OP::FIELD) return tree;
    const TYPE *pointee = address->type->type_pointed_to();
    if (object->type->stds() != tree->right->u.field.csu->stds() || !pointee ||
        object->type->qual_kind(true) != pointee->qual_kind(true))
        return tree;
    release_address(address);
    tree->left = object;
    tree->op = OP::STDOT;
    return simp_node(tree, loop, ctx);
}
