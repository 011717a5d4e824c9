// Values of one variable that never meet get variables of their own; those that share a use, or a
// variable whose address is taken, keep it.
// RUN: ic-cc -o %t.ic %s && run_pass sym_split %t.ic | FileCheck %s
extern void use(int);
extern void keep(int *);

void independent(int a, int b) {
    int i = a + 1;
    use(i);
    i = b + 2;
    use(i);
}
// CHECK-LABEL: function _independent
// CHECK: (ASG:int (NAME:int i@2.4) (PLUS:int (NAME:int a) (ICON:int 1)))
// CHECK-NEXT: (CALL:void (UAND:void(int)* (NAME:void(int) _use)) (NAME:int i@2.4))
// CHECK-NEXT: (ASG:int (NAME:int i@2.5) (PLUS:int (NAME:int b) (ICON:int 2)))
// CHECK-NEXT: (CALL:void (UAND:void(int)* (NAME:void(int) _use)) (NAME:int i@2.5))
// CHECK-NEXT: (URETURN:void (NAME:void(int,int) _independent))
// CHECK-NEXT: endfunction

void share_a_use(int a, int b) {
    int i = a;
    if (b) i = b;
    use(i);
}
// CHECK-LABEL: function _share_a_use
// CHECK: (ASG:int (NAME:int i) (NAME:int a))
// CHECK-NEXT: (CBRANCH:int (NAME:int b) (LABEL:int 1))
// CHECK-NEXT: (ASG:int (NAME:int i) (NAME:int b))
// CHECK-NEXT: label 1
// CHECK-NEXT: (CALL:void (UAND:void(int)* (NAME:void(int) _use)) (NAME:int i))
// CHECK-NEXT: (URETURN:void (NAME:void(int,int) _share_a_use))
// CHECK-NEXT: endfunction

void loop_carried(int n) {
    int i;
    for (i = 0; i < n; i++) use(i);
    for (i = 5; i < n; i++) use(i);
}
// CHECK-LABEL: function _loop_carried
// CHECK: (ASG:int (NAME:int i@2.2) (ICON:int 0))
// CHECK-NEXT: (CBRANCH:int (LT:int (NAME:int i@2.2) (NAME:int n)) (LABEL:int 2))
// CHECK-NEXT: label 1
// CHECK-NEXT: (CALL:void (UAND:void(int)* (NAME:void(int) _use)) (NAME:int i@2.2))
// CHECK-NEXT: (PLUSASG:int (NAME:int i@2.2) (ICON:int 1))
// CHECK-NEXT: (CBRANCH:int (GE:int (NAME:int i@2.2) (NAME:int n)) (LABEL:int 1))
// CHECK-NEXT: label 2
// CHECK-NEXT: (ASG:int (NAME:int i@2.3) (ICON:int 5))
// CHECK-NEXT: (CBRANCH:int (LT:int (NAME:int i@2.3) (NAME:int n)) (LABEL:int 4))
// CHECK-NEXT: label 3
// CHECK-NEXT: (CALL:void (UAND:void(int)* (NAME:void(int) _use)) (NAME:int i@2.3))
// CHECK-NEXT: (PLUSASG:int (NAME:int i@2.3) (ICON:int 1))
// CHECK-NEXT: (CBRANCH:int (GE:int (NAME:int i@2.3) (NAME:int n)) (LABEL:int 3))
// CHECK-NEXT: label 4
// CHECK-NEXT: (URETURN:void (NAME:void(int) _loop_carried))
// CHECK-NEXT: endfunction

void address_taken(int a, int b) {
    int i = a;
    keep(&i);
    i = b;
    keep(&i);
}
// CHECK-LABEL: function _address_taken
// CHECK: (ASG:int (NAME:int i) (NAME:int a))
// CHECK-NEXT: (CALL:void (UAND:void(int*)* (NAME:void(int*) _keep)) (UAND:int* (NAME:int i)))
// CHECK-NEXT: (ASG:int (NAME:int i) (NAME:int b))
// CHECK-NEXT: (CALL:void (UAND:void(int*)* (NAME:void(int*) _keep)) (UAND:int* (NAME:int i)))
// CHECK-NEXT: (URETURN:void (NAME:void(int,int) _address_taken))
// CHECK-NEXT: endfunction
