// The error mode of the process.
#include <windows.h>

#include <utility>

// No dialog is ever raised here; the mode is only remembered, as callers put back what they found.
UINT WINAPI SetErrorMode(UINT mode) {
  static UINT current = 0;
  return std::exchange(current, mode);
}
