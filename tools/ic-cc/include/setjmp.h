#pragma once
typedef int jmp_buf[4];
int setjmp(jmp_buf buffer);
__attribute__((noreturn)) void longjmp(jmp_buf buffer, int value);
#define setjmp(buffer) setjmp(buffer)
