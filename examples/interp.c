/* A small stack machine: an interpreter loop around a switch. */
#include <stdio.h>

enum opcode { PUSH, ADD, SUB, MUL, DUP, SWAP, OVER, DROP, LOAD, STORE, JUMP, JZ, PRINT, HALT };

static const int program[] = {
    /* n = 10; a = 0; b = 1; while (n) { print a; t = a + b; a = b; b = t; n = n - 1; } */
    PUSH, 10, STORE, 0, PUSH, 0, STORE, 1, PUSH, 1, STORE, 2,
    LOAD, 0, JZ, 42,
    LOAD, 1, PRINT,
    LOAD, 1, LOAD, 2, ADD,
    LOAD, 2, STORE, 1, STORE, 2,
    LOAD, 0, PUSH, 1, SUB, STORE, 0,
    JUMP, 12, DROP, DROP, DROP,
    /* 42: */ LOAD, 2, DUP, MUL, PRINT, HALT,
};

static int run(const int *code) {
    int stack[32], variables[8];
    int sp = 0, pc = 0, steps = 0, t;
    for (;;) {
        steps++;
        switch ((enum opcode)code[pc++]) {
        case PUSH: stack[sp++] = code[pc++]; break;
        case ADD: sp--; stack[sp - 1] += stack[sp]; break;
        case SUB: sp--; stack[sp - 1] -= stack[sp]; break;
        case MUL: sp--; stack[sp - 1] *= stack[sp]; break;
        case DUP: stack[sp] = stack[sp - 1]; sp++; break;
        case SWAP: t = stack[sp - 1]; stack[sp - 1] = stack[sp - 2]; stack[sp - 2] = t; break;
        case OVER: stack[sp] = stack[sp - 2]; sp++; break;
        case DROP: sp--; break;
        case LOAD: stack[sp++] = variables[code[pc++]]; break;
        case STORE: variables[code[pc++]] = stack[--sp]; break;
        case JUMP: pc = code[pc]; break;
        case JZ:
            if (stack[--sp] == 0)
                pc = code[pc];
            else
                pc++;
            break;
        case PRINT: printf("%d\n", stack[--sp]); break;
        case HALT: return steps;
        default: return -1;
        }
    }
}

int main(void) {
    int steps = run(program);
    printf("steps %d\n", steps);
    return steps > 0 ? 0 : 1;
}
