// Cases that go where the default goes are dropped, and a switch without a choice left.
// RUN: ic-cc -o %t.ic %s && run_pass "simpcfg(false,true)" %t.ic | FileCheck %s
// RUN: run_pass simpcfg %t.ic | FileCheck --check-prefix=PLAIN %s
extern void use(int);
extern int next(void);

void some_as_default(int x) {
    switch (x) {
    case 1: use(1); break;
    case 2:
    case 3:
    default: use(9); break;
    }
}
// PLAIN-LABEL: function _some_as_default
// PLAIN: (CASE:int (ICON:int 2) (LABEL:int 2))
// PLAIN: (CASE:int (ICON:int 3) (LABEL:int 2))
// PLAIN: (DEFAULT:int (LABEL:int 2))
// CHECK-LABEL: function _some_as_default
// CHECK: (CBRANCH:int (EQ:int (NAME:int x) (ICON:int 1)) (LABEL:int 1))
// CHECK-NEXT: (CALL:void (UAND:void(int)* (NAME:void(int) _use)) (ICON:int 1))
// CHECK-NEXT: (BRANCH:int (LABEL:int 2))
// CHECK-NEXT: label 1
// CHECK-NEXT: (CALL:void (UAND:void(int)* (NAME:void(int) _use)) (ICON:int 9))
// CHECK-NEXT: label 2
// CHECK-NEXT: (URETURN:void (NAME:void(int) _some_as_default))
// CHECK-NEXT: endfunction

void no_choice(void) {
    switch (next()) {
    case 1:
    case 2:
    default: use(9);
    }
}
// CHECK-LABEL: function _no_choice
// CHECK: (UCALL:int (UAND:int(void)* (NAME:int(void) _next)))
// CHECK-NEXT: (CALL:void (UAND:void(int)* (NAME:void(int) _use)) (ICON:int 9))
// CHECK-NEXT: (URETURN:void (NAME:void(void) _no_choice))
// CHECK-NEXT: endfunction

void constant(void) {
    switch (2) {
    case 1: use(1); break;
    case 2: use(2); break;
    }
}
// CHECK-LABEL: function _constant
// CHECK: (CALL:void (UAND:void(int)* (NAME:void(int) _use)) (ICON:int 2))
// CHECK-NEXT: (URETURN:void (NAME:void(void) _constant))
// CHECK-NEXT: endfunction
