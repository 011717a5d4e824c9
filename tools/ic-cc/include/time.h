#pragma once
#include <stddef.h>
// The time stands still: every call gives the same.
#define CLOCKS_PER_SEC 1000000
typedef long clock_t;
typedef long time_t;
clock_t clock(void);
double difftime(time_t end, time_t begin);
time_t time(time_t *to);
