// Assignments whose value nobody wants go, with all that only they want, around a loop too; calls,
// volatile accesses and what a pointer may reach stay.
// RUN: ic-cc -o %t.ic %s && run_pass elim_dead_assigns %t.ic | FileCheck %s
extern int next(void);
extern void keep(int *);
extern volatile int port;

int overwritten(int y) {
    int x = y * 3;
    x = y;
    return x;
}
// CHECK-LABEL: function _overwritten
// CHECK: (ASG:int (NAME:int x) (NAME:int y))
// CHECK-NEXT: (RETURN:int (NAME:int(int) _overwritten) (NAME:int x))
// CHECK-NEXT: endfunction

int only_feeds_itself(int n) {
    int count = 0;
    while (n > 5) {
        count += n;
        n -= 2;
    }
    return n;
}
// CHECK-LABEL: function _only_feeds_itself
// CHECK: (CBRANCH:int (GT:int (NAME:int n) (ICON:int 5)) (LABEL:int 2))
// CHECK-NEXT: label 1
// CHECK-NEXT: (MINUSASG:int (NAME:int n) (ICON:int 2))
// CHECK-NEXT: (CBRANCH:int (LE:int (NAME:int n) (ICON:int 5)) (LABEL:int 1))
// CHECK-NEXT: label 2
// CHECK-NEXT: (RETURN:int (NAME:int(int) _only_feeds_itself) (NAME:int n))
// CHECK-NEXT: endfunction

void effects(void) {
    int x = next();
    x = port;
}
// CHECK-LABEL: function _effects
// CHECK: (UCALL:int (UAND:int(void)* (NAME:int(void) _next)))
// CHECK-NEXT: (NAME:int.volatile _port)
// CHECK-NEXT: (URETURN:void (NAME:void(void) _effects))
// CHECK-NEXT: endfunction

int reached_by_address(void) {
    int x = 1;
    keep(&x);
    x = 2;
    keep(&x);
    return 0;
}
// CHECK-LABEL: function _reached_by_address
// CHECK: (ASG:int (NAME:int x) (ICON:int 1))
// CHECK-NEXT: (CALL:void (UAND:void(int*)* (NAME:void(int*) _keep)) (UAND:int* (NAME:int x)))
// CHECK-NEXT: (ASG:int (NAME:int x) (ICON:int 2))
// CHECK-NEXT: (CALL:void (UAND:void(int*)* (NAME:void(int*) _keep)) (UAND:int* (NAME:int x)))
// CHECK-NEXT: (RETURN:int (NAME:int(void) _reached_by_address) (ICON:int 0))
// CHECK-NEXT: endfunction

void array_nobody_reads(int n) {
    int a[4];
    a[n] = n;
    a[0] = next();
}
// CHECK-LABEL: function _array_nobody_reads
// CHECK: (UCALL:int (UAND:int(void)* (NAME:int(void) _next)))
// CHECK-NEXT: (URETURN:void (NAME:void(int) _array_nobody_reads))
// CHECK-NEXT: endfunction
