// The module's tests, one row each. Letters, long names and keys are what the host's language files
// and its users know, odd spellings included; the help text is apart and differs in places.
#include "module/test_catalogue.h"

#include "diagnostics/device_hint.h"
#include "diagnostics/device_io/device_read.h"
#include "diagnostics/device_io/device_write.h"
#include "diagnostics/health/controller_status.h"
#include "diagnostics/health/nvme_health_prediction.h"
#include "diagnostics/health/nvme_smart.h"
#include "diagnostics/health/smart_health.h"
#include "diagnostics/health/smart_status.h"
#include "diagnostics/health/smart_wearout.h"
#include "diagnostics/self_test/default_routine.h"
#include "diagnostics/self_test/self_test_routine.h"
#include "diagnostics/surface/full_disk_scan.h"
#include "diagnostics/surface/funnel_seek.h"
#include "diagnostics/surface/linear_read.h"
#include "diagnostics/surface/random_seek.h"
#include "diagnostics/surface/targeted_read.h"
#include "ostria/storage/test_ids.h"

namespace ostria::storage {

namespace {

constexpr std::uint32_t kTakesArguments = OptionEntry::TakesArguments;
constexpr std::uint32_t kTakesNone = OptionEntry::TakesNone;
constexpr TestRow::Hint kDevice = TestRow::Hint::Device;
constexpr TestRow::Hint kDeviceAndBoard = TestRow::Hint::DeviceAndBoard;

template <typename T>
std::unique_ptr<Test> make(const Identifier& id, const std::string& hint) {
  return std::make_unique<TestWithDeviceHint<T>>(id, hint);
}

// clang-format off
constexpr ResourceRow kDiagnosticRows[] = {
    {ids::kQuick, "QUICK_TESTS", "QUICK_TESTS_TOOLTIP", "Q", "quick", kTakesArguments},
    {ids::kExtended, "EXTENDED_TESTS", "EXTENDED_TESTS_TOOLTIP", "E", "extended", kTakesArguments},
};

constexpr TestRow kTestRows[] = {
    {{ids::kTargetedRead, "TARGETED_READ_TEST", "TARGETED_READ_TEST_TOOLTIP", "t", "targeted-read", kTakesNone}, kDevice, make<TargetedReadTest>},
    {{ids::kQuickRandomSeek, "RANDOM_SEEK_TEST", "RANDOM_SEEK_TEST_TOOLTIP", "r", "random-seek", kTakesNone}, kDevice, make<QuickRandomSeekTest>},
    {{ids::kQuickFunnelSeek, "FUNNEL_SEEK_TEST", "FUNNEL_SEEK_TEST_TOOLTIP", "f", "funnel-seek", kTakesNone}, kDevice, make<QuickFunnelSeekTest>},
    {{ids::kShortSelfTest, "SHORT_SELF_TEST", "SHORT_SELF_TEST_TOOLTIP", "s", "short-self-test", kTakesNone}, kDevice, make<ShortSelfTest>},
    {{ids::kDriveSelfTest, "DRIVE_SELF_TEST", "DRIVE_SELF_TEST_TOOLTIP", "d", "drive-self-test", kTakesNone}, kDevice, make<QuickDriveSelfTest>},
    {{ids::kDefaultSelfTest, "DEFAULT_SELF_TEST", "DEFAULT_SELF_TEST_TOOLTIP", "u", "default-self-test", kTakesNone}, kDevice, make<DefaultSelfTest>},
    {{ids::kSmartStatus, "SMART_STATUS_TEST", "SMART_STATUS_TEST_TOOLTIP", "m", "smart-status", kTakesNone}, kDevice, make<SmartStatusTest>},
    {{ids::kSmartWearout, "SMART_WEAROUT_TEST", "SMART_WEAROUT_TEST_TOOLTIP", "o", "smart-wearout", kTakesNone}, kDevice, make<SmartWearoutTest>},
    {{ids::kSmartHealth, "SMART_HEALTH_TEST", "SMART_HEALTH_TEST_TOOLTIP", "", "", kTakesNone}, kDevice, make<SmartHealthTest>},
    {{ids::kControllerStatus, "NVME_CONTROLLER_STATUS_TEST", "NVME_CONTROLLER_STATUS_TEST_TOOLTIP", "g", "controller-status", kTakesNone}, kDeviceAndBoard, make<ControllerStatusTest>},
    {{ids::kNvmeTemperature, "NVME_SMART_TEMPERATURE_TEST", "NVME_SMART_TEMPERATURE_TEST_TOOLTIP", "a", "smart-temperature", kTakesNone}, kDevice, make<SmartTemperatureTest>},
    {{ids::kNvmeReliability, "NVME_SMART_RELIABILITY_TEST", "NVME_SMART_RELIABILITY_TEST_TOOLTIP", "b", "smart-reliability", kTakesNone}, kDevice, make<SmartReliabilityTest>},
    {{ids::kNvmeSpareSpace, "NVME_SMART_SPARE_SPACE_TEST", "NVME_SMART_SPARE_SPACE_TEST_TOOLTIP", "i", "smart-spare-space", kTakesNone}, kDevice, make<SmartSpareSpaceTest>},
    {{ids::kDeviceRead, "DEVICE_READ_TEST", "DEVICE_READ_TEST_TOOLTIP", "e", "device-read-test", kTakesNone}, kDevice, make<StorageDeviceReadTest>},
    {{ids::kNvmeHealthPrediction, "NVME_HEALTH_PREDICTION_TEST", "NVME_HEALTH_PREDICTION_TEST_TOOLTIP", "h", "nvme-smart-health-test", kTakesNone}, kDevice, make<NvmeHealthPredictionTest>},

    {{ids::kExtendedRandomSeek, "EXTENDED_RANDOM_SEEK_TEST", "EXTENDED_RANDOM_SEEK_TEST_TOOLTIP", "r", "extended-random_seek-test", kTakesNone}, kDevice, make<ExtendedRandomSeekTest>},
    {{ids::kExtendedFunnelSeek, "EXTENDED_FUNNEL_SEEK_TEST", "EXTENDED_FUNNEL_SEEK_TEST_TOOLTIP", "f", "extended-funnel-seek-test", kTakesNone}, kDevice, make<ExtendedFunnelSeekTest>},
    {{ids::kExtendedSelfTest, "EXTENDED_SELF_TEST", "EXTENDED_SELF_TEST_TOOLTIP", "s", "extended-self-test", kTakesNone}, kDevice, make<ExtendedSelfTest>},
    {{ids::kDeviceWrite, "DEVICE_WRITE_TEST", "EXTENDED_DEVICE_WRITE_TEST_TOOLTIP", "w", "device-write-test", kTakesNone}, kDevice, make<StorageDeviceWriteTest>},
    {{ids::kLinearRead, "LINEAR_READ_TEST", "LINEAR_READ_TEST_TOOLTIP", "l", "linear-read-test", kTakesArguments}, kDevice, make<LinearReadTest>},
    {{ids::kConveyanceSelfTest, "CONVEYANCE_SELF_TEST", "CONVEYANCE_SELF_TEST_TOOLTIP", "c", "conveyance-self-test", kTakesNone}, kDevice, make<ConveyanceSelfTest>},
    {{ids::kFullDiskScan, "FULL_DISK_SCAN_TEST", "FULL_DISK_SCAN_TEST_TOOLTIP", "n", "full-disk-scan-test", kTakesArguments}, kDevice, make<FullDiskScanTest>},
};
// clang-format on

}  // namespace

std::span<const ResourceRow> diagnosticRows() { return kDiagnosticRows; }
std::span<const TestRow> testRows() { return kTestRows; }

}  // namespace ostria::storage
