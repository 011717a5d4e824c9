// A client of the file layer that writes down what it is told, and a builder of files byte by byte.
#pragma once

#include "OPT5/icode/if.h"

#include <functional>
#include <string>
#include <string_view>
#include <vector>

// --- what the client has been told since reset(), one line a call
struct RECORDING {
    std::string log;
    bool accept = true;    // what cl_magic answers
    bool keep_eht = false; // cl_func_eht keeps the array
    I_FILE *out = nullptr; // all records are written on to this file
    void reset() { *this = RECORDING(); }
};
extern RECORDING recording;
extern IF_CLIENT recording_client;

std::string type_text(TYPE *type); // short: classes and enums by name
std::string all_type_details();    // every type of tp that has a name or lists, sorted
std::string tree_text(const NODE *tree);
std::string psn_text(const PSN *psn);

// --- records and files
class REC {
public:
    explicit REC(int tag) : tag_(tag) {}
    REC &u(std::uint32_t v) { return record_.write_uint(v), *this; }
    REC &s(std::int32_t v) { return record_.write_sint(v), *this; }
    REC &b(int v) { return record_.write_i8(v), *this; } // u8, s8, bool
    REC &h(int v) { return record_.write_i16(v), *this; }
    REC &str(std::string_view v) { return record_.write_string(v), *this; }
    REC &raw(std::string_view v) { return record_.write_bytes(v), *this; }
    REC &psn(std::uint32_t line, std::uint32_t column = 1) { return u(1).u(line).u(column); }
    REC &no_psn() { return u(0); }
    operator std::string() const; // the framed record

private:
    int tag_;
    if_record record_;
};

std::string operator+(const REC &a, const REC &b);
std::string operator+(const std::string &a, const REC &b);
std::string operator+(const REC &a, const std::string &b);

struct FILE_BYTES {
    int version = if_current_version;
    int cpu_id = if_family_cpu_id;
    std::string name = "unit.c";
    std::string body, init, options, types, names, globals; // without end marks; empty: no section
    std::string str() const;
};

// Symbol records with the usual fields.
std::string symbol(std::string_view name, std::uint32_t type, int sc, int pragmas = 0,
                   std::uint32_t size = 32);

// --- reading. All start from a fresh type package and a reset log.
I_FILE *open_bytes(const std::string &bytes, bool mapped = true); // null: refused
std::string read_log(const std::string &bytes);
// The file that a writer makes of all that is read from `bytes`. With all_types, types that nothing
// refers to are in it, too.
std::string rewritten(const std::string &bytes, bool all_types = false);
std::string slurp(FILE *stream); // all of it, from its start; closes it

// --- child processes
struct OUTCOME {
    int status;      // exit status; 256 and the signal's number when a signal ended it
    std::string out; // standard output and standard error
};
OUTCOME in_child(const std::function<void()> &work); // exit status 0 when the work returns
OUTCOME read_in_child(const std::string &bytes);
