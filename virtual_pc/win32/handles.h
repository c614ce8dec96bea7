// From Win32 handles to the kernel's objects.
#pragma once

#include <windows.h>

#include "virtual_pc/system/kernel.h"

namespace ostria::virtual_pc {

inline HandleValue valueOf(HANDLE handle) { return reinterpret_cast<HandleValue>(handle); }
inline HANDLE handleOf(HandleValue value) { return reinterpret_cast<HANDLE>(value); }

/// Sets the last error and gives FALSE.
inline BOOL failWith(std::uint32_t error) {
  SetLastError(error);
  return FALSE;
}

/// TRUE for error 0; otherwise sets the last error.
inline BOOL succeeded(std::uint32_t error) { return error == 0 ? TRUE : failWith(error); }

/// Copies a text with its closing zero into a caller's buffer, the way of the functions that give a
/// length: the length without the zero, or the needed size with it when the buffer is too small.
DWORD copyOut(const std::wstring& text, LPWSTR buffer, DWORD size);

}  // namespace ostria::virtual_pc
