// Clock, libraries, token privileges and text conversion of the process.
#include <algorithm>
#include <utility>

#include "virtual_pc/system/code_pages.h"
#include "virtual_pc/system/text_forms.h"
#include "virtual_pc/win32/handles.h"

using namespace ostria::virtual_pc;

namespace {

thread_local DWORD lastError = 0;

/// A loaded library.
struct LibraryObject : KernelObject {
  std::map<std::string, Machine::Function> functions;
  bool closedByCloseHandle() const override { return false; }
};

/// The token of the process: its privileges, with what its opener may do.
struct TokenObject : KernelObject {
  DWORD access = 0;
};

constexpr DWORD kManageVolume = 28;
constexpr DWORD kNotAllAssigned = 1300;  // ERROR_NOT_ALL_ASSIGNED
constexpr DWORD kNoSuchPrivilege = 1313;

/// 1 January 2026 in units of 100 ns since 1601: the moment at which the PC is switched on.
constexpr std::uint64_t kSwitchedOn = 134'116'992'000'000'000;

std::uint64_t systemTime() {
  const KernelCall call(KernelCall::Kind::Plain);
  return kSwitchedOn + call->machine().clock().now() * 10;
}

}  // namespace

extern "C" {

DWORD WINAPI GetLastError(void) { return lastError; }
void WINAPI SetLastError(DWORD error) { lastError = error; }

void WINAPI Sleep(DWORD milliseconds) {
  const KernelCall call(KernelCall::Kind::Plain);
  call->machine().clock().advance(std::uint64_t{milliseconds} * 1000);
  call->settle();
}

BOOL WINAPI QueryPerformanceCounter(PLARGE_INTEGER count) {
  const KernelCall call(KernelCall::Kind::Plain);
  // Asking takes time too, so that a loop that only looks at the clock comes to its end.
  call->machine().clock().advance(call->machine().description().realTime ? 0 : 1);
  count->QuadPart = static_cast<LONGLONG>(call->machine().clock().now());
  return TRUE;
}

BOOL WINAPI QueryPerformanceFrequency(PLARGE_INTEGER frequency) {
  frequency->QuadPart = static_cast<LONGLONG>(kMicrosecondsPerSecond);
  return TRUE;
}

void WINAPI GetSystemTimeAsFileTime(FILETIME* time) {
  const std::uint64_t now = systemTime();
  time->dwLowDateTime = static_cast<DWORD>(now);
  time->dwHighDateTime = static_cast<DWORD>(now >> 32);
}

HANDLE WINAPI GetCurrentProcess(void) { return INVALID_HANDLE_VALUE; }

HMODULE WINAPI LoadLibraryExW(LPCWSTR name, HANDLE, DWORD flags) {
  const KernelCall call;
  if (call.fails()) {
    return nullptr;
  }
  constexpr DWORD kSearch = 0x1F00;  // the LOAD_LIBRARY_SEARCH_ flags
  constexpr DWORD kOwnFolder = LOAD_LIBRARY_SEARCH_DLL_LOAD_DIR;
  constexpr DWORD kProgramFolder =
      LOAD_LIBRARY_SEARCH_APPLICATION_DIR | LOAD_LIBRARY_SEARCH_DEFAULT_DIRS;
  const std::string path = lowerCase(utf8(name));
  const std::size_t slash = path.find_last_of("\\/");
  const bool hasFolder = slash != std::string::npos;
  if ((flags & kOwnFolder) != 0 && !hasFolder) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return nullptr;
  }
  // The libraries of this machine need others of the program's folder, so a search that leaves that
  // folder out, as the old order from the current directory on, does not find all of them.
  Machine& machine = call->machine();
  const bool searched = (flags & kSearch & (kOwnFolder | kProgramFolder)) != 0;
  const bool inFolder = !hasFolder || path.substr(0, slash) == lowerCase(machine.libraryFolder());
  const auto found = machine.libraries().find(hasFolder ? path.substr(slash + 1) : path);
  if (!searched || !inFolder || found == machine.libraries().end()) {
    SetLastError(ERROR_MOD_NOT_FOUND);
    return nullptr;
  }
  auto library = std::make_shared<LibraryObject>();
  library->functions = found->second;
  return handleOf(call->add(std::move(library)));
}

