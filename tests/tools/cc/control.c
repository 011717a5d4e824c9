// Every statement.
int g;
int f(int);
void _nassert(int);

void loops(int n) {
    int i, k = 0;
    for (i = 0; i < n; i++) g += i;
    for (int j = n; j; --j) {
        int t = j * 2;
        if (t == 4) continue;
        if (t > 100) break;
        g ^= t;
    }
    while (k < n) k += 2;
    do {
        k--;
        if (k == 3) continue;
    } while (k > 0);
    for (;;) {
        if (f(k++)) break;
    }
    while (1) {
        if (f(k)) return;
    }
}

int branches(int a, int b) {
    if (a > b)
        g = 1;
    else if (a == b)
        g = 2;
    else
        g = 3;
    a ? f(a) : f(b);
    a && f(b);
    a || f(b);
    (void)(a ? f(1) : 0);
    f(a), f(b);
    f(a) + f(b);
    a + b;
    a == b && (g = 1, f(g));
    return a ? b ? 1 : 2 : 3;
}

int choose(int v) {
    switch (v) {
    case 1:
    case 2: g = 1; break;
    case -5: g = 2;
    case 'z': {
        int inner = g;
        g = inner + 1;
        break;
    }
    case 100 ... 102: return 5;
    default: g = 9;
    }
    switch (v) {
    }
    switch (v & 3) case 0: g++;
    switch ((unsigned char)v) {
    case 200: return 1;
    case (char)65537: return 2;
    }
    return 0;
}

int jumps(int n) {
again:
    if (n > 10) goto out;
    n += f(n);
    {
        int x = n;
    inside:
        n += x;
        if (n & 1) goto inside;
    }
    goto again;
out:
    return n;
}

int duff(int n) {
    int r = 0;
    switch (n % 4) {
    case 0:
        do {
            r++;
        case 3: r++;
        case 2: r++;
        case 1: r++;
        } while ((n -= 4) > 0);
    }
    return r;
}

#define COUNT 16
void pragmas(int *restrict a, const int *restrict b, int n) {
    int i;
#pragma MUST_ITERATE(8, , 8)
#pragma UNROLL(4)
    for (i = 0; i < n; i++) a[i] = b[i];
#pragma PROB_ITERATE(COUNT, 0x20)
    do {
        g++;
    } while (g < n);
    while (n--) {
#pragma UNROLL(2)
        for (i = 0; i < 4; i++) g += i;
    }
    _nassert(n > 0);
    __builtin_assume(n < 100);
}

void assembly(void) {
    asm(" NOP");
    asm volatile(" IDLE");
}
asm(" .global _start");

int main(void) { loops(3); }
