// Cheaper forms by the table of costs: shifts for products with powers of two and their
// neighbours, the latter for variables only.
// RUN: ic-cc -o %t.ic %s && run_pass simp_all_trees/unsimplify %t.ic | FileCheck %s
extern int next(void);

int power(int x) {
    return next() * 8;
}
// CHECK-LABEL: function _power
// CHECK: (RETURN:int
// CHECK-NEXT: (NAME:int(int) _power)
// CHECK-NEXT: (SLL:int (UCALL:int (UAND:int(void)* (NAME:int(void) _next))) (ICON:int 3)))
// CHECK-NEXT: endfunction

int neighbours(int x) {
    return x * 9 ^ x * 7;
}
// CHECK-LABEL: function _neighbours
// CHECK: (RETURN:int
// CHECK-NEXT: (NAME:int(int) _neighbours)
// CHECK-NEXT: (XORB:int
// CHECK-NEXT: (PLUS:int (SLL:int (NAME:int x) (ICON:int 3)) (NAME:int x))
// CHECK-NEXT: (MINUS:int (SLL:int (NAME:int x) (ICON:int 3)) (NAME:int x))))
// CHECK-NEXT: endfunction

int read_once(void) {
    return next() * 7;
}
// CHECK-LABEL: function _read_once
// CHECK: (RETURN:int
// CHECK-NEXT: (NAME:int(void) _read_once)
// CHECK-NEXT: (MULT:int (UCALL:int (UAND:int(void)* (NAME:int(void) _next))) (ICON:int 7)))
// CHECK-NEXT: endfunction

int negative(int x) {
    return x * -4;
}
// CHECK-LABEL: function _negative
// CHECK: (RETURN:int (NAME:int(int) _negative) (UMINUS:int (SLL:int (NAME:int x) (ICON:int 2))))
// CHECK-NEXT: endfunction

int dear(int x) {
    return x * 10;
}
// CHECK-LABEL: function _dear
// CHECK: (RETURN:int (NAME:int(int) _dear) (MULT:int (NAME:int x) (ICON:int 10)))
// CHECK-NEXT: endfunction

void update(int *p) {
    *p *= 4;
}
// CHECK-LABEL: function _update
// CHECK: (SLLASG:int (UMULT:int (NAME:int* p)) (ICON:int 2))
// CHECK-NEXT: (URETURN:void (NAME:void(int*) _update))
// CHECK-NEXT: endfunction
