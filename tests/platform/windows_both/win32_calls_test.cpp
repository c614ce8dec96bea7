// What single calls of the system answer, by its own documentation: the virtual PC gives the
// classes above it the same answers that another implementation of the system gives.
#include <gtest/gtest.h>
#include <windows.h>
// After windows.h, whose types they need.
#include <oleauto.h>

#include <optional>
#include <vector>

#include "services/string_handler.h"
#include "tests/platform/windows_both/place.h"

namespace ostria::storage::test {
namespace {

/// @param wine  what Wine answers instead; `error` 0: the call succeeds
/// @param succeeded  a BOOL of the system, or a bool
template <typename Done>
void expectError(const char* what, Done succeeded, DWORD error,
                 std::optional<DWORD> wine = std::nullopt) {
  const DWORD found = succeeded != Done{} ? 0 : GetLastError();
  EXPECT_EQ(found, runsOnWine() ? wine.value_or(error) : error) << what;
}

class Win32CallsTest : public ::testing::Test {
 protected:
  std::wstring at(const std::string& name) const { return toWide(place.folder() + "\\" + name); }
  static HANDLE open(const std::wstring& path, DWORD share, DWORD disposition, DWORD flags = 0) {
    return CreateFileW(path.c_str(), GENERIC_READ | GENERIC_WRITE, share, nullptr, disposition,
                       flags, nullptr);
  }
  /// Opens and closes; the last error stays.
  static bool opens(const std::wstring& path, DWORD share, DWORD disposition) {
    const HANDLE file = open(path, share, disposition);
    return file != INVALID_HANDLE_VALUE && CloseHandle(file) != FALSE;
  }

  static bool makes(const std::wstring& path) {
    return CreateDirectoryW(path.c_str(), nullptr) != FALSE;
  }
  static bool removes(const std::wstring& path) { return RemoveDirectoryW(path.c_str()) != FALSE; }
  static bool deletes(const std::wstring& path) { return DeleteFileW(path.c_str()) != FALSE; }
  static bool has(const std::wstring& path) {
    return GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES;
  }

