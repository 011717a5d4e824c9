// Calls, parameters, attributes, linkage.
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
typedef int binary(int, int);
struct big {
    int v[4];
    char c;
};
static int add(int a, int b) { return a + b; }
static inline int sub(int a, int b) { return a - b; }
static inline int unused_inline(int a) { return a; }
inline int mul(int a, int b) { return a * b; }
extern inline int divide(int a, int b) { return a / b; }
__attribute__((always_inline)) static inline int fast(int a) { return a + 1; }
__attribute__((noreturn)) void stop(int code) { exit(code); }
__attribute__((noinline)) int slow(void) { return 1; }
__attribute__((const)) int pure(int x) { return x; }
int unused_parameter(int used, int unused) { return used; }
int no_parameters() { return 3; }
void nothing(void) {}
int narrow(char c, short s, unsigned char u, _Bool b, float f) { return c + s + u + b + (int)f; }
int by_value(struct big b, int n) { return b.v[n] + b.c; }
int arrays(int a[], int m[][3], int fn(int)) { return a[0] + m[1][2] + fn(a[1]); }
struct big give(void) {
    struct big b = {{1}};
    return b;
}
int sum_ints(int n, ...) {
    va_list ap, other;
    int total = 0;
    va_start(ap, n);
    va_copy(other, ap);
    while (n-- > 0) total += va_arg(ap, int);
    total += *va_arg(other, char *) + (int)va_arg(other, double) + va_arg(other, struct big).c;
    va_end(ap);
    va_end(other);
    return total;
}
binary *choose(int n) { return n ? add : &sub; }
int apply(binary *op, int (*table[])(int, int), int n) {
    extern int elsewhere;
    int outside(void);
    return op(n, 1) + (*op)(n, 2) + (**table)(3, n) + choose(n)(n, n) + elsewhere + outside();
}
int calls(register int r, const int k) {
    register int local = r + k;
    struct big b = give();
    printf("%d %c %f %s\n", r, (char)r, 1.0f, "text");
    printf("plain");
    nothing();
    return narrow(local, 2, 3, 4, 5) + by_value(b, 0) + by_value(give(), 1) + mul(2, 3) + fast(3) +
           slow() + pure(2) + no_parameters() + sum_ints(2, 1, 2) + abs(k) + divide(4, 2) +
           (r ? sub : add)(1, 2);
}
void returns(int n) {
    if (n) return;
    return nothing();
}
#pragma FUNC_IS_PURE(add)
#pragma DATA_SECTION(placed, ".special")
int placed;
#pragma FUNCTION_OPTIONS(slow, "--opt_level=3 --alias_vars")