FARPROC WINAPI GetProcAddress(HMODULE module, LPCSTR name) {
  const KernelCall call(KernelCall::Kind::Plain);
  const auto library = call->get<LibraryObject>(valueOf(module));
  if (library) {
    const auto found = library->functions.find(name);
    if (found != library->functions.end()) {
      return reinterpret_cast<FARPROC>(found->second);
    }
  }
  SetLastError(library ? ERROR_PROC_NOT_FOUND : ERROR_INVALID_HANDLE);
  return nullptr;
}

BOOL WINAPI FreeLibrary(HMODULE module) {
  const KernelCall call(KernelCall::Kind::Plain);
  if (!call->get<LibraryObject>(valueOf(module))) {
    return failWith(ERROR_INVALID_HANDLE);
  }
  return call->close(valueOf(module)) ? TRUE : FALSE;
}

BOOL WINAPI GetModuleHandleExW(DWORD flags, LPCWSTR name, HMODULE* module) {
  const KernelCall call;
  if (call.fails()) {
    return FALSE;
  }
  // Program and module lie in one folder here, so one name stands for both.
  constexpr DWORD kOfAddress =
      GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT;
  if (flags != kOfAddress || name == nullptr || module == nullptr) {
    return failWith(ERROR_INVALID_PARAMETER);
  }
  *module = nullptr;
  return TRUE;
}

DWORD WINAPI GetModuleFileNameW(HMODULE, LPWSTR buffer, DWORD size) {
  const KernelCall call;
  if (call.fails()) {
    return 0;
  }
  const std::wstring path = wide(call->machine().description().programPath);
  if (path.size() < size) {
    return copyOut(path, buffer, size);
  }
  // Unlike its kin this one cuts, and says so with the full size.
  if (size != 0) {
    std::copy_n(path.c_str(), size - 1, buffer);
    buffer[size - 1] = 0;
  }
  SetLastError(ERROR_INSUFFICIENT_BUFFER);
  return size;
}

BOOL WINAPI OpenProcessToken(HANDLE, DWORD access, PHANDLE token) {
  const KernelCall call;
  if (call.fails()) {
    return FALSE;
  }
  auto opened = std::make_shared<TokenObject>();
  opened->access = access;
  *token = handleOf(call->add(std::move(opened)));
  return TRUE;
}

BOOL WINAPI LookupPrivilegeValueW(LPCWSTR, LPCWSTR name, PLUID luid) {
  const KernelCall call;
  if (call.fails()) {
    return FALSE;
  }
  if (utf8(name) != "SeManageVolumePrivilege") {
    return failWith(kNoSuchPrivilege);
  }
  *luid = {kManageVolume, 0};
  return TRUE;
}

BOOL WINAPI AdjustTokenPrivileges(HANDLE token, BOOL disableAll, PTOKEN_PRIVILEGES state,
                                  DWORD bytes, PTOKEN_PRIVILEGES previous, PDWORD returned) {
  const KernelCall call;
  if (call.fails()) {
    return FALSE;
  }
  const auto object = call->get<TokenObject>(valueOf(token));
  if (!object) {
    return failWith(ERROR_INVALID_HANDLE);
  }
  const DWORD needed = TOKEN_ADJUST_PRIVILEGES | (previous != nullptr ? TOKEN_QUERY : 0u);
  if ((object->access & needed) != needed) {
    return failWith(ERROR_ACCESS_DENIED);
  }
  if (previous != nullptr && (returned == nullptr || bytes < sizeof *previous)) {
    return failWith(ERROR_INVALID_PARAMETER);
  }
  bool& enabled = call->machine().process().manageVolume;
  const bool named = disableAll == FALSE && state != nullptr && state->PrivilegeCount == 1 &&
                     state->Privileges[0].Luid.LowPart == kManageVolume;
  const bool held = call->machine().description().administrator;
  const bool wanted = named && (state->Privileges[0].Attributes & SE_PRIVILEGE_ENABLED) != 0;
  // The previous state has what was changed, and nothing else.
  const bool changes = held && (named || disableAll != FALSE) && enabled != wanted;
  if (previous != nullptr) {
    *previous = {};
    previous->PrivilegeCount = changes ? 1 : 0;
    previous->Privileges[0] = {{kManageVolume, 0}, enabled ? SE_PRIVILEGE_ENABLED : 0u};
    *returned = sizeof *previous;
  }
  if (changes) {
    enabled = wanted;
  }
  // It succeeds also when it could not give everything; only the last error tells.
  const bool all = disableAll != FALSE || (named && held);
  SetLastError(all ? ERROR_SUCCESS : kNotAllAssigned);
  return TRUE;
}

