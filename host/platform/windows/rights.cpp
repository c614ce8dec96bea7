// An elevated process has few privileges that are switched on, and a disk opens by the account's
// group. What is switched on or may be, beside what the module asks for, is removed for good.
#include "host/platform/rights.h"

#include <windows.h>

#include <cstddef>
#include <vector>

namespace ostria::host {

void keepRightsFor(const Undertaking&) {
  HANDLE token = nullptr;
  if (!OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY | TOKEN_ADJUST_PRIVILEGES, &token)) {
    return;
  }
  LUID volumes{};   // room for the write test's file
  LUID traverse{};  // every process has it
  LookupPrivilegeValueW(nullptr, L"SeManageVolumePrivilege", &volumes);
  LookupPrivilegeValueW(nullptr, L"SeChangeNotifyPrivilege", &traverse);
  const auto isSame = [](const LUID& a, const LUID& b) {
    return a.LowPart == b.LowPart && a.HighPart == b.HighPart;
  };
  DWORD bytes = 0;
  GetTokenInformation(token, TokenPrivileges, nullptr, 0, &bytes);
  // Whole structures, for their alignment.
  std::vector<TOKEN_PRIVILEGES> memory(bytes / sizeof(TOKEN_PRIVILEGES) + 1);
  auto* const held = memory.data();
  if (GetTokenInformation(token, TokenPrivileges, held,
                          static_cast<DWORD>(memory.size() * sizeof(TOKEN_PRIVILEGES)), &bytes)) {
    for (DWORD i = 0; i < held->PrivilegeCount; ++i) {
      LUID_AND_ATTRIBUTES& privilege = held->Privileges[i];
      if (!isSame(privilege.Luid, volumes) && !isSame(privilege.Luid, traverse)) {
        privilege.Attributes = SE_PRIVILEGE_REMOVED;
      }
    }
    AdjustTokenPrivileges(token, FALSE, held, 0, nullptr, nullptr);
  }
  CloseHandle(token);
}

}  // namespace ostria::host
