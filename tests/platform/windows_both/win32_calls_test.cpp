// What single calls of the system answer, by its own documentation: the virtual PC gives the
// classes above it the same answers that another implementation of the system gives.
#include <gtest/gtest.h>
#include <windows.h>
// After windows.h, whose types they need.
#include <oleauto.h>

#include <functional>
#include <optional>
#include <vector>

#include "services/string_handler.h"
#include "tests/platform/windows_both/place.h"

namespace ostria::storage::test {
namespace {

struct Row {
  const char* what;
  std::function<BOOL()> call;
  DWORD error;  ///< 0: the call succeeds
  /// What Wine answers instead.
  std::optional<DWORD> wine = std::nullopt;
};

void expectErrors(const std::vector<Row>& rows) {
  for (const Row& row : rows) {
    SetLastError(0);
    const BOOL succeeded = row.call();
    const DWORD error = succeeded != FALSE ? 0 : GetLastError();
    const DWORD expected = runsOnWine() ? row.wine.value_or(row.error) : row.error;
    EXPECT_EQ(error, expected) << row.what;
    EXPECT_EQ(succeeded != FALSE, expected == 0) << row.what;
  }
}

class Win32CallsTest : public ::testing::Test {
 protected:
  std::wstring at(const std::string& name) const { return toWide(place.folder() + "\\" + name); }
  static HANDLE open(const std::wstring& path, DWORD share, DWORD disposition, DWORD flags = 0) {
    return CreateFileW(path.c_str(), GENERIC_READ | GENERIC_WRITE, share, nullptr, disposition,
                       flags, nullptr);
  }
  /// Opens and closes; the last error stays.
  static BOOL opens(const std::wstring& path, DWORD share, DWORD disposition) {
    const HANDLE file = open(path, share, disposition);
    return file != INVALID_HANDLE_VALUE && CloseHandle(file);
  }

