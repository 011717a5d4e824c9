// Assignments within expressions become statements before them, steps x++ statements behind; not
// out of what may not be evaluated, and not over what they would change.
// RUN: ic-cc -o %t.ic %s && run_pass promote_all_embedded_assignments %t.ic | FileCheck %s
extern void use(int);
extern int next(void);

int before(int a) {
    int x;
    use((x = a + 1) * 2);
    return x;
}
// CHECK-LABEL: function _before
// CHECK: (ASG:int (NAME:int x) (PLUS:int (NAME:int a) (ICON:int 1)))
// CHECK-NEXT: (CALL:void (UAND:void(int)* (NAME:void(int) _use)) (MULT:int (NAME:int x) (ICON:int 2)))
// CHECK-NEXT: (RETURN:int (NAME:int(int) _before) (NAME:int x))
// CHECK-NEXT: endfunction

int behind(int a) {
    use(a++);
    return a;
}
// CHECK-LABEL: function _behind
// CHECK: (CALL:void (UAND:void(int)* (NAME:void(int) _use)) (NAME:int a))
// CHECK-NEXT: (PLUSASG:int (NAME:int a) (ICON:int 1))
// CHECK-NEXT: (RETURN:int (NAME:int(int) _behind) (NAME:int a))
// CHECK-NEXT: endfunction

int not_always(int a, int c) {
    int x = 0;
    if (c && (x = a)) use(1);
    return x;
}
// CHECK-LABEL: function _not_always
// CHECK: (ASG:int (NAME:int x) (ICON:int 0))
// CHECK-NEXT: (CBRANCH:int (ANDAND:int (NAME:int c) (ASG:int (NAME:int x) (NAME:int a))) (LABEL:int 1))
// CHECK-NEXT: (CALL:void (UAND:void(int)* (NAME:void(int) _use)) (ICON:int 1))
// CHECK-NEXT: label 1
// CHECK-NEXT: (RETURN:int (NAME:int(int,int) _not_always) (NAME:int x))
// CHECK-NEXT: endfunction

int read_before(int a) {
    use(a + (a = 3));
    return a;
}
// CHECK-LABEL: function _read_before
// CHECK: (CALL:void
// CHECK-NEXT: (UAND:void(int)* (NAME:void(int) _use))
// CHECK-NEXT: (PLUS:int (NAME:int a) (ASG:int (NAME:int a) (ICON:int 3))))
// CHECK-NEXT: (RETURN:int (NAME:int(int) _read_before) (NAME:int a))
// CHECK-NEXT: endfunction

int behind_an_effect(int *p) {
    int x;
    use(next() + (x = *p));
    return x;
}
// CHECK-LABEL: function _behind_an_effect
// CHECK: (CALL:void
// CHECK-NEXT: (UAND:void(int)* (NAME:void(int) _use))
// CHECK-NEXT: (PLUS:int
// CHECK-NEXT: (UCALL:int (UAND:int(void)* (NAME:int(void) _next)))
// CHECK-NEXT: (ASG:int (NAME:int x) (UMULT:int (NAME:int* p)))))
// CHECK-NEXT: (RETURN:int (NAME:int(int*) _behind_an_effect) (NAME:int x))
// CHECK-NEXT: endfunction

int comma(int a) {
    use((use(a), a + 1));
    return a;
}
// CHECK-LABEL: function _comma
// CHECK: (CALL:void (UAND:void(int)* (NAME:void(int) _use)) (NAME:int a))
// CHECK-NEXT: (CALL:void (UAND:void(int)* (NAME:void(int) _use)) (PLUS:int (NAME:int a) (ICON:int 1)))
// CHECK-NEXT: (RETURN:int (NAME:int(int) _comma) (NAME:int a))
// CHECK-NEXT: endfunction
