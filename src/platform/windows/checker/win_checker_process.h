#pragma once

#include <windows.h>

#include <string>

namespace ostria::storage {

/// A child process without a window, with its output on a pipe that this object reads.
class WinCheckerProcess {
 public:
  WinCheckerProcess() = default;
  ~WinCheckerProcess();
  WinCheckerProcess(const WinCheckerProcess&) = delete;
  WinCheckerProcess& operator=(const WinCheckerProcess&) = delete;

  /// @param commandLine  program and arguments
  bool start(std::wstring commandLine);
  /// Whether it runs. An exit code of 259 looks like a process that does.
  bool isActive() const;
  /// The exit code, once it has ended.
  DWORD exitCode() const;
  /// Waits for the next byte of the output. @return false when none came
  bool readByte(char& byte);
  void terminate(UINT exitCode);

 private:
  HANDLE readEnd_ = nullptr;
  PROCESS_INFORMATION process_{};
};

}  // namespace ostria::storage
