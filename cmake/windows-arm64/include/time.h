/* <time.h> for the Windows arm64 build: declarations from the C standard (see ../README.md). */
#ifndef ZTK_WIN_TIME_H
#define ZTK_WIN_TIME_H
#include <stddef.h>
#ifdef __cplusplus
extern "C" {
#endif
typedef long clock_t;
typedef long long time_t;
struct tm { int tm_sec, tm_min, tm_hour, tm_mday, tm_mon, tm_year, tm_wday, tm_yday, tm_isdst; };
struct timespec { time_t tv_sec; long tv_nsec; };
#define CLOCKS_PER_SEC 1000
clock_t clock(void);
double difftime(time_t, time_t);
time_t mktime(struct tm *);
/* The runtime exports the 64-bit clock only; time() is inline around it. */
time_t _time64(time_t *);
static inline time_t time(time_t *t) { return _time64(t); }
char *asctime(const struct tm *);
char *ctime(const time_t *);
struct tm *gmtime(const time_t *);
struct tm *localtime(const time_t *);
size_t strftime(char *, size_t, const char *, const struct tm *);
#ifdef __cplusplus
}
#endif
#endif
