// Vendors and devices of the RAID adapters that may speak CSMI. Others are not asked: an unknown
// miniport may take the request for something else.
#include "raid/raid_adapter.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "services/string_handler.h"

namespace ostria::storage {

namespace {

// Offsets inside "PCI\VEN_xxxx&DEV_yyyy".
constexpr std::size_t kVendorAt = 8;
constexpr std::size_t kDeviceAt = 17;
constexpr std::size_t kDigits = 4;

constexpr std::array<std::string_view, 2> kVendors = {"8086", "1000"};
constexpr std::array<std::string_view, 17> kDevices = {
    "1D69", "1D02", "3C02", "2826", "1D68", "1D6B", "8086", "282A", "2822",
    "9A0B", "06D7", "43D6", "467F", "9364", "936A", "A77F", "AD0B"};

}  // namespace

bool isAcceptedRaidAdapter(const std::string& hardwareId) {
  if (hardwareId.size() < kDeviceAt + kDigits) {
    return false;
  }
  std::string upper = hardwareId;
  getLocalStringHandler().toUpperCase(upper);
  const std::string_view text = upper;
  return std::find(kVendors.begin(), kVendors.end(), text.substr(kVendorAt, kDigits)) !=
             kVendors.end() &&
         std::find(kDevices.begin(), kDevices.end(), text.substr(kDeviceAt, kDigits)) !=
             kDevices.end();
}

}  // namespace ostria::storage
