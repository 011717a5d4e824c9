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
char *fgets(char *__restrict s, int n, FILE *__restrict stream);
int fprintf(FILE *__restrict stream, const char *__restrict format, ...);
int fputc(int c, FILE *stream);
int fputs(const char *__restrict s, FILE *__restrict stream);
int fscanf(FILE *__restrict stream, const char *__restrict format, ...);
int getc(FILE *stream);
int getchar(void);
void perror(const char *s);
int printf(const char *__restrict format, ...);
int putc(int c, FILE *stream);
int putchar(int c);
int puts(const char *s);
int scanf(const char *__restrict format, ...);
int snprintf(char *__restrict s, size_t n, const char *__restrict format, ...);
int sprintf(char *__restrict s, const char *__restrict format, ...);
int sscanf(const char *__restrict s, const char *__restrict format, ...);
int vfprintf(FILE *__restrict stream, const char *__restrict format, va_list args);
int vprintf(const char *__restrict format, va_list args);
int vsnprintf(char *__restrict s, size_t n, const char *__restrict format, va_list args);
int vsprintf(char *__restrict s, const char *__restrict format, va_list args);
