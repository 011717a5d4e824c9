// I_FILE as a file: opening, closing, the header, sections, positions, raw copies, the name table
// and the primitives that are more than an encoding.
#include "OPT5/icode/if_file.h"

#include "OPT5/icode/records/if_exit.h"
#include "OPT5/rep/bbutils.h"

#include <bitset>
#include <cstring>
#include <memory>
#include <new>
#include <string>
#include <unordered_set>

#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {
constexpr std::size_t buffer_size = 32768;
constexpr std::uint64_t largest_file = 0xffffffffu; // positions are 32-bit

std::bitset<256> tag_set(std::initializer_list<std::pair<int, int>> ranges) {
    std::bitset<256> set;
    for (auto [first, last] : ranges)
        for (int tag = first; tag <= last; ++tag)
            set.set(static_cast<std::size_t>(tag));
    return set;
}

// Every tag that some reader handles.
const std::bitset<256> known_tags = tag_set({{1, 6},
                                             {8, 8},
                                             {34, 36},
                                             {38, 38},
                                             {42, 42},
                                             {45, 47},
                                             {58, 59},
                                             {63, 64},
                                             {91, 91},
                                             {93, 94},
                                             {101, 101},
                                             {105, 105},
                                             {108, 108},
                                             {111, 111},
                                             {116, 116},
                                             {123, 126}});
// What if_check_lengths takes for a record.
const std::bitset<256> walkable_tags = tag_set({{1, 6},
                                                {33, 36},
                                                {38, 38},
                                                {42, 43},
                                                {45, 47},
                                                {58, 60},
                                                {62, 64},
                                                {91, 91},
                                                {93, 94},
                                                {101, 101},
                                                {108, 108},
                                                {116, 116},
                                                {123, 126}});

I_FILE *active_reader = nullptr;

// One copy of each file name of all files. Positions point to these texts, and they outlive the
// file that they came from.
const char *keep_file_name(std::string_view text) {
    static std::unordered_set<std::string> names;
    return names.emplace(text).first->c_str();
}
} // namespace

void if_print_reader_context() {
    if (active_reader)
        std::printf(">> at offset 0x%lx of \"%s\"\n",
                    static_cast<unsigned long>(active_reader->record_at_),
                    active_reader->name.c_str());
}

I_FILE::ACTIVE_READER::ACTIVE_READER(I_FILE *file) : before(active_reader) {
    active_reader = file;
    if_context_hook = if_print_reader_context;
}

I_FILE::ACTIVE_READER::~ACTIVE_READER() {
    active_reader = before;
}

// --- opening and closing

I_FILE::I_FILE(FILE *input, IF_CLIENT *receiver, bool &valid) : stream(input), client(receiver) {
    i_load();
    valid = if_read_magic() && client->cl_magic(version, icode_cpu_id);
    body_at_ = in_.tell();
    near_type_limit_ = static_cast<std::uint32_t>(in_.size() / sizeof(TYPE_INFO)) + 256;
}

I_FILE::I_FILE(FILE *output, TYPE_PKG *pkg, const char *header_name)
    : name(header_name), stream(output), writing(true), tp_(pkg) {
    if (pkg)
        for (TYPE *type : pkg->all_types())
            type->refd = type->writ = false;
    if_write_magic();
}

I_FILE::~I_FILE() {
    if (active_reader == this) active_reader = nullptr;
    if (map_) munmap(map_, map_size_);
}

I_FILE *I_FILE::if_open_basic(FILE *stream, IF_CLIENT *client) {
    bool valid = false;
    I_FILE *file = new I_FILE(stream, client, valid);
    if (valid) return file;
    delete file;
    return nullptr;
}

I_FILE *I_FILE::if_open(FILE *stream, IF_CLIENT *client) {
    I_FILE *file = if_open_basic(stream, client);
    if (!file) return nullptr;
    ACTIVE_READER active(file);
    if_node_table_init();
    client->cl_source(file->name.c_str());
    file->if_read_options();
    return file;
}

I_FILE *I_FILE::if_create(FILE *stream, TYPE_PKG *pkg, const char *name) {
    return new I_FILE(stream, pkg, name);
}

