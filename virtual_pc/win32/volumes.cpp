// Volumes by their names and letters, and what they say of themselves. The answers are those of a
// Windows PC: a volume that is gone keeps no letter, one that is off line refuses.
#include <algorithm>
#include <cstring>

#include "virtual_pc/system/text_forms.h"
#include "virtual_pc/win32/handles.h"

using namespace ostria::virtual_pc;

namespace {

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
