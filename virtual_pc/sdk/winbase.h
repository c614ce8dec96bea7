// The part of the SDK header of this name that the Windows-bound classes use: files, handles,
// events, libraries.
#pragma once

#include <winerror.h>
#include <winnt.h>

#define INVALID_HANDLE_VALUE ((HANDLE)(LONG_PTR)-1)
#define INVALID_FILE_ATTRIBUTES ((DWORD)-1)
#define INFINITE 0xFFFFFFFFu

#define WAIT_OBJECT_0 ((STATUS_WAIT_0) + 0)
#define WAIT_FAILED ((DWORD)0xFFFFFFFF)

#define CREATE_NEW 1
#define CREATE_ALWAYS 2
#define OPEN_EXISTING 3
#define OPEN_ALWAYS 4
#define TRUNCATE_EXISTING 5

#define FILE_FLAG_WRITE_THROUGH 0x80000000u
#define FILE_FLAG_OVERLAPPED 0x40000000u
#define FILE_FLAG_NO_BUFFERING 0x20000000u
#define FILE_FLAG_DELETE_ON_CLOSE 0x04000000u
#define FILE_FLAG_BACKUP_SEMANTICS 0x02000000u

#define FILE_BEGIN 0
#define FILE_CURRENT 1
#define FILE_END 2

#define MOVEFILE_REPLACE_EXISTING 0x00000001u
#define MOVEFILE_DELAY_UNTIL_REBOOT 0x00000004u

#define DRIVE_NO_ROOT_DIR 1
#define DRIVE_REMOVABLE 2
#define DRIVE_FIXED 3

#define LOAD_LIBRARY_SEARCH_APPLICATION_DIR 0x00000200u
#define LOAD_LIBRARY_SEARCH_DLL_LOAD_DIR 0x00000100u
#define LOAD_LIBRARY_SEARCH_DEFAULT_DIRS 0x00001000u
#define LOAD_LIBRARY_SEARCH_SYSTEM32 0x00000800u

struct SECURITY_ATTRIBUTES {
  DWORD nLength;
  LPVOID lpSecurityDescriptor;
  BOOL bInheritHandle;
};
using LPSECURITY_ATTRIBUTES = SECURITY_ATTRIBUTES*;

struct OVERLAPPED {
  ULONG_PTR Internal;
  ULONG_PTR InternalHigh;
  union {
    struct {
      DWORD Offset;
      DWORD OffsetHigh;
    };
    PVOID Pointer;
  };
  HANDLE hEvent;
};
using LPOVERLAPPED = OVERLAPPED*;

#define HasOverlappedIoCompleted(overlapped) (((DWORD)(overlapped)->Internal) != STATUS_PENDING)

struct WIN32_FIND_DATAW {
  DWORD dwFileAttributes;
  FILETIME ftCreationTime;
  FILETIME ftLastAccessTime;
  FILETIME ftLastWriteTime;
  DWORD nFileSizeHigh;
  DWORD nFileSizeLow;
  DWORD dwReserved0;
  DWORD dwReserved1;
  WCHAR cFileName[MAX_PATH];
  WCHAR cAlternateFileName[14];
};
using LPWIN32_FIND_DATAW = WIN32_FIND_DATAW*;

