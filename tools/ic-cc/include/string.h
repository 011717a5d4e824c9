#pragma once
#include <stddef.h>
void *memchr(const void *s, int c, size_t n);
int memcmp(const void *a, const void *b, size_t n);
void *memcpy(void *__restrict to, const void *__restrict from, size_t n);
void *memmove(void *to, const void *from, size_t n);
void *memset(void *s, int c, size_t n);
char *strcat(char *__restrict to, const char *__restrict from);
char *strchr(const char *s, int c);
int strcmp(const char *a, const char *b);
int strcoll(const char *a, const char *b);
char *strcpy(char *__restrict to, const char *__restrict from);
size_t strcspn(const char *s, const char *set);
char *strerror(int number);
size_t strlen(const char *s);
char *strncat(char *__restrict to, const char *__restrict from, size_t n);
int strncmp(const char *a, const char *b, size_t n);
char *strncpy(char *__restrict to, const char *__restrict from, size_t n);
char *strpbrk(const char *s, const char *set);
char *strrchr(const char *s, int c);
size_t strspn(const char *s, const char *set);
char *strstr(const char *s, const char *part);
char *strtok(char *__restrict s, const char *__restrict set);
size_t strxfrm(char *__restrict to, const char *__restrict from, size_t n);
