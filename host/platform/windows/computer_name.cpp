// The name of the computer, and the system as its own registry and kernel call it: the documented
// version call answers what a program was made for, not what runs.
#include "host/platform/computer_name.h"

#include <windows.h>

#include "host/platform/windows/wide_text.h"

namespace ostria::host {
namespace {

std::string hostName() {
  DWORD units = 0;
  GetComputerNameExW(ComputerNameDnsHostname, nullptr, &units);
  std::wstring name(units, L'\0');
  if (units == 0 || GetComputerNameExW(ComputerNameDnsHostname, name.data(), &units) == FALSE) {
    return {};
  }
  name.resize(units);
  return narrowText(name);
}

std::string productName() {
  wchar_t text[256] = {};
  DWORD bytes = sizeof text;
  const LSTATUS status =
      RegGetValueW(HKEY_LOCAL_MACHINE, L"SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion",
                   L"ProductName", RRF_RT_REG_SZ, nullptr, text, &bytes);
  return status == ERROR_SUCCESS ? narrowText(text) : "Windows";
}

std::string kernelVersion() {
  using Query = LONG(WINAPI*)(OSVERSIONINFOW*);
  OSVERSIONINFOW version{};
  version.dwOSVersionInfoSize = sizeof version;
  const auto query = reinterpret_cast<Query>(
      reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "RtlGetVersion")));
  if (query == nullptr || query(&version) != 0) {
    return {};
  }
  return std::to_string(version.dwMajorVersion) + "." + std::to_string(version.dwMinorVersion) +
         "." + std::to_string(version.dwBuildNumber);
}

}  // namespace

ComputerName computerName() {
  const std::string version = kernelVersion();
  return {hostName(), productName() + (version.empty() ? "" : ", " + version) + " (x86_64)"};
}

}  // namespace ostria::host
