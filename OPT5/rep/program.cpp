// The globals of program.h, and those at the end of symbol.h.
#include "OPT5/rep/program.h"

namespace {
FILEINFO file_record;
} // namespace

FILEINFO *fileinfo = &file_record;
std::list<SYMTAB *> functions;
unsigned char function_prepass = 1;
int user_error_count = 0;
I_FILE *i_file = nullptr, *o_file = nullptr;
char i_file_name[500], o_file_name[500], bug_file_name[2048];
int no_outside_callers = 0, no_outside_writers = 0;

SYMTAB *currfunc = nullptr;
FUNINFO *currfuninfo = nullptr;
SYMTAB *global_symbols = nullptr;
int lex = 0;
std::uint32_t symbol_serial = 0;
