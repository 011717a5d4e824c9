// Trees in normal form: constants to the right and together, comparisons turned around, no step for
// what is known; effects, their order and volatile reads stay.
// RUN: ic-cc -o %t.ic %s && run_pass simp_all_trees %t.ic | FileCheck %s
extern volatile int port;
extern int next(void);

int constants(int x) {
    return 1 + (x + 2 * 3);
}
// CHECK-LABEL: function _constants
// CHECK: (RETURN:int (NAME:int(int) _constants) (PLUS:int (NAME:int x) (ICON:int 7)))
// CHECK-NEXT: endfunction

unsigned powers(unsigned x) {
    return x * 8 / 8 % 16;
}
// CHECK-LABEL: function _powers
// CHECK: (RETURN:unsigned
// CHECK-NEXT: (NAME:unsigned(unsigned) _powers)
// CHECK-NEXT: (ANDB:unsigned (NAME:unsigned x) (ICON:unsigned 15)))
// CHECK-NEXT: endfunction

int tests(int x) {
    if (!(x < 3)) return 1;
    return 0;
}
// CHECK-LABEL: function _tests
// CHECK: (CBRANCH:int (GT:int (NAME:int x) (ICON:int 2)) (LABEL:int 1))
// CHECK-NEXT: (RETURN:int (NAME:int(int) _tests) (ICON:int 1))
// CHECK-NEXT: label 1
// CHECK-NEXT: (RETURN:int (NAME:int(int) _tests) (ICON:int 0))
// CHECK-NEXT: endfunction

int effects(int x) {
    return next() * 0 + (port - port) + (x - x);
}
// CHECK-LABEL: function _effects
// CHECK: (RETURN:int
// CHECK-NEXT: (NAME:int(int) _effects)
// CHECK-NEXT: (COMMAOP:int
// CHECK-NEXT: (UCALL:int (UAND:int(void)* (NAME:int(void) _next)))
// CHECK-NEXT: (MINUS:int (NAME:int.volatile _port) (NAME:int.volatile _port))))
// CHECK-NEXT: endfunction

int *address(int *p) {
    return &p[3] + 2;
}
// CHECK-LABEL: function _address
// CHECK: (RETURN:int* (NAME:int*(int*) _address) (PLUS:int* (NAME:int* p) (ICON:char 10)))
// CHECK-NEXT: endfunction
