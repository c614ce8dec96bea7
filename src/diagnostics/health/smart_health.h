#pragma once

#include <vector>

#include "diagnostics/smart_test_base.h"
#include "transport/ata/smart_attribute.h"

namespace ostria::storage {

/// A health percentage worked out from the SMART attributes of an ATA disk; `Warning` below 70.
/// Off until the configuration enables it.
class SmartHealthTest : public SmartTestBase {
 public:
  using SmartTestBase::SmartTestBase;

  bool isApplicable(SystemComponent* component) override;
  TestResult run(TestRunContext* context) override;
  /// "ENABLE_SMART_HEALTH_TEST" with exactly the value "1" enables the test.
  bool configure(ConfigurationMap configuration, ConfigurationError* error) override;
  TestResult check(StorageComponent* component, TestListener* listener, MessageLog* log) override;
  TestResult prepare(StorageComponent* component, TestListener* listener, MessageLog* log) override;

  /// Health in percent, 0 to 100.
  /// @return -1 when none of the attributes bears on health
  static int healthPercent(const std::vector<SmartAttribute>& attributes);

 private:
  TestResult judge();

  bool enabledByConfiguration_ = false;
};

}  // namespace ostria::storage
