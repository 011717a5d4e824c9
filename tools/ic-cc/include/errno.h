#pragma once
extern int errno;
#define EDOM 33
#define ERANGE 34
#define EILSEQ 84
