// Device names are reserved in every folder, so a path is searched for them component by component.
#include <array>
#include <string_view>

#include "platform/windows/io/win_filesystem.h"
#include "services/string_handler.h"

namespace ostria::storage {
namespace {

constexpr std::array<std::string_view, 22> kReservedNames = {
    "COM1",   "COM2", "COM3", "COM4", "COM5", "COM6", "COM7", "COM8", "COM9", "NUL",  "PRN",
    "CLOCK$", "AUX",  "LPT1", "LPT2", "LPT3", "LPT4", "LPT5", "LPT6", "LPT7", "LPT8", "LPT9"};

bool isWhiteSpace(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

bool isComponent(std::string_view path, std::string_view name) {
  const std::size_t at = path.find(name);
  if (at == std::string_view::npos) {
    return false;
  }
  const std::size_t behind = at + name.size();
  return (at == 0 || path[at - 1] == '\\') && (behind == path.size() || path[behind] == '\\');
}

bool hasBlankComponent(std::string_view path) {
  for (std::size_t start = path.find('\\'); start != std::string_view::npos;
       start = path.find('\\', start + 1)) {
    std::size_t next = start + 1;
    while (next < path.size() && isWhiteSpace(path[next])) {
      ++next;
    }
    if (next > start + 1 && next < path.size() && path[next] == '\\') {
      return true;
    }
  }
  return false;
}

}  // namespace

bool WinFilesystem::isInvalidPath(std::string path) {
  if (path.size() < 2 || path.size() > 255) {
    return true;
  }
  getLocalStringHandler().toUpperCase(path);
  for (const std::string_view name : kReservedNames) {
    if (isComponent(path, name)) {
      return true;
    }
  }
  return hasBlankComponent(path);
}

}  // namespace ostria::storage
