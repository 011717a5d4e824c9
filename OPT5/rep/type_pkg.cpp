// The package's life: its storage, the basic types and their sizes, what is derived from these.
#include "OPT5/rep/type_pkg.h"

#include "OPT5/icode/records/if_exit.h"
#include "OPT5/rep/type_pkg_pools.h"

#include <algorithm>

TYPE_PKG *tp = nullptr;
TYPE *root_type = nullptr;
int icode_cpu_id = 1000;
std::uint32_t max_scalar_alignment = 0;
std::uint32_t pointer_type_stride = 0;

int TYPE_PKG::cpu_version = 0;
int TYPE_PKG::abi = 0;
unsigned TYPE_PKG::wchar_t_size_in_bits = 16;
bool TYPE_PKG::seen_bitfield = false;
int TYPE_PKG::tp_count = 0;

void tp_die(const char *message) {
    std::fprintf(stderr, "%s\n", message);
    if_exit(1);
}

// --- storage

TYPE::~TYPE() {
    delete based;
}

const char *TYPE_PKG::POOLS::name(std::string_view text) {
    if (text.empty()) return "";
    const auto found = names.find(text);
    if (found != names.end()) return found->data();
    char *copy = static_cast<char *>(arena.allocate(text.size() + 1, 1));
    std::copy(text.begin(), text.end(), copy);
    copy[text.size()] = '\0';
    names.insert(std::string_view(copy, text.size()));
    return copy;
}

namespace {
constexpr std::uint32_t pointer_bits = 16;

TYPE *basic_type(TYPE_PKG::POOLS &pools, TYPE::KIND kind, std::uint32_t size, std::uint32_t align) {
    TYPE *type = pools.tp_alloc();
    type->kind_ = kind;
    type->size_ = size;
    type->align_ = align;
    type->stds_ = type;
    type->valid = type->frozen = true;
    return type;
}
} // namespace

// The basic types wait for their registration with sizes that suit no target in particular.
TYPE_PKG::TYPE_PKG() : pools(new POOLS) {
    ++tp_count;
    constexpr std::uint32_t initial_bits = 32;
    for (std::size_t i = 0; i < std::size(basic_ints); ++i) {
        basic_ints[i] = basic_type(*pools, TYPE::INTEGER, initial_bits, initial_bits);
        basic_ints[i]->sub.integer = {static_cast<TYPE::IKIND>(i), false, false, false};
    }
    basic_ints[TYPE::BOOL]->sub.integer.explicit_sign = true;
    basic_ints[TYPE::BOOL]->sub.integer.is_boolean = true;
    for (std::size_t i = 0; i < std::size(basic_floats); ++i) {
        basic_floats[i] = basic_type(*pools, TYPE::FLOATING, initial_bits, initial_bits);
        basic_floats[i]->sub.floating = {static_cast<TYPE::FKIND>(i)};
    }
    basic_void = basic_type(*pools, TYPE::VOID_, 0, pointer_bits);
    basic_void_ptr = basic_type(*pools, TYPE::POINTER, pointer_bits, pointer_bits);
    basic_void_ptr->sub.pointer.pointee = basic_void;
}

// The root, which all packages share, must not keep types of this one.
TYPE_PKG::~TYPE_PKG() {
    if (--tp_count == 0) {
        delete root_type;
        root_type = nullptr;
    } else if (root_type && root_type->based) {
        for (auto entry = root_type->based->begin(); entry != root_type->based->end();) {
            std::erase_if(entry->second, [this](const TYPE *type) { return type->pkg == this; });
            entry = entry->second.empty() ? root_type->based->erase(entry) : std::next(entry);
        }
    }
    std::vector<TYPE *> unregistered;
    for (const auto &[type, lists] : pools->open)
        if (type->uid == 0) unregistered.push_back(type);
    for (TYPE *type : unregistered)
        pools->tp_free(type);
    for (TYPE *type : registry)
        pools->tp_free(type);
    const auto free_basic = [this](TYPE *type) {
        if (registry.empty()) pools->tp_free(type); // never initialized
    };
    std::for_each(std::begin(basic_ints), std::end(basic_ints), free_basic);
    std::for_each(std::begin(basic_floats), std::end(basic_floats), free_basic);
    free_basic(basic_void);
    free_basic(basic_void_ptr);
    delete pools;
}

// --- basic types

