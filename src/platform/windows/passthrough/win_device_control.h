// The one call behind every control code on Windows, with the codes and the records that go with
// them.
#pragma once

#include <windows.h>
// The others need windows.h first.
#include <ntddscsi.h>
#include <winioctl.h>

#include <cstring>

#include "base/device_handle.h"

namespace ostria::storage {

/// How a control code ended.
struct ControlAnswer {
  DWORD error = ERROR_SUCCESS;
  DWORD returned = 0;  ///< bytes that the driver wrote to the output block

  explicit operator bool() const { return error == ERROR_SUCCESS; }
};

/// Sends a control code and waits for its end, however long the driver takes. Handles of this
/// module are open for overlapped access, where a wait for the handle itself could be ended by
/// another request: every call waits for an event of its own.
ControlAnswer deviceControl(DeviceHandle handle, DWORD code, const void* in, std::size_t inBytes,
                            void* out, std::size_t outBytes);

/// The number in a field of a driver's record that has an enumeration as its type. A driver may put
/// any number there, and loading one that the enumeration does not have is undefined.
template <typename Enumeration>
DWORD numberIn(const Enumeration& field) {
  static_assert(sizeof field == sizeof(DWORD));
  DWORD number = 0;
  std::memcpy(&number, &field, sizeof number);
  return number;
}

}  // namespace ostria::storage
