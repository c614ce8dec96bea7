// Directories and file names.
#include <algorithm>
#include <cstring>

#include "virtual_pc/system/text_forms.h"
#include "virtual_pc/win32/handles.h"

using namespace ostria::virtual_pc;

namespace {

/// A search through a directory: what is left of it.
struct FindObject : KernelObject {
  std::vector<WIN32_FIND_DATAW> entries;
  std::size_t next = 0;
  bool closedByCloseHandle() const override { return false; }
};

DWORD attributesOf(const FileNode& node) {
  return node.directory ? FILE_ATTRIBUTE_DIRECTORY : FILE_ATTRIBUTE_ARCHIVE;
}

WIN32_FIND_DATAW entryOf(const std::string& name, const FileNode& node) {
  WIN32_FIND_DATAW data{};
  data.dwFileAttributes = attributesOf(node);
  data.nFileSizeHigh = static_cast<DWORD>(node.bytes >> 32);
  data.nFileSizeLow = static_cast<DWORD>(node.bytes);
  const std::wstring text = wide(name);
  std::copy_n(text.begin(), std::min<std::size_t>(text.size(), MAX_PATH - 1), data.cFileName);
  return data;
}

}  // namespace

extern "C" {

BOOL WINAPI MoveFileExW(LPCWSTR from, LPCWSTR to, DWORD flags) {
  const KernelCall call;
  if (call.fails()) {
    return FALSE;
  }
  std::string rest;
  const auto volume = call->locate(utf8(from), &rest);
  if (!volume || !volume->find(rest)) {
    return failWith(ERROR_FILE_NOT_FOUND);
  }
  // Only the deletion at the next start is there; it takes rights.
  if ((to != nullptr) || (flags & MOVEFILE_DELAY_UNTIL_REBOOT) == 0) {
    return failWith(ERROR_NOT_SUPPORTED);
  }
  if (!call->machine().description().administrator) {
    return failWith(ERROR_ACCESS_DENIED);
  }
  call->machine().deletedAtRestart().push_back(utf8(from));
  return TRUE;
}

BOOL WINAPI DeleteFileW(LPCWSTR name) {
  const KernelCall call;
  if (call.fails()) {
    return FALSE;
  }
  std::string rest;
  const auto volume = call->locate(utf8(name), &rest);
  return succeeded(volume ? volume->remove(rest, false) : std::uint32_t{ERROR_PATH_NOT_FOUND});
}

BOOL WINAPI CreateDirectoryW(LPCWSTR name, LPSECURITY_ATTRIBUTES) {
  const KernelCall call;
  if (call.fails()) {
    return FALSE;
  }
  std::string rest;
  const auto volume = call->locate(utf8(name), &rest);
  if (!volume) {
    return failWith(ERROR_PATH_NOT_FOUND);
  }
  // The root of a volume can't be made, whoever asks.
  if (rest.empty()) {
    return failWith(ERROR_ACCESS_DENIED);
  }
  std::shared_ptr<FileNode> node;
  return succeeded(volume->create(rest, true, &node));
}

BOOL WINAPI RemoveDirectoryW(LPCWSTR name) {
  const KernelCall call;
  if (call.fails()) {
    return FALSE;
  }
  std::string rest;
  const auto volume = call->locate(utf8(name), &rest);
  return succeeded(volume ? volume->remove(rest, true) : std::uint32_t{ERROR_PATH_NOT_FOUND});
}

DWORD WINAPI GetFileAttributesW(LPCWSTR name) {
  const KernelCall call;
  if (call.fails()) {
    return INVALID_FILE_ATTRIBUTES;
  }
  std::string rest;
  const auto volume = call->locate(utf8(name), &rest);
  const auto node = volume ? volume->find(rest) : nullptr;
  if (node) {
    return attributesOf(*node);
  }
  SetLastError(volume ? volume->missing(rest) : std::uint32_t{ERROR_PATH_NOT_FOUND});
  return INVALID_FILE_ATTRIBUTES;
}

HANDLE WINAPI FindFirstFileW(LPCWSTR pattern, LPWIN32_FIND_DATAW data) {
  const KernelCall call;
  if (call.fails()) {
    return INVALID_HANDLE_VALUE;
  }
  const std::string path = utf8(pattern);
  const std::size_t slash = path.find_last_of("\\/");
  const std::string names = slash == std::string::npos ? path : path.substr(slash + 1);
  const std::string directory = slash == std::string::npos ? "." : path.substr(0, slash + 1);
  std::string rest;
  const auto volume = call->locate(directory == "." ? "" : directory, &rest);
  const auto node = volume ? volume->find(rest) : nullptr;
  auto found = std::make_shared<FindObject>();
  if (node) {
    if (!rest.empty()) {
      for (const char* dots : {".", ".."}) {
        if (matchesPattern(dots, names) && names.find('*') != std::string::npos) {
          found->entries.push_back(entryOf(dots, *node));
        }
      }
    }
    for (const auto& [key, child] : node->children) {
      if (names == "*.*" || matchesPattern(child->name, names)) {
        found->entries.push_back(entryOf(child->name, *child));
      }
    }
  }
  if (found->entries.empty()) {
    SetLastError(node ? ERROR_FILE_NOT_FOUND : ERROR_PATH_NOT_FOUND);
    return INVALID_HANDLE_VALUE;
  }
  *data = found->entries[found->next++];
  return handleOf(call->add(std::move(found)));
}

BOOL WINAPI FindNextFileW(HANDLE find, LPWIN32_FIND_DATAW data) {
  const KernelCall call;
  if (call.fails()) {
    return FALSE;
  }
  const auto object = call->get<FindObject>(valueOf(find));
  if (!object) {
    return failWith(ERROR_INVALID_HANDLE);
  }
  if (object->next == object->entries.size()) {
    return failWith(ERROR_NO_MORE_FILES);
  }
  *data = object->entries[object->next++];
  return TRUE;
}

BOOL WINAPI FindClose(HANDLE find) {
  const KernelCall call(KernelCall::Kind::Plain);
  if (!call->get<FindObject>(valueOf(find))) {
    return failWith(ERROR_INVALID_HANDLE);
  }
  return call->close(valueOf(find)) ? TRUE : FALSE;
}

DWORD WINAPI GetCurrentDirectoryW(DWORD size, LPWSTR buffer) {
  const KernelCall call;
  if (call.fails()) {
    return 0;
  }
  return copyOut(wide(call->machine().description().currentDirectory), buffer, size);
}

UINT WINAPI GetWindowsDirectoryW(LPWSTR buffer, UINT size) {
  const KernelCall call;
  if (call.fails()) {
    return 0;
  }
  return copyOut(wide(call->machine().description().windowsDirectory), buffer, size);
}

}  // extern "C"
