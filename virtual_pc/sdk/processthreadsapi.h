// The part of the SDK header of this name that the Windows-bound classes use: child processes and
// tokens.
#pragma once

#include <winbase.h>

// Child processes and the pipes to them.

#define NORMAL_PRIORITY_CLASS 0x00000020u
#define CREATE_NO_WINDOW 0x08000000u
#define STARTF_USESTDHANDLES 0x00000100u
#define STILL_ACTIVE ((DWORD)0x00000103)
#define SW_HIDE 0

struct STARTUPINFOW {
  DWORD cb;
  LPWSTR lpReserved;
  LPWSTR lpDesktop;
  LPWSTR lpTitle;
  DWORD dwX;
  DWORD dwY;
  DWORD dwXSize;
  DWORD dwYSize;
  DWORD dwXCountChars;
  DWORD dwYCountChars;
  DWORD dwFillAttribute;
  DWORD dwFlags;
  WORD wShowWindow;
  WORD cbReserved2;
  LPBYTE lpReserved2;
  HANDLE hStdInput;
  HANDLE hStdOutput;
  HANDLE hStdError;
};
using LPSTARTUPINFOW = STARTUPINFOW*;

struct PROCESS_INFORMATION {
  HANDLE hProcess;
  HANDLE hThread;
  DWORD dwProcessId;
  DWORD dwThreadId;
};
using LPPROCESS_INFORMATION = PROCESS_INFORMATION*;

extern "C" {
BOOL WINAPI CreatePipe(PHANDLE readEnd, PHANDLE writeEnd, LPSECURITY_ATTRIBUTES security,
                       DWORD size);
BOOL WINAPI CreateProcessW(LPCWSTR application, LPWSTR commandLine,
                           LPSECURITY_ATTRIBUTES processSecurity,
                           LPSECURITY_ATTRIBUTES threadSecurity, BOOL inheritHandles, DWORD flags,
                           LPVOID environment, LPCWSTR directory, LPSTARTUPINFOW startup,
                           LPPROCESS_INFORMATION process);
BOOL WINAPI GetExitCodeProcess(HANDLE process, LPDWORD exitCode);
BOOL WINAPI TerminateProcess(HANDLE process, UINT exitCode);
UINT WINAPI WinExec(LPCSTR commandLine, UINT show);
UINT WINAPI GetSystemWindowsDirectoryW(LPWSTR buffer, UINT size);
}
