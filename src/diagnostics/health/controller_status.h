#pragma once

#include "diagnostics/storage_test_base.h"

namespace ostria::storage {

/// Reads the status register of an NVMe controller through the driver service. `Failed` when the
/// controller says that it met a fatal error.
class ControllerStatusTest : public StorageTest {
 public:
  using StorageTest::StorageTest;

  TestResult run(TestRunContext* context) override;
  TestResult check(StorageComponent* component, TestListener* listener, MessageLog* log) override;
  TestResult prepare(StorageComponent* component, TestListener* listener, MessageLog* log) override;
};

}  // namespace ostria::storage
