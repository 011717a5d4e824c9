#pragma once
#include <stddef.h>
#define EXIT_SUCCESS 0
#define EXIT_FAILURE 1
#define RAND_MAX 32767
typedef struct {
    int quot;
    int rem;
} div_t;
typedef struct {
    long quot;
    long rem;
} ldiv_t;
__attribute__((noreturn)) void abort(void);
int abs(int v);
int atexit(void (*function)(void));
double atof(const char *s);
int atoi(const char *s);
long atol(const char *s);
long long atoll(const char *s);
void *bsearch(const void *key, const void *base, size_t count, size_t size,
              int (*compare)(const void *, const void *));
void *calloc(size_t count, size_t size);
div_t div(int a, int b);
__attribute__((noreturn)) void exit(int status);
void free(void *p);
long labs(long v);
long long llabs(long long v);
ldiv_t ldiv(long a, long b);
void *malloc(size_t size);
void qsort(void *base, size_t count, size_t size, int (*compare)(const void *, const void *));
int rand(void);
void *realloc(void *p, size_t size);
void srand(unsigned seed);
double strtod(const char *__restrict s, char **__restrict end);
float strtof(const char *__restrict s, char **__restrict end);
long strtol(const char *__restrict s, char **__restrict end, int base);
long long strtoll(const char *__restrict s, char **__restrict end, int base);
unsigned long strtoul(const char *__restrict s, char **__restrict end, int base);
unsigned long long strtoull(const char *__restrict s, char **__restrict end, int base);
