// Inheritance and virtual functions.
#include <stdio.h>

struct shape {
    int id;
    shape(int i) : id(i) { describe(); }
    virtual ~shape() { printf("~shape %d\n", id); }
    virtual int area() const = 0;
    virtual void describe() const { printf("shape %d\n", id); }
    int twice() const { return 2 * area(); }
};
struct rectangle : shape {
    int w, h;
    rectangle(int i, int a, int b) : shape(i), w(a), h(b) { describe(); }
    ~rectangle() override { printf("~rectangle %d\n", id); }
    int area() const override { return w * h; }
    void describe() const override { printf("rectangle %d: %d x %d\n", id, w, h); }
};
struct square final : rectangle {
    square(int i, int a) : rectangle(i, a, a) {}
    int area() const final { return rectangle::area() + 1000; }
};
struct named {
    const char *name = "nobody";
    virtual const char *label() { return name; }
    virtual int code(int n) { return n; }
    virtual ~named() {}
};
struct plain { int extra = 5; int get() { return extra; } };
struct both : rectangle, plain, named {
    short tail = 3;
    both(int i) : rectangle(i, 2, 3) { name = "both"; }
    const char *label() override { return tail == 3 ? "labelled" : name; }
    int code(int n) override { return n + w + extra; }
    int area() const override { return 7; }
};
struct deeper : both {
    deeper() : both(9) {}
    int code(int n) override { return both::code(n) * 10; }
    virtual int own() { return 77; }
};
struct base_a { int a = 1; virtual int f() { return a; } };
struct base_b { int b = 2; virtual int f() { return b; } virtual int g() { return b * 10; } };
struct joined : base_a, base_b { int f() override { return 30 + a + b; } };

static int total(const shape *const *list, int n) {
    int sum = 0;
    for (int i = 0; i < n; i++) sum += list[i]->area();
    return sum;
}
static void inspect(named &n) { printf("%s %s %d\n", n.name, n.label(), n.code(1)); }

int main() {
    rectangle r(1, 3, 4);
    square s(2, 5);
    both b(3);
    const shape *list[] = {&r, &s, &b};
    printf("%d %d %d\n", total(list, 3), list[1]->twice(), s.rectangle::area());
    inspect(b);
    named n;
    inspect(n);
    plain *p = &b;
    named *as_named = &b;
    printf("%d %d %s\n", p->get(), static_cast<both *>(p)->id, static_cast<both *>(as_named)->label());
    both *none = nullptr;
    named *still_none = none;
    printf("%d\n", still_none == nullptr);
    shape *owned = new square(4, 2);
    delete owned;
    deeper *d = new deeper;
    inspect(*d);
    printf("%d\n", d->own());
    named *through = d;
    delete through;
    joined j;
    base_a &ja = j;
    base_b &jb = j;
    printf("%d %d %d %d\n", ja.f(), jb.f(), jb.g(), j.base_b::f());
    base_b copy = j;
    printf("%d\n", copy.f());
    return 0;
}
