// GUIDs from their text.
#include "virtual_pc/system/guid_text.h"

#include <charconv>

namespace ostria::virtual_pc {

GUID parseGuid(const std::string& text) {
  GUID out{};
  if (text.size() != 36) {
    return out;
  }
  const auto number = [&text](std::size_t at, std::size_t digits) {
    std::uint32_t value = 0;
    std::from_chars(text.data() + at, text.data() + at + digits, value, 16);
    return value;
  };
  out.Data1 = number(0, 8);
  out.Data2 = static_cast<std::uint16_t>(number(9, 4));
  out.Data3 = static_cast<std::uint16_t>(number(14, 4));
  for (std::size_t i = 0; i < 8; ++i) {
    out.Data4[i] = static_cast<std::uint8_t>(number(19 + 2 * i + (i >= 2 ? 1 : 0), 2));
  }
  return out;
}

}  // namespace ostria::virtual_pc
