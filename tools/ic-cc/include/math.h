#pragma once
// double is binary32, so that each function and its "f" form compute the same.
#define HUGE_VAL (__builtin_huge_val())
#define HUGE_VALF (__builtin_huge_valf())
#define INFINITY (__builtin_inff())
#define NAN (__builtin_nanf(""))
#define isnan(x) ((x) != (x))
#define isinf(x) ((x) == INFINITY || (x) == -INFINITY)
#define isfinite(x) ((x) - (x) == 0)
#define signbit(x) (copysign(1.0, (x)) < 0)
#define M_E 2.7182818284590452354
#define M_PI 3.14159265358979323846
#define M_PI_2 1.57079632679489661923
#define M_SQRT2 1.41421356237309504880
double acos(double x);
float acosf(float x);
double asin(double x);
float asinf(float x);
double atan(double x);
float atanf(float x);
double ceil(double x);
float ceilf(float x);
double cos(double x);
float cosf(float x);
double cosh(double x);
float coshf(float x);
double exp(double x);
float expf(float x);
double exp2(double x);
float exp2f(float x);
double fabs(double x);
float fabsf(float x);
double floor(double x);
float floorf(float x);
double log(double x);
float logf(float x);
double log10(double x);
float log10f(float x);
double log2(double x);
float log2f(float x);
double round(double x);
float roundf(float x);
double sin(double x);
float sinf(float x);
double sinh(double x);
float sinhf(float x);
double sqrt(double x);
float sqrtf(float x);
double tan(double x);
float tanf(float x);
double tanh(double x);
float tanhf(float x);
double trunc(double x);
float truncf(float x);
double atan2(double x, double y);
float atan2f(float x, float y);
double fmod(double x, double y);
float fmodf(float x, float y);
double fmax(double x, double y);
float fmaxf(float x, float y);
double fmin(double x, double y);
float fminf(float x, float y);
double hypot(double x, double y);
float hypotf(float x, float y);
double pow(double x, double y);
float powf(float x, float y);
double copysign(double x, double y);
float copysignf(float x, float y);
double frexp(double x, int *exponent);
float frexpf(float x, int *exponent);
double ldexp(double x, int exponent);
float ldexpf(float x, int exponent);
double modf(double x, double *whole);
float modff(float x, float *whole);
long lround(double x);
long lroundf(float x);
