#pragma once

#include "diagnostics/storage_test_base.h"
#include "transport/nvme/nvme_data.h"

namespace ostria::storage {

/// Base of the tests that judge an NVMe drive by a flag of its health log.
class NvmeSmartTest : public StorageTest {
 public:
  using SmartLog = NvmeHealthLogData;
  using StorageTest::StorageTest;

  TestResult run(TestRunContext* context) override;
  TestResult check(StorageComponent* component, TestListener* listener, MessageLog* log) override;
  TestResult prepare(StorageComponent* component, TestListener* listener, MessageLog* log) override;
  /// Judges the log and reports the verdict, within a run.
  virtual TestResult evaluate(const SmartLog& log) = 0;

 protected:
  /// `Failed` with `key` when any bit of `mask` stands in the critical warning.
  TestResult evaluateWarning(const SmartLog& log, std::uint8_t mask, const char* key);
};

class SmartSpareSpaceTest : public NvmeSmartTest {
 public:
  using NvmeSmartTest::NvmeSmartTest;
  TestResult evaluate(const SmartLog& log) override;
};

class SmartTemperatureTest : public NvmeSmartTest {
 public:
  using NvmeSmartTest::NvmeSmartTest;
  TestResult evaluate(const SmartLog& log) override;
};

class SmartReliabilityTest : public NvmeSmartTest {
 public:
  using NvmeSmartTest::NvmeSmartTest;
  TestResult evaluate(const SmartLog& log) override;
};

}  // namespace ostria::storage
