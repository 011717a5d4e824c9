/* Handling of strings: words, reversal, search, conversion of numbers. */
#include <stdio.h>

static const char text[] = "the quick brown fox jumps over the lazy dog and the cat";
static char work[80];
static const char *const needles[] = {"the", "fox", "cat", "cow", 0};

static int length(const char *s) {
    const char *p = s;
    while (*p) p++;
    return (int)(p - s);
}

static void copy(char *to, const char *from) {
    while ((*to++ = *from++) != '\0')
        ;
}

static void reverse(char *begin, char *end) {
    while (begin < --end) {
        char c = *begin;
        *begin++ = *end;
        *end = c;
    }
}

static void reverse_words(char *s) {
    char *word = s;
    reverse(s, s + length(s));
    for (; *s; s = word) {
        while (*s == ' ') s++;
        for (word = s; *word && *word != ' '; word++)
            ;
        reverse(s, word);
    }
}

static int count(const char *haystack, const char *needle) {
    int found = 0, n = length(needle);
    for (; *haystack; haystack++) {
        int i = 0;
        while (i < n && haystack[i] == needle[i]) i++;
        found += i == n;
    }
    return found;
}

static int to_number(const char *s) {
    int value = 0, negative = *s == '-';
    if (negative) s++;
    while (*s >= '0' && *s <= '9') value = value * 10 + (*s++ - '0');
    return negative ? -value : value;
}

static char *to_text(int value, char *end) {
    unsigned magnitude = value < 0 ? 0u - (unsigned)value : (unsigned)value;
    *end = '\0';
    do {
        *--end = (char)('0' + magnitude % 10);
        magnitude /= 10;
    } while (magnitude);
    if (value < 0) *--end = '-';
    return end;
}

int main(void) {
    const char *const *needle;
    char digits[16];
    copy(work, text);
    reverse_words(work);
    printf("%s\n", work);
    for (needle = needles; *needle; needle++) printf("%s: %d\n", *needle, count(text, *needle));
    printf("%s %d\n", to_text(to_number("-12345") * 3, digits + 15), length(text));
    return 0;
}