extern "C" {
DWORD WINAPI GetLastError(void);
void WINAPI SetLastError(DWORD error);

HANDLE WINAPI CreateFileA(LPCSTR name, DWORD access, DWORD share, LPSECURITY_ATTRIBUTES security,
                          DWORD disposition, DWORD flags, HANDLE templateFile);
HANDLE WINAPI CreateFileW(LPCWSTR name, DWORD access, DWORD share, LPSECURITY_ATTRIBUTES security,
                          DWORD disposition, DWORD flags, HANDLE templateFile);
BOOL WINAPI CloseHandle(HANDLE handle);
BOOL WINAPI DeviceIoControl(HANDLE device, DWORD code, LPVOID in, DWORD inBytes, LPVOID out,
                            DWORD outBytes, LPDWORD returned, LPOVERLAPPED overlapped);
BOOL WINAPI ReadFile(HANDLE file, LPVOID buffer, DWORD bytes, LPDWORD done,
                     LPOVERLAPPED overlapped);
BOOL WINAPI WriteFile(HANDLE file, LPCVOID buffer, DWORD bytes, LPDWORD done,
                      LPOVERLAPPED overlapped);
BOOL WINAPI SetFilePointerEx(HANDLE file, LARGE_INTEGER distance, PLARGE_INTEGER position,
                             DWORD method);
BOOL WINAPI SetEndOfFile(HANDLE file);
BOOL WINAPI GetOverlappedResult(HANDLE file, LPOVERLAPPED overlapped, LPDWORD done, BOOL wait);
BOOL WINAPI CancelIo(HANDLE file);

HANDLE WINAPI CreateEventW(LPSECURITY_ATTRIBUTES security, BOOL manualReset, BOOL initialState,
                           LPCWSTR name);
DWORD WINAPI WaitForSingleObject(HANDLE handle, DWORD milliseconds);

BOOL WINAPI MoveFileExW(LPCWSTR from, LPCWSTR to, DWORD flags);
BOOL WINAPI DeleteFileW(LPCWSTR name);
BOOL WINAPI CreateDirectoryW(LPCWSTR name, LPSECURITY_ATTRIBUTES security);
BOOL WINAPI RemoveDirectoryW(LPCWSTR name);
DWORD WINAPI GetFileAttributesW(LPCWSTR name);
HANDLE WINAPI FindFirstFileW(LPCWSTR pattern, LPWIN32_FIND_DATAW data);
BOOL WINAPI FindNextFileW(HANDLE find, LPWIN32_FIND_DATAW data);
BOOL WINAPI FindClose(HANDLE find);
HANDLE WINAPI FindFirstVolumeW(LPWSTR name, DWORD characters);
BOOL WINAPI FindNextVolumeW(HANDLE find, LPWSTR name, DWORD characters);
BOOL WINAPI FindVolumeClose(HANDLE find);
BOOL WINAPI GetVolumePathNamesForVolumeNameW(LPCWSTR name, LPWSTR paths, DWORD characters,
                                             PDWORD needed);

DWORD WINAPI GetCurrentDirectoryW(DWORD size, LPWSTR buffer);
UINT WINAPI GetWindowsDirectoryW(LPWSTR buffer, UINT size);
#define GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT 0x2
#define GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS 0x4
BOOL WINAPI GetModuleHandleExW(DWORD flags, LPCWSTR name, HMODULE* module);
DWORD WINAPI GetModuleFileNameW(HMODULE module, LPWSTR buffer, DWORD size);
HMODULE WINAPI LoadLibraryExW(LPCWSTR name, HANDLE file, DWORD flags);
FARPROC WINAPI GetProcAddress(HMODULE module, LPCSTR name);
BOOL WINAPI FreeLibrary(HMODULE module);

DWORD WINAPI GetLogicalDrives(void);
DWORD WINAPI GetLogicalDriveStringsA(DWORD size, LPSTR buffer);
UINT WINAPI GetDriveTypeA(LPCSTR root);
BOOL WINAPI GetVolumeInformationA(LPCSTR root, LPSTR label, DWORD labelSize, LPDWORD serial,
                                  LPDWORD maximumComponent, LPDWORD flags, LPSTR fileSystem,
                                  DWORD fileSystemSize);
BOOL WINAPI GetVolumeInformationW(LPCWSTR root, LPWSTR label, DWORD labelSize, LPDWORD serial,
                                  LPDWORD maximumComponent, LPDWORD flags, LPWSTR fileSystem,
                                  DWORD fileSystemSize);
BOOL WINAPI GetDiskFreeSpaceA(LPCSTR root, LPDWORD sectorsPerCluster, LPDWORD bytesPerSector,
                              LPDWORD freeClusters, LPDWORD totalClusters);
BOOL WINAPI GetDiskFreeSpaceExW(LPCWSTR root, PULARGE_INTEGER freeToCaller, PULARGE_INTEGER total,
                                PULARGE_INTEGER totalFree);

void WINAPI Sleep(DWORD milliseconds);
BOOL WINAPI QueryPerformanceCounter(PLARGE_INTEGER count);
BOOL WINAPI QueryPerformanceFrequency(PLARGE_INTEGER frequency);
void WINAPI GetSystemTimeAsFileTime(FILETIME* time);
HANDLE WINAPI GetCurrentProcess(void);

BOOL WINAPI OpenProcessToken(HANDLE process, DWORD access, PHANDLE token);
BOOL WINAPI LookupPrivilegeValueW(LPCWSTR system, LPCWSTR name, PLUID luid);
BOOL WINAPI AdjustTokenPrivileges(HANDLE token, BOOL disableAll, PTOKEN_PRIVILEGES state,
                                  DWORD bytes, PTOKEN_PRIVILEGES previous, PDWORD returned);
BOOL WINAPI SetFileValidData(HANDLE file, LONGLONG length);
UINT WINAPI SetErrorMode(UINT mode);
}
