/* Product of two matrices of ints and of two matrices of floats. */
#include <stdio.h>

#define N 12

static int a[N][N], b[N][N], c[N][N];
static float x[N][N], y[N][N], z[N][N];

static void multiply(int (*p)[N], int (*q)[N], int (*r)[N]) {
    int i, j, k;
    for (i = 0; i < N; i++)
        for (j = 0; j < N; j++) {
            int sum = 0;
#pragma UNROLL(4)
            for (k = 0; k < N; k++) sum += p[i][k] * q[k][j];
            r[i][j] = sum;
        }
}

static void multiply_floats(void) {
    int i, j, k;
    for (i = 0; i < N; i++)
        for (j = 0; j < N; j++) {
            float sum = 0.0f;
            for (k = 0; k < N; k++) sum += x[i][k] * y[k][j];
            z[i][j] = sum;
        }
}

int main(void) {
    int i, j, trace = 0, total = 0;
    for (i = 0; i < N; i++)
        for (j = 0; j < N; j++) {
            a[i][j] = 3 * i - j;
            b[i][j] = (i * j) % 7;
            x[i][j] = (float)(i + 1) / 2;
            y[i][j] = (float)(j + 2 * i) * 0.25f;
        }
    multiply(a, b, c);
    multiply_floats();
    for (i = 0; i < N; i++) {
        trace += c[i][i];
        for (j = 0; j < N; j++) total += (int)(z[i][j] * 16.0f);
    }
    printf("trace %d total %d corner %d\n", trace, total, c[N - 1][0]);
    return 0;
}
