/* <stdio.h> for the Windows arm64 build: declarations from the C standard (see ../README.md). */
#ifndef ZTK_WIN_STDIO_H
#define ZTK_WIN_STDIO_H
#include <stddef.h>
#include <stdarg.h>
#ifdef __cplusplus
extern "C" {
#endif
typedef struct _iobuf FILE;
typedef long long fpos_t;
#define EOF (-1)
#define BUFSIZ 1024
#define FILENAME_MAX 1024
#define FOPEN_MAX 20
#define L_tmpnam 1024
#define TMP_MAX 308915776
#define SEEK_SET 0
#define SEEK_CUR 1
#define SEEK_END 2
#define _IOFBF 0
#define _IOLBF 1
#define _IONBF 2
FILE *__acrt_iob_func(unsigned);
#define stdin (__acrt_iob_func(0))
#define stdout (__acrt_iob_func(1))
#define stderr (__acrt_iob_func(2))
int fclose(FILE *);
int fflush(FILE *);
void setbuf(FILE *, char *);
int setvbuf(FILE *, char *, int, size_t);
int fprintf(FILE *, const char *, ...);
int fscanf(FILE *, const char *, ...);
int sprintf(char *, const char *, ...);
int sscanf(const char *, const char *, ...);
int vfprintf(FILE *, const char *, va_list);
int vfscanf(FILE *, const char *, va_list);
int vsscanf(const char *, const char *, va_list);
int vsprintf(char *, const char *, va_list);
int fgetc(FILE *);
char *fgets(char *, int, FILE *);
int fputc(int, FILE *);
int fputs(const char *, FILE *);
int getc(FILE *);
int putc(int, FILE *);
int ungetc(int, FILE *);
size_t fread(void *, size_t, size_t, FILE *);
size_t fwrite(const void *, size_t, size_t, FILE *);
int fgetpos(FILE *, fpos_t *);
int fseek(FILE *, long, int);
int fsetpos(FILE *, const fpos_t *);
long ftell(FILE *);
void rewind(FILE *);
void clearerr(FILE *);
int feof(FILE *);
int ferror(FILE *);
void perror(const char *);
FILE *fopen(const char *, const char *);
FILE *freopen(const char *, const char *, FILE *);
int remove(const char *);
int rename(const char *, const char *);
FILE *tmpfile(void);
char *tmpnam(char *);
int getchar(void);
int scanf(const char *, ...);
int vscanf(const char *, va_list);
int printf(const char *, ...);
int putchar(int);
int puts(const char *);
int vprintf(const char *, va_list);
/* The Universal C Runtime exports one formatter that takes a va_list (an
   8-byte slot per argument, doubles included); snprintf and vsnprintf are
   inline around it, as in the runtime's own headers. Option 2: C99 results
   (the length wanted, the output always terminated). */
int __stdio_common_vsprintf(unsigned long long, char *, size_t, const char *, void *, va_list);
static inline int vsnprintf(char *buffer, size_t size, const char *format, va_list args) {
  return __stdio_common_vsprintf(2, buffer, size, format, 0, args);
}
static inline int snprintf(char *buffer, size_t size, const char *format, ...) {
  va_list args;
  va_start(args, format);
  const int n = vsnprintf(buffer, size, format, args);
  va_end(args);
  return n;
}
#ifdef __cplusplus
}
#endif
#endif
