/* Fixed-point and float math: Q15 products, square roots, a sine table, a Mandelbrot row. */
#include <stdio.h>

typedef short q15;

static q15 q15_mul(q15 a, q15 b) { return (q15)((a * b + (1 << 14)) >> 15); }

static unsigned isqrt(unsigned n) {
    unsigned root = 0, bit = 1u << 30;
    while (bit > n) bit >>= 2;
    for (; bit; bit >>= 2) {
        if (n >= root + bit) {
            n -= root + bit;
            root = (root >> 1) + bit;
        } else {
            root >>= 1;
        }
    }
    return root;
}

static float square_root(float x) {
    float guess = x > 1.0f ? x / 2 : 1.0f;
    int i;
    for (i = 0; i < 12; i++) guess = (guess + x / guess) * 0.5f;
    return guess;
}

/* sine of a 16-bit angle by a parabola, in Q15 */
static q15 sine(int angle) {
    int a = angle & 0xFFFF, half = a & 0x7FFF, y;
    y = (half * (0x8000 - half)) >> 13;
    if (y > 32767) y = 32767;
    return (q15)(a & 0x8000 ? -y : y);
}

static int mandelbrot(int cx, int cy) {
    int x = 0, y = 0, n = 0;
    while (n < 50) {
        int xx = (x * x) >> 12, yy = (y * y) >> 12;
        if (xx + yy > 4 << 12) break;
        y = ((x * y) >> 11) + cy;
        x = xx - yy + cx;
        n++;
    }
    return n;
}

int main(void) {
    int i, sum = 0;
    float total = 0;
    for (i = 0; i < 64; i++) sum += q15_mul(sine(i * 1024), sine(i * 1024 + 0x4000));
    printf("sine sum %d\n", sum);
    for (i = 1; i < 20; i++) {
        total += square_root((float)i);
        sum += (int)isqrt((unsigned)(i * i * i) * 97u);
    }
    printf("roots %d %d\n", (int)(total * 1000.0f), sum);
    for (i = 0; i < 16; i++) putchar("0123456789abcdefghijklmnopqrstuvwxyz"[mandelbrot(-8192 + i * 768, 1200) % 36]);
    putchar('\n');
    return 0;
}
