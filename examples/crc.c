/* CRC-16/CCITT and CRC-32 over a buffer, bit by bit and by table. */
#include <stdio.h>

#define LENGTH 256

static unsigned short table16[256];
static unsigned char buffer[LENGTH];

static unsigned crc16_bitwise(const unsigned char *data, int length) {
    unsigned crc = 0xFFFF;
    int i, bit;
    for (i = 0; i < length; i++) {
        crc ^= (unsigned)(data[i] & 0xFF) << 8;
        for (bit = 0; bit < 8; bit++)
            crc = (crc & 0x8000) ? (crc << 1) ^ 0x1021 : crc << 1;
        crc &= 0xFFFF;
    }
    return crc;
}

static void make_table16(void) {
    unsigned n;
    for (n = 0; n < 256; n++) {
        unsigned crc = n << 8;
        int bit;
        for (bit = 0; bit < 8; bit++)
            crc = (crc & 0x8000) ? (crc << 1) ^ 0x1021 : crc << 1;
        table16[n] = (unsigned short)crc;
    }
}

static unsigned crc16_by_table(const unsigned char *data, int length) {
    unsigned crc = 0xFFFF;
    while (length-- > 0)
        crc = ((crc << 8) ^ table16[((crc >> 8) ^ *data++) & 0xFF]) & 0xFFFF;
    return crc;
}

static unsigned crc32_bitwise(const unsigned char *data, int length) {
    unsigned crc = ~0u;
    int i, bit;
#pragma MUST_ITERATE(1, LENGTH, 1)
    for (i = 0; i < length; i++) {
        crc ^= data[i] & 0xFFu;
        for (bit = 0; bit < 8; bit++)
            crc = (crc >> 1) ^ (0xEDB88320u & (0u - (crc & 1u)));
    }
    return ~crc;
}

int main(void) {
    int i;
    for (i = 0; i < LENGTH; i++) buffer[i] = (unsigned char)((i * 7 + 3) & 0xFF);
    make_table16();
    printf("crc16 %u %u\n", crc16_bitwise(buffer, LENGTH), crc16_by_table(buffer, LENGTH));
    printf("crc32 %u\n", crc32_bitwise(buffer, LENGTH));
    return crc16_bitwise(buffer, LENGTH) == crc16_by_table(buffer, LENGTH) ? 0 : 1;
}
