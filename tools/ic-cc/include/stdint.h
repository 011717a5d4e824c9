#pragma once
// The unit of memory has 16 bits: there are no types of 8 bits, nor of 64.
typedef short int16_t;
typedef unsigned short uint16_t;
typedef int int32_t;
typedef unsigned int uint32_t;
typedef short int_least8_t;
typedef unsigned short uint_least8_t;
typedef short int_least16_t;
typedef unsigned short uint_least16_t;
typedef int int_least32_t;
typedef unsigned int uint_least32_t;
typedef short int_fast8_t;
typedef unsigned short uint_fast8_t;
typedef int int_fast16_t;
typedef unsigned int uint_fast16_t;
typedef int int_fast32_t;
typedef unsigned int uint_fast32_t;
typedef short intptr_t;
typedef unsigned short uintptr_t;
typedef long long intmax_t;
typedef unsigned long long uintmax_t;

#define INT16_MIN (-32767 - 1)
#define INT16_MAX 32767
#define UINT16_MAX 65535
#define INT32_MIN (-2147483647 - 1)
#define INT32_MAX 2147483647
#define UINT32_MAX 4294967295U
#define INT_LEAST8_MIN INT16_MIN
#define INT_LEAST8_MAX INT16_MAX
#define UINT_LEAST8_MAX UINT16_MAX
#define INT_LEAST16_MIN INT16_MIN
#define INT_LEAST16_MAX INT16_MAX
#define UINT_LEAST16_MAX UINT16_MAX
#define INT_LEAST32_MIN INT32_MIN
#define INT_LEAST32_MAX INT32_MAX
#define UINT_LEAST32_MAX UINT32_MAX
#define INTPTR_MIN INT16_MIN
#define INTPTR_MAX INT16_MAX
#define UINTPTR_MAX UINT16_MAX
#define INTMAX_MIN (-2147483647LL - 1)
#define INTMAX_MAX 2147483647LL
#define UINTMAX_MAX 4294967295ULL
#define PTRDIFF_MIN INT32_MIN
#define PTRDIFF_MAX INT32_MAX
#define SIZE_MAX UINT32_MAX
#define INT16_C(v) v
#define UINT16_C(v) v##U
#define INT32_C(v) v
#define UINT32_C(v) v##U
#define INTMAX_C(v) v##LL
#define UINTMAX_C(v) v##ULL
