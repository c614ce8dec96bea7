// Clock, libraries, token privileges and text conversion of the process.
#include <unistd.h>

#include <algorithm>

#include "virtual_pc/system/text_forms.h"
#include "virtual_pc/win32/handles.h"

using namespace ostria::virtual_pc;

namespace {

thread_local DWORD lastError = 0;

/// A loaded library.
struct LibraryObject : KernelObject {
  std::map<std::string, Machine::Function> functions;
};

/// The token of the process: its privileges.
struct TokenObject : KernelObject {};

constexpr DWORD kManageVolume = 28;
constexpr DWORD kNotAllAssigned = 1300;  // ERROR_NOT_ALL_ASSIGNED
constexpr DWORD kNoSuchPrivilege = 1313;

/// 1 January 2026 in units of 100 ns since 1601: the moment at which the PC is switched on.
constexpr std::uint64_t kSwitchedOn = 134'116'992'000'000'000;

std::uint64_t systemTime() {
  const KernelCall call(KernelCall::Kind::Plain);
  return kSwitchedOn + call->machine().clock().now() * 10;
}

/// Civil date from the days since 1 January 1970.
void fillDate(std::int64_t days, LPSYSTEMTIME out) {
  out->wDayOfWeek = static_cast<WORD>((days + 4) % 7);
  days += 719468;
  const std::int64_t era = days / 146097;
  const std::int64_t dayOfEra = days - era * 146097;
  const std::int64_t year =
      (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
  const std::int64_t dayOfYear = dayOfEra - (365 * year + year / 4 - year / 100);
  const std::int64_t shifted = (5 * dayOfYear + 2) / 153;
  const std::int64_t month = shifted < 10 ? shifted + 3 : shifted - 9;
  out->wDay = static_cast<WORD>(dayOfYear - (153 * shifted + 2) / 5 + 1);
  out->wMonth = static_cast<WORD>(month);
  out->wYear = static_cast<WORD>(year + era * 400 + (month <= 2 ? 1 : 0));
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
  frequency->QuadPart = static_cast<LONGLONG>(MicrosecondsPerSecond);
  return TRUE;
}

ULONGLONG WINAPI GetTickCount64(void) {
  LARGE_INTEGER count;
  QueryPerformanceCounter(&count);
  return static_cast<ULONGLONG>(count.QuadPart) / 1000;
}

DWORD WINAPI GetTickCount(void) { return static_cast<DWORD>(GetTickCount64()); }

void WINAPI GetSystemTimeAsFileTime(FILETIME* time) {
  const std::uint64_t now = systemTime();
  time->dwLowDateTime = static_cast<DWORD>(now);
  time->dwHighDateTime = static_cast<DWORD>(now >> 32);
}

void WINAPI GetSystemTime(LPSYSTEMTIME time) {
  const std::uint64_t now = systemTime() - 116'444'736'000'000'000u;
  const std::uint64_t seconds = now / 10'000'000;
  fillDate(static_cast<std::int64_t>(seconds / 86400), time);
  time->wHour = static_cast<WORD>(seconds / 3600 % 24);
  time->wMinute = static_cast<WORD>(seconds / 60 % 60);
  time->wSecond = static_cast<WORD>(seconds % 60);
  time->wMilliseconds = static_cast<WORD>(now / 10'000 % 1000);
}

void WINAPI GetLocalTime(LPSYSTEMTIME time) { GetSystemTime(time); }

DWORD WINAPI GetCurrentProcessId(void) { return static_cast<DWORD>(getpid()); }
DWORD WINAPI GetCurrentThreadId(void) { return 1; }
HANDLE WINAPI GetCurrentProcess(void) { return INVALID_HANDLE_VALUE; }

HMODULE WINAPI LoadLibraryExW(LPCWSTR name, HANDLE, DWORD) {
  const KernelCall call;
  if (call.fails()) {
    return nullptr;
  }
  const std::string path = lowerCase(utf8(name));
  const std::size_t slash = path.find_last_of("\\/");
  const auto& libraries = call->machine().libraries();
  const auto found = libraries.find(slash == std::string::npos ? path : path.substr(slash + 1));
  if (found == libraries.end()) {
    SetLastError(ERROR_MOD_NOT_FOUND);
    return nullptr;
  }
  auto library = std::make_shared<LibraryObject>();
  library->functions = found->second;
  return handleOf(call->add(std::move(library)));
}

HMODULE WINAPI LoadLibraryW(LPCWSTR name) { return LoadLibraryExW(name, nullptr, 0); }

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

BOOL WINAPI OpenProcessToken(HANDLE, DWORD, PHANDLE token) {
  const KernelCall call;
  if (call.fails()) {
    return FALSE;
  }
  *token = handleOf(call->add(std::make_shared<TokenObject>()));
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

BOOL WINAPI LookupPrivilegeValueA(LPCSTR system, LPCSTR name, PLUID luid) {
  return LookupPrivilegeValueW(system != nullptr ? wide(system).c_str() : nullptr,
                               wide(name).c_str(), luid);
}

BOOL WINAPI AdjustTokenPrivileges(HANDLE token, BOOL, PTOKEN_PRIVILEGES, DWORD, PTOKEN_PRIVILEGES,
                                  PDWORD) {
  const KernelCall call;
  if (call.fails()) {
    return FALSE;
  }
  if (!call->get<TokenObject>(valueOf(token))) {
    return failWith(ERROR_INVALID_HANDLE);
  }
  // It succeeds also when it could not give everything; only the last error tells.
  SetLastError(call->machine().description().administrator ? ERROR_SUCCESS : kNotAllAssigned);
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
  if (!call->machine().description().administrator) {
    return failWith(ERROR_PRIVILEGE_NOT_HELD);
  }
  if (length < 0 || static_cast<std::uint64_t>(length) > file->object->size()) {
    return failWith(ERROR_INVALID_PARAMETER);
  }
  return TRUE;
}

int WINAPI MultiByteToWideChar(UINT, DWORD flags, LPCSTR text, int bytes, LPWSTR out, int count) {
  const std::string_view in = bytes < 0
                                  ? std::string_view(text, std::char_traits<char>::length(text) + 1)
                                  : std::string_view(text, static_cast<std::size_t>(bytes));
  std::wstring result;
  if (!toWide(in, &result, (flags & MB_ERR_INVALID_CHARS) != 0)) {
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

int WINAPI WideCharToMultiByte(UINT, DWORD flags, LPCWSTR text, int characters, LPSTR out,
                               int bytes, LPCSTR, LPBOOL usedDefault) {
  const std::wstring_view in =
      characters < 0 ? std::wstring_view(text, std::char_traits<wchar_t>::length(text) + 1)
                     : std::wstring_view(text, static_cast<std::size_t>(characters));
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
  std::ranges::copy(result, out);
  return static_cast<int>(result.size());
}

}  // extern "C"
