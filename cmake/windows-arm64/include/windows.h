/* <windows.h> for the Windows arm64 build: the few system declarations the plugin uses (see ../README.md). */
#ifndef ZTK_WIN_WINDOWS_H
#define ZTK_WIN_WINDOWS_H
#ifdef __cplusplus
extern "C" {
#endif
typedef unsigned long DWORD;
typedef unsigned long long ULONGLONG;
typedef int BOOL;
typedef void *LPVOID;
#define WINAPI
#define TLS_OUT_OF_INDEXES ((DWORD)0xFFFFFFFF)
__declspec(dllimport) DWORD WINAPI GetCurrentThreadId(void);
__declspec(dllimport) ULONGLONG WINAPI GetTickCount64(void);
__declspec(dllimport) DWORD WINAPI TlsAlloc(void);
__declspec(dllimport) LPVOID WINAPI TlsGetValue(DWORD);
__declspec(dllimport) BOOL WINAPI TlsSetValue(DWORD, LPVOID);
#ifdef __cplusplus
}
#endif
#endif
