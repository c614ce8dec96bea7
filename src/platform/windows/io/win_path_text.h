#pragma once

#include <windows.h>

#include <algorithm>
#include <optional>
#include <string>

#include "services/string_handler.h"

namespace ostria::storage {

/// A path from a call (buffer, characters) that gives its length, 0 on failure, or the size that it
/// needs. Nothing when the call fails.
template <typename Call>
std::optional<std::string> queryPathText(Call call) {
  constexpr DWORD kLongestPath = 32768;
  for (DWORD size = MAX_PATH; size <= 2 * kLongestPath;) {
    std::wstring buffer(size, L'\0');
    const DWORD length = call(buffer.data(), size);
    if (length == 0) {
      return std::nullopt;
    }
    if (length < size) {
      return toNarrow(buffer.substr(0, length));
    }
    size = std::max<DWORD>(length + 1, 2 * size);  // some calls only say that it did not fit
  }
  return std::nullopt;
}

}  // namespace ostria::storage
