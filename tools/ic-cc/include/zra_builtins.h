// What clang's built-in functions do where the machine has no operator for it. Included before
// every file; a function that is not needed leaves nothing behind.
#ifdef __cplusplus
extern "C" {
#endif
static inline int __zra_popcount(unsigned x) {
    x -= x >> 1 & 0x55555555u;
    x = (x & 0x33333333u) + (x >> 2 & 0x33333333u);
    x = (x + (x >> 4)) & 0x0f0f0f0fu;
    return (int)(x * 0x01010101u >> 24);
}
static inline int __zra_parity(unsigned x) { return __zra_popcount(x) & 1; }
static inline int __zra_ctz(unsigned x) { return __zra_popcount((x & -x) - 1); }
static inline int __zra_clz(unsigned x) {
    x |= x >> 1;
    x |= x >> 2;
    x |= x >> 4;
    x |= x >> 8;
    x |= x >> 16;
    return 32 - __zra_popcount(x);
}
static inline int __zra_clrsb(int x) { return __zra_clz((unsigned)(x < 0 ? ~x : x)) - 1; }
static inline int __zra_ffs(unsigned x) { return x ? __zra_ctz(x) + 1 : 0; }
static inline unsigned short __zra_bswap16(unsigned short x) {
    return (unsigned short)(x << 8 | x >> 8);
}
static inline unsigned __zra_bswap32(unsigned x) {
    return x << 24 | (x & 0xff00u) << 8 | (x >> 8 & 0xff00u) | x >> 24;
}
static inline unsigned __zra_rotateleft32(unsigned x, unsigned n) {
    n &= 31;
    return n ? x << n | x >> (32 - n) : x;
}
static inline int __zra_isnan(float x) { return x != x; }
static inline int __zra_isfinite(float x) { return x - x == 0; }
static inline int __zra_isinf(float x) { return x == x && x - x != 0; }
static inline int __zra_isinf_sign(float x) { return __zra_isinf(x) ? x < 0 ? -1 : 1 : 0; }
static inline int __zra_signbit(float x) {
    union {
        float f;
        unsigned u;
    } bits;
    bits.f = x;
    return (int)(bits.u >> 31);
}

// Arithmetic of two words: does the value high:low fit in a type of so many bits?
static inline int __zra_unfit(unsigned low, unsigned high, int bits, int is_signed) {
    if (bits == 16) {
        if (high != (low >> 31 ? 0xffffffffu : 0u)) return 1;
        return is_signed ? (int)low < -32768 || (int)low > 32767 : low > 65535u;
    }
    return high != (is_signed && low >> 31 ? 0xffffffffu : 0u);
}
// The operands are their low words and whether they are negative.
static inline int __zra_add_overflow(unsigned a, int a_negative, unsigned b, int b_negative,
                                     int bits, int is_signed, unsigned *result) {
    *result = a + b;
    return __zra_unfit(*result, (unsigned)((*result < a) - a_negative - b_negative), bits,
                       is_signed);
}
static inline int __zra_sub_overflow(unsigned a, int a_negative, unsigned b, int b_negative,
                                     int bits, int is_signed, unsigned *result) {
    *result = a - b;
    return __zra_unfit(*result, (unsigned)(b_negative - a_negative - (a < b)), bits, is_signed);
}
static inline int __zra_mul_overflow(unsigned a, int a_negative, unsigned b, int b_negative,
                                     int bits, int is_signed, unsigned *result) {
    unsigned low = (a & 0xffffu) * (b & 0xffffu);
    unsigned middle = (a >> 16) * (b & 0xffffu) + (low >> 16);
    unsigned other = (a & 0xffffu) * (b >> 16) + (middle & 0xffffu);
    unsigned high = (a >> 16) * (b >> 16) + (middle >> 16) + (other >> 16);
    if (a_negative) high -= b;
    if (b_negative) high -= a;
    *result = a * b;
    return __zra_unfit(*result, high, bits, is_signed);
}
#ifdef __cplusplus
}
#endif
