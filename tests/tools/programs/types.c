// Types: bit-fields, unions and unnamed members, _Generic, _Bool, typeof, alignment, wide strings.
#include <iso646.h>
#include <stdalign.h>
#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>
#include <stdio.h>

_Static_assert(sizeof(int) == 2 * sizeof(short), "int is two shorts");
#ifdef __ZRA__
_Static_assert(sizeof(char) == 1 && sizeof(short) == 1 && sizeof(void *) == 1, "");
_Static_assert(sizeof(struct { char c; int i; }) == 4 && _Alignof(long) == 2, "");
_Static_assert(sizeof(_Bool) == 2 && sizeof(long long) == 2 && sizeof(long double) == 2, "");
_Static_assert(sizeof(struct { int n; char f[]; }) == 2, "");
_Static_assert(sizeof(struct { char c; alignas(8) short s; }) == 16, "");
_Static_assert(sizeof(struct { short a, b; int c; } __attribute__((packed))) == 4, "");
_Static_assert(sizeof(struct { short a; } __attribute__((aligned(4)))) == 4, "");
struct nest { char a[3]; struct { int x, y; } b[2]; };
_Static_assert(offsetof(struct nest, b[1].y) == 10, "");
#endif

struct fields {
    unsigned a : 3;
    int b : 5;
    unsigned : 0;
    _Bool c : 1;
    short d : 7;
    unsigned short e : 9;
    long f : 20;
    enum { RED, GREEN, BLUE } g : 2;
    int h;
    int : 4;
    signed i : 32;
};
static struct fields fixed = {5, -3, 1, -60, 300, -70000, BLUE, 4, -1};

struct outer {
    int first;
    union {
        struct { short x, y; };
        int both;
    };
    struct { int deep; struct { int deeper; }; };
};

#define KIND(x) _Generic((x), int: "int", unsigned: "unsigned", float: "float", short: "short",      \
                         char *: "string", int *: "pointer", _Bool: "bool", struct outer: "record",  \
                         default: "other")
enum later;
enum later { ZERO, FIVE = 5, SIX, NEGATIVE = -2, NEXT };

static int fields(struct fields *p, int v) {
    p->a += v;
    p->b = v;
    p->c = v;
    p->d--;
    p->e ^= 0x1ff;
    p->f <<= 1;
    p->g = p->g == BLUE ? RED : GREEN;
    int old = p->a++ + p->d;
    return old + (p->b = 21) + (p->a -= 1);
}

int main(void) {
    printf("%d %d %d %d %d %d %d %d %d\n", fixed.a, fixed.b, fixed.c, fixed.d, fixed.e, (int)fixed.f,
           fixed.g, fixed.h, fixed.i);
    printf("%d\n", fields(&fixed, 13));
    printf("%d %d %d %d %d %d %d\n", fixed.a, fixed.b, fixed.c, fixed.d, fixed.e, (int)fixed.f, fixed.g);
    struct outer o = {1, {{2, 3}}, {4, {5}}};
    o.y = -1;
    o.deeper += o.x;
    printf("%d %d %d %d\n", o.first, o.both, o.deep, o.deeper);
    short s = 3;
    bool b = 256 and not 0;
    _Bool c = 0.5f, d = &o != NULL;
    float f = 2;
    printf("%s %s %s %s %s %s %s %s %s\n", KIND(1), KIND(s), KIND(s + s), KIND(f), KIND("x"), KIND(&o.first),
           KIND(b), KIND(o), KIND(1.0 ? 2u : 1));
    b += 5;
    c--;
    printf("%d %d %d %d\n", b, c, d, (bool)f + (bool)-0.0f);
    typeof(o.x) t = 7;
    typeof(int *[2]) pointers = {&o.first, &o.both};
    __typeof__(t + 1) wider = 70000;
    printf("%d %d %d %d\n", t, *pointers[0], *pointers[1], wider);
    printf("%d %d %d %d\n", FIVE, SIX, NEXT, (enum later)5 == FIVE);
    alignas(int) short aligned[2] = {1, 2};
    printf("%d\n", aligned[0] + aligned[1]);
    const unsigned short *u = u"w\u00e4de";
    static const int wide[] = {L'a', U'\U0001F600', u'\xffff', '\x41'};
    printf("%d %d %d %d %d %d\n", u[0], u[1], u[4], wide[0], wide[1], wide[2]);
    printf("%d %s\n", (int)(sizeof u8"abc" / sizeof(char)), "con" "cat" "\101\x42");
    int32_t i32 = INT32_MIN;
    uint16_t u16 = UINT16_MAX;
    int_least16_t l16 = (int_least16_t)u16;
    printf("%d %u %d %d\n", i32, u16, l16, (uint16_t)(u16 + 1));
    int grid[3][4], (*row)[4] = grid;
    for (int i = 0; i < 12; i++) (&grid[0][0])[i] = i;
    printf("%d %d %d %d\n", row[1][2], (*(grid + 2))[1], (int)(&grid[2] - grid), 2[grid[1]]);
    long long ll = 0x7fffffffLL;
    unsigned long ul = 0xfffffffful;
    printf("%d %u %d\n", (int)(ll >> 4), (unsigned)ul, (int)(sizeof grid / sizeof *grid));
    const volatile int cv = 4;
    register int r = cv;
    int *restrict rp = &(int){6};
    printf("%d %d\n", r + cv, *rp);
    return 0;
}
