#pragma once
typedef unsigned int size_t;
typedef int ptrdiff_t;
typedef short wchar_t;
typedef int max_align_t;
#define NULL ((void *)0)
#define offsetof(type, member) __builtin_offsetof(type, member)
