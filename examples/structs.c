/* Structures by value, unions, bit-fields, nested initialisers. */
#include <stdio.h>

struct point { short x, y; };
struct rect { struct point min, max; };
struct flags {
    unsigned ready : 1;
    unsigned mode : 3;
    int level : 5;
    unsigned rest : 7;
};
union word {
    unsigned whole;
    struct { unsigned short low, high; } half;
};
struct shape {
    const char *name;
    struct rect box;
    struct flags flags;
    union word id;
};

static struct shape shapes[] = {
    {"unit", {{0, 0}, {1, 1}}, {1, 2, -3, 100}, {0x12345678u}},
    {"wide", {{-5, 2}, {40, 8}}, {0, 7, 15, 0}, {7}},
    {.name = "tall", .box = {.max = {3, 90}}, .flags = {.level = -16}},
};

static struct point add(struct point a, struct point b) {
    struct point sum = {(short)(a.x + b.x), (short)(a.y + b.y)};
    return sum;
}

static struct rect join(struct rect a, struct rect b) {
    struct rect r = a;
    if (b.min.x < r.min.x) r.min.x = b.min.x;
    if (b.min.y < r.min.y) r.min.y = b.min.y;
    if (b.max.x > r.max.x) r.max.x = b.max.x;
    if (b.max.y > r.max.y) r.max.y = b.max.y;
    return r;
}

static int area(const struct rect *r) { return (r->max.x - r->min.x) * (r->max.y - r->min.y); }

int main(void) {
    struct rect all = shapes[0].box;
    struct point sum = {0, 0};
    int i, n = (int)(sizeof shapes / sizeof shapes[0]);
    for (i = 0; i < n; i++) {
        struct shape s = shapes[i];
        all = join(all, s.box);
        sum = add(sum, s.box.max);
        s.flags.mode += 3;
        s.flags.level -= 14;
        printf("%s area %d ready %d mode %d level %d rest %d low %d\n", s.name, area(&s.box), (int)s.flags.ready,
               (int)s.flags.mode, (int)s.flags.level, (int)s.flags.rest, (int)s.id.half.low);
    }
    printf("all %d sum %d %d\n", area(&all), sum.x, sum.y);
    return 0;
}
