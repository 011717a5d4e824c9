#pragma once
#include <stddef.h>
void *memchr(const void *s, int c, size_t n);
int memcmp(const void *a, const void *b, size_t n);
void *memcpy(void *restrict to, const void *restrict from, size_t n);
void *memmove(void *to, const void *from, size_t n);
void *memset(void *s, int c, size_t n);
char *strcat(char *restrict to, const char *restrict from);
char *strchr(const char *s, int c);
int strcmp(const char *a, const char *b);
int strcoll(const char *a, const char *b);
char *strcpy(char *restrict to, const char *restrict from);
size_t strcspn(const char *s, const char *set);
char *strerror(int number);
size_t strlen(const char *s);
char *strncat(char *restrict to, const char *restrict from, size_t n);
int strncmp(const char *a, const char *b, size_t n);
char *strncpy(char *restrict to, const char *restrict from, size_t n);
char *strpbrk(const char *s, const char *set);
char *strrchr(const char *s, int c);
size_t strspn(const char *s, const char *set);
char *strstr(const char *s, const char *part);
char *strtok(char *restrict s, const char *restrict set);
size_t strxfrm(char *restrict to, const char *restrict from, size_t n);
