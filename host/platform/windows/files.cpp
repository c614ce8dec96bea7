// As on other systems: a reparse point, a device or a pipe is no file of the user's, and a new file
// takes the name only when it is complete. The rights are those of the folder.
#include "host/platform/files.h"

#include <windows.h>

#include <system_error>

#include "host/platform/windows/wide_text.h"

namespace ostria::host {
namespace {

constexpr DWORD kPieceBytes = 65536;

class Handle {
 public:
  explicit Handle(HANDLE handle) : handle_(handle) {}
  ~Handle() { close(); }
  Handle(const Handle&) = delete;
  Handle& operator=(const Handle&) = delete;
  HANDLE get() const { return handle_; }
  bool isOpen() const { return handle_ != INVALID_HANDLE_VALUE; }
  void close() {
    if (isOpen()) {
      CloseHandle(handle_);
    }
    handle_ = INVALID_HANDLE_VALUE;
  }
  void reset(HANDLE handle) {
    close();
    handle_ = handle;
  }

 private:
  HANDLE handle_;
};

UsageError because(const char* key, const std::string& path, DWORD error) {
  return {key,
          {{"file", path}, {"reason", std::system_category().message(static_cast<int>(error))}}};
}

bool isMissing(DWORD error) {
  return error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND;
}

bool isPlain(DWORD attributes) {
  return (attributes & (FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT)) == 0;
}

class RenamedFile final : public WholeFile {
 public:
  explicit RenamedFile(const std::string& path)
      : path_(wideText(path)),
        partial_(path_ + L"." + std::to_wstring(GetCurrentProcessId()) + L".partial") {}
  ~RenamedFile() override { drop(); }

  bool create() {
    file_.reset(CreateFileW(partial_.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW,
                            FILE_ATTRIBUTE_NORMAL, nullptr));
    return file_.isOpen();
  }
  void drop() {
    if (file_.isOpen()) {
      file_.close();
      DeleteFileW(partial_.c_str());
    }
  }
  void write(std::string_view text) override {
    if (!file_.isOpen() && !failed_) {
      failed_ = !create();
    }
    while (!text.empty() && !failed_) {
      const DWORD size = static_cast<DWORD>(text.size() < kPieceBytes ? text.size() : kPieceBytes);
      DWORD written = 0;
      failed_ =
          WriteFile(file_.get(), text.data(), size, &written, nullptr) == FALSE || written == 0;
      text.remove_prefix(written);
    }
  }
  bool keep() override {
    write({});
    if (failed_ || FlushFileBuffers(file_.get()) == FALSE || !mayReplace()) {
      drop();
      return false;
    }
    file_.close();
    if (MoveFileExW(partial_.c_str(), path_.c_str(), MOVEFILE_REPLACE_EXISTING) == FALSE) {
      DeleteFileW(partial_.c_str());
      return false;
    }
    return true;
  }
  bool mayReplace() const {
    const DWORD attributes = GetFileAttributesW(path_.c_str());
    return attributes == INVALID_FILE_ATTRIBUTES ? isMissing(GetLastError()) : isPlain(attributes);
  }

 private:
  std::wstring path_;
  std::wstring partial_;
  Handle file_{INVALID_HANDLE_VALUE};
  bool failed_ = false;
};

}  // namespace

OrUsageError<std::string> readRegularFile(const std::string& path, const FileDemands& demands) {
  const DWORD links = demands.trusted ? FILE_FLAG_OPEN_REPARSE_POINT : 0;
  const Handle file(CreateFileW(wideText(path).c_str(), GENERIC_READ,
                                FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL | links, nullptr));
  if (!file.isOpen()) {
    const DWORD error = GetLastError();
    return isMissing(error) ? UsageError{kFileMissing, {{"file", path}}}
                            : because("file.unreadable", path, error);
  }
  BY_HANDLE_FILE_INFORMATION status{};
  if (GetFileType(file.get()) != FILE_TYPE_DISK ||
      GetFileInformationByHandle(file.get(), &status) == FALSE) {
    return UsageError{"file.not_regular", {{"file", path}}};
  }
  if (demands.trusted && !isPlain(status.dwFileAttributes)) {
    return UsageError{"file.not_trusted", {{"file", path}}};
  }
  std::string content;
  std::string piece(kPieceBytes, '\0');
  for (;;) {
    DWORD count = 0;
    if (ReadFile(file.get(), piece.data(), kPieceBytes, &count, nullptr) == FALSE) {
      return because("file.unreadable", path, GetLastError());
    }
    if (count == 0) {
      return content;
    }
    content.append(piece, 0, count);
    if (content.size() > demands.mostBytes) {
      return UsageError{"file.too_large",
                        {{"file", path}, {"limit", std::to_string(demands.mostBytes / kMebibyte)}}};
    }
  }
}

OrUsageError<std::unique_ptr<WholeFile>> WholeFile::prepare(const std::string& path,
                                                            Readers /*readers*/) {
  auto file = std::make_unique<RenamedFile>(path);
  if (path.empty() || !file->mayReplace()) {
    return UsageError{"file.report_not_regular", {{"file", path}}};
  }
  if (!file->create()) {
    return because("file.report_unwritable", path, GetLastError());
  }
  file->drop();
  return file;
}

}  // namespace ostria::host