// A regular file is mapped; anything else is read to its end, but only when it begins as an
// intermediate file does, so that an endless stream of something else is refused.
void I_FILE::i_load() {
    const long position = std::ftell(stream);
    base_ = position > 0 ? static_cast<std::uint64_t>(position) : 0;
    const int descriptor = fileno(stream);
    struct stat status;
    if (descriptor >= 0 && fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode)) {
        const auto size = static_cast<std::uint64_t>(status.st_size);
        if (size <= base_ || size - base_ > largest_file) return;
        map_size_ = static_cast<std::size_t>(size);
        map_ = mmap(nullptr, map_size_, PROT_READ, MAP_PRIVATE, descriptor, 0);
        if (map_ != MAP_FAILED) {
            in_ = if_source(std::string_view(static_cast<const char *>(map_), map_size_)
                                .substr(static_cast<std::size_t>(base_)));
            return;
        }
        map_ = nullptr;
    }
    char chunk[buffer_size];
    while (const std::size_t n = std::fread(chunk, 1, sizeof chunk, stream)) {
        loaded_.append(chunk, n);
        if (loaded_[0] != 8 || loaded_.size() > largest_file) return;
    }
    in_ = if_source(loaded_);
}

void I_FILE::i_forget_pages(std::size_t from, std::size_t to) {
    if (!map_) return;
    const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    from = (from + base_ + page - 1) / page * page;
    to = (to + base_) / page * page;
    if (from < to) madvise(static_cast<char *>(map_) + from, to - from, MADV_DONTNEED);
}

bool I_FILE::if_read_magic() {
    in_ = if_source(in_.bytes()); // without a mark that something was read behind the end
    if (i_read_header().tag != 8) return false;
    if (i_read_string() != if_magic) return false;
    version = i_read_s16();
    const int cpu_id = i_read_s16();
    if (cpu_id != if_family_cpu_id) return false;
    if (version > if_current_version || version < if_oldest_version) return false;
    icode_cpu_id = cpu_id;
    for (std::int32_t *offset :
         {&option_offset, &init_offset, &type_offset, &file_name_offset, &global_offset})
        *offset = i_read_s32();
    name = i_read_string();
    if (version >= -83) reserved = i_read_u32();
    return !in_.overrun();
}

void I_FILE::if_write_magic() {
    i_write_string(if_magic);
    i_write_i16(version);
    i_write_i16(icode_cpu_id);
    for (std::int32_t offset :
         {option_offset, init_offset, type_offset, file_name_offset, global_offset})
        i_write_i32(offset);
    i_write_string(name);
    i_write_i32(reserved);
    i_flush(8);
}

bool I_FILE::if_close(bool all_types, bool no_trailer) {
    bool failed = false;
    if (writing) {
        if (!no_trailer) {
            i_write_eof();
            if_write_all_options();
            if_write_all_types(all_types);
            if_write_all_files();
            if_write_all_globals();
            if_seek(0);
            if_write_magic();
        }
        failed = if_flush();
    }
    failed |= std::ferror(stream) != 0;
    failed |= std::fclose(stream) != 0;
    delete this;
    return failed;
}

// --- positions and bytes

std::uint32_t I_FILE::if_tell() const {
    return static_cast<std::uint32_t>(writing ? drained_ + out_.size() : in_.tell());
}

void I_FILE::if_seek(std::uint32_t position) {
    if (!writing) {
        in_.seek(position);
        return;
    }
    i_drain();
    if (fseeko(stream, static_cast<off_t>(base_ + position), SEEK_SET) != 0) failed_ = true;
    drained_ = position;
}

bool I_FILE::if_flush() {
    i_drain();
    if (std::fflush(stream) != 0) failed_ = true;
    return failed_;
}

void I_FILE::i_drain() {
    if (std::fwrite(out_.data(), 1, out_.size(), stream) != out_.size()) failed_ = true;
    drained_ += out_.size();
    if (drained_ > largest_file) failed_ = true;
    out_.clear();
}

