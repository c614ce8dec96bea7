// Offsets are those of the NVMe health, endurance group and identify structures; the count in the
// vendor log is compared with the number of times that the rating lets the whole drive be written.
#include "diagnostics/health/nvme_health_estimate.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

#include "base/byte_order.h"
#include "transport/nvme/nvme_data.h"

namespace ostria::storage {

namespace {

constexpr double kBytesPerGiB = 1024.0 * 1024.0 * 1024.0;
constexpr std::uint32_t kEnduranceGroupsBit = 1u << 4;
constexpr std::uint16_t kNoVendorCount = 0x2020;
constexpr std::size_t kVendorCountOffset = 279;

// Rated endurance by capacity: the first row whose capacity is not exceeded.
struct Rating {
  double capacityGiB;
  double enduranceTiB;
};
constexpr std::array<Rating, 6> kRatings{
    {{128, 75}, {256, 85}, {512, 150}, {1000, 300}, {2000, 600}, {4000, 1200}}};

double ratingByCapacity(double capacityGiB) {
  for (const Rating& rating : kRatings) {
    if (capacityGiB <= rating.capacityGiB) {
      return rating.enduranceTiB * 1024;
    }
  }
  return 0;
}

double wideNumber(const std::uint8_t* field) {
  double value = 0;
  for (int i = 15; i >= 0; --i) {
    value = value * 256 + field[i];
  }
  return value;
}

std::uint64_t saturated(const std::uint8_t* field) {
  return loadLe64(field + 8) != 0 ? std::numeric_limits<std::uint64_t>::max() : loadLe64(field);
}

// The numbers come from the drive and may be anything; a value that no int holds has no conversion.
int truncated(double value) {
  constexpr double kMost = std::numeric_limits<int>::max();
  return static_cast<int>(std::clamp(value, -kMost, kMost));
}

int percent(double value) { return std::clamp(truncated(value), 0, 100); }

}  // namespace

NvmeHealthEstimate estimateNvmeHealth(NvmeLogs* logs, double capacityBytes) {
  const auto readLog = [&](auto& page, std::uint32_t log, std::uint16_t group = 0) {
    const auto bytes = static_cast<std::uint32_t>(page.size());
    return logs != nullptr && succeeded(logs->ReadLog(page.data(), bytes, log, group));
  };
  NvmeHealthLogData smart{};
  const bool smartRead = readLog(smart, kNvmeHealthLog);

  bool enduranceGroups = false;
  double ratedGiB = 0;
  std::array<std::uint8_t, 512> endurance{};
  // Group 0 is reserved, and a controller that says so has its first group at 1.
  if (readLog(endurance, kNvmeEnduranceGroupLog) || readLog(endurance, kNvmeEnduranceGroupLog, 1)) {
    NvmeIdentifyRecord identity;
    enduranceGroups = succeeded(logs->ReadIdentity(&identity)) &&
                      (identity.controllerAttributes & kEnduranceGroupsBit) != 0;
    if (enduranceGroups) {
      ratedGiB = wideNumber(endurance.data() + 32) * 1e9 / kBytesPerGiB;
    }
  }

  NvmeVendorLogData vendor{};
  const bool vendorRead = readLog(vendor, kNvmeVendorLog);
  // A drive without the log has no count either; a count of 0 would make any drive a healthy one.
  const std::uint16_t vendorCount =
      vendorRead ? loadLe16(vendor.data() + kVendorCountOffset) : kNoVendorCount;

  const double capacityGiB = std::floor(capacityBytes / kBytesPerGiB);
  double writtenGiB = 0;
  if (smartRead) {
    writtenGiB = wideNumber(smart.data() + 48) * 1000 * 512 / kBytesPerGiB;
    if (!enduranceGroups || ratedGiB <= 0) {
      ratedGiB = ratingByCapacity(capacityGiB);
    }
  }

  NvmeHealthEstimate estimate;
  // Wear, warnings and media errors stand in the health log alone.
  estimate.judgeable = smartRead;
  estimate.criticalWarning = smart[0];
  estimate.mediaErrors = saturated(smart.data() + 160);
  estimate.usedPercent = ratedGiB > 0 ? percent(writtenGiB / ratedGiB * 100) : 0;
  if (vendorCount == kNoVendorCount || ratedGiB <= 0 || !enduranceGroups || capacityGiB < 1) {
    estimate.health = 100 - int{smart[5]};
  } else {
    const double cycles = ratedGiB / capacityGiB;
    estimate.health = truncated((cycles - vendorCount) / cycles * 100);
  }
  return estimate;
}

}  // namespace ostria::storage
