/* A FIR filter on 16-bit samples with a 32-bit accumulator, and its block form. */
#include <stdio.h>

#define TAPS 16
#define SAMPLES 128

static const short coefficients[TAPS] = {-12, 5, 40, -80, -150, 300, 900, 1500,
                                         1500, 900, 300, -150, -80, 40, 5, -12};
static short input[SAMPLES + TAPS], output[SAMPLES];

static short saturate(int value) {
    if (value > 32767) return 32767;
    if (value < -32768) return -32768;
    return (short)value;
}

static void fir(const short *restrict in, const short *restrict taps, short *restrict out, int n) {
    int i, k;
    for (i = 0; i < n; i++) {
        int acc = 0;
#pragma MUST_ITERATE(16, 16, 16)
        for (k = 0; k < TAPS; k++) acc += in[i + k] * taps[k];
        out[i] = saturate((acc + (1 << 11)) >> 12);
    }
}

int main(void) {
    int i, energy = 0, peak = 0;
    int phase = 0, step = 37;
    for (i = 0; i < SAMPLES + TAPS; i++) {
        phase = (phase + step) & 0x3FF;
        input[i] = (short)((phase < 512 ? phase : 1023 - phase) * 60 - 15000);
    }
    fir(input, coefficients, output, SAMPLES);
    for (i = 0; i < SAMPLES; i++) {
        int level = output[i] < 0 ? -output[i] : output[i];
        energy += level >> 4;
        if (level > peak) peak = level;
    }
    printf("energy %d peak %d first %d last %d\n", energy, peak, output[0], output[SAMPLES - 1]);
    return 0;
}
