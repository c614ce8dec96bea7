// Pipes and child processes. The only program of this PC is the filesystem checker.
#include <algorithm>
#include <memory>
#include <sstream>

#include "virtual_pc/system/services/child_process.h"
#include "virtual_pc/system/services/chkdsk.h"
#include "virtual_pc/system/text_forms.h"
#include "virtual_pc/win32/handles.h"

using namespace ostria::virtual_pc;

namespace {

/// The one thread of a child process; nothing more than something to close.
struct ThreadObject : KernelObject {};

std::shared_ptr<PipeChannel> outputOf(const KernelCall& call, const STARTUPINFOW& startup) {
  if ((startup.dwFlags & STARTF_USESTDHANDLES) == 0) {
    return nullptr;
  }
  const auto file = call->get<OpenFile>(valueOf(startup.hStdOutput));
  const auto end =
      file && file->inheritable ? std::dynamic_pointer_cast<PipeWriteEnd>(file->object) : nullptr;
  return end ? end->channel() : nullptr;
}

}  // namespace

extern "C" {

BOOL WINAPI CreatePipe(PHANDLE readEnd, PHANDLE writeEnd, LPSECURITY_ATTRIBUTES security, DWORD) {
  const KernelCall call;
  if (call.fails()) {
    return FALSE;
  }
  const auto channel = std::make_shared<PipeChannel>();
  channel->onDeadlock = [] {
    machine().complaints().emplace_back(
        "ReadFile waits for the end of a pipe whose write end is open");
  };
  const bool inheritable = security != nullptr && security->bInheritHandle != FALSE;
  const auto open = [&](std::shared_ptr<IoObject> end, bool reads) {
    auto file = std::make_shared<OpenFile>();
    file->object = std::move(end);
    file->readable = reads;
    file->writable = !reads;
    file->inheritable = inheritable;
    return handleOf(call->add(std::move(file)));
  };
  *readEnd = open(std::make_shared<PipeReadEnd>(channel), true);
  *writeEnd = open(std::make_shared<PipeWriteEnd>(channel), false);
  return TRUE;
}

BOOL WINAPI CreateProcessW(LPCWSTR application, LPWSTR commandLine, LPSECURITY_ATTRIBUTES,
                           LPSECURITY_ATTRIBUTES, BOOL inherits, DWORD, LPVOID, LPCWSTR,
                           LPSTARTUPINFOW startup, LPPROCESS_INFORMATION process) {
  const KernelCall call;
  if (call.fails()) {
    return FALSE;
  }
  if (startup->cb != sizeof *startup) {
    return failWith(ERROR_INVALID_PARAMETER);
  }
  std::istringstream words(utf8(application != nullptr ? application : commandLine));
  std::string program;
  std::string volume;
  words >> program >> volume;
  bool repairs = false;
  for (std::string word; words >> word;) {
    repairs = repairs || lowerCase(word) == "/f";
  }
  Machine& machine = call->machine();
  if (!isCheckerProgram(machine, program)) {
    return failWith(ERROR_FILE_NOT_FOUND);
  }
  // The child has the handle that it is to write to only if that is inheritable, and inherited.
  const auto output = inherits != FALSE ? outputOf(call, *startup) : nullptr;
  const auto child = startChecker(machine, volume, repairs, output);
  if (!child) {
    return failWith(ERROR_ACCESS_DENIED);
  }
  if (output) {
    output->writer = child;
  }
  process->hProcess = handleOf(call->add(child));
  process->hThread = handleOf(call->add(std::make_shared<ThreadObject>()));
  process->dwProcessId = static_cast<DWORD>(valueOf(process->hProcess));
  process->dwThreadId = static_cast<DWORD>(valueOf(process->hThread));
  return TRUE;
}

BOOL WINAPI GetExitCodeProcess(HANDLE handle, LPDWORD exitCode) {
  const KernelCall call;
  if (call.fails()) {
    return FALSE;
  }
  const auto process = call->get<ProcessObject>(valueOf(handle));
  if (!process) {
    return failWith(ERROR_INVALID_HANDLE);
  }
  *exitCode = process->exitCode().value_or(STILL_ACTIVE);
  return TRUE;
}

BOOL WINAPI TerminateProcess(HANDLE handle, UINT exitCode) {
  const KernelCall call;
  if (call.fails()) {
    return FALSE;
  }
  const auto process = call->get<ProcessObject>(valueOf(handle));
  if (!process) {
    return failWith(ERROR_INVALID_HANDLE);
  }
  process->terminate(exitCode);
  return TRUE;
}

UINT WINAPI WinExec(LPCSTR commandLine, UINT) {
  const KernelCall call;
  if (call.fails()) {
    return 0;
  }
  call->machine().commandsRun().emplace_back(commandLine);
  return 33;  // anything above 31 is success
}

UINT WINAPI GetSystemWindowsDirectoryW(LPWSTR buffer, UINT size) {
  const KernelCall call;
  if (call.fails()) {
    return 0;
  }
  return copyOut(wide(call->machine().description().windowsDirectory), buffer, size);
}

}  // extern "C"
