// The rules behind the verdicts on drives, as tables: what a count, a bit or a message of a test
// makes of a drive.
#pragma once

#include <cstdint>
#include <string_view>

#include "host/core/model/health.h"

namespace ostria::host {

/// A count of an attribute or log field that should be 0.
struct CountRule {
  std::uint32_t id;
  const char* key;
  bool past;  ///< it counts what happened; otherwise what is so now
  const char* advice;
};

// ATA attributes. A sector that was reallocated is mended; one that is pending is not.
inline constexpr CountRule kAtaCounts[] = {
    {197, "health.pending", false, "advice.watch"},
    {198, "health.uncorrectable", false, "advice.watch"},
    {5, "health.reallocated", true, "advice.watch"},
    {187, "health.reported", true, "advice.watch"},
    {199, "health.crc", true, "advice.cable"},
};

// Fields of the NVMe health log by their offsets.
inline constexpr std::uint32_t kNvmeCriticalWarning = 0;
inline constexpr std::uint32_t kNvmeSpare = 3;
inline constexpr std::uint32_t kNvmeSpareThreshold = 4;
inline constexpr std::uint32_t kNvmePercentageUsed = 5;
inline constexpr std::uint32_t kNvmePowerOnHours = 128;
inline constexpr CountRule kNvmeCounts[] = {
    {160, "health.media_errors", true, "advice.watch"},
};

/// A bit of the NVMe critical warning. A hot drive wants air, not a successor.
struct WarningBit {
  unsigned bit;
  Verdict verdict;
  const char* key;
  const char* advice;
};
inline constexpr WarningBit kWarningBits[] = {
    {0, Verdict::Replace, "health.warning_spare", "advice.replace"},
    {1, Verdict::Watch, "health.warning_temperature", "advice.cooling"},
    {2, Verdict::Replace, "health.warning_reliability", "advice.replace"},
    {3, Verdict::Replace, "health.warning_read_only", "advice.replace"},
    {4, Verdict::Replace, "health.warning_backup", "advice.replace"},
    {5, Verdict::Replace, "health.warning_memory_region", "advice.replace"},
};
inline constexpr unsigned kKnownWarningBits = 0x3F;

// Attributes whose limit is one of temperature.
inline constexpr std::uint32_t kTemperatureAttributes[] = {190, 194};
inline constexpr std::uint32_t kPowerOnHoursAttribute = 9;

/// An attribute of solid-state drives whose value is the share of life that is left.
struct LifeAttribute {
  std::uint32_t id;
  int usedUp;  ///< a value at or below it is a life that is used up
  int lowest;  ///< a value below it says nothing: other makers count other things there
};
// The first that a drive has counts.
inline constexpr LifeAttribute kLifeAttributes[] = {
    {231, 0, 0}, {202, 0, 0}, {177, 0, 0}, {233, 1, 1}};
inline constexpr std::uint64_t kWatchWearPercent = 90;
inline constexpr std::uint64_t kReplaceWearPercent = 100;

/// What a message makes of a drive whose test passed all the same.
struct MessageRule {
  std::string_view key;
  Verdict verdict;
};
inline constexpr MessageRule kMessageRules[] = {
    {"SSD_HAS_REACHED_WEAROUT_LIMIT", Verdict::Replace},
    {"SSD_IS_CLOSE_TO_WEAROUT_LIMIT", Verdict::Watch},
    {"SSD_ENDURANCE_RATING_WARNING", Verdict::Watch},
    {"SSD_HEALTH_WARNING", Verdict::Watch},
    {"SSD_HEALTH_FAIL", Verdict::Replace},
};

// What a test says that could not be performed because the drive, or the way to it, does not offer
// it. Any other reason is a test that could not be performed.
inline constexpr std::string_view kNotOffered[] = {
    "TEST_NOT_SUPPORTED_IN_THIS_DEVICE",
    "TEST_NOT_SUPPORTED_IN_EXTERNAL_DEVICE",
    "TEST_NOT_SUPPORTED_IN_SSD",
    "TEST_APPLICABLE_FOR_SSDs_ONLY",
    "SMART_NOT_SUPPORTED",
    "CONVEYANCE_TEST_NOT_SUPPORTED",
    "CANNOT_READ_ANYTHING_FROM_LOGS",
    "CANNOT_PERFORM_SELF_TEST",
    "NVME Controller Test: Execution Supports failed.",
    "THIS_TEST_CANNOT_BE_PERFORMED_BECAUSE_THE_DEVICE_DOES_NOT_SUPPORT_|OFFLINE_|EXECUTION",
    "THIS_TEST_CANNOT_BE_PERFORMED_BECAUSE_THE_PROTOCOL_BEING_USED_BY_THE_DEVICE_IS_INVALID",
};

}  // namespace ostria::host
