/*
 * The Win32 subset the module and its hosts are written against.
 *
 * On Windows this is <windows.h>. Elsewhere the declarations below are implemented by our
 * platform library (libzorv_win32) with Win32 semantics: kernel objects behind HANDLEs that
 * stay valid until CloseHandle, thread handles that become signalled when the thread ends,
 * auto- and manual-reset events, per-thread message queues created on a thread's first
 * PeekMessageW/GetMessageW, and UTF-16 strings (WCHAR is char16_t).
 */
#ifndef ZORV_PLATFORM_WIN32API_H
#define ZORV_PLATFORM_WIN32API_H

#if defined(_WIN32)
#include <windows.h>
#include <io.h>
#include <stdio.h>
/* A string literal of WCHAR: wchar_t on Windows, char16_t elsewhere. */
#define ZORV_WIDE(text) L##text
#else
#define ZORV_WIDE(text) u##text

#include <stddef.h>
#include <stdint.h>
#include <stdio.h>

#if defined(ZORV_WIN32_BUILDING)
#define ZORV_WIN32_API __attribute__((visibility("default")))
#else
#define ZORV_WIN32_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

typedef void* HANDLE;
typedef void* HMODULE;
typedef void* HWND;
typedef void* LPVOID;
typedef uint32_t DWORD;
typedef int BOOL;
typedef unsigned int UINT;
typedef uintptr_t WPARAM;
typedef intptr_t LPARAM;
typedef char16_t WCHAR;
typedef WCHAR* LPWSTR;
typedef const WCHAR* LPCWSTR;
typedef char* LPSTR;
typedef const char* LPCSTR;
typedef void* FARPROC;
typedef DWORD (*LPTHREAD_START_ROUTINE)(LPVOID parameter);

#define WINAPI
#define TRUE 1
#define FALSE 0
#define INFINITE 0xFFFFFFFFu
#define WAIT_OBJECT_0 0x00000000u
#define WAIT_TIMEOUT 0x00000102u
#define WAIT_FAILED 0xFFFFFFFFu
#define STILL_ACTIVE 259u
#define CREATE_SUSPENDED 0x00000004u
#define PM_NOREMOVE 0x0000u
#define PM_REMOVE 0x0001u
#define WM_QUIT 0x0012u
#define WM_USER 0x0400u
#define WM_APP 0x8000u
#define CP_ACP 0u
#define CP_UTF8 65001u
#define WC_NO_BEST_FIT_CHARS 0x00000400u
#define MAX_PATH 260
#define ERROR_INVALID_HANDLE 6u
#define ERROR_NOT_ENOUGH_MEMORY 8u
#define ERROR_INVALID_THREAD_ID 1444u
#define ERROR_MOD_NOT_FOUND 126u
#define ERROR_PROC_NOT_FOUND 127u
#define ERROR_INSUFFICIENT_BUFFER 122u
#define ERROR_NO_UNICODE_TRANSLATION 1113u

typedef struct tagPOINT {
    int32_t x;
    int32_t y;
} POINT;

typedef struct tagMSG {
    HWND hwnd;
    UINT message;
    WPARAM wParam;
    LPARAM lParam;
    DWORD time;
    POINT pt;
} MSG;

/* Threads */
ZORV_WIN32_API HANDLE CreateThread(void* securityAttributes, size_t stackSize, LPTHREAD_START_ROUTINE start,
                                   LPVOID parameter, DWORD creationFlags, DWORD* threadId);
ZORV_WIN32_API DWORD ResumeThread(HANDLE thread);
ZORV_WIN32_API BOOL GetExitCodeThread(HANDLE thread, DWORD* exitCode);
ZORV_WIN32_API DWORD GetCurrentThreadId(void);
ZORV_WIN32_API DWORD GetThreadId(HANDLE thread);

/* Events and waiting */
ZORV_WIN32_API HANDLE CreateEventW(void* securityAttributes, BOOL manualReset, BOOL initialState, LPCWSTR name);
ZORV_WIN32_API BOOL SetEvent(HANDLE event);
ZORV_WIN32_API BOOL ResetEvent(HANDLE event);
ZORV_WIN32_API DWORD WaitForSingleObject(HANDLE object, DWORD milliseconds);
ZORV_WIN32_API BOOL CloseHandle(HANDLE object);
ZORV_WIN32_API DWORD GetLastError(void);
ZORV_WIN32_API void SetLastError(DWORD error);
ZORV_WIN32_API void Sleep(DWORD milliseconds);

/* Thread message queues */
ZORV_WIN32_API BOOL PostThreadMessageW(DWORD threadId, UINT message, WPARAM wParam, LPARAM lParam);
ZORV_WIN32_API BOOL PeekMessageW(MSG* msg, HWND window, UINT filterMin, UINT filterMax, UINT removeFlags);
ZORV_WIN32_API BOOL GetMessageW(MSG* msg, HWND window, UINT filterMin, UINT filterMax);

/* Dynamic libraries: "X.dll" is looked up as libX.so, first beside the running program, then
 * along the loader's usual path. */
ZORV_WIN32_API HMODULE LoadLibraryW(LPCWSTR fileName);
ZORV_WIN32_API FARPROC GetProcAddress(HMODULE module, LPCSTR procName);
ZORV_WIN32_API BOOL FreeLibrary(HMODULE module);

/* Strings and paths (UTF-16 <-> UTF-8; CP_ACP is UTF-8 here) */
ZORV_WIN32_API int lstrlenW(LPCWSTR text);
ZORV_WIN32_API LPWSTR lstrcpyW(LPWSTR destination, LPCWSTR source);
ZORV_WIN32_API DWORD GetShortPathNameW(LPCWSTR longPath, LPWSTR shortPath, DWORD bufferLength);
ZORV_WIN32_API int WideCharToMultiByte(UINT codePage, DWORD flags, LPCWSTR wide, int wideLength, LPSTR narrow,
                                       int narrowLength, LPCSTR defaultChar, BOOL* usedDefaultChar);
ZORV_WIN32_API int MultiByteToWideChar(UINT codePage, DWORD flags, LPCSTR narrow, int narrowLength, LPWSTR wide,
                                       int wideLength);

/* C runtime on wide paths and descriptors */
ZORV_WIN32_API FILE* _wfopen(LPCWSTR fileName, LPCWSTR mode);
ZORV_WIN32_API int64_t _ftelli64(FILE* file);
ZORV_WIN32_API int _fseeki64(FILE* file, int64_t offset, int origin);
ZORV_WIN32_API int _fileno(FILE* file);
ZORV_WIN32_API long _lseek(int fd, long offset, int origin);
ZORV_WIN32_API int _read(int fd, void* buffer, unsigned int count);

#ifdef __cplusplus
}
#endif

#endif /* !_WIN32 */
#endif
