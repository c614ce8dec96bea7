#pragma once

#include <memory>

#include "checks/smart_state_guard.h"
#include "diagnostics/storage_test_base.h"

namespace ostria::storage {

/// The device's own overall SMART verdict. `Failed` when the device says that it fails.
class SmartStatusTest : public StorageTest {
 public:
  using StorageTest::StorageTest;

  TestResult run(TestRunContext* context) override;
  TestResult check(StorageComponent* component, TestListener* listener, MessageLog* log) override;
  TestResult prepare(StorageComponent* component, TestListener* listener, MessageLog* log) override;

 private:
  TestResult judge();

  std::unique_ptr<SmartStateGuard> smartGuard_;
};

}  // namespace ostria::storage
