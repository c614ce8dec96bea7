// Disks are there and closed to this user: better said than an empty list. The system opens a disk
// for writing only to an administrator whose rights are switched on.
#include "host/platform/access_check.h"

#include <windows.h>

#include <algorithm>
#include <string>
#include <string_view>

#include "host/platform/windows/wide_text.h"

namespace ostria::host {
namespace {

bool isClosed(const std::wstring& disk) {
  const HANDLE handle =
      CreateFileW((L"\\\\.\\" + disk).c_str(), GENERIC_READ | GENERIC_WRITE,
                  FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING, 0, nullptr);
  if (handle != INVALID_HANDLE_VALUE) {
    CloseHandle(handle);
    return false;
  }
  return GetLastError() == ERROR_ACCESS_DENIED;
}

}  // namespace

std::vector<MissingRight> missingRights() {
  // All device names of the system, one behind the other, each with its NUL.
  std::wstring names(1 << 16, L'\0');
  for (;;) {
    const DWORD units = QueryDosDeviceW(nullptr, names.data(), static_cast<DWORD>(names.size()));
    if (units != 0) {
      names.resize(units);
      break;
    }
    constexpr std::size_t kEnough = 1 << 22;
    if (GetLastError() != ERROR_INSUFFICIENT_BUFFER || names.size() >= kEnough) {
      return {};
    }
    names.resize(names.size() * 2);
  }
  MissingRight closed{MissingRight::Effect::NotElevated, {}, {}};
  for (std::size_t at = 0; at < names.size();) {
    const std::wstring name(names.c_str() + at);
    at += name.size() + 1;
    if (name.starts_with(L"PhysicalDrive") && isClosed(name)) {
      closed.disks.push_back(narrowText(name));
    }
  }
  std::ranges::sort(closed.disks);
  return closed.disks.empty() ? std::vector<MissingRight>() : std::vector{closed};
}

}  // namespace ostria::host
