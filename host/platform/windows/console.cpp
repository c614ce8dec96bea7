// The standard handles. A console takes UTF-16 and follows control sequences where it is asked to;
// files and pipes take the bytes as they are.
#include "host/platform/console.h"

#include <windows.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>

#include "host/platform/windows/wide_text.h"

namespace ostria::host {
namespace {

constexpr DWORD kPollMilliseconds = 100;

DWORD numberOf(Stream stream) {
  switch (stream) {
    case Stream::Input:
      return STD_INPUT_HANDLE;
    case Stream::Output:
      return STD_OUTPUT_HANDLE;
    case Stream::Error:
      return STD_ERROR_HANDLE;
  }
  return STD_ERROR_HANDLE;
}

HANDLE handleOf(Stream stream) { return GetStdHandle(numberOf(stream)); }

// The errors that the program tells apart: nobody reads any more, or something else.
int errorNumber(DWORD error) {
  switch (error) {
    case ERROR_BROKEN_PIPE:
    case ERROR_NO_DATA:
    case ERROR_PIPE_NOT_CONNECTED:
      return EPIPE;
    case ERROR_DISK_FULL:
    case ERROR_HANDLE_DISK_FULL:
      return ENOSPC;
    default:
      return EIO;
  }
}

int writeConsole(HANDLE handle, std::string_view text) {
  const std::wstring wide = wideText(text);
  // One call takes some 32 KiB at most.
  constexpr std::size_t kMost = 8192;
  for (std::size_t at = 0; at < wide.size();) {
    DWORD written = 0;
    const auto units = static_cast<DWORD>(std::min(kMost, wide.size() - at));
    if (WriteConsoleW(handle, wide.data() + at, units, &written, nullptr) == FALSE ||
        written == 0) {
      return errorNumber(GetLastError());
    }
    at += written;
  }
  return 0;
}

ByteRead readByte(HANDLE handle, char& byte) {
  DWORD count = 0;
  if (ReadFile(handle, &byte, 1, &count, nullptr) == FALSE) {
    // Ctrl-C ends a read of the console without an end of the input.
    return GetLastError() == ERROR_OPERATION_ABORTED ? ByteRead::Nothing : ByteRead::End;
  }
  return count == 1 ? ByteRead::Byte : ByteRead::End;
}

}  // namespace

bool isConsole(Stream stream) {
  DWORD mode = 0;
  return GetConsoleMode(handleOf(stream), &mode) != FALSE;
}

bool followsControls(Stream stream) {
  const HANDLE handle = handleOf(stream);
  DWORD mode = 0;
  return GetConsoleMode(handle, &mode) != FALSE &&
         SetConsoleMode(handle, mode | ENABLE_VIRTUAL_TERMINAL_PROCESSING) != FALSE;
}

std::size_t consoleColumns(Stream stream) {
  CONSOLE_SCREEN_BUFFER_INFO info{};
  if (GetConsoleScreenBufferInfo(handleOf(stream), &info) == FALSE ||
      info.srWindow.Right < info.srWindow.Left) {
    return 0;
  }
  return static_cast<std::size_t>(info.srWindow.Right - info.srWindow.Left + 1);
}

int writeStream(Stream stream, std::string_view text) {
  const HANDLE handle = handleOf(stream);
  if (isConsole(stream)) {
    return writeConsole(handle, text);
  }
  while (!text.empty()) {
    constexpr std::size_t kMost = 1 << 20;
    DWORD written = 0;
    if (WriteFile(handle, text.data(), static_cast<DWORD>(std::min(kMost, text.size())), &written,
                  nullptr) == FALSE) {
      return errorNumber(GetLastError());
    }
    text.remove_prefix(written);
  }
  return 0;
}

ByteRead readInputByte(char& byte) {
  const HANDLE handle = handleOf(Stream::Input);
  if (isConsole(Stream::Input)) {
    return WaitForSingleObject(handle, kPollMilliseconds) == WAIT_OBJECT_0 ? readByte(handle, byte)
                                                                           : ByteRead::Nothing;
  }
  DWORD waiting = 0;
  if (GetFileType(handle) == FILE_TYPE_PIPE &&
      PeekNamedPipe(handle, nullptr, 0, nullptr, &waiting, nullptr) != FALSE && waiting == 0) {
    Sleep(kPollMilliseconds);
    return ByteRead::Nothing;
  }
  return readByte(handle, byte);
}

void discardTypedInput() {
  // Fails on a pipe or file, where nothing is typed.
  (void)FlushConsoleInputBuffer(handleOf(Stream::Input));
}

void holdStandardStreams() {
  for (const Stream stream : {Stream::Input, Stream::Output, Stream::Error}) {
    const HANDLE handle = handleOf(stream);
    if (handle != nullptr && handle != INVALID_HANDLE_VALUE) {
      continue;
    }
    const HANDLE nowhere =
        CreateFileW(L"NUL", stream == Stream::Input ? GENERIC_READ : GENERIC_WRITE,
                    FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING, 0, nullptr);
    if (nowhere == INVALID_HANDLE_VALUE || SetStdHandle(numberOf(stream), nowhere) == FALSE) {
      std::abort();
    }
  }
}

}  // namespace ostria::host
