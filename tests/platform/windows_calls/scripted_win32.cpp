// The functions of the SDK that the sends use, as a script: no disk, no simulated PC.
#include "scripted_win32.h"

#include <algorithm>
#include <cstring>

namespace ostria::storage::test {

ScriptedWin32& scriptedWin32() {
  static ScriptedWin32 kernel;
  return kernel;
}

void ScriptedWin32::endHanging() {
  if (hangingBuffer != nullptr) {
    std::memset(hangingBuffer, 0xAA, movedBytes);
  }
  hanging->Internal = 0;
  hanging->InternalHigh = movedBytes;
  hanging = nullptr;
}

}  // namespace ostria::storage::test

namespace {

using ostria::storage::test::ScriptedWin32;
using ostria::storage::test::scriptedWin32;

DWORD lastError = 0;

BOOL fail(DWORD error) {
  lastError = error;
  return FALSE;
}

/// The answer to a control code that was left pending.
struct {
  DWORD error = 0;
  DWORD returned = 0;
} pendingControl;

BOOL startTransfer(std::uint8_t* buffer, LPOVERLAPPED overlapped) {
  ScriptedWin32& kernel = scriptedWin32();
  kernel.lastOffset = (std::uint64_t{overlapped->OffsetHigh} << 32) | overlapped->Offset;
  if (kernel.transfer == ScriptedWin32::Transfer::Refused) {
    return fail(ERROR_ACCESS_DENIED);
  }
  overlapped->Internal = STATUS_PENDING;
  kernel.hanging = overlapped;
  kernel.hangingBuffer = buffer;
  if (kernel.transfer != ScriptedWin32::Transfer::Hang) {
    kernel.endHanging();
  }
  return kernel.transfer == ScriptedWin32::Transfer::AtOnce ? TRUE : fail(ERROR_IO_PENDING);
}

}  // namespace

extern "C" {
DWORD WINAPI GetLastError(void) { return lastError; }

HANDLE WINAPI CreateEventW(LPSECURITY_ATTRIBUTES, BOOL, BOOL, LPCWSTR) {
  ++scriptedWin32().openHandles;
  return reinterpret_cast<HANDLE>(std::uintptr_t{0xE0});
}

BOOL WINAPI CloseHandle(HANDLE) {
  --scriptedWin32().openHandles;
  return TRUE;
}

BOOL WINAPI DeviceIoControl(HANDLE, DWORD code, LPVOID in, DWORD inBytes, LPVOID out,
                            DWORD outBytes, LPDWORD returned, LPOVERLAPPED overlapped) {
  ScriptedWin32& kernel = scriptedWin32();
  const auto* first = static_cast<const std::uint8_t*>(in);
  kernel.sent.assign(first, first + inBytes);
  std::vector<std::uint8_t> block(outBytes);
  std::copy_n(first, std::min(inBytes, outBytes), block.begin());
  pendingControl.returned = outBytes;
  pendingControl.error = kernel.driver(code, block, pendingControl.returned);
  // As with buffered control codes only what the driver returned comes back.
  std::copy_n(block.begin(), std::min(outBytes, pendingControl.returned),
              static_cast<std::uint8_t*>(out));
  if (overlapped->hEvent == nullptr) {
    return fail(ERROR_INVALID_HANDLE);
  }
  if (kernel.transfer == ScriptedWin32::Transfer::Pending) {
    return fail(ERROR_IO_PENDING);
  }
  *returned = pendingControl.returned;
  return pendingControl.error == 0 ? TRUE : fail(pendingControl.error);
}

BOOL WINAPI ReadFile(HANDLE, LPVOID buffer, DWORD, LPDWORD, LPOVERLAPPED overlapped) {
  return startTransfer(static_cast<std::uint8_t*>(buffer), overlapped);
}

BOOL WINAPI WriteFile(HANDLE, LPCVOID buffer, DWORD bytes, LPDWORD, LPOVERLAPPED overlapped) {
  const auto* first = static_cast<const std::uint8_t*>(buffer);
  scriptedWin32().written.assign(first, first + bytes);
  return startTransfer(nullptr, overlapped);
}

DWORD WINAPI WaitForSingleObject(HANDLE, DWORD milliseconds) {
  scriptedWin32().lastMilliseconds = milliseconds;
  return scriptedWin32().hanging != nullptr ? WAIT_TIMEOUT : WAIT_OBJECT_0;
}

BOOL WINAPI GetOverlappedResult(HANDLE, LPOVERLAPPED overlapped, LPDWORD done, BOOL wait) {
  if (wait) {
    *done = pendingControl.returned;
    return pendingControl.error == 0 ? TRUE : fail(pendingControl.error);
  }
  if (overlapped->Internal == STATUS_PENDING) {
    return fail(ERROR_IO_INCOMPLETE);
  }
  *done = static_cast<DWORD>(overlapped->InternalHigh);
  const DWORD error = scriptedWin32().transferError;
  return error == 0 ? TRUE : fail(error);
}

BOOL WINAPI CancelIo(HANDLE) {
  ScriptedWin32& kernel = scriptedWin32();
  ++kernel.cancelled;
  if (kernel.cancelEnds && kernel.hanging != nullptr) {
    kernel.hanging->Internal = 0xC0000120;  // cancelled
    kernel.hanging = nullptr;
  }
  return TRUE;
}
}
