// What the tests of symbols, pragmas and scopes share: an empty translation unit with one function.
#pragma once

#include "OPT5/driver/global_flags.h"
#include "OPT5/driver/log.h"
#include "OPT5/icode/if.h"
#include "OPT5/rep/program.h"
#include "OPT5/rep/type_pkg.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

class SymbolTest : public ::testing::Test {
protected:
    void SetUp() override {
        erase_all_symbols();
        tp = new TYPE_PKG;
        tp->init_type_pkg();
        function_type = tp->type_frozen(tp->mk_func(tp->int_type(), false, true, 0, false));
        function_prepass = 1;
        cache_sys_funinfo = 2;
        no_outside_callers = no_outside_writers = 1;
        i_file = o_file = nullptr;
        currfunc = global("_f", 2, function_type);
        currfuninfo = make_FUNINFO("f");
        currfuninfo->symbol = currfunc;
        fdebug = open_memstream(&log_text, &log_size);
        print_debug = 1;
    }
    void TearDown() override {
        print_debug = 0;
        std::fclose(fdebug);
        fdebug = nullptr;
        std::free(log_text);
        erase_all_symbols();
        delete tp;
        tp = nullptr;
    }

    static SYMTAB *make(const char *name, int sc, TYPE *type, int flags = 0) {
        return new_symbol(name, type->is_func() ? 0 : type->size(), 0,
                          static_cast<unsigned char>(sc), static_cast<unsigned short>(flags),
                          type->normalized(), type, type->align(), nullptr, -1);
    }
    static SYMTAB *global(const char *name, int sc, TYPE *type, int flags = 0) {
        SYMTAB *sym = make(name, sc, type, flags);
        sym_def(sym);
        return sym;
    }
    // What the debug log has received since the last call.
    std::string log() {
        std::fflush(fdebug);
        std::string text(log_text + log_read, log_size - log_read);
        log_read = log_size;
        return text;
    }

    TYPE *function_type = nullptr;

private:
    char *log_text = nullptr;
    std::size_t log_size = 0, log_read = 0;
};