if_source::frame I_FILE::i_read_header() {
    record_at_ = in_.tell();
    const if_source::frame frame = in_.read_header();
    if (frame.size > in_.left() && known_tags.test(static_cast<std::size_t>(frame.tag))) {
        in_.seek(in_.size());
        return {if_end_tag, 0};
    }
    return frame;
}

std::string_view I_FILE::i_read_string(std::uint32_t n) {
    const std::string_view text = n ? in_.read_bytes(n) : in_.read_string();
    return text.data() ? text : std::string_view("");
}

std::string_view I_FILE::i_read_raw(std::uint32_t size) {
    return in_.read_bytes(size);
}

PSN *I_FILE::i_read_psn() {
    const std::uint32_t file = i_read_uint();
    if (file == 0) return nullptr;
    const std::uint32_t line = i_read_uint();
    const std::uint32_t column = i_read_uint();
    // Neighbouring records often stand at one position, which they share.
    if (!last_psn_ || last_psn_file_ != file || last_psn_->line != line ||
        last_psn_->column != column) {
        last_psn_ = mk_psn(i_get_file_name(file), line, column);
        last_psn_file_ = file;
    }
    return last_psn_;
}

void I_FILE::i_write_i16(int v) {
    if (v < -32768 || v > 65535) {
        std::fputs(">> Value exceeds size of short\n", stdout);
        if_exit(1);
    }
    record_.write_i16(v);
}

// Runs what may let a buffer grow; exit 1 when it cannot.
template <class Append> static void grow_buffer(Append append) {
    try {
        append();
    } catch (const std::bad_alloc &) {
        std::fputs(">> ICODE Buffer size exceeded and realloc failed\n", stdout);
        if_exit(1);
    }
}

void I_FILE::i_write_string(std::string_view s, std::uint32_t n) {
    grow_buffer([&] {
        if (n)
            record_.write_bytes(s.substr(0, n));
        else
            record_.write_string(s);
    });
}

void I_FILE::i_write_psn(const PSN *psn) {
    if (!psn) {
        i_write_uint(0);
        return;
    }
    i_write_uint(i_enter_file_name(psn->file ? psn->file : "NO_FILE"));
    i_write_uint(psn->line);
    i_write_uint(psn->column);
}

void I_FILE::i_flush(int tag) {
    grow_buffer([&] { record_.flush(tag, out_); });
    if (out_.size() >= buffer_size) i_drain();
}

void I_FILE::i_write_eof() {
    out_.push_back(static_cast<char>(if_end_tag));
}

void I_FILE::i_write_raw(std::string_view bytes) {
    out_.append(bytes);
    if (out_.size() >= buffer_size) i_drain();
}

void I_FILE::i_invalid(const char *what) {
    std::printf("\nINTERNAL ERROR: %s, aborting\n", what);
    if_exit(1);
}

void I_FILE::i_check_count(std::uint32_t count, std::size_t bytes_each) {
    if (count > in_.left() / bytes_each) i_invalid("Invalid count in I-code");
}

// --- sections

template <class Read> void I_FILE::i_read_section(std::int32_t offset, Read read_record) {
    if (offset == 0) return;
    ACTIVE_READER active(this);
    const std::size_t position = in_.tell();
    // As an unsigned number a negative offset lies behind the end, where a section is empty.
    if_seek(static_cast<std::uint32_t>(offset));
    for (if_source::frame f = i_read_header(); f.tag != if_end_tag; f = i_read_header())
        if (!read_record(f)) break;
    in_.seek(position);
}

void I_FILE::if_read_options() {
    i_read_section(option_offset, [this](if_source::frame) {
        if_read_option_set();
        return true;
    });
}

void I_FILE::if_read_file_names() {
    i_read_section(file_name_offset, [this](if_source::frame f) {
        if (f.tag == 126) i_enter_file_name(i_read_c_string());
        return f.tag == 126;
    });
}

void I_FILE::if_read_type_defs() {
    i_read_section(type_offset, [this](if_source::frame f) {
        if_read_type(f.size);
        return true;
    });
    settle_types();
}

void I_FILE::if_read_globals() {
    i_read_section(global_offset, [this](if_source::frame) {
        if_read_symbol_def();
        return true;
    });
}

