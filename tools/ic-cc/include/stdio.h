#pragma once
#include <stdarg.h>
#include <stddef.h>
#define EOF (-1)
#define BUFSIZ 256
typedef struct __FILE FILE;
extern FILE *stdin;
extern FILE *stdout;
extern FILE *stderr;
int fflush(FILE *stream);
int fgetc(FILE *stream);
char *fgets(char *restrict s, int n, FILE *restrict stream);
int fprintf(FILE *restrict stream, const char *restrict format, ...);
int fputc(int c, FILE *stream);
int fputs(const char *restrict s, FILE *restrict stream);
int fscanf(FILE *restrict stream, const char *restrict format, ...);
int getc(FILE *stream);
int getchar(void);
void perror(const char *s);
int printf(const char *restrict format, ...);
int putc(int c, FILE *stream);
int putchar(int c);
int puts(const char *s);
int scanf(const char *restrict format, ...);
int snprintf(char *restrict s, size_t n, const char *restrict format, ...);
int sprintf(char *restrict s, const char *restrict format, ...);
int sscanf(const char *restrict s, const char *restrict format, ...);
int vfprintf(FILE *restrict stream, const char *restrict format, va_list args);
int vprintf(const char *restrict format, va_list args);
int vsnprintf(char *restrict s, size_t n, const char *restrict format, va_list args);
int vsprintf(char *restrict s, const char *restrict format, va_list args);
