// Initialisers of every shape.
#include <stddef.h>
struct in {
    char a;
    int b;
};
struct bits {
    unsigned x : 4, y : 10, z : 18;
    unsigned short h : 3, k : 9;
    char c;
    int m : 5;
};
struct out {
    struct in i[2];
    union {
        float f;
        int n;
        char c[3];
    } u;
    const char *name;
    int (*fn)(int);
    struct out *self;
};
extern int ext;
static int twice(int);
int zero;
int one = 1, neg = -1;
char ch = 'A', esc = '\n', high = '\xff';
unsigned short us = 65535 + 2;
float fl = 1 / 3.0f, fi = 7, big = 1e30, tiny = 0x1p-149f;
double sum = 1.25 + 2;
_Bool yes = 5, no = 0.0;
int from_float = (int)-3.7f;
int arr[5] = {1, 2, [4] = 5};
int desig[] = {[3] = 3, 4, [1] = 1};
int matrix[2][3] = {{1}, {4, 5, 6}};
int flat[2][2] = {1, 2, 3, 4};
char text[] = "hello", fixed[8] = "hi", exact[2] = "xy", list[] = {'a', 'b', 0};
char texts[2][4] = {"ab", "cde"};
const char *str = "pool", *mid = "abcdef" + 2, *names[] = {"a", "b", NULL};
short wide[] = L"wi", *wp = L"de";
int *addr = &arr[3], *end = arr + 5, *ep = &ext, **app = &addr;
char *cast = (char *)&matrix[1][2];
void *nothing = 0, *fixed_address = (void *)0x1234;
int (*fp)(int) = twice, (*fpa)(int) = &twice;
struct in si = {'q', 9}, sd = {.b = 4};
struct bits bits = {1, 2, 3, 4, 5, 'c', -1};
struct bits some = {.z = 1, .k = 7};
struct out o = {{{1, 2}, {3, 4}}, {.n = 7}, "name", twice, &o};
struct out oo[] = {[1] = {.u.f = 2.5f, .i[1].b = 8, .self = oo}};
union { char c; int i; } uc = {3};
int difference = &arr[4] - &arr[1];
unsigned size = sizeof(struct out), count = sizeof arr / sizeof *arr;
unsigned off = offsetof(struct out, name);
int cond = sizeof(char) == sizeof(short) ? 10 : 20, logic = 1 && 0 || 2;
int shifted = 1 << 4 | 0xff & ~0xf, divided = -7 / 2, modulo = -7 % 3;
struct in *lit = &(struct in){'l', 5};
int *ilit = (int[]){7, 8};
int bound[sizeof(int) * 2];
_Static_assert(sizeof bound == 8, "");
static const int table[3] = {10, 20, 30};
static int twice(int n) {
    static int calls;
    static int history[2] = {5, 6};
    calls++;
    return n * 2 + history[calls & 1] + table[n];
}
int twice_too(int n) {
    static int calls = 3;
    return calls++ + n;
}
int locals(int n) {
    int a[4] = {1, 2, 3, 4}, b[6] = {n, n + 1}, c[3] = {0}, d[2][2] = {{n, 1}, {2, n}};
    char s[] = "local", t[10] = "x";
    struct in i = {'c', n}, j = {.b = 1}, k[2] = {{1, 2}, {3, n}}, z = {};
    struct bits q = {1, n, 3};
    union { int i; float f; } u = {.f = n};
    const char *p[] = {"x", s};
    int scalar = {n};
    short narrow = n;
    return a[n] + b[n] + c[n] + d[n][n] + s[n] + t[n] + i.b + j.b + k[n].b + q.y + u.i + *p[n] + scalar +
           narrow + z.a;
}
const char *where(void) { return __func__; }
