#pragma once

#include "diagnostics/smart_test_base.h"

namespace ostria::storage {

/// The device's own overall SMART verdict. `Failed` when the device says that it fails.
class SmartStatusTest : public SmartTestBase {
 public:
  using SmartTestBase::SmartTestBase;

  TestResult run(TestRunContext* context) override;
  TestResult check(StorageComponent* component, TestListener* listener, MessageLog* log) override;
  TestResult prepare(StorageComponent* component, TestListener* listener, MessageLog* log) override;

 private:
  TestResult judge();
};

}  // namespace ostria::storage
