/* Recursion: factorials, Ackermann's function, towers, queens, mutual recursion, tail calls. */
#include <stdio.h>

static int moves;

static unsigned factorial(unsigned n) { return n < 2 ? 1 : n * factorial(n - 1); }

static int ackermann(int m, int n) {
    if (m == 0) return n + 1;
    if (n == 0) return ackermann(m - 1, 1);
    return ackermann(m - 1, ackermann(m, n - 1));
}

static void hanoi(int n, int from, int to, int spare) {
    if (n == 0) return;
    hanoi(n - 1, from, spare, to);
    moves++;
    hanoi(n - 1, spare, to, from);
}

static int queens(int row, unsigned columns, unsigned left, unsigned right, int n) {
    unsigned free = ~(columns | left | right) & ((1u << n) - 1);
    int solutions = 0;
    if (row == n) return 1;
    while (free) {
        unsigned bit = free & (0u - free);
        free ^= bit;
        solutions += queens(row + 1, columns | bit, (left | bit) << 1, (right | bit) >> 1, n);
    }
    return solutions;
}

static int is_odd(unsigned n);
static int is_even(unsigned n) { return n == 0 ? 1 : is_odd(n - 1); }
static int is_odd(unsigned n) { return n == 0 ? 0 : is_even(n - 1); }

static int gcd(int a, int b) {
    if (b == 0) return a;
    return gcd(b, a % b);
}

static int sum_to(int n, int sum) { return n == 0 ? sum : sum_to(n - 1, sum + n); }

int main(void) {
    hanoi(8, 1, 3, 2);
    printf("%u %d %d %d\n", factorial(10), ackermann(2, 3), moves, queens(0, 0, 0, 0, 6));
    printf("%d %d %d %d\n", is_even(50), is_odd(50), gcd(1071, 462), sum_to(100, 0));
    return 0;
}
