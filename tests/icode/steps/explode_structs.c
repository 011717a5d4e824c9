// An automatic structure that is only used by its members becomes variables; one whose address is
// taken, or that has an array or a union in it, stays.
// RUN: ic-cc -o %t.ic %s && run_pass explode_auto_struct_vars %t.ic | FileCheck %s
struct point {
    int x, y;
};
struct line {
    struct point from, to;
};
struct number {
    union {
        int i;
        float f;
    } value;
};
extern void keep(struct point *);
extern struct point origin;

int members(int a, int b) {
    struct point p;
    p.x = a;
    p.y = b;
    return p.x - p.y;
}
// CHECK-LABEL: function _members
// CHECK: (ASG:int (NAME:int $O$M1) (NAME:int a))
// CHECK-NEXT: (ASG:int (NAME:int $O$M2) (NAME:int b))
// CHECK-NEXT: (RETURN:int (NAME:int(int,int) _members) (MINUS:int (NAME:int $O$M1) (NAME:int $O$M2)))
// CHECK-NEXT: endfunction

int copied(int a) {
    struct point p, q;
    p.x = a;
    p.y = 2;
    q = p;
    return q.x + q.y;
}
// CHECK-LABEL: function _copied
// CHECK: (ASG:int (NAME:int $O$M1) (NAME:int a))
// CHECK-NEXT: (ASG:int (NAME:int $O$M2) (ICON:int 2))
// CHECK-NEXT: (ASG:int (NAME:int $O$M3) (NAME:int $O$M1))
// CHECK-NEXT: (ASG:int (NAME:int $O$M4) (NAME:int $O$M2))
// CHECK-NEXT: (RETURN:int (NAME:int(int) _copied) (PLUS:int (NAME:int $O$M3) (NAME:int $O$M4)))
// CHECK-NEXT: endfunction

int from_memory(void) {
    struct point p = origin;
    return p.x;
}
// CHECK-LABEL: function _from_memory
// CHECK: (ASG:int (NAME:int $O$M1) (STDOT:int (NAME:struct.point _origin) (FIELD:int x struct.point)))
// CHECK-NEXT: (ASG:int (NAME:int $O$M2) (STDOT:int (NAME:struct.point _origin) (FIELD:int y struct.point)))
// CHECK-NEXT: (RETURN:int (NAME:int(void) _from_memory) (NAME:int $O$M1))
// CHECK-NEXT: endfunction

int nested(int a) {
    struct line l;
    l.from.x = a;
    l.to.y = a;
    return l.from.x + l.to.y;
}
// CHECK-LABEL: function _nested
// CHECK: (ASG:int (NAME:int $O$M1) (NAME:int a))
// CHECK-NEXT: (ASG:int (NAME:int $O$M2) (NAME:int a))
// CHECK-NEXT: (RETURN:int (NAME:int(int) _nested) (PLUS:int (NAME:int $O$M1) (NAME:int $O$M2)))
// CHECK-NEXT: endfunction

int address_taken(int a) {
    struct point p;
    p.x = a;
    keep(&p);
    return p.x;
}
// CHECK-LABEL: function _address_taken
// CHECK: (ASG:int (STDOT:int (NAME:struct.point p) (FIELD:int x struct.point)) (NAME:int a))
// CHECK-NEXT: (CALL:void
// CHECK-NEXT: (UAND:void(struct.point*)* (NAME:void(struct.point*) _keep))
// CHECK-NEXT: (UAND:struct.point* (NAME:struct.point p)))
// CHECK-NEXT: (RETURN:int
// CHECK-NEXT: (NAME:int(int) _address_taken)
// CHECK-NEXT: (STDOT:int (NAME:struct.point p) (FIELD:int x struct.point)))
// CHECK-NEXT: endfunction

float with_a_union(int a) {
    struct number n;
    n.value.i = a;
    return n.value.f;
}
// CHECK-LABEL: function _with_a_union
// CHECK: (ASG:int{{$}}
// CHECK-NEXT: (STDOT:int
// CHECK-NEXT: (STDOT:union.$$fake1 (NAME:struct.number n) (FIELD:union.$$fake1 value struct.number))
// CHECK-NEXT: (FIELD:int i union.$$fake1))
// CHECK-NEXT: (NAME:int a))
// CHECK-NEXT: (RETURN:float
// CHECK-NEXT: (NAME:float(int) _with_a_union)
// CHECK-NEXT: (STDOT:float
// CHECK-NEXT: (STDOT:union.$$fake1 (NAME:struct.number n) (FIELD:union.$$fake1 value struct.number))
// CHECK-NEXT: (FIELD:float f union.$$fake1)))
// CHECK-NEXT: endfunction
