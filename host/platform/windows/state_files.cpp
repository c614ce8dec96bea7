// The local application data of the user, and a lock on a file that the system gives up with the
// handle, so a program that dies leaves nothing behind.
#include "host/platform/state_files.h"

#include <windows.h>

#include <cstdlib>

#include "host/platform/windows/wide_text.h"

namespace ostria::host {
namespace {

class RegionLock final : public FileLock {
 public:
  RegionLock(const std::string& path, Patience& patience)
      : handle_(CreateFileW(wideText(path).c_str(), GENERIC_READ | GENERIC_WRITE,
                            FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_ALWAYS,
                            FILE_ATTRIBUTE_NORMAL, nullptr)) {
    constexpr DWORD kAtOnce = LOCKFILE_EXCLUSIVE_LOCK | LOCKFILE_FAIL_IMMEDIATELY;
    OVERLAPPED from{};
    while (handle_ != INVALID_HANDLE_VALUE &&
           LockFileEx(handle_, kAtOnce, 0, 1, 0, &from) == FALSE) {
      if (GetLastError() != ERROR_LOCK_VIOLATION || !patience.pause()) {
        CloseHandle(handle_);
        handle_ = INVALID_HANDLE_VALUE;
      }
    }
  }
  ~RegionLock() override {
    if (handle_ != INVALID_HANDLE_VALUE) {
      CloseHandle(handle_);
    }
  }
  RegionLock(const RegionLock&) = delete;
  RegionLock& operator=(const RegionLock&) = delete;
  bool isHeld() const { return handle_ != INVALID_HANDLE_VALUE; }

 private:
  HANDLE handle_;
};

}  // namespace

std::string stateFolder() {
  const wchar_t* folder = _wgetenv(L"LOCALAPPDATA");
  return folder != nullptr ? narrowText(folder) : std::string();
}

std::unique_ptr<FileLock> lockFile(const std::string& path, Patience& patience) {
  auto lock = std::make_unique<RegionLock>(path, patience);
  return lock->isHeld() ? std::move(lock) : nullptr;
}

}  // namespace ostria::host
