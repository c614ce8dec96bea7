#pragma once

#include <cstdint>

#include "diagnostics/storage_test_base.h"

namespace ostria::storage {

/// The default self-test of internal SCSI disks, which completes within one command.
class DefaultSelfTest : public StorageTest {
 public:
  using StorageTest::StorageTest;

  TestResult run(TestRunContext* context) override;
  TestResult check(StorageComponent* component, TestListener* listener, MessageLog* log) override;

 private:
  TestResult perform();

  std::uint32_t testCode_ = 0;  ///< 0 makes SEND DIAGNOSTIC run the default self-test
};

}  // namespace ostria::storage
