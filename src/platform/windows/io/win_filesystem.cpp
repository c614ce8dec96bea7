// Files by the wide calls, since paths are UTF-8 here.
#include "platform/windows/io/win_filesystem.h"

#include "platform/windows/io/win_handle.h"
#include "platform/windows/io/win_path_text.h"
#include "platform/windows/io/win_timed_io.h"
#include "platform/windows/passthrough/win_device_control.h"
#include "services/string_handler.h"

namespace ostria::storage {
namespace {

/// Ends a search when it goes away.
class FileSearch {
 public:
  explicit FileSearch(const std::string& pattern)
      : handle_(FindFirstFileW(toWide(pattern).c_str(), &found_)) {}
  FileSearch(const FileSearch&) = delete;
  FileSearch& operator=(const FileSearch&) = delete;
  ~FileSearch() {
    if (*this) {
      FindClose(handle_);
    }
  }

  explicit operator bool() const { return handle_ != INVALID_HANDLE_VALUE; }
  std::string name() const { return toNarrow(found_.cFileName); }
  bool is(DWORD attribute) const { return (found_.dwFileAttributes & attribute) != 0; }
  /// False at the end, and when the search failed.
  bool next() { return FindNextFileW(handle_, &found_) != FALSE; }

 private:
  WIN32_FIND_DATAW found_{};
  HANDLE handle_;
};

bool exists(const std::string& path) {
  return GetFileAttributesW(toWide(path).c_str()) != INVALID_FILE_ATTRIBUTES;
}

bool isLink(const std::string& path) {
  const DWORD attributes = GetFileAttributesW(toWide(path).c_str());
  return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0;
}

/// Where the part of a path begins that can be made: behind the drive, or behind a share.
std::size_t firstDirectory(const std::string& path) {
  if (path.size() >= 2 && path[1] == ':') {
    return path.find('\\', 2) == 2 ? 3 : 2;
  }
  if (!path.starts_with("\\\\")) {
    return path.starts_with('\\') ? 1 : 0;
  }
  const std::size_t share = path.find('\\', 2);
  const std::size_t behind = share == std::string::npos ? share : path.find('\\', share + 1);
  return behind == std::string::npos ? path.size() : behind + 1;
}

bool deleteEntries(const std::string& directory) {
  FileSearch search(directory + "\\*");
  if (!search) {
    return false;
  }
  do {
    const std::string name = search.name();
    if (name == "." || name == "..") {
      continue;
    }
    const std::string path = directory + "\\" + name;
    if (!search.is(FILE_ATTRIBUTE_DIRECTORY)) {
      if (DeleteFileW(toWide(path).c_str()) == 0) {
        return false;
      }
      continue;
    }
    // A link to a directory goes, what it leads to stays.
    if (!search.is(FILE_ATTRIBUTE_REPARSE_POINT) && !deleteEntries(path)) {
      return false;
    }
    if (RemoveDirectoryW(toWide(path).c_str()) == 0) {
      return false;
    }
  } while (search.next());
  return GetLastError() == ERROR_NO_MORE_FILES;
}

const char* textOf(const std::optional<std::string>& text) {
  return text ? text->c_str() : nullptr;
}

}  // namespace

const char* WinFilesystem::getWindowsDirectory() {
  if (!windowsDirectory_) {
    windowsDirectory_ = queryPathText(
        [](wchar_t* buffer, DWORD size) { return DWORD{GetWindowsDirectoryW(buffer, size)}; });
  }
  return textOf(windowsDirectory_);
}

const char* WinFilesystem::getCurrentDirectory() {
  if (!currentDirectory_) {
    currentDirectory_ = queryPathText(
        [](wchar_t* buffer, DWORD size) { return GetCurrentDirectoryW(size, buffer); });
  }
  return textOf(currentDirectory_);
}

const char* WinFilesystem::getProgramPath() {
  if (!programPath_) {
    programPath_ = queryPathText(
        [](wchar_t* buffer, DWORD size) { return GetModuleFileNameW(nullptr, buffer, size); });
  }
  return textOf(programPath_);
}

const char* WinFilesystem::getProgramDirectory() {
  if (!programDirectory_ && getProgramPath() != nullptr) {
    programDirectory_ = programPath_->substr(0, programPath_->rfind('\\'));
  }
  return textOf(programDirectory_);
}

int WinFilesystem::listDirectory(const std::string& pattern, std::vector<std::string>& names) {
  names.clear();
  if (pattern.empty()) {
    return 1;
  }
  FileSearch search(pattern);
  if (!search) {
    return 1;
  }
  const std::string directory = pattern.substr(0, pattern.rfind('\\') + 1);
  do {
    names.push_back(directory + search.name());
  } while (search.next());
  return GetLastError() == ERROR_NO_MORE_FILES ? 0 : 1;
}

int WinFilesystem::createDirectories(const std::string& path, std::vector<std::string>& made) {
  made.clear();
  if (path.empty()) {
    return 1;
  }
  std::size_t end = firstDirectory(path);
  do {
    end = std::min(path.find('\\', end), path.size());
    const std::string prefix = path.substr(0, end);
    if (CreateDirectoryW(toWide(prefix).c_str(), nullptr) != 0) {
      made.push_back(prefix);
    } else {
      const DWORD error = GetLastError();
      const bool mayExist = error == ERROR_ALREADY_EXISTS || error == ERROR_ACCESS_DENIED;
      if (!mayExist || !exists(prefix)) {
        for (auto last = made.rbegin(); last != made.rend(); ++last) {
          RemoveDirectoryW(toWide(*last).c_str());
        }
        made.clear();
        return 1;
      }
    }
  } while (end++ < path.size());
  return 0;
}

int WinFilesystem::removeTree(const std::string& path) {
  // No path at all would mean the root of the current drive.
  if (path.empty()) {
    return 1;
  }
  const bool emptied = isLink(path) || deleteEntries(path);
  return emptied && RemoveDirectoryW(toWide(path).c_str()) ? 0 : 1;
}

int WinFilesystem::createFile(const std::string& path, DeviceHandle* handle, bool deleteOnClose) {
  const std::wstring name = toWide(path);
  const DWORD flags = FILE_FLAG_WRITE_THROUGH | FILE_FLAG_OVERLAPPED | FILE_FLAG_NO_BUFFERING |
                      (deleteOnClose ? FILE_FLAG_DELETE_ON_CLOSE : 0);
  const HANDLE file = CreateFileW(name.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr,
                                  CREATE_ALWAYS, flags, nullptr);
  if (file == INVALID_HANDLE_VALUE) {
    return 1;
  }
  // What a crash leaves behind goes away at the next start. Without the rights for that the file is
  // as good.
  MoveFileExW(name.c_str(), nullptr, MOVEFILE_DELAY_UNTIL_REBOOT);
  *handle = toDeviceHandle(file);
  return 0;
}

int WinFilesystem::closeFile(DeviceHandle handle) {
  return handle && CloseHandle(toNativeHandle(handle)) ? 0 : 1;
}

int WinFilesystem::setFileSize(DeviceHandle handle, std::uint64_t size) {
  LARGE_INTEGER end;
  end.QuadPart = static_cast<LONGLONG>(size);
  const HANDLE file = toNativeHandle(handle);
  const bool sized = handle && end.QuadPart >= 0 &&
                     (SetFilePointerEx(file, end, nullptr, FILE_BEGIN) != 0) &&
                     (SetEndOfFile(file) != 0);
  return sized && deviceControl(handle, FSCTL_SET_SPARSE, nullptr, 0, nullptr, 0) ? 0 : 1;
}

ProtocolResult WinFilesystem::writeAt(DeviceHandle handle, std::uint64_t offset,
                                      std::uint64_t length, std::uint64_t* done,
                                      std::uint32_t timeoutSeconds, const void* buffer) {
  return timedWrite(handle, offset, length, done, timeoutSeconds, buffer);
}

ProtocolResult WinFilesystem::readAt(DeviceHandle handle, std::uint64_t offset,
                                     std::uint64_t length, std::uint64_t* done,
                                     std::uint32_t timeoutSeconds, void* buffer) {
  return timedRead(handle, offset, length, done, timeoutSeconds, buffer);
}

ProtocolResult WinFilesystem::readInto(DeviceHandle handle, std::uint64_t offset,
                                       std::uint64_t length, std::uint64_t* done,
                                       std::uint32_t timeoutSeconds, TransferBuffer& buffer) {
  return timedRead(handle, offset, length, done, timeoutSeconds, buffer);
}

Filesystem& getLocalFilesystem() {
  static Filesystem& filesystem = *new WinFilesystem;
  return filesystem;
}

}  // namespace ostria::storage
