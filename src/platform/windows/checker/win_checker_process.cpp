// A pipe reports its end only when every write end is closed, so ours is closed after the start.
#include "platform/windows/checker/win_checker_process.h"

namespace ostria::storage {
namespace {

constexpr DWORD kStartDelayMilliseconds = 100;

void closeIfOpen(HANDLE handle) {
  if (handle != nullptr) {
    CloseHandle(handle);
  }
}

}  // namespace

WinCheckerProcess::~WinCheckerProcess() {
  closeIfOpen(readEnd_);
  closeIfOpen(process_.hThread);
  closeIfOpen(process_.hProcess);
}

bool WinCheckerProcess::start(std::wstring commandLine) {
  SECURITY_ATTRIBUTES inheritable{};
  inheritable.nLength = sizeof inheritable;
  inheritable.bInheritHandle = TRUE;
  HANDLE writeEnd = nullptr;
  if (!CreatePipe(&readEnd_, &writeEnd, &inheritable, 0)) {
    readEnd_ = nullptr;
    return false;
  }
  STARTUPINFOW startup{};
  startup.cb = sizeof startup;
  startup.dwFlags = STARTF_USESTDHANDLES;
  startup.hStdInput = readEnd_;
  startup.hStdOutput = writeEnd;
  startup.hStdError = writeEnd;
  const BOOL started = CreateProcessW(nullptr, commandLine.data(), nullptr, nullptr, TRUE,
                                      CREATE_NO_WINDOW | NORMAL_PRIORITY_CLASS, nullptr, nullptr,
                                      &startup, &process_);
  if (started) {
    Sleep(kStartDelayMilliseconds);
  } else {
    process_ = {};
  }
  // The process has an end of its own; with this one open the pipe would never run dry.
  CloseHandle(writeEnd);
  return started != FALSE;
}

bool WinCheckerProcess::isActive() const {
  return exitCode() == STILL_ACTIVE && WaitForSingleObject(process_.hProcess, 0) != WAIT_OBJECT_0;
}

DWORD WinCheckerProcess::exitCode() const {
  DWORD code = 0;
  // Without an answer the process counts as ended badly: nobody could wait for it any more.
  return GetExitCodeProcess(process_.hProcess, &code) ? code : static_cast<DWORD>(-1);
}

bool WinCheckerProcess::readByte(char& byte) {
  DWORD count = 0;
  return (ReadFile(readEnd_, &byte, 1, &count, nullptr) != 0) && count == 1;
}

void WinCheckerProcess::terminate(UINT exitCode) { TerminateProcess(process_.hProcess, exitCode); }

}  // namespace ostria::storage
