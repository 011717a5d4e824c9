/* Work for the interpreter: nested loops over arrays, calls and integer arithmetic, about a hundred
   million nodes. */
#include <stdio.h>

static int table[1024];

static int mix(int a, int b) {
    return (a << 3) ^ (b >> 2) ^ (a + b);
}

int main(void) {
    int round, i, sum = 1;
    for (round = 0; round < 3000; round++)
        for (i = 0; i < 1024; i++) {
            table[i] = table[i] + mix(sum, i);
            if (table[i] & 1)
                sum += table[i];
            else
                sum ^= i;
        }
    printf("%d\n", sum);
    return 0;
}
