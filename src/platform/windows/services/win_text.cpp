// UTF-8 to UTF-16 and back. A text that does not convert becomes empty, never a part of itself.
#include <windows.h>

#include <climits>

#include "services/string_handler.h"

namespace ostria::storage {

std::wstring toWide(const std::string& text) {
  if (text.empty() || text.size() > INT_MAX) {
    return {};
  }
  const int length = static_cast<int>(text.size());
  const int needed = MultiByteToWideChar(CP_UTF8, 0, text.data(), length, nullptr, 0);
  if (needed <= 0) {
    return {};
  }
  std::wstring wide(static_cast<std::size_t>(needed), L'\0');
  if (MultiByteToWideChar(CP_UTF8, 0, text.data(), length, wide.data(), needed) != needed) {
    return {};
  }
  return wide;
}

std::string toNarrow(const std::wstring& text) {
  if (text.empty() || text.size() > INT_MAX) {
    return {};
  }
  const int length = static_cast<int>(text.size());
  const int needed =
      WideCharToMultiByte(CP_UTF8, 0, text.data(), length, nullptr, 0, nullptr, nullptr);
  if (needed <= 0) {
    return {};
  }
  std::string narrow(static_cast<std::size_t>(needed), '\0');
  if (WideCharToMultiByte(CP_UTF8, 0, text.data(), length, narrow.data(), needed, nullptr,
                          nullptr) != needed) {
    return {};
  }
  return narrow;
}

}  // namespace ostria::storage
