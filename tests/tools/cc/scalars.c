// Every scalar type and operator.
typedef unsigned int word;
enum color { RED, GREEN = 5, BLUE, NEG = -2 };
enum plain { A = sizeof(int), B, C = (unsigned char)65537, D = 'a' };

_Bool b;
char c;
signed char sc;
unsigned char uc;
short s;
unsigned short us;
int i;
unsigned u;
long l;
unsigned long ul;
long long ll;
unsigned long long ull;
float f;
double d;
long double ld;
enum color col;
word w;
volatile int vol;
const int fixed = 7;
int *p;
const volatile char *restrict q;
void *vp;

int arithmetic(void) {
    i = i + 1;
    i = i - u;
    u = u * i;
    s = s / us;
    l = l % i;
    ll = ll << 3;
    ull = ull >> s;
    i = ~i & (i | 5) ^ -i;
    f = f + i * d - ld / 3;
    d = -d;
    c = c + sc + uc;
    b = i;
    b = f;
    b = p;
    b = i < 3;
    i = b + 1;
    col = BLUE;
    i = col + NEG;
    w = 3;
    u = 4294967295;
    i = 0x7fffffff;
    ull = 3000000000;
    return i && f || !p;
}

int compare(void) {
    return (i < 1) + (u < 1) + (f < 1) + (p < q) + (c == 'x') + (uc <= 2) + (ull >= 3) + (s != us) +
           (u > i) + (p == 0) + (col < BLUE);
}

void updates(void) {
    i += 2;
    i += u;
    i /= u;
    s += 1;
    s *= 1.5f;
    s >>= u;
    us /= -1;
    uc -= 300;
    c |= 4;
    f += i;
    i *= f;
    d /= 2;
    b += 1;
    b |= i;
    i++;
    --u;
    i = s++ + ++c - l--;
    f++;
    d = f--;
    b++;
    p++;
    p += 3;
    p -= i;
    i = *p++ + *++p;
    vol++;
    vol;
    (void)vol;
    i = (vol, 3);
    ull <<= 2;
    ull >>= 1u;
}

int pointers(int n) {
    int a[10], m[3][4];
    int (*row)[4] = m;
    int **pp = &p;
    a[2] = *a;
    m[1][n] = n[a];
    row++;
    (*row)[1] = row[-1][0];
    p = a + n;
    p = n + a;
    p = a - n;
    i = p - a;
    i = &m[2] - m;
    *pp = &a[3];
    vp = p;
    p = vp;
    i = (int)p;
    us = (unsigned short)p;
    p = (int *)i;
    p = (int *)100;
    q = (char *)p;
    return p && *pp != 0;
}

unsigned sizes(void) {
    return sizeof(char) + sizeof(short) * 10 + sizeof i * 100 + sizeof(int[10]) * 1000 + sizeof "abc" +
           _Alignof(int) + sizeof p - sizeof(struct { char c; int i; char d; });
}
