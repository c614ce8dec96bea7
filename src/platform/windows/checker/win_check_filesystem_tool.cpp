// chkdsk prints its percentages in place, ended by a bare carriage return, so its output is read
// byte by byte.
#include "platform/windows/checker/win_check_filesystem_tool.h"

#include <windows.h>

#include <algorithm>
#include <array>

#include "platform/windows/checker/win_checker_process.h"
#include "platform/windows/services/win_cim.h"
#include "services/string_handler.h"
#include "tools/checker_output.h"
#include "tools/tool_events.h"

namespace ostria::storage {
namespace {

constexpr UINT kStuckExitCode = 3;
constexpr DWORD kIdleMilliseconds = 100;

/// "C:" of "C:\".
std::string volumeOf(const std::string& path) {
  return path.substr(0, path.size() - (path.find('\\') != std::string::npos ? 1 : 0));
}

std::string checkerPath() {
  std::array<wchar_t, 256> directory{};
  const UINT length =
      GetSystemWindowsDirectoryW(directory.data(), static_cast<UINT>(directory.size()));
  if (length == 0 || length >= directory.size()) {
    return "";
  }
  return toNarrow(std::wstring(directory.data(), length)) + "\\system32\\chkdsk.exe";
}

/// The code page that consoles of this system begin with. A program whose manifest asks for UTF-8
/// gets that as CP_OEMCP, too, while the checker has a console and a code page of its own.
UINT consoleCodePage() {
  std::array<wchar_t, 8> text{};
  DWORD bytes = sizeof text;
  UINT page = 0;
  if (RegGetValueW(HKEY_LOCAL_MACHINE, L"SYSTEM\\CurrentControlSet\\Control\\Nls\\CodePage",
                   L"OEMCP", RRF_RT_REG_SZ, nullptr, text.data(), &bytes) == ERROR_SUCCESS) {
    for (std::size_t i = 0; i < text.size() && text[i] >= L'0' && text[i] <= L'9'; ++i) {
      page = 10 * page + static_cast<UINT>(text[i] - L'0');
    }
  }
  return page != 0 ? page : CP_OEMCP;
}

/// The checker speaks in the code page of the console; of each character the low byte is kept.
std::string fromConsole(UINT page, const std::string& line) {
  const int bytes = static_cast<int>(line.size());
  std::wstring wide(line.size(), L'\0');
  const int count = MultiByteToWideChar(page, 0, line.data(), bytes, wide.data(), bytes);
  std::string text;
  for (int i = 0; i < count; ++i) {
    text += static_cast<char>(static_cast<unsigned char>(wide[static_cast<std::size_t>(i)]));
  }
  return text;
}

}  // namespace

WinCheckFilesystemTool::WinCheckFilesystemTool(Tool* owner)
    : CheckFilesystemOperation(owner), checkerPath_(checkerPath()) {}

ToolStatus WinCheckFilesystemTool::execute(const RecoverDeviceItem& item,
                                           std::uint32_t partitionIndex) {
  message_.clear();
  if (partitionIndex >= item.partitions.size()) {
    return ToolStatus::CouldNotRun;
  }
  return runChecker(volumeOf(item.partitions[partitionIndex].volumePath));
}

ToolStatus WinCheckFilesystemTool::runChecker(const std::string& volume) {
  WinCheckerProcess process;
  if (checkerPath_.empty()) {
    return ToolStatus::CouldNotRun;
  }
  if (!process.start(toWide(checkerPath_ + " " + volume + " /F"))) {
    return ToolStatus::CouldNotRun;
  }

  CheckerOutput output(
      [page = consoleCodePage()](const std::string& line) { return fromConsole(page, line); });
  bool terminated = false;
  bool gotByte = true;
  for (;;) {
    const bool active = process.isActive();
    if (!active && !gotByte) {
      break;
    }
    char byte = 0;
    gotByte = process.readByte(byte);
    if (!gotByte) {
      // It closed its output and still works.
      if (active) {
        Sleep(kIdleMilliseconds);
      }
      continue;
    }
    if (const auto percent = output.accept(byte)) {
      reportProgress(*percent);
    }
    if (output.isStuck() && !terminated) {
      process.terminate(kStuckExitCode);
      terminated = true;
    }
  }
  message_ = output.message();
  switch (process.exitCode()) {
    case 0:
      return ToolStatus::Finished;
    case 1:
      return ToolStatus::Repaired;
    default:
      return ToolStatus::CouldNotRun;
  }
}

/// A host that fails here must not cost the checker its output in the middle of a repair.
void WinCheckFilesystemTool::reportProgress(int percent) {
  try {
    publish(*owner_, eventReceiver_, "Progress", {std::to_string(percent)});
  } catch (...) {
    eventReceiver_ = nullptr;
  }
}

bool WinCheckFilesystemTool::scheduleCheck(std::string volumePath) {
  const std::string volume = volumeOf(volumePath);
  // The name goes through the command interpreter, which would take these for its own.
  if (volume.find_first_of("&|<>^%\"\r\n") != std::string::npos) {
    return false;
  }
  // Run first, so that a volume that can be checked at once is not left for the next start; what
  // comes of it does not matter to the request below.
  WinExec(
      ("cmd.exe /C cd " + volume + "\\Windows\\System32 & (echo 1|chkdsk.exe " + volume + " /F)")
          .c_str(),
      SW_HIDE);

  WinCim cim;
  CimSession session;
  if (cim.connect(L"ROOT\\CIMV2", L"Win32_LogicalDisk", session) != CimResult::Success) {
    return false;
  }
  ComPointer<IWbemClassObject> parameterClass;
  ComPointer<IWbemClassObject> parameters;
  if (FAILED(
          session.classObject->GetMethod(L"ScheduleAutoChk", 0, parameterClass.put(), nullptr)) ||
      !parameterClass || FAILED(parameterClass->SpawnInstance(0, parameters.put())) ||
      !parameters) {
    return false;
  }

  ComValue disks;
  SAFEARRAYBOUND bound{};
  bound.cElements = 1;
  SAFEARRAY* const array = SafeArrayCreate(VT_BSTR, 1, &bound);
  if (array == nullptr) {
    return false;
  }
  (*disks).vt = VT_ARRAY | VT_BSTR;
  (*disks).parray = array;
  LONG index = 0;
  const ComText disk(getLocalStringHandler().widen(volume));
  if (FAILED(SafeArrayPutElement(array, &index, disk.get())) ||
      FAILED(parameters->Put(L"LogicalDisk", 0, disks.get(), 0))) {
    return false;
  }

  const ComText path(L"Win32_LogicalDisk");
  const ComText method(L"ScheduleAutoChk");
  ComPointer<IWbemClassObject> answer;
  ComValue code;
  return SUCCEEDED(session.services->ExecMethod(path.get(), method.get(), 0, nullptr,
                                                parameters.get(), answer.put(), nullptr)) &&
         answer && SUCCEEDED(answer->Get(L"ReturnValue", 0, code.get(), nullptr, nullptr)) &&
         (*code).vt == VT_I4 && (*code).lVal == 0;
}

std::unique_ptr<CheckFilesystemOperation> makeCheckFilesystemOperation(Tool* owner) {
  return std::make_unique<WinCheckFilesystemTool>(owner);
}

}  // namespace ostria::storage
