#include "module/catalogue.h"

#include <map>
#include <string>

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
#include "module/storage_resource.h"
#include "tools/recover_bad_sectors.h"
#include "tools/smart_tool.h"

namespace ostria::storage {

namespace {

constexpr std::uint16_t kModuleNumber = 1;
constexpr std::uint32_t kQuickCategory = 1;
constexpr std::uint32_t kExtendedCategory = 2;

const std::string kDeviceHint =
    std::string("POSSIBLE_DEFECTIVE_COMPONENTS") + ": " + "STORAGE_DEVICE";
const std::string kDeviceAndBoardHint = kDeviceHint + ", " + "SYSTEM_BOARD";

using TestList = std::vector<std::unique_ptr<Test>>;

template <typename T>
void add(TestList& tests, std::uint32_t category, std::uint32_t item,
         const std::string& hint = kDeviceHint) {
  tests.push_back(
      std::make_unique<TestWithDeviceHint<T>>(Identifier(kModuleNumber, category, item), hint));
}

// The order of these rows is the order in which the host shows the tests.
void addQuickTests(TestList& tests) {
  add<TargetedReadTest>(tests, kQuickCategory, 2);
  add<QuickRandomSeekTest>(tests, kQuickCategory, 3);
  add<QuickFunnelSeekTest>(tests, kQuickCategory, 4);
  add<ShortSelfTest>(tests, kQuickCategory, 5);
  add<QuickDriveSelfTest>(tests, kQuickCategory, 6);
  add<DefaultSelfTest>(tests, kQuickCategory, 7);
  add<SmartStatusTest>(tests, kQuickCategory, 1);
  add<SmartWearoutTest>(tests, kQuickCategory, 14);
  add<SmartHealthTest>(tests, kQuickCategory, 15);
  add<ControllerStatusTest>(tests, kQuickCategory, 22, kDeviceAndBoardHint);
  add<SmartTemperatureTest>(tests, kQuickCategory, 20);
  add<SmartReliabilityTest>(tests, kQuickCategory, 21);
  add<SmartSpareSpaceTest>(tests, kQuickCategory, 19);
  add<StorageDeviceReadTest>(tests, kQuickCategory, 11);
  add<NvmeHealthPredictionTest>(tests, kQuickCategory, 25);
}

void addExtendedTests(TestList& tests) {
  add<ExtendedRandomSeekTest>(tests, kExtendedCategory, 8);
  add<ExtendedFunnelSeekTest>(tests, kExtendedCategory, 9);
  add<ExtendedSelfTest>(tests, kExtendedCategory, 10);
  add<StorageDeviceWriteTest>(tests, kExtendedCategory, 12);
  add<LinearReadTest>(tests, kExtendedCategory, 16);
  add<ConveyanceSelfTest>(tests, kExtendedCategory, 18);
  add<FullDiskScanTest>(tests, kExtendedCategory, 13);
}

template <typename T>
std::vector<T*> borrowed(const std::vector<std::unique_ptr<T>>& owned) {
  std::vector<T*> pointers;
  for (const auto& entry : owned) {
    pointers.push_back(entry.get());
  }
  return pointers;
}

}  // namespace

Catalogue::Catalogue() {
  addQuickTests(quickTests_);
  addExtendedTests(extendedTests_);
  resource_ = std::make_unique<StorageResource>(Identifier(kModuleNumber, 0, 1));
  resource_->setLabelTable({{0, "0 - 30"}, {1, "+ 60"}, {2, "+ 90"}});
  quick_ = std::make_unique<Diagnostic>(Identifier(kModuleNumber, kQuickCategory, 0),
                                        borrowed(quickTests_));
  extended_ = std::make_unique<Diagnostic>(Identifier(kModuleNumber, kExtendedCategory, 0),
                                           borrowed(extendedTests_));
  manager_ = std::make_unique<StorageComponentManager>(Identifier(kModuleNumber, 0, 1));
  tools_.push_back(std::make_unique<RecoverBadSectors>(Identifier(50, 0, 0)));
  tools_.push_back(std::make_unique<SmartTool>(Identifier(kModuleNumber, 0, 50)));
  interface_ =
      std::make_unique<ModuleInterface>(std::vector<Diagnostic*>{quick_.get(), extended_.get()},
                                        resource_.get(), manager_.get(), nullptr, borrowed(tools_));
}

Catalogue::~Catalogue() {
  resource_.reset();
  manager_.reset();
  for (auto& test : quickTests_) {
    test.reset();
  }
  quick_.reset();
  for (auto& test : extendedTests_) {
    test.reset();
  }
  extended_.reset();
  for (auto& tool : tools_) {
    tool.reset();
  }
  interface_.reset();
}

}  // namespace ostria::storage
