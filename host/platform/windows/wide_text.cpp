// MultiByteToWideChar and its twin, with the lengths as the system counts them.
#include "host/platform/windows/wide_text.h"

#include <windows.h>

namespace ostria::host {

std::wstring wideText(std::string_view text) {
  const int bytes = static_cast<int>(text.size());
  const int units = MultiByteToWideChar(CP_UTF8, 0, text.data(), bytes, nullptr, 0);
  std::wstring wide(static_cast<std::size_t>(units), L'\0');
  MultiByteToWideChar(CP_UTF8, 0, text.data(), bytes, wide.data(), units);
  return wide;
}

std::string narrowText(std::wstring_view text) {
  const int units = static_cast<int>(text.size());
  const int bytes =
      WideCharToMultiByte(CP_UTF8, 0, text.data(), units, nullptr, 0, nullptr, nullptr);
  std::string narrow(static_cast<std::size_t>(bytes), '\0');
  WideCharToMultiByte(CP_UTF8, 0, text.data(), units, narrow.data(), bytes, nullptr, nullptr);
  return narrow;
}

std::string systemSentence(unsigned long error) {
  wchar_t* text = nullptr;
  const DWORD units = FormatMessageW(
      FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS,
      nullptr, error, 0, reinterpret_cast<wchar_t*>(&text), 0, nullptr);
  std::string sentence = units == 0 ? "error " + std::to_string(error) : narrowText({text, units});
  LocalFree(text);
  while (!sentence.empty() && (sentence.back() == '\n' || sentence.back() == '\r')) {
    sentence.pop_back();
  }
  return sentence;
}

}  // namespace ostria::host
