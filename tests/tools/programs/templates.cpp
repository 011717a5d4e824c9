// Templates, lambdas, range loops, constexpr, enum classes.
#include <stdio.h>
#include <utility>

template <typename T, int N> struct fixed {
    T data[N];
    int used = 0;
    static int made;
    fixed() { made++; }
    void push(const T &v) { if (used < N) data[used++] = v; }
    T *begin() { return data; }
    T *end() { return data + used; }
    T &operator[](int i) { return data[i]; }
    template <typename F> int count(F f) const {
        int n = 0;
        for (int i = 0; i < used; i++) n += f(data[i]) ? 1 : 0;
        return n;
    }
};
template <typename T, int N> int fixed<T, N>::made = 0;

template <typename T> T greatest(T a, T b) { return a < b ? b : a; }
template <> const char *greatest(const char *a, const char *) { return a; }
template <typename T> int sum_all(T v) { return (int)v; }
template <typename T, typename... R> int sum_all(T v, R... rest) { return (int)v + sum_all(rest...); }
template <typename... A> int folded(A... a) { return (a + ... + 0) * (int)sizeof...(A); }
template <typename F, typename... A> auto apply(F &&f, A &&...a) { return f(std::forward<A>(a)...); }

template <typename T> struct is_pointer { static constexpr bool value = false; };
template <typename T> struct is_pointer<T *> { static constexpr bool value = true; };
template <typename T> int kind(T v) {
    if constexpr (is_pointer<T>::value) return 100 + *v;
    else return v;
}
template <int N> struct factorial { enum { value = N * factorial<N - 1>::value }; };
template <> struct factorial<0> { enum { value = 1 }; };
constexpr int power(int b, int e) { return e == 0 ? 1 : b * power(b, e - 1); }
constexpr int table_size = power(2, 4);
static int table[table_size] = {power(3, 2)};

template <typename T> class shared {
    struct block { T value; int count; };
    block *b;
public:
    explicit shared(T v) : b(new block{v, 1}) {}
    shared(const shared &o) : b(o.b) { b->count++; }
    ~shared() { if (--b->count == 0) { printf("last %d\n", (int)b->value); delete b; } }
    T *operator->() { return &b->value; }
    T &operator*() { return b->value; }
    int count() const { return b->count; }
};

enum class colour : short { red = 1, green, blue = 10 };
enum mode : unsigned { off, on = 0xffffffff };
static int score(colour c) {
    switch (c) {
    case colour::red: return 1;
    case colour::green: return 2;
    default: return static_cast<int>(c);
    }
}

struct counter {
    int n = 0;
    auto adder() { return [this](int by) { n += by; return n; }; }
    auto copy() { return [*this]() mutable { return ++n; }; }
};
static int call(int (*f)(int), int v) { return f(v); }
int zero_references[2];
static int &element = zero_references[1];

int main() {
    fixed<int, 5> numbers;
    fixed<float, 3> reals;
    fixed<int, 5> others;
    for (int i = 0; i < 7; i++) numbers.push(i * i);
    reals.push(1.5f);
    reals.push(2.25f);
    int sum = 0;
    for (int &v : numbers) { v++; if (v == 5) continue; sum += v; }
    float total = 0;
    for (float v : reals) total += v;
    for (auto c : "ab") sum += c == 'a';
    printf("%d %.2f %d %d %d\n", sum, (double)total, fixed<int, 5>::made, fixed<float, 3>::made, others.used);
    int limit = 5;
    printf("%d %d\n", numbers.count([&](int v) { return v > limit; }),
           numbers.count([limit](int v) { return v < limit; }));
    printf("%d %.1f %s\n", greatest(3, 9), (double)greatest(2.5f, 1.0f), greatest("first", "second"));
    printf("%d %d %d\n", sum_all(1, 2.5f, 'a', 4u), folded(1, 2, 3), folded());
    printf("%d %d %d %d\n", kind(7), kind(&limit), (int)factorial<6>::value, table[0] + table_size);
    {
        shared<int> a(5);
        shared<int> b = a;
        *b += 2;
        printf("%d %d\n", *a, a.count());
        auto keep = [a]() mutable { return a.count() + *a; };
        printf("%d %d\n", keep(), a.count());
    }
    printf("%d %d %d %d\n", score(colour::green), score(colour::blue), on == 0xffffffffu, (int)colour::red);
    counter c;
    auto add = c.adder();
    add(3);
    auto copied = c.copy();
    copied();
    printf("%d %d %d\n", add(4), copied(), c.n);
    auto fib = [](auto self, int n) -> int { return n < 2 ? n : self(self, n - 1) + self(self, n - 2); };
    printf("%d %d\n", fib(fib, 10), call([](int v) { return v * 3; }, 14));
    int x = 1, y = 2;
    std::swap(x, y);
    auto both = [&x, y = y + 10](int z) mutable { x += z; y += z; return x * 100 + y; };
    printf("%d %d %d\n", both(1), both(2), x);
    printf("%d\n", apply([](int a, int &b) { b = a; return a + 1; }, 4, y) + y);
    element = 6;
    std::pair<int, const char *> pair{3, "pair"};
    printf("%d %d %s\n", zero_references[1], pair.first, pair.second);
    return 0;
}
