// The step by its name and by its number: embedded assignments, split variables, constant
// parameters, a tidy graph.
// RUN: ic-cc -o %t.ic %s && run_pass "pass 2 inits" %t.ic > %t.name && run_pass 4 %t.ic > %t.number
// RUN: cmp %t.name %t.number && FileCheck %s < %t.name
extern void use(int);

int all(int a, int b) {
    int i;
    use((i = a + 1) * 2);
    use(i);
    i = b + 2;
    goto on;
on:
    return i;
}
// CHECK-LABEL: function _all
// CHECK: (ASG:int (NAME:int i@2.4) (PLUS:int (NAME:int a) (ICON:int 1)))
// CHECK-NEXT: (CALL:void (UAND:void(int)* (NAME:void(int) _use)) (MULT:int (NAME:int i@2.4) (ICON:int 2)))
// CHECK-NEXT: (CALL:void (UAND:void(int)* (NAME:void(int) _use)) (NAME:int i@2.4))
// CHECK-NEXT: (ASG:int (NAME:int i@2.5) (PLUS:int (NAME:int b) (ICON:int 2)))
// CHECK-NEXT: (RETURN:int (NAME:int(int,int) _all) (NAME:int i@2.5))
// CHECK-NEXT: endfunction
