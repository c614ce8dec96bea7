#pragma once

#include <string>

namespace ostria::storage {

/// A text of the registry as UTF-8, up to its first NUL.
std::string registryText(const std::wstring& value);

}  // namespace ostria::storage
