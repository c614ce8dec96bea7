#include "module/storage_resource_tables.h"

namespace ostria::storage {
namespace {

constexpr std::uint32_t kTakesArguments = OptionEntry::TakesArguments;
constexpr std::uint32_t kTakesNone = OptionEntry::TakesNone;

// clang-format off
constexpr ResourceRow kDiagnosticRows[] = {
    {{1, 1, 0}, "QUICK_TESTS", "QUICK_TESTS_TOOLTIP", "Q", "quick", kTakesArguments},
    {{1, 2, 0}, "EXTENDED_TESTS", "EXTENDED_TESTS_TOOLTIP", "E", "extended", kTakesArguments},
};

constexpr ResourceRow kTestRows[] = {
    {{1, 1, 1}, "SMART_STATUS_TEST", "SMART_STATUS_TEST_TOOLTIP", "m", "smart-status", kTakesNone},
    {{1, 1, 2}, "TARGETED_READ_TEST", "TARGETED_READ_TEST_TOOLTIP", "t", "targeted-read", kTakesNone},
    {{1, 1, 3}, "RANDOM_SEEK_TEST", "RANDOM_SEEK_TEST_TOOLTIP", "r", "random-seek", kTakesNone},
    {{1, 1, 4}, "FUNNEL_SEEK_TEST", "FUNNEL_SEEK_TEST_TOOLTIP", "f", "funnel-seek", kTakesNone},
    {{1, 1, 5}, "SHORT_SELF_TEST", "SHORT_SELF_TEST_TOOLTIP", "s", "short-self-test", kTakesNone},
    {{1, 1, 6}, "DRIVE_SELF_TEST", "DRIVE_SELF_TEST_TOOLTIP", "d", "drive-self-test", kTakesNone},
    {{1, 1, 7}, "DEFAULT_SELF_TEST", "DEFAULT_SELF_TEST_TOOLTIP", "u", "default-self-test", kTakesNone},
    {{1, 1, 11}, "DEVICE_READ_TEST", "DEVICE_READ_TEST_TOOLTIP", "e", "device-read-test", kTakesNone},
    {{1, 1, 14}, "SMART_WEAROUT_TEST", "SMART_WEAROUT_TEST_TOOLTIP", "o", "smart-wearout", kTakesNone},
    {{1, 1, 15}, "SMART_HEALTH_TEST", "SMART_HEALTH_TEST_TOOLTIP", "", "", kTakesNone},
    {{1, 1, 19}, "NVME_SMART_SPARE_SPACE_TEST", "NVME_SMART_SPARE_SPACE_TEST_TOOLTIP", "i", "smart-spare-space", kTakesNone},
    {{1, 1, 20}, "NVME_SMART_TEMPERATURE_TEST", "NVME_SMART_TEMPERATURE_TEST_TOOLTIP", "a", "smart-temperature", kTakesNone},
    {{1, 1, 21}, "NVME_SMART_RELIABILITY_TEST", "NVME_SMART_RELIABILITY_TEST_TOOLTIP", "b", "smart-reliability", kTakesNone},
    {{1, 1, 22}, "NVME_CONTROLLER_STATUS_TEST", "NVME_CONTROLLER_STATUS_TEST_TOOLTIP", "g", "controller-status", kTakesNone},
    {{1, 1, 25}, "NVME_HEALTH_PREDICTION_TEST", "NVME_HEALTH_PREDICTION_TEST_TOOLTIP", "h", "nvme-smart-health-test", kTakesNone},
    {{1, 2, 8}, "EXTENDED_RANDOM_SEEK_TEST", "EXTENDED_RANDOM_SEEK_TEST_TOOLTIP", "r", "extended-random_seek-test", kTakesNone},
    {{1, 2, 9}, "EXTENDED_FUNNEL_SEEK_TEST", "EXTENDED_FUNNEL_SEEK_TEST_TOOLTIP", "f", "extended-funnel-seek-test", kTakesNone},
    {{1, 2, 10}, "EXTENDED_SELF_TEST", "EXTENDED_SELF_TEST_TOOLTIP", "s", "extended-self-test", kTakesNone},
    {{1, 2, 12}, "DEVICE_WRITE_TEST", "EXTENDED_DEVICE_WRITE_TEST_TOOLTIP", "w", "device-write-test", kTakesNone},
    {{1, 2, 13}, "FULL_DISK_SCAN_TEST", "FULL_DISK_SCAN_TEST_TOOLTIP", "n", "full-disk-scan-test", kTakesArguments},
    {{1, 2, 16}, "LINEAR_READ_TEST", "LINEAR_READ_TEST_TOOLTIP", "l", "linear-read-test", kTakesArguments},
    {{1, 2, 18}, "CONVEYANCE_SELF_TEST", "CONVEYANCE_SELF_TEST_TOOLTIP", "c", "conveyance-self-test", kTakesNone},
};
// clang-format on

}  // namespace

std::span<const ResourceRow> diagnosticRows() { return kDiagnosticRows; }
std::span<const ResourceRow> testRows() { return kTestRows; }

}  // namespace ostria::storage
