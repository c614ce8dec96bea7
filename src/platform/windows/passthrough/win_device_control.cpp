// DeviceIoControl on handles that are open for overlapped access.
#include "platform/windows/passthrough/win_device_control.h"

#include <algorithm>
#include <limits>

#include "platform/windows/io/win_handle.h"

namespace ostria::storage {

ControlAnswer deviceControl(DeviceHandle handle, DWORD code, const void* in, std::size_t inBytes,
                            void* out, std::size_t outBytes) {
  constexpr std::size_t kMost = std::numeric_limits<DWORD>::max();
  if (!handle) {
    return {ERROR_INVALID_HANDLE};
  }
  if (inBytes > kMost || outBytes > kMost) {
    return {ERROR_INVALID_PARAMETER};
  }
  const UniqueHandle event(CreateEventW(nullptr, TRUE, FALSE, nullptr));
  if (!event) {
    return {GetLastError()};
  }

  OVERLAPPED overlapped{};
  overlapped.hEvent = event.get();
  const HANDLE device = toNativeHandle(handle);
  ControlAnswer answer;
  const BOOL done =
      DeviceIoControl(device, code, const_cast<void*>(in), static_cast<DWORD>(inBytes), out,
                      static_cast<DWORD>(outBytes), &answer.returned, &overlapped);
  if (!done) {
    answer.error = GetLastError();
    if (answer.error == ERROR_IO_PENDING) {
      answer.error = GetOverlappedResult(device, &overlapped, &answer.returned, TRUE)
                         ? ERROR_SUCCESS
                         : GetLastError();
    }
  }
  answer.returned = std::min(answer.returned, static_cast<DWORD>(outBytes));
  return answer;
}

}  // namespace ostria::storage