  Place place;
};

TEST_F(Win32CallsTest, FilesAndDirectories) {
  WIN32_FIND_DATAW found{};
  const auto find = [&](const std::wstring& pattern) {
    const HANDLE search = FindFirstFileW(pattern.c_str(), &found);
    return search != INVALID_HANDLE_VALUE && FindClose(search) != FALSE;
  };
  const HANDLE held = open(at("held"), 0, CREATE_NEW);
  ASSERT_NE(held, INVALID_HANDLE_VALUE);
  expectError("make", makes(at("d")), 0);
  expectError("make again", makes(at("d")), ERROR_ALREADY_EXISTS);
  expectError("make where a file is", makes(at("held")), ERROR_ALREADY_EXISTS);
  expectError("make below nothing", makes(at("no\\d")), ERROR_PATH_NOT_FOUND);
  expectError("make on no volume", makes(L"Q:\\d"), ERROR_PATH_NOT_FOUND, ERROR_FILE_NOT_FOUND);
  expectError("make with a bad name", makes(at("a?b")), ERROR_INVALID_NAME);
  expectError("new file", opens(at("d\\f"), 0, CREATE_NEW), 0);
  expectError("new file again", opens(at("d\\f"), 0, CREATE_NEW), ERROR_FILE_EXISTS);
  expectError("open a file that is held", opens(at("held"), 0, OPEN_EXISTING),
              ERROR_SHARING_VIOLATION);
  expectError("open nothing", opens(at("none"), 0, OPEN_EXISTING), ERROR_FILE_NOT_FOUND);
  expectError("open below nothing", opens(at("no\\f"), 0, OPEN_EXISTING), ERROR_PATH_NOT_FOUND);
  expectError("open a directory", opens(at("d"), 0, OPEN_EXISTING), ERROR_ACCESS_DENIED);
  expectError("find", find(at("*")), 0);
  expectError("find in an empty directory", makes(at("e")) && find(at("e\\*")), 0);
  expectError("find no name", find(at("none*")), ERROR_FILE_NOT_FOUND);
  expectError("find below nothing", find(at("no\\*")), ERROR_PATH_NOT_FOUND);
  expectError("remove a full directory", removes(at("d")), ERROR_DIR_NOT_EMPTY);
  expectError("remove a file as a directory", removes(at("d\\f")), ERROR_DIRECTORY);
  expectError("remove no directory", removes(at("none")), ERROR_FILE_NOT_FOUND);
  expectError("delete a directory", deletes(at("d")), ERROR_ACCESS_DENIED);
  expectError("delete nothing", deletes(at("none")), ERROR_FILE_NOT_FOUND);
  expectError("delete below nothing", deletes(at("no\\f")), ERROR_PATH_NOT_FOUND);
  expectError("delete a file that is held", deletes(at("held")), ERROR_SHARING_VIOLATION);
  expectError("attributes of nothing", has(at("none")), ERROR_FILE_NOT_FOUND);
  expectError("attributes below nothing", has(at("no\\f")), ERROR_PATH_NOT_FOUND);
  expectError("delete", deletes(at("d\\f")), 0);
  expectError("remove", removes(at("d")), 0);
  expectError("close", CloseHandle(held), 0);
  expectError("close again", CloseHandle(held), ERROR_INVALID_HANDLE);

  // An existing file is emptied, and the call says that it was there.
  ASSERT_TRUE(opens(at("f"), 0, CREATE_ALWAYS));
  SetLastError(0);
  const HANDLE again = open(at("f"), 0, CREATE_ALWAYS);
  EXPECT_EQ(GetLastError(), DWORD{ERROR_ALREADY_EXISTS});
  CloseHandle(again);

  const HANDLE search = FindFirstFileW(at("e\\*").c_str(), &found);
  ASSERT_NE(search, INVALID_HANDLE_VALUE);
  EXPECT_EQ(toNarrow(found.cFileName), ".");
  EXPECT_TRUE(FindNextFileW(search, &found));
  EXPECT_EQ(toNarrow(found.cFileName), "..");
  expectError("the end", FindNextFileW(search, &found), ERROR_NO_MORE_FILES);
  FindClose(search);
}

TEST_F(Win32CallsTest, ReadsAndWrites) {
  std::vector<char> bytes(4096, 'x');
  DWORD done = 0;
  const HANDLE file = open(at("f"), 0, CREATE_ALWAYS);
  const HANDLE queued = open(at("q"), 0, CREATE_ALWAYS, FILE_FLAG_OVERLAPPED);
  const HANDLE read =
      CreateFileW(at("r").c_str(), GENERIC_READ, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
  const auto seek = [&](LONGLONG to, DWORD from) {
    LARGE_INTEGER distance;
    distance.QuadPart = to;
    return SetFilePointerEx(file, distance, nullptr, from) != FALSE;
  };
  OVERLAPPED overlapped{};
  overlapped.hEvent = CreateEventW(nullptr, TRUE, FALSE, nullptr);
  // Whether the end of the file shows at once or when the request has ended is the system's choice.
  const auto readQueued = [&](DWORD offset) {
    overlapped.Offset = offset;
    if (ReadFile(queued, bytes.data(), 512, nullptr, &overlapped) == FALSE &&
        GetLastError() != ERROR_IO_PENDING) {
      return false;
    }
    EXPECT_EQ(WaitForSingleObject(overlapped.hEvent, 5000), DWORD{WAIT_OBJECT_0});
    return GetOverlappedResult(queued, &overlapped, &done, FALSE) != FALSE;
  };
  const auto writeQueued = [&] {
    overlapped.Offset = 0;
    return (WriteFile(queued, bytes.data(), 1024, nullptr, &overlapped) != FALSE ||
            GetLastError() == ERROR_IO_PENDING) &&
           GetOverlappedResult(queued, &overlapped, &done, TRUE) != FALSE;
  };
  expectError("write", WriteFile(file, bytes.data(), 1000, &done, nullptr), 0);
  expectError("read behind the end", ReadFile(file, bytes.data(), 10, &done, nullptr) && done == 0,
              0);
  expectError("seek before the file", seek(-1, FILE_BEGIN), ERROR_NEGATIVE_SEEK);
  expectError("seek", seek(-10, FILE_END), 0);
  expectError("read the rest", ReadFile(file, bytes.data(), 4096, &done, nullptr) && done == 10, 0);
  expectError("cut", seek(100, FILE_BEGIN) && SetEndOfFile(file), 0);
  expectError("cut is at the end", ReadFile(file, bytes.data(), 10, &done, nullptr) && done == 0,
              0);
  expectError("write without the right", WriteFile(read, bytes.data(), 10, &done, nullptr),
              ERROR_ACCESS_DENIED);
  expectError("cut without the right", SetEndOfFile(read), ERROR_ACCESS_DENIED, 0);
  expectError("queued without a request", ReadFile(queued, bytes.data(), 512, &done, nullptr),
              ERROR_INVALID_PARAMETER);
  expectError("queued write", writeQueued(), 0);
  expectError("queued read", readQueued(512) && done == 512, 0);
  expectError("queued read behind the end", readQueued(4096), ERROR_HANDLE_EOF);
  expectError("cancel nothing", CancelIo(queued), 0);
  expectError("read no handle", ReadFile(nullptr, bytes.data(), 1, &done, nullptr),
              ERROR_INVALID_HANDLE);
  for (const HANDLE handle : {file, queued, read, overlapped.hEvent}) {
    EXPECT_TRUE(CloseHandle(handle));
  }
}

TEST_F(Win32CallsTest, EventsAndWaiting) {
  const HANDLE manual = CreateEventW(nullptr, TRUE, TRUE, nullptr);
  const HANDLE once = CreateEventW(nullptr, FALSE, TRUE, nullptr);
  EXPECT_EQ(WaitForSingleObject(manual, 0), DWORD{WAIT_OBJECT_0});
  EXPECT_EQ(WaitForSingleObject(manual, 0), DWORD{WAIT_OBJECT_0});
  EXPECT_EQ(WaitForSingleObject(once, 0), DWORD{WAIT_OBJECT_0});
  EXPECT_EQ(WaitForSingleObject(once, 10), DWORD{WAIT_TIMEOUT});
  CloseHandle(manual);
  CloseHandle(once);
  SetLastError(0);
  EXPECT_EQ(WaitForSingleObject(manual, 0), WAIT_FAILED);
  EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_HANDLE});
}

TEST_F(Win32CallsTest, VolumesAndDirectoriesOfTheSystem) {
  const std::string root = place.root();
  DWORD number = 0;
  char text[64] = {};
  expectError(
      "volume",
      GetVolumeInformationA(root.c_str(), nullptr, 0, &number, &number, &number, text, sizeof text),
      0);
  expectError(
      "no volume",
      GetVolumeInformationA("Q:\\", nullptr, 0, nullptr, nullptr, nullptr, text, sizeof text),
      ERROR_PATH_NOT_FOUND);
  expectError("volume without its backslash",
              GetVolumeInformationA("C:", nullptr, 0, nullptr, nullptr, nullptr, text, sizeof text),
              ERROR_INVALID_NAME, 0);
  expectError("space of no volume", GetDiskFreeSpaceExW(L"Q:\\", nullptr, nullptr, nullptr),
              ERROR_PATH_NOT_FOUND);
  expectError("clusters of no volume",
              GetDiskFreeSpaceA("Q:\\", &number, &number, &number, &number), ERROR_PATH_NOT_FOUND);
  expectError("space by a directory",
              GetDiskFreeSpaceExW(toWide(place.folder()).c_str(), nullptr, nullptr, nullptr), 0);
  EXPECT_EQ(GetDriveTypeA(root.c_str()), UINT{DRIVE_FIXED});
  EXPECT_EQ(GetDriveTypeA("Q:\\"), UINT{DRIVE_NO_ROOT_DIR});

  const DWORD needed = GetLogicalDriveStringsA(0, nullptr);
  std::string list(needed, 'x');
  EXPECT_EQ(GetLogicalDriveStringsA(needed, list.data()), needed - 1);
  EXPECT_EQ(list.substr(needed - 2), std::string(2, '\0'));
  EXPECT_EQ((needed - 1) % 4, 0u);
  EXPECT_NE(list.find(root), std::string::npos);
  EXPECT_NE(GetLogicalDrives() & (1u << (root[0] - 'A')), 0u);

  // Too small a buffer: the size that is needed, with the closing zero.
  wchar_t few[2] = {};
  std::vector<wchar_t> many(32768);
  const auto size = static_cast<DWORD>(many.size());
  EXPECT_EQ(GetWindowsDirectoryW(few, 2), GetWindowsDirectoryW(many.data(), size) + 1);
  EXPECT_EQ(GetSystemWindowsDirectoryW(few, 2), GetSystemWindowsDirectoryW(many.data(), size) + 1);
  EXPECT_EQ(GetCurrentDirectoryW(2, few), GetCurrentDirectoryW(size, many.data()) + 1);
  // This one cuts the path.
  GetModuleFileNameW(nullptr, many.data(), size);
  SetLastError(0);
  EXPECT_EQ(GetModuleFileNameW(nullptr, few, 2), 2u);
  EXPECT_EQ(GetLastError(), DWORD{ERROR_INSUFFICIENT_BUFFER});
  EXPECT_EQ(few[1], runsOnWine() ? many[1] : L'\0');
}

TEST_F(Win32CallsTest, Registry) {
  const std::wstring key = toWide(place.registryKey());
  const auto ask = [&](const wchar_t* subKey, const wchar_t* name, DWORD* bytes, void* data) {
    return RegGetValueW(HKEY_LOCAL_MACHINE, subKey, name, RRF_RT_REG_SZ, nullptr, data, bytes);
  };
  wchar_t text[64] = {};
  DWORD bytes = sizeof text;
  EXPECT_EQ(ask(key.c_str(), L"Version", &bytes, text), LSTATUS{ERROR_SUCCESS});
  EXPECT_EQ(toNarrow(text), "driver 1.2");
  EXPECT_EQ(bytes, 11 * sizeof(wchar_t));
  EXPECT_EQ(ask(key.c_str(), L"Missing", &bytes, text), LSTATUS{ERROR_FILE_NOT_FOUND});
  EXPECT_EQ(ask((key + L"\\Missing").c_str(), L"Version", &bytes, text),
            LSTATUS{ERROR_FILE_NOT_FOUND});
  bytes = 4;
  EXPECT_EQ(ask(key.c_str(), L"Version", &bytes, text), LSTATUS{ERROR_MORE_DATA});
  EXPECT_GE(bytes, 11 * sizeof(wchar_t));
  bytes = 0;
  EXPECT_EQ(ask(key.c_str(), L"Version", &bytes, nullptr), LSTATUS{ERROR_SUCCESS});
  EXPECT_GE(bytes, 11 * sizeof(wchar_t));
}

TEST_F(Win32CallsTest, LibrariesAndText) {
  expectError(
      "no library",
      LoadLibraryExW(at("none.dll").c_str(), nullptr, LOAD_LIBRARY_SEARCH_DEFAULT_DIRS) != nullptr,
      ERROR_MOD_NOT_FOUND);
  expectError("no text",
              MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, "\xFF", 1, nullptr, 0) != 0,
              ERROR_NO_UNICODE_TRANSLATION);
  expectError(
      "no room",
      [] {
        wchar_t one[1];
        return MultiByteToWideChar(CP_UTF8, 0, "ab", 2, one, 1) != 0;
      }(),
      ERROR_INSUFFICIENT_BUFFER);
  EXPECT_EQ(MultiByteToWideChar(CP_UTF8, 0, "ab", -1, nullptr, 0), 3);
  wchar_t broken[4] = {};
  EXPECT_EQ(MultiByteToWideChar(CP_UTF8, 0, "a\xFF", 2, broken, 4), 2);
  EXPECT_EQ(broken[1], L'\xFFFD');
}

