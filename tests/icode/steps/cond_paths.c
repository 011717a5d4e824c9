// A test that an earlier one has decided is not made again; one that may have changed is.
// RUN: ic-cc -o %t.ic %s && run_pass straighten_cond_paths %t.ic | FileCheck %s
extern void use(int);
extern volatile int port;
int global;

void same_again(int a) {
    if (a > 3) {
        use(1);
        if (a > 3) use(2);
        else use(3);
    }
}
// CHECK-LABEL: function _same_again
// CHECK: (CBRANCH:int (GT:int (NAME:int a) (ICON:int 3)) (LABEL:int 1))
// CHECK-NEXT: (CALL:void (UAND:void(int)* (NAME:void(int) _use)) (ICON:int 1))
// CHECK-NEXT: (CALL:void (UAND:void(int)* (NAME:void(int) _use)) (ICON:int 2))
// CHECK-NEXT: label 1
// CHECK-NEXT: (URETURN:void (NAME:void(int) _same_again))
// CHECK-NEXT: endfunction

void opposite(int a) {
    if (a > 3) {
        use(1);
        if (a <= 3) use(2);
    }
}
// CHECK-LABEL: function _opposite
// CHECK: (CBRANCH:int (GT:int (NAME:int a) (ICON:int 3)) (LABEL:int 1))
// CHECK-NEXT: (CALL:void (UAND:void(int)* (NAME:void(int) _use)) (ICON:int 1))
// CHECK-NEXT: label 1
// CHECK-NEXT: (URETURN:void (NAME:void(int) _opposite))
// CHECK-NEXT: endfunction

void changed_between(int a) {
    if (a > 3) {
        a -= 2;
        if (a > 3) use(2);
    }
}
// CHECK-LABEL: function _changed_between
// CHECK: (CBRANCH:int (GT:int (NAME:int a) (ICON:int 3)) (LABEL:int 1))
// CHECK-NEXT: (MINUSASG:int (NAME:int a) (ICON:int 2))
// CHECK-NEXT: (CBRANCH:int (GT:int (NAME:int a) (ICON:int 3)) (LABEL:int 1))
// CHECK-NEXT: (CALL:void (UAND:void(int)* (NAME:void(int) _use)) (ICON:int 2))
// CHECK-NEXT: label 1
// CHECK-NEXT: (URETURN:void (NAME:void(int) _changed_between))
// CHECK-NEXT: endfunction

void memory(void) {
    if (global) {
        use(1);
        if (global) use(2);
    }
}
// CHECK-LABEL: function _memory
// CHECK: (CBRANCH:int (NAME:int _global) (LABEL:int 1))
// CHECK-NEXT: (CALL:void (UAND:void(int)* (NAME:void(int) _use)) (ICON:int 1))
// CHECK-NEXT: (CBRANCH:int (NAME:int _global) (LABEL:int 1))
// CHECK-NEXT: (CALL:void (UAND:void(int)* (NAME:void(int) _use)) (ICON:int 2))
// CHECK-NEXT: label 1
// CHECK-NEXT: (URETURN:void (NAME:void(void) _memory))
// CHECK-NEXT: endfunction

void device(void) {
    if (port)
        if (port) use(2);
}
// CHECK-LABEL: function _device
// CHECK: (CBRANCH:int (NAME:int.volatile _port) (LABEL:int 1))
// CHECK-NEXT: (CBRANCH:int (NAME:int.volatile _port) (LABEL:int 1))
// CHECK-NEXT: (CALL:void (UAND:void(int)* (NAME:void(int) _use)) (ICON:int 2))
// CHECK-NEXT: label 1
// CHECK-NEXT: (URETURN:void (NAME:void(void) _device))
// CHECK-NEXT: endfunction
