// Ways that come together share the statements before; different ones stay apart. Without the
// request nothing is shared.
// RUN: ic-cc -o %t.ic %s && run_pass "simpcfg(true,false)" %t.ic | FileCheck %s
// RUN: run_pass simpcfg %t.ic | FileCheck --check-prefix=PLAIN %s
extern void use(int);
extern void other(int);

void same_tails(int c, int a) {
    if (c) {
        use(1);
        other(a);
    } else {
        use(2);
        other(a);
    }
}
// PLAIN-LABEL: function _same_tails
// PLAIN-COUNT-2: _other)) (NAME:int a))
// CHECK-LABEL: function _same_tails
// CHECK: (CBRANCH:int (NAME:int c) (LABEL:int 1))
// CHECK-NEXT: (CALL:void (UAND:void(int)* (NAME:void(int) _use)) (ICON:int 1))
// CHECK-NEXT: (BRANCH:int (LABEL:int 2))
// CHECK-NEXT: label 1
// CHECK-NEXT: (CALL:void (UAND:void(int)* (NAME:void(int) _use)) (ICON:int 2))
// CHECK-NEXT: label 2
// CHECK-NEXT: (CALL:void (UAND:void(int)* (NAME:void(int) _other)) (NAME:int a))
// CHECK-NEXT: (URETURN:void (NAME:void(int,int) _same_tails))
// CHECK-NEXT: endfunction

void different_tails(int c, int a) {
    if (c) use(a);
    else use(3);
}
// CHECK-LABEL: function _different_tails
// CHECK: (CBRANCH:int (NAME:int c) (LABEL:int 1))
// CHECK-NEXT: (CALL:void (UAND:void(int)* (NAME:void(int) _use)) (NAME:int a))
// CHECK-NEXT: (BRANCH:int (LABEL:int 2))
// CHECK-NEXT: label 1
// CHECK-NEXT: (CALL:void (UAND:void(int)* (NAME:void(int) _use)) (ICON:int 3))
// CHECK-NEXT: label 2
// CHECK-NEXT: (URETURN:void (NAME:void(int,int) _different_tails))
// CHECK-NEXT: endfunction
