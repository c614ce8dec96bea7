#include "raid/raid_adapter.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "services/string_handler.h"

namespace ostria::storage {

namespace {

// Places inside "PCI\VEN_xxxx&DEV_yyyy".
constexpr std::size_t vendorPlace = 8;
constexpr std::size_t devicePlace = 17;
constexpr std::size_t digits = 4;

constexpr std::array<std::string_view, 2> vendors = {"8086", "1000"};
constexpr std::array<std::string_view, 17> devices = {
    "1D69", "1D02", "3C02", "2826", "1D68", "1D6B", "8086", "282A", "2822",
    "9A0B", "06D7", "43D6", "467F", "9364", "936A", "A77F", "AD0B"};

}  // namespace

bool isAcceptedRaidAdapter(const std::string& hardwareId) {
  if (hardwareId.size() < devicePlace + digits) return false;
  std::string upper = hardwareId;
  getLocalStringHandler().toUpperCase(upper);
  const std::string_view text = upper;
  return std::find(vendors.begin(), vendors.end(), text.substr(vendorPlace, digits)) !=
             vendors.end() &&
         std::find(devices.begin(), devices.end(), text.substr(devicePlace, digits)) !=
             devices.end();
}

}  // namespace ostria::storage
