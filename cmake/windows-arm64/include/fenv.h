/* <fenv.h> for the Windows arm64 build: declarations from the C standard (see ../README.md). */
#ifndef ZTK_WIN_FENV_H
#define ZTK_WIN_FENV_H
#ifdef __cplusplus
extern "C" {
#endif
/* The Universal C Runtime's values, the same on every Windows machine. */
typedef unsigned long fexcept_t;
typedef struct { unsigned long _Fe_ctl, _Fe_stat; } fenv_t;
#define FE_TONEAREST 0x00000000
#define FE_UPWARD 0x00000200
#define FE_DOWNWARD 0x00000100
#define FE_TOWARDZERO 0x00000300
#define FE_INEXACT 0x01
#define FE_UNDERFLOW 0x02
#define FE_OVERFLOW 0x04
#define FE_DIVBYZERO 0x08
#define FE_INVALID 0x10
#define FE_ALL_EXCEPT 0x1f
int feclearexcept(int);
int fegetexceptflag(fexcept_t *, int);
int feraiseexcept(int);
int fesetexceptflag(const fexcept_t *, int);
int fetestexcept(int);
int fegetround(void);
int fesetround(int);
int fegetenv(fenv_t *);
int feholdexcept(fenv_t *);
int fesetenv(const fenv_t *);
int feupdateenv(const fenv_t *);
#ifdef __cplusplus
}
#endif
#endif
