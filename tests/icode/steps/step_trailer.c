// What is done before a function is written: stores put together, dead assignments dropped, equal
// tails shared, cheaper forms.
// RUN: ic-cc -o %t.ic %s && run_pass "pass 2 trailer" %t.ic | FileCheck %s
struct pair {
    int word;
    short a, b;
} s;
extern void use(int);

int all(int c, int x) {
    int dead = x + 1;
    dead = c;
    s.a = 1;
    s.b = 2;
    if (c) {
        use(1);
        use(3);
    } else {
        use(2);
        use(3);
    }
    return x * 7;
}
// CHECK-LABEL: function _all
// CHECK: (ASG:unsigned
// CHECK-NEXT: (UMULT:unsigned
// CHECK-NEXT: (PCONV:unsigned* (UAND:char* (STDOT:char (NAME:struct.pair _s) (FIELD:char a struct.pair)))))
// CHECK-NEXT: (ICON:unsigned 131073))
// CHECK-NEXT: (CBRANCH:int (NAME:int c) (LABEL:int 1))
// CHECK-NEXT: (CALL:void (UAND:void(int)* (NAME:void(int) _use)) (ICON:int 1))
// CHECK-NEXT: (BRANCH:int (LABEL:int 2))
// CHECK-NEXT: label 1
// CHECK-NEXT: (CALL:void (UAND:void(int)* (NAME:void(int) _use)) (ICON:int 2))
// CHECK-NEXT: label 2
// CHECK-NEXT: (CALL:void (UAND:void(int)* (NAME:void(int) _use)) (ICON:int 3))
// CHECK-NEXT: (RETURN:int
// CHECK-NEXT: (NAME:int(int,int) _all)
// CHECK-NEXT: (MINUS:int (SLL:int (NAME:int x) (ICON:int 3)) (NAME:int x)))
// CHECK-NEXT: endfunction
