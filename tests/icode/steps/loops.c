// Loops may get another form while the hierarchy stands; what the program does stays, and behind it
// nothing is left of what the hierarchy keeps in the trees.
// RUN: ic-cc -o %t.ic %s && run_pass loop_hierarchy %t.ic %t.out.ic | FileCheck %s
// RUN: ic-run --check %t.ic > %t.before; ic-run --check %t.out.ic > %t.after
// RUN: cmp %t.before %t.after && FileCheck --check-prefix=RUNS %s < %t.after
extern int printf(const char *, ...);

int sum(const int *p, int n) {
    int total = 0, i, j;
    for (i = 0; i < n; i++)
        for (j = 0; j < i; j++) total += p[i * 8 + j];
    return total;
}

int two_ways_in(int n) {
    if (n > 3) goto middle;
top:
    n += 5;
middle:
    n -= 2;
    if (n > 0 && n < 100) goto top;
    return n;
}

int main(void) {
    int list[40];
    for (int i = 0; i < 40; i++) list[i] = i * i;
    printf("%d %d %d\n", sum(list, 5), two_ways_in(4), two_ways_in(-9));
    return 0;
}
// RUNS: 6980 101 -6
// CHECK-LABEL: function _main
// CHECK-NOT: NASSERT
// CHECK-NOT: DDNODE
// CHECK: endfunction
