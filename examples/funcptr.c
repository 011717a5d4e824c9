/* Pointers to functions: tables of operations, callbacks, variadic calls, a sort with a comparison. */
#include <stdarg.h>
#include <stdio.h>

typedef int (*operation)(int, int);
typedef void (*visitor)(int value, void *context);

static int add(int a, int b) { return a + b; }
static int subtract(int a, int b) { return a - b; }
static int multiply(int a, int b) { return a * b; }
static int maximum(int a, int b) { return a > b ? a : b; }

static const struct {
    char symbol;
    operation apply;
} operations[] = {{'+', add}, {'-', subtract}, {'*', multiply}, {'m', maximum}};

static operation find(char symbol) {
    unsigned i;
    for (i = 0; i < sizeof operations / sizeof operations[0]; i++)
        if (operations[i].symbol == symbol) return operations[i].apply;
    return 0;
}

static int fold(operation op, const int *values, int n, int start) {
    while (n-- > 0) start = op(start, *values++);
    return start;
}

static void for_each(const int *values, int n, visitor visit, void *context) {
    int i;
    for (i = 0; i < n; i++) visit(values[i], context);
}

struct statistics { int sum, count; };

static void collect(int value, void *context) {
    struct statistics *s = context;
    s->sum += value;
    s->count++;
}

static int ascending(int a, int b) { return a - b; }
static int by_last_digit(int a, int b) { return a % 10 != b % 10 ? a % 10 - b % 10 : a - b; }

static void sort(int *values, int n, int (*compare)(int, int)) {
    int i, j;
    for (i = 0; i < n; i++)
        for (j = i + 1; j < n; j++)
            if (compare(values[j], values[i]) < 0) {
                int t = values[i];
                values[i] = values[j];
                values[j] = t;
            }
}

static int sum_of(int count, ...) {
    va_list args;
    int sum = 0;
    va_start(args, count);
    while (count-- > 0) sum += va_arg(args, int);
    va_end(args);
    return sum;
}

int main(void) {
    int values[] = {23, 7, 91, 40, 15, 68, 32};
    const int n = (int)(sizeof values / sizeof values[0]);
    struct statistics s = {0, 0};
    const char *p;
    for (p = "+-*m"; *p; p++) printf("%c %d\n", *p, fold(find(*p), values, n, 1));
    for_each(values, n, collect, &s);
    sort(values, n, ascending);
    printf("%d %d %d %d\n", s.sum, s.count, values[0], values[n - 1]);
    sort(values, n, by_last_digit);
    printf("%d %d %d\n", values[0], values[n - 1], sum_of(4, 1, 20, 300, 4000));
    return find('?') ? 1 : 0;
}
