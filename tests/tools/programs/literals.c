// Compound literals, designated initialisers, flexible array members.
#include <stdio.h>
#include <string.h>

struct point { int x, y; };
struct line { struct point from, to; const char *name; short tags[3]; };
struct tree { int value; const struct tree *left, *right; };

// At file level, with addresses taken.
static struct point *corner = &(struct point){3, 4};
static int *numbers = (int[]){1, 2, 3, 4};
static const struct tree root = {5, &(const struct tree){3, 0, &(const struct tree){4}},
                                 &(struct tree){.value = 9}};
static struct line lines[] = {
    [2] = {.to.y = 7, .to.x = 6, .name = "two", .tags = {[1] = 5}},
    [0] = {{1, 2}, .name = "zero", .tags = {1, 2, 3}, .tags[1] = 20},
    [1].from = {8, 9},
    [1].name = "one",
};
static int ranges[12] = {[2 ... 5] = 7, [4] = 1, 2, 3, [9 ... 10] = -1};
static char text[8] = {"abc"}, more[] = {[3] = 'z', [0] = 'a'};
union value { int i; struct { short low, high; } half; float f; };
static union value unions[3] = {{5}, {.half = {.high = 2}}, {.f = 1.5f}};

struct packet { short length; int data[]; };
static struct packet full = {3, {10, 20, 30}};
struct named { int id; char name[]; };
static struct named who = {7, "flexible"};
static struct { struct point p; int rest[]; } unnamed = {{1, 2}, {3, 4, 5, 6}};

static int sum(const int *p, int n) {
    int s = 0;
    while (n--) s += *p++;
    return s;
}
static int area(struct point p) { return p.x * p.y; }
static int walk(const struct tree *t) { return t ? walk(t->left) * 2 + t->value + walk(t->right) : 0; }

static void locals(int a, int b) {
    struct line l = {.to = {a, b}, .from.x = b, .tags = {[2] = 9}};
    struct line copy = {.from = l.to, .name = "copy", .from.y = 77};
    struct line whole[2] = {[0] = copy, [0].to.x = a + b, [1] = l, [1].name = "n"};
    int v[6] = {[1] = a, [3 ... 4] = b};
    int grid[2][3] = {[1][1] = a, {b, a}, [0][2] = 4};
    printf("%d %d %d %d %d\n", l.from.x, l.to.x, l.to.y, l.tags[2], l.name == 0);
    printf("%d %d %s\n", copy.from.x, copy.from.y, copy.name);
    printf("%d %d %d %s %d\n", whole[0].to.x, whole[0].from.y, whole[1].to.y, whole[1].name,
           whole[1].tags[2]);
    printf("%d %d %d\n", sum(v, 6), sum(grid[0], 3), sum(grid[1], 3));
    struct point *p = &(struct point){a, b};
    p->x += 10;
    printf("%d %d\n", p->x, area((struct point){.y = a, .x = b}));
    printf("%d\n", sum((int[3]){a, b}, 3) + (int){5} + ((struct point){a, b}).y);
    for (int i = 0; i < 3; i++) {
        int *q = (int[2]){i, i};
        q[0]++;
        printf("%d%d ", q[0], q[1]);
    }
    printf("%s\n", (char[]){"writable"});
}

int main(void) {
    printf("%d %d %d\n", corner->x, corner->y, sum(numbers, 4));
    printf("%d\n", walk(&root));
    for (int i = 0; i < 3; i++)
        printf("%s %d %d %d %d [%d %d %d]\n", lines[i].name, lines[i].from.x, lines[i].from.y,
               lines[i].to.x, lines[i].to.y, lines[i].tags[0], lines[i].tags[1], lines[i].tags[2]);
    for (int i = 0; i < 12; i++) printf("%d ", ranges[i]);
    printf("\n%s %d %s %d\n", text, text[7], more, more[3]);
    printf("%d %d %d %.2f\n", unions[0].i, unions[1].half.low, unions[1].half.high, unions[2].f);
    printf("%d %d %s %d %d\n", full.length, sum(full.data, 3), who.name, who.id, sum(unnamed.rest, 4));
    full.data[1] = 5;
    printf("%d\n", sum(full.data, full.length) + (int)strlen(who.name));
    locals(3, 4);
    return 0;
}
