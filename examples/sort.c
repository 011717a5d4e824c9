/* Quicksort, heapsort and insertion sort on the same data. */
#include <stdio.h>

#define N 200

static int data[N], copy[N];
static unsigned seed = 12345;

static unsigned next_random(void) {
    seed = seed * 1664525u + 1013904223u;
    return seed >> 16;
}

static void swap(int *a, int *b) {
    int t = *a;
    *a = *b;
    *b = t;
}

static void quicksort(int *a, int lo, int hi) {
    int i = lo, j = hi, pivot = a[(lo + hi) / 2];
    do {
        while (a[i] < pivot) i++;
        while (pivot < a[j]) j--;
        if (i <= j) swap(&a[i++], &a[j--]);
    } while (i <= j);
    if (lo < j) quicksort(a, lo, j);
    if (i < hi) quicksort(a, i, hi);
}

static void sift_down(int *a, int root, int n) {
    for (;;) {
        int child = 2 * root + 1;
        if (child >= n) return;
        if (child + 1 < n && a[child] < a[child + 1]) child++;
        if (a[root] >= a[child]) return;
        swap(&a[root], &a[child]);
        root = child;
    }
}

static void heapsort_ints(int *a, int n) {
    int i;
    for (i = n / 2 - 1; i >= 0; i--) sift_down(a, i, n);
    for (i = n - 1; i > 0; i--) {
        swap(&a[0], &a[i]);
        sift_down(a, 0, i);
    }
}

static void insertion_sort(int *a, int n) {
    int i, j;
    for (i = 1; i < n; i++) {
        int value = a[i];
        for (j = i; j > 0 && a[j - 1] > value; j--) a[j] = a[j - 1];
        a[j] = value;
    }
}

static unsigned checksum(const int *a, int n) {
    int i;
    unsigned sum = 0;
    for (i = 0; i < n; i++) sum = sum * 31 + (unsigned)(a[i] * (i + 1));
    return sum & 0x7FFFFFF;
}

static int is_sorted(const int *a, int n) {
    int i;
    for (i = 1; i < n; i++)
        if (a[i - 1] > a[i]) return 0;
    return 1;
}

int main(void) {
    int i, method, ok = 1;
    for (i = 0; i < N; i++) data[i] = (int)(next_random() & 0x3FFF) - 0x2000;
    for (method = 0; method < 3; method++) {
        for (i = 0; i < N; i++) copy[i] = data[i];
        switch (method) {
        case 0: quicksort(copy, 0, N - 1); break;
        case 1: heapsort_ints(copy, N); break;
        default: insertion_sort(copy, N); break;
        }
        ok = ok && is_sorted(copy, N);
        printf("method %d: first %d last %d checksum %u\n", method, copy[0], copy[N - 1], checksum(copy, N));
    }
    return ok ? 0 : 1;
}
