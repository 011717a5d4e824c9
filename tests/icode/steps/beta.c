// Parameters that nothing reassigns are constant; variables of parameters that nothing names, and
// their copies in the prolog, go.
// RUN: ic-cc -o %t.all.ic %s && run_pass simp_all_trees/simpcfg %t.all.ic %t.ic > %t.text
// RUN: run_pass beta_parms %t.ic | FileCheck --check-prefix=PARMS %s
// RUN: run_pass beta_convert/remove_unreferenced_autos %t.ic | FileCheck --check-prefix=CONVERT %s
extern void keep(int *);

int reassigned(int a, int b) {
    b += a;
    return b;
}
// PARMS-LABEL: function _reassigned
// PARMS: sym a@2.2 int.const sc=1
// PARMS-NEXT: sym b@2.3 int sc=1
// CONVERT-LABEL: function _reassigned
// CONVERT: (PCOMMA:int (ASG:int (NAME:int a) (NAME:int a@1.0)) (ASG:int (NAME:int b) (NAME:int b@1.1)))

int address_taken(int c) {
    keep(&c);
    return c;
}
// PARMS-LABEL: function _address_taken
// PARMS: sym c@2.1 int sc=1
// CONVERT-LABEL: function _address_taken
// CONVERT: (ASG:int (NAME:int c) (NAME:int c@1.0))

int unused(int d, int e) {
    if (d != d) return e;
    return d;
}
// PARMS-LABEL: function _unused
// PARMS: sym d@2.2 int.const sc=1
// PARMS-NEXT: sym e@2.3 int.const sc=1
// CONVERT-LABEL: function _unused
// CONVERT: sym d@1.0
// CONVERT-NEXT: sym e@1.1
// CONVERT-NEXT: args
// CONVERT-NEXT: sym d@2.2 int sc=1
// CONVERT-NEXT: locals
// CONVERT: (ASG:int (NAME:int d) (NAME:int d@1.0))
// CONVERT-NEXT: (RETURN:int (NAME:int(int,int) _unused) (NAME:int d))
