// Stores of constants to the two units of an aligned pair of one variable become one store, and of
// two stores to one place the second stays. Nothing moves over a volatile access, and a pair that
// is not aligned stays.
// RUN: ic-cc -o %t.ic %s && run_pass combine_asgs_to_memory %t.ic | FileCheck %s
struct pair {
    int word;
    short a, b, c, d;
} s;
int other;
volatile struct pair port;

void neighbours(void) {
    s.a = 1;
    s.b = 2;
}
// CHECK-LABEL: function _neighbours
// CHECK: (ASG:unsigned
// CHECK-NEXT: (UMULT:unsigned
// CHECK-NEXT: (PCONV:unsigned* (UAND:char* (STDOT:char (NAME:struct.pair _s) (FIELD:char a struct.pair)))))
// CHECK-NEXT: (ICON:unsigned 131073))
// CHECK-NEXT: (URETURN:void (NAME:void(void) _neighbours))
// CHECK-NEXT: endfunction

void other_order(void) {
    s.b = -2;
    s.a = 1;
}
// CHECK-LABEL: function _other_order
// CHECK: (ASG:unsigned
// CHECK-NEXT: (UMULT:unsigned
// CHECK-NEXT: (PCONV:unsigned* (UAND:char* (STDOT:char (NAME:struct.pair _s) (FIELD:char a struct.pair)))))
// CHECK-NEXT: (ICON:unsigned 4294836225))
// CHECK-NEXT: (URETURN:void (NAME:void(void) _other_order))
// CHECK-NEXT: endfunction

void not_aligned(void) {
    s.b = 1;
    s.c = 2;
}
// CHECK-LABEL: function _not_aligned
// CHECK: (ASG:short (STDOT:short (NAME:struct.pair _s) (FIELD:char b struct.pair)) (ICON:short 1))
// CHECK-NEXT: (ASG:short (STDOT:short (NAME:struct.pair _s) (FIELD:char c struct.pair)) (ICON:short 2))
// CHECK-NEXT: (URETURN:void (NAME:void(void) _not_aligned))
// CHECK-NEXT: endfunction

void two_pairs(void) {
    s.a = 1;
    s.b = 2;
    s.c = 3;
    s.d = 4;
}
// CHECK-LABEL: function _two_pairs
// CHECK: (ASG:unsigned
// CHECK-NEXT: (UMULT:unsigned
// CHECK-NEXT: (PCONV:unsigned* (UAND:char* (STDOT:char (NAME:struct.pair _s) (FIELD:char a struct.pair)))))
// CHECK-NEXT: (ICON:unsigned 131073))
// CHECK-NEXT: (ASG:unsigned
// CHECK-NEXT: (UMULT:unsigned
// CHECK-NEXT: (PCONV:unsigned* (UAND:char* (STDOT:char (NAME:struct.pair _s) (FIELD:char c struct.pair)))))
// CHECK-NEXT: (ICON:unsigned 262147))
// CHECK-NEXT: (URETURN:void (NAME:void(void) _two_pairs))
// CHECK-NEXT: endfunction

void one_place(void) {
    s.word = 1;
    s.word = 8;
}
// CHECK-LABEL: function _one_place
// CHECK: (ASG:int (STDOT:int (NAME:struct.pair _s) (FIELD:int word struct.pair)) (ICON:int 8))
// CHECK-NEXT: (URETURN:void (NAME:void(void) _one_place))
// CHECK-NEXT: endfunction

void bits(void) {
    s.word |= 1;
    s.word |= 8;
}
// CHECK-LABEL: function _bits
// CHECK: (ORBASG:int (STDOT:int (NAME:struct.pair _s) (FIELD:int word struct.pair)) (ICON:int 1))
// CHECK-NEXT: (ORBASG:int (STDOT:int (NAME:struct.pair _s) (FIELD:int word struct.pair)) (ICON:int 8))
// CHECK-NEXT: (URETURN:void (NAME:void(void) _bits))
// CHECK-NEXT: endfunction

void device(void) {
    port.a = 1;
    port.b = 2;
}
// CHECK-LABEL: function _device
// CHECK: (ASG:short
// CHECK-NEXT: (STDOT:short.volatile (NAME:struct.pair.volatile _port) (FIELD:char a struct.pair))
// CHECK-NEXT: (ICON:short 1))
// CHECK-NEXT: (ASG:short
// CHECK-NEXT: (STDOT:short.volatile (NAME:struct.pair.volatile _port) (FIELD:char b struct.pair))
// CHECK-NEXT: (ICON:short 2))
// CHECK-NEXT: (URETURN:void (NAME:void(void) _device))
// CHECK-NEXT: endfunction

void something_between(int x) {
    s.a = 1;
    other = x;
    s.b = 2;
}
// CHECK-LABEL: function _something_between
// CHECK: (ASG:short (STDOT:short (NAME:struct.pair _s) (FIELD:char a struct.pair)) (ICON:short 1))
// CHECK-NEXT: (ASG:int (NAME:int _other) (NAME:int x))
// CHECK-NEXT: (ASG:short (STDOT:short (NAME:struct.pair _s) (FIELD:char b struct.pair)) (ICON:short 2))
// CHECK-NEXT: (URETURN:void (NAME:void(int) _something_between))
// CHECK-NEXT: endfunction
