// The part of the SDK header of this name that the Windows-bound classes use: the registry.
#pragma once

#include <windef.h>
#include <winnt.h>

// The registry, for reading.

#define HKEY_LOCAL_MACHINE ((HKEY)(ULONG_PTR)((LONG)0x80000002))
#define RRF_RT_REG_SZ 0x00000002

using LSTATUS = LONG;

extern "C" {
/// @param bytes  in: size of `data`; out: size of the value with its closing zero
LSTATUS WINAPI RegGetValueW(HKEY root, LPCWSTR subKey, LPCWSTR value, DWORD flags, LPDWORD type,
                            PVOID data, LPDWORD bytes);
}
