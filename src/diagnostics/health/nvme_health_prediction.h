#pragma once

#include "diagnostics/storage_test_base.h"

namespace ostria::storage {

/// Estimates how much life an NVMe drive has left and shows it as an HTML table. Off until the
/// configuration switches it on.
class NvmeHealthPredictionTest : public StorageTest {
 public:
  using StorageTest::StorageTest;

  bool isApplicable(SystemComponent* component) override;
  TestResult run(TestRunContext* context) override;
  bool configure(ConfigurationMap configuration, ConfigurationError* error) override;
  TestResult check(StorageComponent* component, TestListener* listener, MessageLog* log) override;

 private:
  void report(const std::string& table, const std::vector<std::string>& shown,
              const std::vector<std::string>& logged);

  bool enabled_ = false;
};

}  // namespace ostria::storage
