// An assignment moves to the one place that reads its variable, unless something between the two
// changes what it is computed from.
// RUN: ic-cc -o %t.ic %s && run_pass "elim_dead_assigns(true)" %t.ic | FileCheck %s
extern void use(int);
int global;

int moves(int a, int b) {
    int sum = a + b;
    use(1);
    return sum * 2;
}
// CHECK-LABEL: function _moves
// CHECK: (CALL:void (UAND:void(int)* (NAME:void(int) _use)) (ICON:int 1))
// CHECK-NEXT: (RETURN:int
// CHECK-NEXT: (NAME:int(int,int) _moves)
// CHECK-NEXT: (MULT:int (PLUS:int (NAME:int a) (NAME:int b)) (ICON:int 2)))
// CHECK-NEXT: endfunction

int operand_changes(int a, int b) {
    int sum = a + b;
    a = 7;
    use(a);
    return sum * 2;
}
// CHECK-LABEL: function _operand_changes
// CHECK: (ASG:int (NAME:int sum) (PLUS:int (NAME:int a) (NAME:int b)))
// CHECK-NEXT: (ASG:int (NAME:int a) (ICON:int 7))
// CHECK-NEXT: (CALL:void (UAND:void(int)* (NAME:void(int) _use)) (NAME:int a))
// CHECK-NEXT: (RETURN:int (NAME:int(int,int) _operand_changes) (MULT:int (NAME:int sum) (ICON:int 2)))
// CHECK-NEXT: endfunction

int memory_may_change(void) {
    int old = global;
    use(1);
    return old * 2;
}
// CHECK-LABEL: function _memory_may_change
// CHECK: (ASG:int (NAME:int old) (NAME:int _global))
// CHECK-NEXT: (CALL:void (UAND:void(int)* (NAME:void(int) _use)) (ICON:int 1))
// CHECK-NEXT: (RETURN:int (NAME:int(void) _memory_may_change) (MULT:int (NAME:int old) (ICON:int 2)))
// CHECK-NEXT: endfunction

int read_twice(int a, int b) {
    int sum = a + b;
    use(sum);
    return sum * 2;
}
// CHECK-LABEL: function _read_twice
// CHECK: (ASG:int (NAME:int sum) (PLUS:int (NAME:int a) (NAME:int b)))
// CHECK-NEXT: (CALL:void (UAND:void(int)* (NAME:void(int) _use)) (NAME:int sum))
// CHECK-NEXT: (RETURN:int (NAME:int(int,int) _read_twice) (MULT:int (NAME:int sum) (ICON:int 2)))
// CHECK-NEXT: endfunction

int may_trap(int a, int b) {
    int quotient = a / b;
    use(1);
    return quotient;
}
// CHECK-LABEL: function _may_trap
// CHECK: (ASG:int (NAME:int quotient) (DIV:int (NAME:int a) (NAME:int b)))
// CHECK-NEXT: (CALL:void (UAND:void(int)* (NAME:void(int) _use)) (ICON:int 1))
// CHECK-NEXT: (RETURN:int (NAME:int(int,int) _may_trap) (NAME:int quotient))
// CHECK-NEXT: endfunction
