// The volume privilege is taken for one run and given back as it was found.
#include <windows.h>

#include <array>

#include "platform/windows/io/win_handle.h"
#include "services/volume_access.h"

namespace ostria::storage {

namespace {

constexpr UINT kNoErrorDialogs = 0x8001;  // SEM_FAILCRITICALERRORS | SEM_NOOPENFILEERRORBOX
constexpr DWORD kErrorNotAllAssigned = 1300;

TOKEN_PRIVILEGES& earlierState() {
  static TOKEN_PRIVILEGES state{};
  return state;
}

/// An empty drive is an error and no dialog. The mode belongs to the whole process, so the host
/// gets its own back.
class NoErrorDialogs {
 public:
  NoErrorDialogs() : before_(SetErrorMode(kNoErrorDialogs)) {}
  ~NoErrorDialogs() { SetErrorMode(before_); }
  NoErrorDialogs(const NoErrorDialogs&) = delete;
  NoErrorDialogs& operator=(const NoErrorDialogs&) = delete;

 private:
  UINT before_;
};

UniqueHandle openToken() {
  HANDLE token = nullptr;
  if (!OpenProcessToken(GetCurrentProcess(), TOKEN_ADJUST_PRIVILEGES | TOKEN_QUERY, &token)) {
    return {};
  }
  return UniqueHandle(token);
}

// The call succeeds even when it gave nothing; only the last error shows it.
bool adjust(HANDLE token, TOKEN_PRIVILEGES& wanted, TOKEN_PRIVILEGES* before) {
  DWORD returned = 0;
  return AdjustTokenPrivileges(token, FALSE, &wanted, sizeof wanted, before, &returned) != 0 &&
         GetLastError() != kErrorNotAllAssigned;
}

}  // namespace

bool holdVolumePrivilege() {
  const UniqueHandle token = openToken();
  TOKEN_PRIVILEGES wanted{};
  wanted.PrivilegeCount = 1;
  wanted.Privileges[0].Attributes = SE_PRIVILEGE_ENABLED;
  if (!token ||
      !LookupPrivilegeValueW(nullptr, L"SeManageVolumePrivilege", &wanted.Privileges[0].Luid)) {
    return false;
  }
  earlierState() = {};
  return adjust(token.get(), wanted, &earlierState());
}

void releaseVolumePrivilege() {
  // Nothing to put back when the process had the privilege enabled already.
  if (earlierState().PrivilegeCount == 0) {
    return;
  }
  // What may fail once is tried again: whatever the process does afterwards it does with the right.
  constexpr int kTries = 3;
  for (int i = 0; i < kTries; ++i) {
    const UniqueHandle token = openToken();
    if (token && adjust(token.get(), earlierState(), nullptr)) {
      return;
    }
  }
}

bool setValidData(DeviceHandle file, std::uint64_t bytes) {
  return SetFileValidData(toNativeHandle(file), static_cast<LONGLONG>(bytes)) != 0;
}

bool readFileSystemName(const std::string& mountPoint, std::string& name) {
  std::array<char, 261> text{};
  const NoErrorDialogs quiet;
  if (GetVolumeInformationA(mountPoint.c_str(), nullptr, 0, nullptr, nullptr, nullptr, text.data(),
                            static_cast<DWORD>(text.size())) == 0) {
    return false;
  }
  text.back() = '\0';
  name = text.data();
  return true;
}

std::uint32_t volumeSectorBytes(const std::string& mountPoint) {
  DWORD sectorsPerCluster = 0;
  DWORD sectorBytes = 0;
  DWORD freeClusters = 0;
  DWORD clusters = 0;
  const NoErrorDialogs quiet;
  const BOOL known = GetDiskFreeSpaceA(mountPoint.c_str(), &sectorsPerCluster, &sectorBytes,
                                       &freeClusters, &clusters);
  return known ? sectorBytes : 0;
}

// Scratch files are opened without buffering and written through.
bool dropCachedContent(DeviceHandle, const std::string&) { return true; }

const std::vector<std::string>& scratchFileSystems() {
  static const std::vector<std::string> kNames{"ntfs"};
  return kNames;
}

}  // namespace ostria::storage
