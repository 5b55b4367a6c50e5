#pragma once
// The basic Windows type names, each defined once here. The string and file
// layer needs nothing more; WinTypes.h adds the window layer's handles,
// geometry and message numbers on top of these.
#include <cstddef>
#include <cstdint>

typedef int BOOL;
typedef unsigned char BYTE;
typedef uint16_t WORD;
typedef uint32_t DWORD;
typedef int32_t LONG;
typedef uint32_t ULONG;
typedef int64_t LONGLONG;
typedef uint64_t ULONGLONG;
typedef unsigned int UINT;
typedef char CHAR;
typedef char TCHAR;
typedef char* LPSTR;
typedef const char* LPCSTR;
typedef char* LPTSTR;
typedef const char* LPCTSTR;
typedef void* LPVOID;
typedef const void* LPCVOID;

// The module handle handed to LoadString and LoadCursor; never dereferenced
// (the layer ignores it), so an opaque pointer type keeps the overloads apart.
struct HINSTANCE__;
typedef HINSTANCE__* HINSTANCE;

#ifndef TRUE
#define TRUE 1
#endif
#ifndef FALSE
#define FALSE 0
#endif
