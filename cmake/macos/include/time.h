/* <time.h> for the macOS build: declarations from the C standard (see ../README.md). */
#ifndef ZTK_MAC_TIME_H
#define ZTK_MAC_TIME_H
#include <stddef.h>
#ifdef __cplusplus
extern "C" {
#endif
typedef unsigned long clock_t;
typedef long time_t;
struct tm { int tm_sec, tm_min, tm_hour, tm_mday, tm_mon, tm_year, tm_wday, tm_yday, tm_isdst; long tm_gmtoff; char *tm_zone; };
struct timespec { time_t tv_sec; long tv_nsec; };
#define CLOCKS_PER_SEC 1000000
clock_t clock(void);
double difftime(time_t, time_t);
time_t mktime(struct tm *);
time_t time(time_t *);
char *asctime(const struct tm *);
char *ctime(const time_t *);
struct tm *gmtime(const time_t *);
struct tm *localtime(const time_t *);
size_t strftime(char *, size_t, const char *, const struct tm *);
#ifdef __cplusplus
}
#endif
#endif
