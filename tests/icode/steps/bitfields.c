// Constants for several fields of one storage unit become one store, of the whole unit when they
// fill it, with a mask when that is cheaper. A lone field, a value that is not constant and a volatile field stay as they are.
// RUN: ic-cc -o %t.ic %s && run_pass expand_bitfields %t.ic | FileCheck %s
struct whole {
    unsigned low : 12, high : 20;
} whole;
struct part {
    unsigned a : 3, b : 5, c : 4;
} part;
volatile struct part device;

void fill_the_unit(void) {
    whole.low = 0x234;
    whole.high = 0x1;
}
// CHECK-LABEL: function _fill_the_unit
// CHECK: (ASG:unsigned
// CHECK-NEXT: (UMULT:unsigned (PCONV:unsigned* (UAND:struct.whole* (NAME:struct.whole _whole))))
// CHECK-NEXT: (ICON:unsigned 4660))
// CHECK-NEXT: (URETURN:void (NAME:void(void) _fill_the_unit))
// CHECK-NEXT: endfunction

void three_fields(void) {
    part.a = 1;
    part.b = 0;
    part.c = 2;
}
// CHECK-LABEL: function _three_fields
// CHECK: (ASG:unsigned
// CHECK-NEXT: (UMULT:unsigned (PCONV:unsigned* (UAND:struct.part* (NAME:struct.part _part))))
// CHECK-NEXT: (ORB:unsigned
// CHECK-NEXT: (ANDB:unsigned
// CHECK-NEXT: (UMULT:unsigned (PCONV:unsigned* (UAND:struct.part* (NAME:struct.part _part))))
// CHECK-NEXT: (ICON:unsigned 4294963200))
// CHECK-NEXT: (ICON:unsigned 513)))
// CHECK-NEXT: (URETURN:void (NAME:void(void) _three_fields))
// CHECK-NEXT: endfunction

void two_fields(void) {
    part.a = 1;
    part.c = 2;
}
// CHECK-LABEL: function _two_fields
// CHECK: (ASG:unsigned
// CHECK-NEXT: (STDOT:unsigned (NAME:struct.part _part) (FIELD:unsigned a struct.part))
// CHECK-NEXT: (ICON:unsigned 1))
// CHECK-NEXT: (ASG:unsigned
// CHECK-NEXT: (STDOT:unsigned (NAME:struct.part _part) (FIELD:unsigned c struct.part))
// CHECK-NEXT: (ICON:unsigned 2))
// CHECK-NEXT: (URETURN:void (NAME:void(void) _two_fields))
// CHECK-NEXT: endfunction

void lone_field(void) {
    part.b = 3;
}
// CHECK-LABEL: function _lone_field
// CHECK: (ASG:unsigned
// CHECK-NEXT: (STDOT:unsigned (NAME:struct.part _part) (FIELD:unsigned b struct.part))
// CHECK-NEXT: (ICON:unsigned 3))
// CHECK-NEXT: (URETURN:void (NAME:void(void) _lone_field))
// CHECK-NEXT: endfunction

void not_constant(int x) {
    part.a = x;
    part.b = 3;
}
// CHECK-LABEL: function _not_constant
// CHECK: (ASG:unsigned
// CHECK-NEXT: (STDOT:unsigned (NAME:struct.part _part) (FIELD:unsigned a struct.part))
// CHECK-NEXT: (SCONV:unsigned (NAME:int x)))
// CHECK-NEXT: (ASG:unsigned
// CHECK-NEXT: (STDOT:unsigned (NAME:struct.part _part) (FIELD:unsigned b struct.part))
// CHECK-NEXT: (ICON:unsigned 3))
// CHECK-NEXT: (URETURN:void (NAME:void(int) _not_constant))
// CHECK-NEXT: endfunction

void volatile_fields(void) {
    device.a = 1;
    device.b = 2;
}
// CHECK-LABEL: function _volatile_fields
// CHECK: (ASG:unsigned
// CHECK-NEXT: (STDOT:unsigned.volatile (NAME:struct.part.volatile _device) (FIELD:unsigned a struct.part))
// CHECK-NEXT: (ICON:unsigned 1))
// CHECK-NEXT: (ASG:unsigned
// CHECK-NEXT: (STDOT:unsigned.volatile (NAME:struct.part.volatile _device) (FIELD:unsigned b struct.part))
// CHECK-NEXT: (ICON:unsigned 2))
// CHECK-NEXT: (URETURN:void (NAME:void(void) _volatile_fields))
// CHECK-NEXT: endfunction
