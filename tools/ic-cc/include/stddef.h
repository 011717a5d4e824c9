#pragma once
typedef unsigned int size_t;
typedef int ptrdiff_t;
typedef int max_align_t;
#ifdef __cplusplus
#define NULL nullptr
#else
typedef short wchar_t;
#define NULL ((void *)0)
#endif
#define offsetof(type, member) __builtin_offsetof(type, member)
