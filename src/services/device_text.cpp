// Fixed-width fields of IDENTIFY and INQUIRY come padded with blanks or zeros, and a device may put
// anything into them.
#include "services/device_text.h"

#include "services/string_handler.h"

namespace ostria::storage {

std::string cleanedDeviceText(const std::string& field) {
  StringHandler& strings = getLocalStringHandler();
  std::string text;
  strings.keepPrintable(field, text);
  strings.trim(text);
  return text;
}

}  // namespace ostria::storage
