#pragma once

#include "checks/smart_state_guard.h"
#include "diagnostics/storage_test_base.h"

namespace ostria::storage {

/// How much of an SSD's life is left. Never `Failed`: the finding is the closing line.
class SmartWearoutTest : public StorageTest {
 public:
  using StorageTest::StorageTest;

  TestResult run(TestRunContext* context) override;
  TestResult check(StorageComponent* component, TestListener* listener, MessageLog* log) override;
  TestResult prepare(StorageComponent* component, TestListener* listener, MessageLog* log) override;

 private:
  /// @param finding  set to the closing line, which may be empty
  TestResult judge(std::string& finding);

  SmartStateGuard smartGuard_;
};

}  // namespace ostria::storage