BOOL WINAPI SetFileValidData(HANDLE handle, LONGLONG length) {
  const KernelCall call;
  if (call.fails()) {
    return FALSE;
  }
  const auto file = call->get<OpenFile>(valueOf(handle));
  if (!file) {
    return failWith(ERROR_INVALID_HANDLE);
  }
  if (!file->writable) {
    return failWith(ERROR_ACCESS_DENIED);
  }
  if (!call->machine().process().manageVolume) {
    return failWith(ERROR_PRIVILEGE_NOT_HELD);
  }
  ++call->machine().process().validDataRequests;
  const auto* node = dynamic_cast<const FileObject*>(file->object.get());
  if (node == nullptr || node->sparse() || length < 0 ||
      static_cast<std::uint64_t>(length) > file->object->size()) {
    return failWith(ERROR_INVALID_PARAMETER);
  }
  return TRUE;
}

UINT WINAPI SetErrorMode(UINT mode) {
  const KernelCall call(KernelCall::Kind::Plain);
  return std::exchange(call->machine().process().errorMode, mode);
}

int WINAPI MultiByteToWideChar(UINT codePage, DWORD flags, LPCSTR text, int bytes, LPWSTR out,
                               int count) {
  const std::string_view in = bytes < 0
                                  ? std::string_view(text, std::char_traits<char>::length(text) + 1)
                                  : std::string_view(text, static_cast<std::size_t>(bytes));
  std::wstring result;
  if (codePage == CP_OEMCP || codePage == CP_ACP) {
    result = fromCodePage(in, codePage == CP_OEMCP ? kConsoleCodePage : kSystemCodePage);
  } else if (!toWide(in, &result, (flags & MB_ERR_INVALID_CHARS) != 0)) {
    SetLastError(ERROR_NO_UNICODE_TRANSLATION);
    return 0;
  }
  if (count == 0) {
    return static_cast<int>(result.size());
  }
  if (result.size() > static_cast<std::size_t>(count)) {
    SetLastError(ERROR_INSUFFICIENT_BUFFER);
    return 0;
  }
  std::ranges::copy(result, out);
  return static_cast<int>(result.size());
}

int WINAPI WideCharToMultiByte(UINT /*codePage*/, DWORD flags, LPCWSTR wide, int wideCount,
                               LPSTR text, int bytes, LPCSTR /*defaultChar*/, LPBOOL usedDefault) {
  const std::wstring_view in =
      wideCount < 0 ? std::wstring_view(wide, std::char_traits<wchar_t>::length(wide) + 1)
                    : std::wstring_view(wide, static_cast<std::size_t>(wideCount));
  if (usedDefault != nullptr) {
    *usedDefault = FALSE;
  }
  std::string result;
  if (!toUtf8(in, &result, (flags & WC_ERR_INVALID_CHARS) != 0)) {
    SetLastError(ERROR_NO_UNICODE_TRANSLATION);
    return 0;
  }
  if (bytes == 0) {
    return static_cast<int>(result.size());
  }
  if (result.size() > static_cast<std::size_t>(bytes)) {
    SetLastError(ERROR_INSUFFICIENT_BUFFER);
    return 0;
  }
  std::ranges::copy(result, text);
  return static_cast<int>(result.size());
}

}  // extern "C"
