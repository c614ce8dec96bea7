// Serial numbers and WWNs are typed from labels and out of other programs, in any case, and a WWN
// with any of the beginnings that those write. The simulated system names its disks as Windows
// does.
#include "host/core/model/device_names.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace ostria::host {
namespace {

std::string lowered(std::string text) {
  for (char& c : text) {
    if (c >= 'A' && c <= 'Z') {
      c = static_cast<char>(c - 'A' + 'a');
    }
  }
  return text;
}

// "naa.5000C5...", "0x5000c5..." and "wwn-0x5000c5..." are the same.
std::string bareWwn(std::string text) {
  static constexpr std::array<std::string_view, 5> kBeginnings = {"wwn-", "nvme-", "naa.", "eui.",
                                                                  "0x"};
  text = lowered(std::move(text));
  for (const std::string_view beginning : kBeginnings) {
    if (text.starts_with(beginning)) {
      text.erase(0, beginning.size());
    }
  }
  return text;
}

}  // namespace

DeviceNames simulatedDeviceNames(const std::string& id) {
  const bool number = id.find_first_not_of("0123456789") == std::string::npos;
  return {number && !id.empty() ? "\\\\.\\PhysicalDrive" + id : std::string(), {}, {}, {}};
}

bool isSerial(const std::string& text, const std::string& serial) {
  return !serial.empty() && lowered(text) == lowered(serial);
}

bool isWwn(const std::string& text, const std::string& wwn) {
  return !wwn.empty() && bareWwn(text) == bareWwn(wwn);
}

}  // namespace ostria::host
