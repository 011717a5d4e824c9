/* What is stored and what is read back, by names and through pointers that lead there. */
#include <stdio.h>
#include <string.h>

struct inner { short a; int b; };
struct outer { struct inner in[2]; struct inner *link; unsigned low : 5, high : 7; };
union word { int whole; short half[2]; float real; };

static int hidden, counter, table[6];
static struct outer object;
static union word word;
static struct inner *cursor;
int *way, seen;
static int **indirect = &way;

static int plain(void) { hidden = 4; counter = hidden + 1; return hidden * counter; }
static int late(void) { way = &hidden; hidden = 1; *way = 2; return hidden; }
static int through(void) { hidden = 5; *way = 7; return hidden; }
static int twice(void) { **indirect = 3; hidden += **indirect; return **indirect; }
static int bump(void) { return ++counter; }
static int calls(void) { counter = 8; int first = counter; bump(); return first * 100 + counter; }

static int moves(void) {
    struct inner local[2] = {{1, 2}, {3, 4}};
    cursor = &local[0];
    cursor->a = 9;
    cursor = &local[1];
    int sum = cursor->a * 10 + local[0].a;
    local[1].b = 6;
    cursor->b += local[1].b;
    cursor = 0;
    return sum * 100 + local[1].b;
}

static int parts(int n) {
    object.in[0].a = 1;
    object.in[1].a = 2;
    object.in[n].a = 30;
    object.low = 33;
    object.high = object.low + 1;
    object.link = object.in + n;
    object.link->b = 5;
    return object.in[0].a + object.in[1].a + object.low * 100 + object.high * 1000 + object.in[n].b;
}

static int unions(void) {
    word.whole = 0x00010002;
    word.half[0] = 7;
    int first = word.whole;
    word.real = 1.0f;
    return first + (word.whole == 0x3f800000);
}

static int indices(int i, int j) {
    table[i] = 10;
    table[j] = 20;
    int at_i = table[i];
    table[i + 1] = at_i;
    return at_i * 100 + table[j + 1] + table[i];
}

static int itself(void) {
    static void *self;
    void **p = (void **)&self;
    self = p;
    *(void **)self = 0;
    return self == 0;
}

static int arms(int x, int y) {
    int before = hidden + x;
    if (x == 3) {
        hidden = x;
        if (y != 2) return hidden * 10 + x;
        x += y;
    } else if (hidden == 3) {
        return hidden + x + (hidden + x == before);
    }
    counter = hidden;
    if (x < y) counter = x < y;
    return hidden + x + before + counter;
}

static int constants(int n) {
    const int odd[4] = {1, 3, 5, 7};
    struct inner pair = {4, 5}, again = {6, 7};
    int sum = odd[n] + odd[2] + pair.a + pair.b;
    again.a += n;
    return sum * 100 + again.a + again.b;
}

static int loops(int n) {
    int scratch[8], i, j, last = 0;
    for (i = 0; i < 8; i++)
        for (j = 0; j < 3; j++)
            scratch[i] = j;
    for (i = 10; i != 0; i -= 2)
        last = i;
    for (i = n; i > 3; i--)
        ;
    return i * 10 + last;
}

static void show(int value) { printf("%d\n", value); }

int main(void) {
    show(plain()), show(late()), show(through()), show(twice()), show(calls());
    show(moves()), show(parts(0)), show(parts(1)), show(unions());
    show(indices(1, 2)), show(indices(2, 2)), show(indices(3, 2));
    hidden = 2;
    show(itself()), show(arms(3, 2)), show(arms(3, 4)), show(arms(1, 5));
    hidden = 6;
    show(arms(1, 5)), show(arms(7, 5));
    show(constants(0)), show(constants(3)), show(loops(9)), show(loops(-4));
    return 0;
}
