// Statements in expressions, ?: without its middle, computed jumps, case ranges.
#include <stdio.h>

static int calls;
static int note(int v) { return printf("<%d>", v), calls++, v; }

#define MAX(a, b) ({ int a_ = (a), b_ = (b); a_ > b_ ? a_ : b_; })
#define COUNT(n) ({ int c_ = 0; for (int i_ = 0; i_ < (n); i_++) c_ += i_; c_; })
struct pair { int a, b; };

static int straight(int x) {
    int y = MAX(x, note(3)) + MAX(note(4), x);
    y += ({ ; ({ int t = y; t * 2; }); });
    ({ note(y); });
    return y;
}

static int flowing(int n) {
    int a[4] = {note(1), COUNT(n), note(2), COUNT(n + 1)};
    int r = note(10) - COUNT(n) * note(20);
    r += a[({ int i = 0; while (i * i < n) i++; i & 3; })];
    r += n > 2 && ({ int k = n; do k -= 2; while (k > 0); k == 0; });
    r += n > 100 || ({ if (n & 1) note(30); else note(31); n & 1; });
    r = r * 2 + (n > 3 ? COUNT(4) : note(40));
    a[note(1)] += ({ switch (n) { case 4: r++; break; default: r--; } a[1]; });
    r += note(n) + ({ for (;;) { if (n++ > 6) break; } n; }) + note(n);
    while (({ int more = 0; for (int i = 0; i < 3; i++) more += n-- > 4; more; })) r++;
    struct pair p = ({ struct pair q = {1, 2}; if (n) q.b = n; q; });
    return r + a[0] + a[1] + p.a * 100 + p.b + ({ struct pair q; goto in; q.a = 1; in: q.b = 5; q; }).b;
}

static int early(int n) {
    int v = note(7) + ({ if (n < 0) return -1; n; });
    for (int i = 0; i < 10; i++) {
        v += ({ if (i == 2) continue; if (i == 5) break; i; });
    }
    return v;
}

static int elvis(int x, int *p) {
    static int zero;
    int *q = p ?: &zero;
    return (x ?: note(9)) + (note(x) ?: 100) + *q + (x - 3 ?: ({ int s = 0; while (s < 5) s += 2; s; }));
}

// A machine whose jumps go through a table of labels.
static int machine(const short *code) {
    static void *const table[] = {&&halt, &&push, &&add, &&mul, &&jump};
    int stack[8], *sp = stack;
    goto *table[*code++];
push:
    *sp++ = *code++;
    goto *table[*code++];
add:
    sp--;
    sp[-1] += *sp;
    goto *table[*code++];
mul:
    sp--;
    sp[-1] *= *sp;
    goto *table[*code++];
jump:
    code += *code;
    goto *table[*code++];
halt:
    return sp[-1];
}

static int by_distance(int n) {
    static const int where[] = {&&one - &&one, &&two - &&one};
    void *next = &&one + where[n & 1];
    int r = 0;
    goto *next;
one:
    r += 1;
    if (r > 5) return r;
    next = n & 2 ? &&two : &&one;
    goto *next;
two:
    r += 10;
    n = 0;
    goto one;
}

static int classify(int v) {
    switch (v) {
    case -5 ... -1: return 1;
    case 0: return 2;
    case 1 ... 9: return 3;
    case 1000 ... 100000: return 4;
    default: return 5;
    case 200000 ... 0x7fffffff: return 6;
    }
}
static int classify_unsigned(unsigned v) {
    switch (v) {
    case 10 ... 20000: return 1;
    case 0x80000000u ... 0xffffffffu: return 2;
    }
    return 0;
}

static void send(short *to, const short *from, int count) {
    int n = (count + 7) / 8;
    switch (count % 8) {
    case 0: do { *to++ = *from++;
    case 7:      *to++ = *from++;
    case 6:      *to++ = *from++;
    case 5:      *to++ = *from++;
    case 4:      *to++ = *from++;
    case 3:      *to++ = *from++;
    case 2:      *to++ = *from++;
    case 1:      *to++ = *from++;
            } while (--n > 0);
    }
}

static int switches(int n) {
    int r = 0;
    for (int i = 0; i < n; i++) {
        switch (i % 5) {
        case 0: continue;
        case 1: r += 1;
        case 2: r += 10; break;
        default:
            if (i > 7) { case 77: goto out; }
            r += 100;
        }
        r += 1000;
    }
out:
    return r;
}

int main(void) {
    printf("%d\n", straight(2));
    printf("%d\n", flowing(4));
    printf("%d\n", flowing(1));
    printf("%d %d\n", early(-2), early(4));
    int v = 6;
    printf("%d\n", elvis(0, 0));
    printf("%d\n", elvis(3, &v));
    static const short program[] = {1, 6, 1, 7, 3, 4, 2, 0, 1, 2, 2, 0};
    printf("%d\n", machine(program));
    for (int i = 0; i < 4; i++) printf("%d ", by_distance(i));
    static const int values[] = {-6, -5, -1, 0, 1, 9, 10, 999, 1000, 100000, 100001, 200000, 0x7fffffff};
    for (int i = 0; i < 13; i++) printf("%d", classify(values[i]));
    printf(" %d%d%d%d%d\n", classify_unsigned(9), classify_unsigned(10), classify_unsigned(20001),
           classify_unsigned(0x80000000u), classify_unsigned(0xffffffffu));
    short from[19], to[19] = {0};
    for (short i = 0; i < 19; i++) from[i] = (short)(i * 3);
    send(to, from, 18);
    printf("%d %d %d\n", to[0], to[17], to[18]);
    printf("%d %d\n", switches(6), switches(20));
    printf("%d\n", calls);
    return 0;
}