void TYPE_PKG::init_type_pkg() {
    if (!registry.empty()) return;
    if (!root_type) {
        root_type = new TYPE;
        root_type->stds_ = root_type;
        root_type->valid = root_type->frozen = true;
    }
    update_basic_types();
    register_type(basic_void, root_type);
    register_type(basic_void_ptr, basic_void);
    for (TYPE *type : basic_ints)
        register_type(type, root_type);
    for (TYPE *type : basic_floats)
        register_type(type, root_type);
    normalize_basic_types();
}

// Registered types are listed by keys that hold their sizes, so that sizes are set before that.
void TYPE_PKG::update_basic_types() {
    if (basic_void->uid != 0) return;
    const auto set = [](TYPE *type, std::uint32_t bits) { type->size_ = type->align_ = bits; };
    for (TYPE *type : basic_ints)
        set(type, 32);
    for (TYPE::IKIND kind : {TYPE::SCHAR, TYPE::UCHAR, TYPE::SHORT, TYPE::USHORT})
        set(basic_ints[kind], 16);
    set(basic_ints[TYPE::WCHAR_T], wchar_t_size_in_bits);
    for (TYPE *type : basic_floats)
        set(type, 32);
    set(basic_void_ptr, pointer_bits);
}

void TYPE_PKG::normalize_basic_types() {
    for (TYPE *type : basic_ints)
        type->normalized_ = type;
    for (TYPE *type : basic_floats)
        type->normalized_ = type;
    basic_void->normalized_ = basic_void;
    basic_void_ptr->normalized_ = basic_void_ptr;
    const auto redirect = [](TYPE *type, TYPE *to) {
        const bool agree = type->size_ == to->size_;
        if (agree) type->normalized_ = to;
        return agree;
    };
    const auto redirect_int = [&](TYPE::IKIND kind, TYPE::IKIND to) {
        return redirect(basic_ints[kind], basic_ints[to]);
    };
    redirect_int(TYPE::LONG, TYPE::INT);
    redirect_int(TYPE::ULONG, TYPE::UINT);
    redirect_int(TYPE::LLONG, TYPE::INT);
    redirect_int(TYPE::ULLONG, TYPE::UINT);
    if (!redirect_int(TYPE::SHORT, TYPE::INT)) redirect_int(TYPE::SHORT, TYPE::SCHAR);
    if (!redirect_int(TYPE::USHORT, TYPE::UINT)) redirect_int(TYPE::USHORT, TYPE::UCHAR);
    redirect_int(TYPE::SCHAR, TYPE::INT);
    redirect_int(TYPE::UCHAR, TYPE::UINT);
    redirect_int(TYPE::WCHAR_T, TYPE::SHORT);
    redirect(basic_floats[TYPE::LDOUBLE], basic_floats[TYPE::DOUBLE]);
    redirect(basic_floats[TYPE::LDOUBLE], basic_floats[TYPE::FLOAT]);
    redirect(basic_floats[TYPE::DOUBLE], basic_floats[TYPE::FLOAT]);
    // A type may have been redirected to one that was redirected itself.
    const auto follow = [](TYPE *type) {
        while (type->normalized_ != type->normalized_->normalized_)
            type->normalized_ = type->normalized_->normalized_;
    };
    std::for_each(std::begin(basic_ints), std::end(basic_ints), follow);
    std::for_each(std::begin(basic_floats), std::end(basic_floats), follow);
}

// --- derived from the basic types

std::uint64_t type_stride(const TYPE *type) {
    const std::uint64_t size = type->size_, align = type->align_;
    return align == 0 ? size : (size + align - 1) / align * align;
}

TYPE *get_complex_type(TYPE *part) {
    if (!part->pkg) tp_die("orphan type:  get_complex_type()");
    if (part->size_ > UINT32_MAX / 2) tp_die("Type too large:  get_complex_type()");
    return part->pkg->mk_complex(part, part->size_ * 2, part->align_);
}

void init_types() {
    std::vector<const TYPE *> scalars{tp->void_ptr_type()};
    const auto add = [&scalars](TYPE *type) {
        scalars.push_back(type);
        scalars.push_back(get_complex_type(type));
    };
    std::for_each(std::begin(tp->basic_ints), std::end(tp->basic_ints), add);
    std::for_each(std::begin(tp->basic_floats), std::end(tp->basic_floats), add);
    max_scalar_alignment = 0;
    for (const TYPE *type : scalars)
        max_scalar_alignment = std::max(max_scalar_alignment, type->align_);
    pointer_type_stride = static_cast<std::uint32_t>(type_stride(tp->void_ptr_type()));
}
