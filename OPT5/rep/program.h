// State of the whole run: functions in processing order, files, pass number.
#pragma once

#include "OPT5/rep/symbol.h"

#include <list>
#include <string>

class I_FILE;

// The file record.
struct FILEINFO {
    FUNINFO *funinfo = nullptr;  // the dummy record named " ? "
    unsigned char pass_number = 1; // 1 while reading and in "pass 1", 2 from "pass 2 header" on
    bool statics_are_marked = false; // SA_no_escape of the file's own variables is known
};

extern FILEINFO *fileinfo;
extern std::list<SYMTAB *> functions;   // processing order
extern unsigned char function_prepass;  // 1 until "intermission"
extern int user_error_count;
extern I_FILE *i_file, *o_file;
extern char i_file_name[500], o_file_name[500], bug_file_name[2048];
extern int no_outside_callers, no_outside_writers;
