#pragma once

#include <cstdint>
#include <set>

#include "diagnostics/smart_test_base.h"

namespace ostria::storage {

class AtaProtocol;

/// Asks an ATA disk where it has had trouble, and reads there and in the neighbourhood, one sector
/// at a time. The first unreadable sector fails the test.
class TargetedReadTest : public SmartTestBase {
 public:
  using SmartTestBase::SmartTestBase;

  TestResult run(TestRunContext* context) override;
  TestResult check(StorageComponent* component, TestListener* listener, MessageLog* log) override;
  TestResult prepare(StorageComponent* component, TestListener* listener, MessageLog* log) override;

 private:
  TestResult readTargets();
  TestResult collect(AtaProtocol& ata, std::set<std::uint64_t>& targets);
  TestResult readAround(const std::set<std::uint64_t>& targets);
};

}  // namespace ostria::storage
