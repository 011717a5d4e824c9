// Structures, unions, bit-fields.
typedef struct point {
    int x, y;
} point;
struct node {
    char tag;
    struct node *next;
    union {
        int whole;
        short half[2];
        float real;
    } u;
    struct {
        int deep;
    };
    point at;
};
struct bits {
    unsigned a : 3, b : 30;
    int : 0;
    signed c : 7;
    int : 2;
    unsigned short d : 16;
    unsigned short e : 5, f : 12;
    _Bool flag : 1;
};
struct flex {
    int n;
    int data[];
};

struct node head, *list;
struct bits bf;
volatile struct bits vbf;

point make_point(int x, int y) {
    point p;
    p.x = x;
    p.y = y;
    return p;
}
int sum(point p) { return p.x + p.y; }
point twice(point p) { return make_point(p.x * 2, p.y * 2); }

int use(struct node *n, int i, point p) {
    point a = p, b, *pp = &b;
    b = a;
    *pp = twice(a);
    a = b = p;
    n->next->u.half[1] = 3;
    n->deep = n->u.whole;
    (*n).at.x = head.at.y;
    n->at = i ? a : b;
    return make_point(1, 2).x + sum(i ? a : twice(b)) + (a = b).y + list[i].tag + sum(n->at) +
           (i, a).x;
}

unsigned bitfields(struct bits *p) {
    bf.a = 5;
    bf.b += 1;
    p->c = -1;
    p->a++;
    p->a /= 3;
    vbf.d = 3;
    bf.flag = 2;
    bf.flag |= p->a;
    return bf.a + p->b + bf.c + vbf.e + bf.f;
}
int flexible(struct flex *f) { return f->data[f->n]; }
unsigned offsets(void) {
    return __builtin_offsetof(struct node, u.half[1]) + __builtin_offsetof(struct node, at.y) * 100;
}
int literal(int x) {
    point *p = &(point){x, 1};
    return sum((point){.y = 2}) + p->x + (int[]){1, x, 3}[x];
}
_Static_assert(sizeof(struct point) == 4, "");
_Static_assert(sizeof(struct bits) == 8, "");
_Static_assert(__builtin_offsetof(struct node, u) == 2, "");
