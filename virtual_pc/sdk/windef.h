// The part of the SDK header of this name that the Windows-bound classes use: basic types.
#pragma once

#include <guiddef.h>

#include <cstddef>
#include <cstdint>

// Base types of the 64-bit system. LONG and its kin have 32 bits here as there; WCHAR is this
// compiler's wchar_t.
using BYTE = std::uint8_t;
using UCHAR = unsigned char;
using CHAR = char;
using CCHAR = char;
using BOOLEAN = std::uint8_t;
using WORD = std::uint16_t;
using USHORT = std::uint16_t;
using SHORT = std::int16_t;
using DWORD = std::uint32_t;
using ULONG = std::uint32_t;
using UINT = std::uint32_t;
using INT = std::int32_t;
using LONG = std::int32_t;
using BOOL = std::int32_t;
using HRESULT = std::int32_t;
using LONGLONG = long long;
using ULONGLONG = unsigned long long;
using DWORD64 = unsigned long long;
using ULONG64 = unsigned long long;
using DWORDLONG = unsigned long long;
using UINT8 = std::uint8_t;
using UINT16 = std::uint16_t;
using UINT32 = std::uint32_t;
using UINT64 = unsigned long long;
using INT64 = long long;
using LONG_PTR = std::intptr_t;
using ULONG_PTR = std::uintptr_t;
using DWORD_PTR = std::uintptr_t;
using UINT_PTR = std::uintptr_t;
using INT_PTR = std::intptr_t;
using SIZE_T = std::size_t;
using WCHAR = wchar_t;
using LPSTR = char*;
using PSTR = char*;
using LPCSTR = const char*;
using PCSTR = const char*;
using LPWSTR = WCHAR*;
using PWSTR = WCHAR*;
using LPCWSTR = const WCHAR*;
using PCWSTR = const WCHAR*;
using PVOID = void*;
using LPVOID = void*;
using LPCVOID = const void*;
using PBYTE = BYTE*;
using LPBYTE = BYTE*;
using PUCHAR = UCHAR*;
using PCHAR = char*;
using PWORD = WORD*;
using LPWORD = WORD*;
using PUSHORT = USHORT*;
using PDWORD = DWORD*;
using LPDWORD = DWORD*;
using PULONG = ULONG*;
using PLONG = LONG*;
using LPLONG = LONG*;
using PBOOL = BOOL*;
using LPBOOL = BOOL*;
using PULONGLONG = ULONGLONG*;
using HANDLE = void*;
using PHANDLE = HANDLE*;
using LPHANDLE = HANDLE*;
using HMODULE = HANDLE;
using HINSTANCE = HANDLE;
using HWND = HANDLE;
using HKEY = HANDLE;
using HLOCAL = HANDLE;
using FARPROC = INT_PTR (*)();

union LARGE_INTEGER {
  struct {
    DWORD LowPart;
    LONG HighPart;
  };
  struct {
    DWORD LowPart;
    LONG HighPart;
  } u;
  LONGLONG QuadPart;
};
using PLARGE_INTEGER = LARGE_INTEGER*;

union ULARGE_INTEGER {
  struct {
    DWORD LowPart;
    DWORD HighPart;
  };
  struct {
    DWORD LowPart;
    DWORD HighPart;
  } u;
  ULONGLONG QuadPart;
};
using PULARGE_INTEGER = ULARGE_INTEGER*;

struct FILETIME {
  DWORD dwLowDateTime;
  DWORD dwHighDateTime;
};

#define WINAPI
#define STDMETHODCALLTYPE
#ifndef TRUE
#define TRUE 1
#define FALSE 0
#endif
#define MAX_PATH 260
#define ANYSIZE_ARRAY 1
