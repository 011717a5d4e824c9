// Copies that all ways to a use have made reach it; those of one way, or unmade on one, do not.
// RUN: ic-cc -o %t.ic %s && run_pass copyprop %t.ic | FileCheck %s
extern void use(int);

void both_ways(int c, int y) {
    int x;
    if (c)
        x = y, use(1);
    else
        x = y, use(2);
    use(x);
}
// CHECK-LABEL: function _both_ways
// CHECK: (CBRANCH:int (NAME:int c) (LABEL:int 1))
// CHECK-NEXT: (ASG:int (NAME:int x) (NAME:int y))
// CHECK-NEXT: (CALL:void (UAND:void(int)* (NAME:void(int) _use)) (ICON:int 1))
// CHECK-NEXT: (BRANCH:int (LABEL:int 2))
// CHECK-NEXT: label 1
// CHECK-NEXT: (ASG:int (NAME:int x) (NAME:int y))
// CHECK-NEXT: (CALL:void (UAND:void(int)* (NAME:void(int) _use)) (ICON:int 2))
// CHECK-NEXT: label 2
// CHECK-NEXT: (CALL:void (UAND:void(int)* (NAME:void(int) _use)) (NAME:int y))
// CHECK-NEXT: (URETURN:void (NAME:void(int,int) _both_ways))
// CHECK-NEXT: endfunction

void one_way(int c, int y) {
    int x = 0;
    if (c) x = y;
    use(x);
}
// CHECK-LABEL: function _one_way
// CHECK: (ASG:int (NAME:int x) (ICON:int 0))
// CHECK-NEXT: (CBRANCH:int (NAME:int c) (LABEL:int 1))
// CHECK-NEXT: (ASG:int (NAME:int x) (NAME:int y))
// CHECK-NEXT: label 1
// CHECK-NEXT: (CALL:void (UAND:void(int)* (NAME:void(int) _use)) (NAME:int x))
// CHECK-NEXT: (URETURN:void (NAME:void(int,int) _one_way))
// CHECK-NEXT: endfunction

void unmade(int c, int y) {
    int x = y;
    if (c) y = 3;
    use(x);
}
// CHECK-LABEL: function _unmade
// CHECK: (ASG:int (NAME:int x) (NAME:int y))
// CHECK-NEXT: (CBRANCH:int (NAME:int c) (LABEL:int 1))
// CHECK-NEXT: (ASG:int (NAME:int y) (ICON:int 3))
// CHECK-NEXT: label 1
// CHECK-NEXT: (CALL:void (UAND:void(int)* (NAME:void(int) _use)) (NAME:int x))
// CHECK-NEXT: (URETURN:void (NAME:void(int,int) _unmade))
// CHECK-NEXT: endfunction

void around_a_loop(int n, int y) {
    int x = y;
    do use(x);
    while (--n);
}
// CHECK-LABEL: function _around_a_loop
// CHECK: (ASG:int (NAME:int x) (NAME:int y))
// CHECK-NEXT: label 1
// CHECK-NEXT: (CALL:void (UAND:void(int)* (NAME:void(int) _use)) (NAME:int y))
// CHECK-NEXT: (CBRANCH:int (EXCLAIM:int (MINUSASG:int (NAME:int n) (ICON:int 1))) (LABEL:int 1))
// CHECK-NEXT: (URETURN:void (NAME:void(int,int) _around_a_loop))
// CHECK-NEXT: endfunction

void changed_in_a_loop(int n, int y) {
    int x = y;
    do use(x), y++;
    while (--n);
}
// CHECK-LABEL: function _changed_in_a_loop
// CHECK: (ASG:int (NAME:int x) (NAME:int y))
// CHECK-NEXT: label 1
// CHECK-NEXT: (CALL:void (UAND:void(int)* (NAME:void(int) _use)) (NAME:int x))
// CHECK-NEXT: (PLUSASG:int (NAME:int y) (ICON:int 1))
// CHECK-NEXT: (CBRANCH:int (EXCLAIM:int (MINUSASG:int (NAME:int n) (ICON:int 1))) (LABEL:int 1))
// CHECK-NEXT: (URETURN:void (NAME:void(int,int) _changed_in_a_loop))
// CHECK-NEXT: endfunction
