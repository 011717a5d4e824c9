// Included as often as wanted: the last NDEBUG counts.
#undef assert
#ifdef NDEBUG
#define assert(condition) ((void)0)
#else
__attribute__((noreturn)) void __assert_fail(const char *condition, const char *file, int line);
#define assert(condition) ((condition) ? (void)0 : __assert_fail(#condition, __FILE__, __LINE__))
#endif
#ifndef __cplusplus
#undef static_assert
#define static_assert _Static_assert
#endif
