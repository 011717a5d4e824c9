// Steps whose work is still empty, and all those above the level, leave the file as it is.
// RUN: ic-cc -o %t.ic %s && run_pass none %t.ic > %t.before
// RUN: for step in 6 8 9 12 18 19 26 27 42 46 49; do run_pass $step %t.ic | cmp - %t.before; done
// RUN: for step in 7 11 20 45 48; do run_pass $step --opt_level=off %t.ic > %t.off; done
// RUN: run_pass none --opt_level=off %t.ic > %t.none_off
// RUN: for s in 11 20 45 48; do run_pass $s --opt_level=off %t.ic | cmp - %t.none_off; done
// RUN: if run_pass "no such pass" %t.ic; then exit 1; fi
// RUN: if run_pass copyprop/4 %t.ic; then exit 1; fi
struct point {
    int x, y;
};
int all(int a) {
    struct point p;
    int copy = a;
    p.x = copy;
    p.y = 2;
    while (a--) copy += p.x / 3;
    return copy + p.y;
}
