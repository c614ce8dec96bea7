#pragma once

#include "diagnostics/smart_test_base.h"

namespace ostria::storage {

/// How much of an SSD's life is left. Never `Failed`: the finding is the closing line.
class SmartWearoutTest : public SmartTestBase {
 public:
  using SmartTestBase::SmartTestBase;

  TestResult run(TestRunContext* context) override;
  TestResult check(StorageComponent* component, TestListener* listener, MessageLog* log) override;
  TestResult prepare(StorageComponent* component, TestListener* listener, MessageLog* log) override;

 private:
  /// @param finding  set to the closing line, which may be empty
  TestResult judge(std::string& finding);
};

}  // namespace ostria::storage
