// Classes: constructors and destructors in their order, operators, references, overloads,
// namespaces, default arguments, static members, new and delete, static objects.
#include <new>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

namespace trace {
int depth;
struct noisy {
    int id;
    static int alive;
    noisy(int i = 100) : id(i) { alive++; printf("+%d ", id); }
    noisy(const noisy &o) : id(o.id + 1000) { alive++; printf("c%d ", id); }
    noisy(noisy &&o) : id(o.id + 2000) { alive++; o.id = -1; printf("m%d ", id); }
    noisy &operator=(const noisy &o) { id = o.id + 10000; printf("=%d ", id); return *this; }
    ~noisy() { alive--; printf("-%d ", id); }
    bool odd() const { return id & 1; }
};
int noisy::alive = 0;
} // namespace trace
using trace::noisy;

static noisy global(1), *early = &global;
int order = global.id + 1;
static const int constant = 40 + 2;

struct text {
    char *p;
    int n;
    text(const char *s = "") : p((char *)malloc(strlen(s) + 1)), n((int)strlen(s)) { strcpy(p, s); }
    text(const text &o) : text(o.p) {}
    ~text() { free(p); }
    text &operator=(const text &o) {
        if (this != &o) { text kept(o); char *q = p; p = kept.p; kept.p = q; n = o.n; }
        return *this;
    }
    text &operator+=(const text &o) {
        char *q = (char *)malloc(n + o.n + 1);
        strcpy(q, p);
        strcat(q, o.p);
        free(p);
        p = q;
        n += o.n;
        return *this;
    }
    char &operator[](int i) { return p[i]; }
    char operator[](int i) const { return p[i]; }
    explicit operator bool() const { return n != 0; }
    operator const char *() const { return p; }
    int operator()(int a, int b = 3) const { return a * b + n; }
    friend text operator+(text a, const text &b) { a += b; return a; }
    friend bool operator==(const text &a, const text &b) { return strcmp(a.p, b.p) == 0; }
};

struct point {
    int x = 1, y{2};
    point &move(int dx, int dy = 10) { x += dx; y += dy; return *this; }
    point operator-() const { return {-x, -y}; }
    point operator++(int) { point old = *this; ++x; return old; }
    point &operator++() { ++x; return *this; }
    static point origin() { return point{0, 0}; }
};
struct holder {
    noisy a, b[2];
    const int &ref;
    point p;
    holder(int n, const int &r) : a(n), b{n + 1}, ref(r), p{n} {}
};

static int over(int) { return 1; }
static int over(unsigned) { return 2; }
static int over(float) { return 3; }
static int over(const char *) { return 4; }
static int over(const point &) { return 6; }
static int over(point &&) { return 7; }

static noisy make(int n) { return noisy(n); }
static noisy pass(noisy n) { printf("[%d] ", n.id); return n; }
static int &larger(int &a, int &b) { return a > b ? a : b; }

static int scopes(int n) {
    noisy outer(10);
    for (int i = 0; i < n; i++) {
        noisy inner(20 + i);
        if (i == 1) continue;
        if (i == 3) break;
        if (n == 7) return inner.id + outer.id;
        noisy late(30 + i);
    }
    if (noisy cond{5}; cond.odd()) printf("odd ");
    switch (n) {
    case 2: { noisy s(77); break; }
    default: printf("none ");
    }
    return noisy(50).id;
}

static noisy &once(int n) {
    static noisy kept(n);
    return kept;
}

int main() {
    printf("| %d %d %d\n", early->id, order, constant);
    printf("%d\n", scopes(2));
    printf("%d\n", scopes(5));
    printf("%d\n", scopes(7));
    {
        noisy a = make(60), b = a, c = static_cast<noisy &&>(a);
        c = b;
        printf("\n");
        noisy d = pass(b);
        pass(make(61));
        const noisy &bound = make(62);
        printf("%d %d\n", d.id, bound.id);
        bool yes = make(63).odd() && make(64).odd() && make(65).odd();
        int choice = yes ? make(66).id : make(67).id;
        printf("%d %d\n", yes, choice);
    }
    printf("\n%d %d\n", once(70).id, once(71).id);
    text t("ab"), u = t + text("cd") + "ef";
    u[0] = 'X';
    t += u;
    printf("%s %s %d %d %d %d\n", (const char *)t, u.p, t == u, u(2), u(2, 5), t ? 1 : 0);
    text copy;
    copy = u;
    copy = copy;
    printf("%d %d %c\n", copy == u, !!text(), static_cast<const text &>(copy)[1]);
    point p, q = -p.move(3).move(1, 1);
    point before = p++;
    (++p).move(0, 0).x += 5;
    printf("%d %d %d %d %d %d %d\n", p.x, p.y, q.x, q.y, before.x, point::origin().y, point{7}.y);
    unsigned un = 1;
    printf("%d%d%d%d%d%d\n", over('a'), over(un), over(1.5f), over("s"), over(p), over(point()));
    int a = 3, b = 9;
    larger(a, b) = 1;
    int &r = larger(a, b);
    r++;
    (a = b) += 7;
    printf("%d %d\n", a, b);
    {
        holder h(80, a);
        a = 55;
        printf("%d %d %d %d\n", h.b[1].id, h.ref, h.p.x, h.p.y);
    }
    noisy *one = new noisy(90), *many = new noisy[3]{91, 92};
    printf("\n");
    delete one;
    delete[] many;
    delete (noisy *)nullptr;
    alignas(noisy) char room[sizeof(noisy)];
    noisy *placed = new (room) noisy(95);
    placed->~noisy();
    int *numbers = new int[4](), sum = 0;
    for (int i = 0; i < 4; i++) sum += numbers[i];
    delete[] numbers;
    printf("\n%d %d\n", sum, noisy::alive);
    auto [px, py] = p;
    printf("%d %d\n", px, py);
    return 0;
}