void I_FILE::if_read_all_init() {
    i_read_section(init_offset, [this](if_source::frame) {
        if_read_init();
        return true;
    });
}

bool I_FILE::if_check_lengths() {
    const std::size_t position = in_.tell();
    struct {
        std::size_t at = 0;
        int tag = 0;
        std::uint32_t size = 0;
    } before;
    bool good = if_read_magic();
    while (good) {
        const if_source::frame f = i_read_header();
        if (f.tag == if_end_tag) break;
        if (walkable_tags.test(static_cast<std::size_t>(f.tag))) {
            in_.skip(f.size);
            before = {record_at_, f.tag, f.size};
            continue;
        }
        std::printf(">>I-file error:@%d,id=%d,sz=%d,prev [@%d,id=%d,sz=%d]\n",
                    static_cast<int>(record_at_), f.tag, static_cast<int>(f.size),
                    static_cast<int>(before.at), before.tag, static_cast<int>(before.size));
        good = false;
    }
    in_.seek(position);
    return good;
}

// --- copies

void I_FILE::if_copy_raw(std::uint32_t from, std::uint32_t size, I_FILE *out) {
    constexpr std::uint32_t piece = 8192;
    if_seek(from);
    while (size > 0 && !in_.at_end()) {
        const std::string_view bytes = i_read_raw(std::min(size, piece));
        out->i_write_raw(bytes);
        size -= static_cast<std::uint32_t>(bytes.size());
    }
}

void I_FILE::if_copy_symbols(I_FILE *out) {
    i_read_section(global_offset, [this, out](if_source::frame f) {
        if (f.tag == 94)
            out->if_write_pragma(i_read_pragma_body());
        else
            if_copy_raw(static_cast<std::uint32_t>(record_at_),
                        static_cast<std::uint32_t>(in_.tell() - record_at_) + f.size, out);
        return true;
    });
    out->i_write_eof();
}

bool I_FILE::if_extract_file(const char *file_name) {
    FILE *file = std::fopen(file_name, "wb");
    if (!file) return false;
    I_FILE *out = if_create(file, nullptr, file_name);
    // The header of this file replaces the new one, which may be the longer one.
    out->if_seek(0);
    if (ftruncate(fileno(file), 0) != 0) out->failed_ = true;
    const std::size_t position = in_.tell();
    if_copy_raw(0, static_cast<std::uint32_t>(global_offset), out);
    if_copy_symbols(out);
    in_.seek(position);
    return out->if_close(true, true);
}

// --- name table

unsigned I_FILE::i_enter_file_name(const char *file_name) {
    if (writing) {
        if (file_name == last_name_ && std::strcmp(file_name, file_names_[last_name_id_ - 1]) == 0)
            return last_name_id_;
        last_name_ = file_name;
        auto found = file_ids_.find(file_name);
        if (found != file_ids_.end()) return last_name_id_ = found->second;
    }
    const char *kept = keep_file_name(file_name);
    file_names_.push_back(kept);
    last_name_id_ = static_cast<unsigned>(file_names_.size());
    file_ids_.emplace(kept, last_name_id_);
    return last_name_id_;
}

const char *I_FILE::i_get_file_name(unsigned number) const {
    return number == 0 || number > file_names_.size() ? nullptr : file_names_[number - 1];
}

unsigned I_FILE::i_get_file_id(const char *file_name) const {
    auto found = file_ids_.find(file_name);
    return found == file_ids_.end() ? 0 : found->second;
}

// --- trailer sections of a writer

void I_FILE::if_enter_option_set(unsigned id, const std::vector<std::string> &args) {
    options_.push_back({id, args});
}

void I_FILE::if_write_all_options() {
    if (options_.empty()) return;
    option_offset = static_cast<std::int32_t>(if_tell());
    for (const OPTION_SET &set : options_)
        if_write_option_set(set.id, set.args);
    i_write_eof();
}

void I_FILE::if_write_all_files() {
    if (file_names_.empty()) return;
    file_name_offset = static_cast<std::int32_t>(if_tell());
    for (const char *file_name : file_names_)
        if_write_source(file_name);
    i_write_eof();
}
