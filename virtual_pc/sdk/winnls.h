// The part of the SDK header of this name that the Windows-bound classes use: code pages.
#pragma once

#include <windef.h>

#define CP_ACP 0
#define CP_OEMCP 1
#define CP_UTF8 65001
#define MB_ERR_INVALID_CHARS 0x00000008u
#define WC_ERR_INVALID_CHARS 0x00000080u

extern "C" {
int WINAPI MultiByteToWideChar(UINT codePage, DWORD flags, LPCSTR text, int bytes, LPWSTR wide,
                               int wideCount);
int WINAPI WideCharToMultiByte(UINT codePage, DWORD flags, LPCWSTR wide, int wideCount, LPSTR text,
                               int bytes, LPCSTR defaultChar, LPBOOL usedDefault);
}
