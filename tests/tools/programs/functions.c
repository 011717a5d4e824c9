// Functions: definitions without prototype, variable arguments, records by value, pointers to
// functions, setjmp.
#include <setjmp.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>

struct point { int x, y; };
struct big { int v[5]; short s; };
struct small { short only; };

static struct point add(struct point a, struct point b) { return (struct point){a.x + b.x, a.y + b.y}; }
static struct point twice(struct point p) { return add(p, p); }
static struct big fill(int n) {
    struct big b = {{n, n + 1}, .s = (short)-n};
    return b;
}
static struct big shift(struct big b, int by) {
    for (int i = 0; i < 5; i++) b.v[i] += by;
    return b;
}
static int total(struct big b) { return b.v[0] + b.v[1] + b.v[4] + b.s; }
static struct small wrap(short v) { return (struct small){v}; }

int old_style(a, c, s, u, f, p)
    char c; short s; int a; unsigned short u; float f; char *p;
{
    c += 1;
    return a * 10000 + c * 100 + s + (u == 65535) + (int)(f * 2) + *p;
}
int no_parameters() { return 5; }

static int sum(int count, ...) {
    va_list args, again;
    int s = 0;
    va_start(args, count);
    va_copy(again, args);
    for (int i = 0; i < count; i++) s += va_arg(args, int);
    s *= 10;
    for (int i = 0; i < count; i++) s += va_arg(again, int);
    va_end(args);
    va_end(again);
    return s;
}
static int mixed(const char *kinds, ...) {
    va_list args;
    int s = 0;
    va_start(args, kinds);
    for (; *kinds; kinds++) switch (*kinds) {
        case 'i': s += va_arg(args, int); break;
        case 'f': s += (int)(va_arg(args, double) * 4); break;
        case 'p': s += va_arg(args, struct point).y; break;
        case 'b': { struct big b = va_arg(args, struct big); s += total(b); break; }
        case 's': s += *va_arg(args, char *); break;
        case 'o': s += va_arg(args, struct small).only; break;
        }
    va_end(args);
    return s;
}
static int through(int (*f)(int, va_list), int n, ...) {
    va_list args;
    va_start(args, n);
    int r = f(n, args);
    va_end(args);
    return r;
}
static int difference(int n, va_list args) {
    int r = va_arg(args, int);
    while (--n) r -= va_arg(args, int);
    return r;
}

typedef int (*operation)(int, int);
static int plus(int a, int b) { return a + b; }
static int minus(int a, int b) { return a - b; }
static operation pick(int which) { return which ? plus : &minus; }
static int (*(*choose(int n))(int))(int, int) { return n ? pick : 0; }
static const struct { const char *name; operation f; } table[] = {{"plus", plus}, {"minus", minus}};
static int apply(int f(int, int), int a, int b) { return (***f)(a, b); }

static inline int squared(int v) { return v * v; }
inline int only_inline(int v) { return v + 1; }
extern inline int extern_inline(int v) { return v + 2; }
_Noreturn static void leave(int status) { exit(status); }
static int counter(void) { static int n = 5; static int *p = &n; return (*p)++; }
static int ackermann(int m, int n) { return !m ? n + 1 : ackermann(m - 1, n ? ackermann(m, n - 1) : 1); }

static jmp_buf there;
static void deep(int n) {
    if (n == 0) longjmp(there, 3);
    deep(n - 1);
}
static int caught(void) {
    volatile int tries = 0;
    int code = setjmp(there);
    tries++;
    if (code == 0) deep(5);
    if (code == 3 && tries < 4) longjmp(there, tries == 3 ? 9 : 3);
    return code * 10 + tries;
}

int main(void) {
    struct point p = twice(add(twice((struct point){1, 2}), add(p = (struct point){3, 4}, p)));
    printf("%d %d %d\n", p.x, p.y, add(p, p).y);
    printf("%d %d\n", total(shift(shift(fill(3), 10), 100)), shift(fill(1), p.x > 5 ? 2 : 3).v[4]);
    printf("%d %d\n", (p.x ? fill(7) : shift(fill(8), 1)).v[1], wrap(wrap(9).only).only);
    printf("%d %d\n", old_style(3, 255 - 130, -2, -1, 1.5f, "A"), no_parameters());
    printf("%d %d\n", sum(3, 1, 2, 3), sum(0));
    short narrow = 7;
    printf("%d\n", mixed("ifpbsoii", 1, 2.5, p, fill(2), "z", wrap(30), narrow, 'a'));
    printf("%d\n", through(difference, 3, 100, 20, 3));
    printf("%d %d %d %d\n", pick(1)(5, 3), choose(1)(0)(5, 3), table[1].f(9, 1), apply(plus, 2, 2));
    printf("%s %d %d\n", table[0].name, choose(0) == 0, squared(12) + only_inline(1) + extern_inline(1));
    counter();
    counter();
    printf("%d %d %d\n", counter(), ackermann(2, 3), caught());
    if (p.x) leave(0);
    return 1;
}
