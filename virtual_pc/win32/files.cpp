// Directories, file names and volumes.
#include <algorithm>
#include <cstring>

#include "virtual_pc/system/text_forms.h"
#include "virtual_pc/win32/handles.h"

using namespace ostria::virtual_pc;

namespace {

/// A search through a directory: what is left of it.
/// A search for volumes, which gives their names one by one.
struct VolumeSearch : KernelObject {
  std::vector<std::wstring> names;
  std::size_t next = 0;

  bool give(LPWSTR name, DWORD characters) {
    if (next == names.size()) {
      SetLastError(ERROR_NO_MORE_FILES);
      return false;
    }
    if (characters <= names[next].size()) {
      SetLastError(ERROR_FILENAME_EXCED_RANGE);
      return false;
    }
    std::copy_n(names[next].c_str(), names[next].size() + 1, name);
    ++next;
    return true;
  }
};

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

/// The volume of a root path, "C:\" with its backslash and nothing behind; null when there is none.
std::shared_ptr<VolumeObject> volumeOf(const KernelCall& call, const std::string& root) {
  if (root.size() != 3 || root[1] != ':' || root[2] != '\\') {
    return nullptr;
  }
  const auto volume = call->machine().volume(root[0]);
  return volume && volume->present() ? volume : nullptr;
}

BOOL copyLimited(const std::wstring& text, LPWSTR buffer, DWORD size) {
  if ((buffer == nullptr) || size == 0) {
    return TRUE;
  }
  if (text.size() >= size) {
    return failWith(ERROR_MORE_DATA);
  }
  std::copy_n(text.c_str(), text.size() + 1, buffer);
  return TRUE;
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

HANDLE WINAPI FindFirstVolumeW(LPWSTR name, DWORD characters) {
  const KernelCall call;
  if (call.fails()) {
    return INVALID_HANDLE_VALUE;
  }
  auto search = std::make_shared<VolumeSearch>();
  for (const auto& volume : call->machine().volumes()) {
    if (volume->present()) {
      search->names.push_back(wide(volume->guidPath() + "\\"));
    }
  }
  if (!search->give(name, characters)) {
    return INVALID_HANDLE_VALUE;
  }
  return handleOf(call->add(std::move(search)));
}

BOOL WINAPI FindNextVolumeW(HANDLE find, LPWSTR name, DWORD characters) {
  const KernelCall call;
  if (call.fails()) {
    return FALSE;
  }
  const auto search = call->get<VolumeSearch>(valueOf(find));
  if (!search) {
    return failWith(ERROR_INVALID_HANDLE);
  }
  return search->give(name, characters) ? TRUE : FALSE;
}

BOOL WINAPI FindVolumeClose(HANDLE find) {
  const KernelCall call(KernelCall::Kind::Plain);
  if (!call->get<VolumeSearch>(valueOf(find))) {
    return failWith(ERROR_INVALID_HANDLE);
  }
  return call->close(valueOf(find)) ? TRUE : FALSE;
}

BOOL WINAPI GetVolumePathNamesForVolumeNameW(LPCWSTR name, LPWSTR paths, DWORD characters,
                                             PDWORD needed) {
  const KernelCall call;
  if (call.fails()) {
    return FALSE;
  }
  for (const auto& volume : call->machine().volumes()) {
    if (utf8(name) != volume->guidPath() + "\\") {
      continue;
    }
    // A list of texts with an empty one at its end.
    std::wstring list;
    if (volume->description().lettered) {
      list = std::wstring{static_cast<wchar_t>(volume->description().letter), L':', L'\\', L'\0'};
    }
    list += L'\0';
    const auto length = static_cast<DWORD>(list.size());
    if (needed != nullptr) {
      *needed = length;
    }
    if (paths == nullptr || characters < length) {
      return failWith(ERROR_MORE_DATA);
    }
    std::copy_n(list.data(), length, paths);
    return TRUE;
  }
  return failWith(ERROR_FILE_NOT_FOUND);
}

DWORD WINAPI GetLogicalDrives(void) {
  const KernelCall call;
  if (call.fails()) {
    return 0;
  }
  DWORD mask = 0;
  for (const auto& volume : call->machine().volumes()) {
    if (volume->present() && volume->description().lettered) {
      mask |= 1u << (volume->description().letter - 'A');
    }
  }
  return mask;
}

DWORD WINAPI GetLogicalDriveStringsA(DWORD size, LPSTR buffer) {
  const KernelCall call;
  if (call.fails()) {
    return 0;
  }
  std::string letters;
  for (const auto& volume : call->machine().volumes()) {
    if (volume->present() && volume->description().lettered) {
      letters += volume->description().letter;
    }
  }
  std::ranges::sort(letters);
  std::string all;
  for (const char letter : letters) {
    all += std::string{letter, ':', '\\', '\0'};
  }
  const auto length = static_cast<DWORD>(all.size());
  if ((buffer == nullptr) || size < length + 1) {
    return length + 1;
  }
  std::copy_n(all.c_str(), length + 1, buffer);
  return length;
}

UINT WINAPI GetDriveTypeA(LPCSTR root) {
  const KernelCall call(KernelCall::Kind::Plain);
  const auto volume = volumeOf(call, root);
  if (!volume) {
    return DRIVE_NO_ROOT_DIR;
  }
  return volume->description().fixed ? DRIVE_FIXED : DRIVE_REMOVABLE;
}

BOOL WINAPI GetVolumeInformationW(LPCWSTR root, LPWSTR label, DWORD labelSize, LPDWORD serial,
                                  LPDWORD maximumComponent, LPDWORD flags, LPWSTR fileSystem,
                                  DWORD fileSystemSize) {
  const KernelCall call;
  if (call.fails()) {
    return FALSE;
  }
  const auto volume = volumeOf(call, utf8(root));
  if (!volume) {
    return failWith(utf8(root).ends_with("\\") ? ERROR_PATH_NOT_FOUND : ERROR_INVALID_NAME);
  }
  if (!volume->mounted()) {
    return failWith(ERROR_ACCESS_DENIED);
  }
  const VolumeDescription& description = volume->description();
  if (description.fileSystem.empty()) {
    return failWith(ERROR_UNRECOGNIZED_VOLUME);
  }
  if (serial != nullptr) {
    *serial = description.serial;
  }
  if (maximumComponent != nullptr) {
    *maximumComponent = 255;
  }
  if (flags != nullptr) {
    *flags = 0x03E700FF;
  }
  return copyLimited(wide(description.label), label, labelSize) &&
                 copyLimited(wide(description.fileSystem), fileSystem, fileSystemSize)
             ? TRUE
             : FALSE;
}

BOOL WINAPI GetVolumeInformationA(LPCSTR root, LPSTR label, DWORD labelSize, LPDWORD serial,
                                  LPDWORD maximumComponent, LPDWORD flags, LPSTR fileSystem,
                                  DWORD fileSystemSize) {
  WCHAR wideLabel[MAX_PATH + 1];
  WCHAR wideFileSystem[MAX_PATH + 1];
  if (GetVolumeInformationW(wide(root).c_str(), wideLabel, MAX_PATH + 1, serial, maximumComponent,
                            flags, wideFileSystem, MAX_PATH + 1) == 0) {
    return FALSE;
  }
  const auto copy = [](const WCHAR* from, LPSTR buffer, DWORD size) {
    const std::string text = utf8(from);
    if ((buffer == nullptr) || size == 0) {
      return true;
    }
    if (text.size() >= size) {
      return false;
    }
    std::copy_n(text.c_str(), text.size() + 1, buffer);
    return true;
  };
  if (!copy(wideLabel, label, labelSize) || !copy(wideFileSystem, fileSystem, fileSystemSize)) {
    return failWith(ERROR_MORE_DATA);
  }
  return TRUE;
}

BOOL WINAPI GetDiskFreeSpaceA(LPCSTR root, LPDWORD sectorsPerCluster, LPDWORD bytesPerSector,
                              LPDWORD freeClusters, LPDWORD totalClusters) {
  const KernelCall call;
  if (call.fails()) {
    return FALSE;
  }
  const auto volume = volumeOf(call, root);
  if (!volume) {
    return failWith(ERROR_PATH_NOT_FOUND);
  }
  if (!volume->mounted()) {
    return failWith(ERROR_ACCESS_DENIED);
  }
  const std::uint64_t cluster = volume->clusterBytes();
  // The counts are cut to 32 bits, as the real call does.
  const auto put = [](LPDWORD out, std::uint64_t value) {
    if (out != nullptr) {
      *out = static_cast<DWORD>(std::min<std::uint64_t>(value, 0xFFFFFFFFu));
    }
  };
  put(sectorsPerCluster, cluster / volume->alignment());
  put(bytesPerSector, volume->alignment());
  put(freeClusters, volume->freeBytes() / cluster);
  put(totalClusters, volume->size() / cluster);
  return TRUE;
}

BOOL WINAPI GetDiskFreeSpaceExW(LPCWSTR root, PULARGE_INTEGER freeToCaller, PULARGE_INTEGER total,
                                PULARGE_INTEGER totalFree) {
  const KernelCall call;
  if (call.fails()) {
    return FALSE;
  }
  // Any directory of a volume will do.
  std::string rest;
  const auto volume = call->locate(utf8(root), &rest);
  const auto directory = volume ? volume->find(rest) : nullptr;
  if (!directory || !directory->directory) {
    return failWith(ERROR_PATH_NOT_FOUND);
  }
  if (!volume->mounted()) {
    return failWith(ERROR_ACCESS_DENIED);
  }
  if (freeToCaller != nullptr) {
    freeToCaller->QuadPart = volume->freeBytes();
  }
  if (total != nullptr) {
    total->QuadPart = volume->size();
  }
  if (totalFree != nullptr) {
    totalFree->QuadPart = volume->freeBytes();
  }
  return TRUE;
}

}  // extern "C"
