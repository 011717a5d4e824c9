// Built-in functions with a plain meaning.
#include <stddef.h>
#include <stdio.h>
#include <limits.h>

static unsigned words[] = {1, 2, 3, 0x80000000u, 0xffffffffu, 0x12345678, 0x00f00000, 65536, 0xdeadbeef};

static void bits(void) {
    for (int i = 0; i < 9; i++) {
        unsigned w = words[i];
        printf("%d %d %d %d %d %d %x %x\n", __builtin_popcount(w), __builtin_parity(w),
               __builtin_ctz(w), __builtin_clz(w), __builtin_ffs((int)w), __builtin_clrsb((int)w),
               (unsigned)__builtin_bswap32(w), (unsigned)__builtin_bswap16((unsigned short)w));
    }
    printf("%d %d\n", __builtin_ffs(0), __builtin_clrsb(0));
}

#define CHECKED(TYPE, FORMAT, A, B)                                                                \
    do {                                                                                           \
        TYPE s = 0, d = 0, m = 0;                                                                  \
        int f = __builtin_add_overflow(A, B, &s);                                                  \
        f |= __builtin_sub_overflow(A, B, &d) << 1;                                                \
        f |= __builtin_mul_overflow(A, B, &m) << 2;                                                \
        printf("%d " FORMAT " " FORMAT " " FORMAT "; ", f, s, d, m);                               \
    } while (0)

static void overflows(void) {
    static const int values[] = {0, 1, -1, 2, 255, 32767, -32768, 65535, 65536, 46341, -46341, INT_MAX, INT_MIN};
    for (int i = 0; i < 13; i++)
        for (int k = 0; k < 13; k++) {
            int a = values[i], b = values[k];
            CHECKED(int, "%d", a, b);
            CHECKED(unsigned, "%u", (unsigned)a, (unsigned)b);
            CHECKED(short, "%hd", a, b);
            CHECKED(unsigned short, "%hu", (short)a, (unsigned)b);
            CHECKED(unsigned, "%u", a, b);
            CHECKED(int, "%d", (unsigned)a, (short)b);
            printf("\n");
        }
    int r;
    printf("%d %d\n", __builtin_sadd_overflow(INT_MAX, 1, &r), r);
    unsigned u;
    printf("%d %u\n", __builtin_usub_overflow(1u, 2u, &u), u);
}

static int chosen(int v) { return __builtin_choose_expr(__builtin_types_compatible_p(int, int), v + 1, "no"); }

static int promise(int v) {
    __builtin_assume(v > 0);
    if (__builtin_expect(v > 100, 0)) return 1;
    __builtin_prefetch(&v);
    switch (v & 1) {
    case 0: return 2;
    case 1: return 3;
    }
    __builtin_unreachable();
}

struct s { short a; int b; struct { short c[4]; } d; };

int main(void) {
    bits();
    overflows();
    printf("%d %d %d\n", chosen(4), __builtin_types_compatible_p(int *, unsigned *),
           __builtin_constant_p(3 + 4));
    printf("%d %d %d\n", promise(101), promise(4), promise(5));
    char buffer[20], copy[20];
    __builtin_strcpy(buffer, "built");
    __builtin_strcat(buffer, "-in");
    __builtin_memcpy(copy, buffer, sizeof copy);
    __builtin_memset(copy + 1, 'x', 2);
    printf("%s %s %d %d %d\n", buffer, copy, (int)__builtin_strlen(buffer),
           __builtin_strcmp(buffer, copy) < 0, __builtin_memcmp(buffer, buffer, 5));
    float inf = __builtin_huge_valf(), nan = __builtin_nanf("");
    printf("%d%d%d%d%d%d\n", !!__builtin_isinf(inf), !!__builtin_isnan(nan), !!__builtin_isfinite(inf),
           !!__builtin_isfinite(1.0f), !!__builtin_signbit(-0.0f), __builtin_isinf_sign(-inf));
    printf("%d %d %.2f %.2f\n", __builtin_abs(-5), (int)__builtin_labs(-7L), __builtin_fabs(-2.5),
           (double)__builtin_fabsf(-1.5f));
    printf("%.3f %.2f\n", (double)__builtin_sqrtf(2.0f), (double)__builtin_copysignf(3.0f, -1.0f));
    printf("%d\n", (int)(__builtin_offsetof(struct s, d.c[2]) - offsetof(struct s, d)) / (int)sizeof(short));
    printf("%d\n", __builtin_LINE());
    if (words[0] == 2) __builtin_trap();
    __builtin_printf("%s\n", __func__);
    return 0;
}
