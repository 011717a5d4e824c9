// Assorted C++: containers, aggregates, unions, conversions, lifetimes of temporaries.
#include <cstdio>
#include <utility>
struct node { int v; node *next; };
template<class T> struct list {
  struct item { T v; item *next; };
  item *head = nullptr; int n = 0;
  ~list() { while (head) { item *k = head->next; delete head; head = k; } }
  void add(const T &v) { head = new item{v, head}; ++n; }
  struct iterator { item *p; T &operator*() { return p->v; } iterator &operator++() { p = p->next; return *this; } bool operator!=(const iterator &o) const { return p != o.p; } };
  iterator begin() { return {head}; } iterator end() { return {nullptr}; }
};
struct s1 { int a; s1(int x) : a(x) {} s1(const s1 &o) : a(o.a + 1) {} };
struct agg { s1 x; int y = 7; const char *z; };
union un { int i; float f; un() : i(5) {} };
struct withunion { union { int q; float r; }; int w; withunion(int k) : q(k), w(k + 1) {} };
struct multi { s1 arr[3]; int m[2][2]; multi() : arr{1, 2, 3}, m{{1, 2}, {3, 4}} {} };
static int fsum(int a, int b = 2, int c = 3) { return a * 100 + b * 10 + c; }
struct conv { operator int() const { return 42; } conv &operator=(int) { return *this; } };
struct ref { int &r; };
int gi = 5;
const ref gref{gi};
static int hits;
struct tracker { int k; tracker(int k) : k(k) { hits += k; } ~tracker() { hits -= k; } };
int use(const tracker &a, const tracker &b) { return hits * 1000 + a.k * 10 + b.k; }
namespace a { namespace b { int f() { return 1; } } inline namespace c { int g() { return 2; } } }
enum class E : unsigned char { x = 200, y };
struct bits { unsigned a : 4; int b : 5; bool c : 1; bits() : a(9), b(-3), c(true) {} };
template <typename T> T id(T t) { return t; }
struct base { int x = 1; base() = default; base(int k) : x(k) {} int get() const { return x; } static int count; };
int base::count = 3;
struct derived : private base { using base::get; derived() : base(8) {} };
struct copyable { int arr[4]; s1 e; copyable() : arr{1,2,3,4}, e(9) {} };
int fact(int n) { static int depth = 0; ++depth; int r = n < 2 ? 1 : n * fact(n - 1); --depth; return r + depth * 0; }
void out(int &&r) { printf("rv %d\n", r); }
void out(int &l) { printf("lv %d\n", l); }
int *find(int *b, int *e, int v) { for (; b != e; ++b) if (*b == v) return b; return nullptr; }
struct fnobj { int mul; int operator()(int v) const { return v * mul; } };
template <class F> int twice(F f, int v) { return f(f(v)); }
constexpr int sq(int x) { return x * x; }
int arr[sq(3)];
int main() {
  list<int> l; for (int i = 0; i < 4; i++) l.add(i * i);
  int t = 0; for (int &v : l) t = t * 10 + v; printf("%d %d\n", t, l.n);
  list<s1> ls; ls.add(s1(4)); printf("%d\n", (*ls.begin()).a);
  agg g{s1(3), 4}; agg h = g; printf("%d %d %d %d %d\n", g.x.a, g.y, g.z == nullptr, h.x.a, agg{1}.y);
  un u; printf("%d\n", u.i); withunion w(3); printf("%d %d\n", w.q, w.w);
  multi m, m2 = m; printf("%d %d %d %d\n", m.arr[2].a, m.m[1][0], 0, m2.m[1][1]);
  printf("%d %d %d\n", fsum(1), fsum(1, 5), fsum(1, 5, 9));
  conv c; c = 3; int ci = c + 1; printf("%d %d\n", ci, c ? 1 : 0);
  gref.r = 8; int loc = 1; ref lr{loc}; lr.r += 4; printf("%d %d\n", gi, loc);
  int r = use(tracker(1), tracker(2)); printf("%d %d\n", r, hits);
  { const tracker &k = tracker(5); printf("%d %d\n", hits, k.k); } printf("%d\n", hits);
  for (int i = 0; use(tracker(i), 3) > 0 && i < 3; i++) printf("i%d h%d ", i, hits); printf("\n");
  printf("%d %d\n", a::b::f(), a::g());
  printf("%d\n", (int)E::y); bits b; b.b++; printf("%u %d %d\n", b.a, b.b, b.c);
  printf("%d %d\n", derived().get(), base::count);
  copyable k1, k2(k1), k3; k3 = k2; printf("%d %d %d\n", k2.arr[3], k2.e.a, k3.e.a);
  printf("%d\n", fact(5)); out(3); out(loc); out(std::move(loc));
  int v[] = {4, 5, 6}; if (int *p = find(v, v + 3, 5)) printf("%d\n", (int)(p - v));
  printf("%d %d\n", twice(fnobj{3}, 2), twice([](int x) { return x - 1; }, 2));
  printf("%d\n", (int)(sizeof arr / sizeof arr[0]));
  bool q = loc > 2; q = q && v[0] == 4; int qi = q + (v[1] > 4) + !q; printf("%d %d\n", q, qi);
  s1 *ps = new s1[2]{s1(1), s1(2)}; printf("%d\n", ps[1].a); delete[] ps;
}
