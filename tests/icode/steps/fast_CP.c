// What is assigned once reaches all its uses, what is assigned several times those behind it in a
// run of blocks, and so do variables for expressions that they hold; a test that becomes constant
// goes away. A store through a pointer ends what memory is known to hold.
// RUN: ic-cc -o %t.ic %s && run_pass "fast_CP(4,0)" %t.ic | FileCheck %s
extern void use(int);
int global;

void assigned_once(int n) {
    int size = 4;
    while (n--) use(size * 2);
}
// CHECK-LABEL: function _assigned_once
// CHECK: (CBRANCH:int (MINMIN:int (NAME:int n) (ICON:int 1)) (LABEL:int 2))
// CHECK-NEXT: label 1
// CHECK-NEXT: (CALL:void (UAND:void(int)* (NAME:void(int) _use)) (ICON:int 8))
// CHECK-NEXT: (CBRANCH:int (EQ:int (MINMIN:int (NAME:int n) (ICON:int 1)) (ICON:int 0)) (LABEL:int 1))
// CHECK-NEXT: label 2
// CHECK-NEXT: (URETURN:void (NAME:void(int) _assigned_once))
// CHECK-NEXT: endfunction

void assigned_twice(int y) {
    int x = y;
    use(x);
    x = 5;
    use(x);
}
// CHECK-LABEL: function _assigned_twice
// CHECK: (CALL:void (UAND:void(int)* (NAME:void(int) _use)) (NAME:int.const y))
// CHECK-NEXT: (CALL:void (UAND:void(int)* (NAME:void(int) _use)) (ICON:int 5))
// CHECK-NEXT: (URETURN:void (NAME:void(int) _assigned_twice))
// CHECK-NEXT: endfunction

void decides_a_test(void) {
    int debug = 0;
    if (debug) use(1);
    use(2);
}
// CHECK-LABEL: function _decides_a_test
// CHECK: (CALL:void (UAND:void(int)* (NAME:void(int) _use)) (ICON:int 2))
// CHECK-NEXT: (URETURN:void (NAME:void(void) _decides_a_test))
// CHECK-NEXT: endfunction

int known_expression(int a, int b) {
    int x = a * b;
    use(a * b);
    b = 3;
    return a * b + x;
}
// CHECK-LABEL: function _known_expression
// CHECK: (ASG:int (NAME:int x) (MULT:int (NAME:int.const a) (NAME:int.const b)))
// CHECK-NEXT: (CALL:void (UAND:void(int)* (NAME:void(int) _use)) (NAME:int x))
// CHECK-NEXT: (RETURN:int
// CHECK-NEXT: (NAME:int(int,int) _known_expression)
// CHECK-NEXT: (PLUS:int (MULT:int (NAME:int.const a) (ICON:int 3)) (NAME:int x)))
// CHECK-NEXT: endfunction

void stored_memory(int *p) {
    global = 7;
    *p = 8;
    use(global);
}
// CHECK-LABEL: function _stored_memory
// CHECK: (ASG:int (NAME:int _global) (ICON:int 7))
// CHECK-NEXT: (ASG:int (UMULT:int (NAME:int*.const p)) (ICON:int 8))
// CHECK-NEXT: (CALL:void (UAND:void(int)* (NAME:void(int) _use)) (NAME:int _global))
// CHECK-NEXT: (URETURN:void (NAME:void(int*) _stored_memory))
// CHECK-NEXT: endfunction