TEST_F(Win32CallsTest, ChildProcessesAndPipes) {
  STARTUPINFOW startup{};
  startup.cb = sizeof startup;
  PROCESS_INFORMATION process{};
  HANDLE readEnd = nullptr;
  HANDLE writeEnd = nullptr;
  char byte = 0;
  DWORD done = 0;
  expectError(
      "no program",
      [&] {
        std::wstring line = at("none.exe");
        return CreateProcessW(nullptr, line.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr,
                              &startup, &process);
      }(),
      ERROR_FILE_NOT_FOUND);
  expectError("pipe", CreatePipe(&readEnd, &writeEnd, nullptr, 0), 0);
  expectError("write", WriteFile(writeEnd, "a", 1, &done, nullptr), 0);
  expectError("close", CloseHandle(writeEnd), 0);
  expectError("read", ReadFile(readEnd, &byte, 1, &done, nullptr) && byte == 'a', 0);
  expectError("read the end", ReadFile(readEnd, &byte, 1, &done, nullptr), ERROR_BROKEN_PIPE);
  expectError("close", CloseHandle(readEnd), 0);
}

TEST_F(Win32CallsTest, CountedStringsAndArrays) {
  const BSTR text = SysAllocString(L"abc");
  EXPECT_EQ(SysStringLen(text), 3u);
  EXPECT_EQ(SysStringLen(nullptr), 0u);
  SAFEARRAYBOUND bound{};
  bound.cElements = 2;
  SAFEARRAY* const array = SafeArrayCreate(VT_BSTR, 1, &bound);
  LONG index = 2;
  EXPECT_EQ(SafeArrayPutElement(array, &index, text), DISP_E_BADINDEX);
  index = 1;
  EXPECT_EQ(SafeArrayPutElement(array, &index, text), S_OK);
  BSTR back = nullptr;
  EXPECT_EQ(SafeArrayGetElement(array, &index, &back), S_OK);
  EXPECT_NE(back, text);
  EXPECT_EQ(SysStringLen(back), 3u);
  LONG limit = 0;
  EXPECT_EQ(SafeArrayGetUBound(array, 1, &limit), S_OK);
  EXPECT_EQ(limit, 1);
  EXPECT_EQ(SafeArrayGetUBound(array, 2, &limit), DISP_E_BADINDEX);
  SysFreeString(back);
  SysFreeString(text);

  VARIANT value;
  VariantInit(&value);
  value.vt = VT_ARRAY | VT_BSTR;
  value.parray = array;
  VARIANT copy;
  VariantInit(&copy);
  EXPECT_EQ(VariantCopy(&copy, &value), S_OK);
  EXPECT_NE(copy.parray, value.parray);
  EXPECT_EQ(VariantClear(&value), S_OK);
  EXPECT_EQ(value.vt, VT_EMPTY);
  EXPECT_EQ(VariantClear(&copy), S_OK);
}

}  // namespace
}  // namespace ostria::storage::test
