// Masks of one lvalue in a row become one.
// RUN: ic-cc -o %t.ic %s && run_pass fold_ANDBASGs %t.ic | FileCheck %s
extern volatile int port;
extern int *next(void);

void masks(int *p) {
    *p &= 0xff;
    *p &= 0x3c;
    *p |= 1;
    *p |= 2;
}
// CHECK-LABEL: function _masks
// CHECK: (ANDBASG:int (UMULT:int (NAME:int* p)) (ICON:int 60))
// CHECK-NEXT: (ORBASG:int (UMULT:int (NAME:int* p)) (ICON:int 3))
// CHECK-NEXT: (URETURN:void (NAME:void(int*) _masks))
// CHECK-NEXT: endfunction

void not_one_place(int *p, int *q) {
    *p &= 0xff;
    *q &= 0x3c;
}
// CHECK-LABEL: function _not_one_place
// CHECK: (PCOMMA:int
// CHECK-NEXT: (ASG:int* (NAME:int* p) (NAME:int* p@1.0))
// CHECK-NEXT: (ASG:int* (NAME:int* q) (NAME:int* q@1.1)))
// CHECK-NEXT: (ANDBASG:int (UMULT:int (NAME:int* p)) (ICON:int 255))
// CHECK-NEXT: (ANDBASG:int (UMULT:int (NAME:int* q)) (ICON:int 60))
// CHECK-NEXT: (URETURN:void (NAME:void(int*,int*) _not_one_place))
// CHECK-NEXT: endfunction

void with_effects(void) {
    *next() &= 0xff;
    *next() &= 0x3c;
    port ^= 1;
    port ^= 2;
}
// CHECK-LABEL: function _with_effects
// CHECK: (ANDBASG:int (UMULT:int (UCALL:int* (UAND:int*(void)* (NAME:int*(void) _next)))) (ICON:int 255))
// CHECK-NEXT: (ANDBASG:int (UMULT:int (UCALL:int* (UAND:int*(void)* (NAME:int*(void) _next)))) (ICON:int 60))
// CHECK-NEXT: (XORBASG:int (NAME:int.volatile _port) (ICON:int 1))
// CHECK-NEXT: (XORBASG:int (NAME:int.volatile _port) (ICON:int 2))
// CHECK-NEXT: (URETURN:void (NAME:void(void) _with_effects))
// CHECK-NEXT: endfunction