  Place place;
};

TEST_F(Win32CallsTest, FilesAndDirectories) {
  WIN32_FIND_DATAW found{};
  const auto find = [&](const std::wstring& pattern) {
    const HANDLE search = FindFirstFileW(pattern.c_str(), &found);
    return search != INVALID_HANDLE_VALUE && FindClose(search);
  };
  const HANDLE held = open(at("held"), 0, CREATE_NEW);
  ASSERT_NE(held, INVALID_HANDLE_VALUE);
  expectErrors({
      {"make", [&] { return CreateDirectoryW(at("d").c_str(), nullptr); }, 0},
      {"make again", [&] { return CreateDirectoryW(at("d").c_str(), nullptr); },
       ERROR_ALREADY_EXISTS},
      {"make where a file is", [&] { return CreateDirectoryW(at("held").c_str(), nullptr); },
       ERROR_ALREADY_EXISTS},
      {"make below nothing", [&] { return CreateDirectoryW(at("no\\d").c_str(), nullptr); },
       ERROR_PATH_NOT_FOUND},
      {"make on no volume", [] { return CreateDirectoryW(L"Q:\\d", nullptr); },
       ERROR_PATH_NOT_FOUND, ERROR_FILE_NOT_FOUND},
      {"make with a bad name", [&] { return CreateDirectoryW(at("a?b").c_str(), nullptr); },
       ERROR_INVALID_NAME},
      {"new file", [&] { return opens(at("d\\f"), 0, CREATE_NEW); }, 0},
      {"new file again", [&] { return opens(at("d\\f"), 0, CREATE_NEW); }, ERROR_FILE_EXISTS},
      {"open a file that is held", [&] { return opens(at("held"), 0, OPEN_EXISTING); },
       ERROR_SHARING_VIOLATION},
      {"open nothing", [&] { return opens(at("none"), 0, OPEN_EXISTING); }, ERROR_FILE_NOT_FOUND},
      {"open below nothing", [&] { return opens(at("no\\f"), 0, OPEN_EXISTING); },
       ERROR_PATH_NOT_FOUND},
      {"open a directory", [&] { return opens(at("d"), 0, OPEN_EXISTING); }, ERROR_ACCESS_DENIED},
      {"find", [&] { return find(at("*")); }, 0},
      {"find in an empty directory",
       [&] { return CreateDirectoryW(at("e").c_str(), nullptr) && find(at("e\\*")); }, 0},
      {"find no name", [&] { return find(at("none*")); }, ERROR_FILE_NOT_FOUND},
      {"find below nothing", [&] { return find(at("no\\*")); }, ERROR_PATH_NOT_FOUND},
      {"remove a full directory", [&] { return RemoveDirectoryW(at("d").c_str()); },
       ERROR_DIR_NOT_EMPTY},
      {"remove a file as a directory", [&] { return RemoveDirectoryW(at("d\\f").c_str()); },
       ERROR_DIRECTORY},
      {"remove no directory", [&] { return RemoveDirectoryW(at("none").c_str()); },
       ERROR_FILE_NOT_FOUND},
      {"delete a directory", [&] { return DeleteFileW(at("d").c_str()); }, ERROR_ACCESS_DENIED},
      {"delete nothing", [&] { return DeleteFileW(at("none").c_str()); }, ERROR_FILE_NOT_FOUND},
      {"delete below nothing", [&] { return DeleteFileW(at("no\\f").c_str()); },
       ERROR_PATH_NOT_FOUND},
      {"delete a file that is held", [&] { return DeleteFileW(at("held").c_str()); },
       ERROR_SHARING_VIOLATION},
      {"attributes of nothing",
       [&] { return GetFileAttributesW(at("none").c_str()) != INVALID_FILE_ATTRIBUTES; },
       ERROR_FILE_NOT_FOUND},
      {"attributes below nothing",
       [&] { return GetFileAttributesW(at("no\\f").c_str()) != INVALID_FILE_ATTRIBUTES; },
       ERROR_PATH_NOT_FOUND},
      {"delete", [&] { return DeleteFileW(at("d\\f").c_str()); }, 0},
      {"remove", [&] { return RemoveDirectoryW(at("d").c_str()); }, 0},
      {"close", [&] { return CloseHandle(held); }, 0},
      {"close again", [&] { return CloseHandle(held); }, ERROR_INVALID_HANDLE},
  });

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
  expectErrors({{"the end", [&] { return FindNextFileW(search, &found); }, ERROR_NO_MORE_FILES}});
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
    return SetFilePointerEx(file, distance, nullptr, from);
  };
  OVERLAPPED overlapped{};
  overlapped.hEvent = CreateEventW(nullptr, TRUE, FALSE, nullptr);
  // Whether the end of the file shows at once or when the request has ended is the system's choice.
  const auto readQueued = [&](DWORD offset) {
    overlapped.Offset = offset;
    if (ReadFile(queued, bytes.data(), 512, nullptr, &overlapped) == FALSE &&
        GetLastError() != ERROR_IO_PENDING) {
      return FALSE;
    }
    EXPECT_EQ(WaitForSingleObject(overlapped.hEvent, 5000), DWORD{WAIT_OBJECT_0});
    return GetOverlappedResult(queued, &overlapped, &done, FALSE);
  };
  const auto writeQueued = [&] {
    overlapped.Offset = 0;
    return (WriteFile(queued, bytes.data(), 1024, nullptr, &overlapped) != FALSE ||
            GetLastError() == ERROR_IO_PENDING) &&
           GetOverlappedResult(queued, &overlapped, &done, TRUE);
  };
  expectErrors({
      {"write", [&] { return WriteFile(file, bytes.data(), 1000, &done, nullptr); }, 0},
      {"read behind the end",
       [&] { return ReadFile(file, bytes.data(), 10, &done, nullptr) && done == 0; }, 0},
      {"seek before the file", [&] { return seek(-1, FILE_BEGIN); }, ERROR_NEGATIVE_SEEK},
      {"seek", [&] { return seek(-10, FILE_END); }, 0},
      {"read the rest",
       [&] { return ReadFile(file, bytes.data(), 4096, &done, nullptr) && done == 10; }, 0},
      {"cut", [&] { return seek(100, FILE_BEGIN) && SetEndOfFile(file); }, 0},
      {"cut is at the end",
       [&] { return ReadFile(file, bytes.data(), 10, &done, nullptr) && done == 0; }, 0},
      {"write without the right", [&] { return WriteFile(read, bytes.data(), 10, &done, nullptr); },
       ERROR_ACCESS_DENIED},
      {"cut without the right", [&] { return SetEndOfFile(read); }, ERROR_ACCESS_DENIED, 0},
      {"queued without a request",
       [&] { return ReadFile(queued, bytes.data(), 512, &done, nullptr); },
       ERROR_INVALID_PARAMETER},
      {"queued write", writeQueued, 0},
      {"queued read", [&] { return readQueued(512) && done == 512; }, 0},
      {"queued read behind the end", [&] { return readQueued(4096); }, ERROR_HANDLE_EOF},
      {"cancel nothing", [&] { return CancelIo(queued); }, 0},
      {"read no handle", [&] { return ReadFile(nullptr, bytes.data(), 1, &done, nullptr); },
       ERROR_INVALID_HANDLE},
  });
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
  expectErrors({
      {"volume",
       [&] {
         return GetVolumeInformationA(root.c_str(), nullptr, 0, &number, &number, &number, text,
                                      sizeof text);
       },
       0},
      {"no volume",
       [&] {
         return GetVolumeInformationA("Q:\\", nullptr, 0, nullptr, nullptr, nullptr, text,
                                      sizeof text);
       },
       ERROR_PATH_NOT_FOUND},
      {"volume without its backslash",
       [&] {
         return GetVolumeInformationA("C:", nullptr, 0, nullptr, nullptr, nullptr, text,
                                      sizeof text);
       },
       ERROR_INVALID_NAME, 0},
      {"space of no volume", [] { return GetDiskFreeSpaceExW(L"Q:\\", nullptr, nullptr, nullptr); },
       ERROR_PATH_NOT_FOUND},
      {"clusters of no volume",
       [&] { return GetDiskFreeSpaceA("Q:\\", &number, &number, &number, &number); },
       ERROR_PATH_NOT_FOUND},
      {"space by a directory",
       [&] {
         return GetDiskFreeSpaceExW(toWide(place.folder()).c_str(), nullptr, nullptr, nullptr);
       },
       0},
  });
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

TEST_F(Win32CallsTest, PrivilegesAndErrorMode) {
  HANDLE token = nullptr;
  ASSERT_TRUE(OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &token));
  TOKEN_PRIVILEGES wanted{};
  wanted.PrivilegeCount = 1;
  LUID& luid = wanted.Privileges[0].Luid;
  expectErrors({
      {"a privilege",
       [&] { return LookupPrivilegeValueW(nullptr, L"SeManageVolumePrivilege", &luid); }, 0},
      {"no privilege",
       [&] {
         LUID other{};
         return LookupPrivilegeValueW(nullptr, L"SeNoSuchPrivilege", &other);
       },
       1313},
      {"adjust without the right",
       [&] { return AdjustTokenPrivileges(token, FALSE, &wanted, 0, nullptr, nullptr); },
       ERROR_ACCESS_DENIED},
  });
  CloseHandle(token);
  const UINT before = SetErrorMode(0x8001);
  EXPECT_EQ(SetErrorMode(before), 0x8001u);
}

TEST_F(Win32CallsTest, LibrariesAndText) {
  expectErrors({
      {"no library",
       [&] {
         return LoadLibraryExW(at("none.dll").c_str(), nullptr, LOAD_LIBRARY_SEARCH_DEFAULT_DIRS) !=
                nullptr;
       },
       ERROR_MOD_NOT_FOUND},
      {"no text",
       [] {
         return MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, "\xFF", 1, nullptr, 0) != 0;
       },
       ERROR_NO_UNICODE_TRANSLATION},
      {"no room",
       [] {
         wchar_t one[1];
         return MultiByteToWideChar(CP_UTF8, 0, "ab", 2, one, 1) != 0;
       },
       ERROR_INSUFFICIENT_BUFFER},
  });
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
  expectErrors({
      {"no program",
       [&] {
         std::wstring line = at("none.exe");
         return CreateProcessW(nullptr, line.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr,
                               &startup, &process);
       },
       ERROR_FILE_NOT_FOUND},
      {"pipe", [&] { return CreatePipe(&readEnd, &writeEnd, nullptr, 0); }, 0},
      {"write", [&] { return WriteFile(writeEnd, "a", 1, &done, nullptr); }, 0},
      {"close", [&] { return CloseHandle(writeEnd); }, 0},
      {"read", [&] { return ReadFile(readEnd, &byte, 1, &done, nullptr) && byte == 'a'; }, 0},
      {"read the end", [&] { return ReadFile(readEnd, &byte, 1, &done, nullptr); },
       ERROR_BROKEN_PIPE},
      {"close", [&] { return CloseHandle(readEnd); }, 0},
  });
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
