#pragma once

#include <cstdint>
#include <vector>

#include "ostria/storage/configuration.h"
#include "ostria/storage/identifier.h"
#include "ostria/storage/test_channels.h"
#include "ostria/storage/test_parameter.h"
#include "ostria/storage/test_run_context.h"

namespace ostria::storage {

class SystemComponent;

/// Outcome of a run, and of the checks before it.
enum class TestResult : std::uint32_t {
  Passed = 0,        ///< in a check: no objection
  Failed = 1,        ///< the device is at fault
  NotPerformed = 3,  ///< the device does not allow the test, or its data could not be had
  Stopped = 4,       ///< abort, system event, or lost communication
  Warning = 5,       ///< a warning, or no clear verdict
  CouldNotStart = 6  ///< an object is missing, or the device is gone
};

/// A diagnostic test. Owned by the module; the host calls it by its index in the table of virtual
/// functions. One run at a time for each object.
class Test {
 public:
  explicit Test(const Identifier& id) : identifier_(id) {}
  virtual ~Test() = default;

  /// Can this test run on this device at all? Silent, and no side effects on the device.
  virtual bool isApplicable(SystemComponent* component) = 0;
  /// Runs the test on the calling thread until it ends. Never throws.
  virtual TestResult run(TestRunContext* context) = 0;
  virtual bool isHostFlagged() = 0;  ///< false in this module
  virtual bool isHostRestricted() { return false; }
  virtual std::vector<TestParameter> parameters() { return {}; }
  virtual void setParameter(TestParameter /*parameter*/) {}
  virtual std::vector<TestParameter> defaultParameters() { return {}; }
  /// Checks the values and stores the good ones.
  /// @param issues  replaced by one entry for each refused parameter
  /// @return false when any value was refused
  virtual bool setParameters(const std::vector<TestParameter>& /*parameters*/,
                             std::vector<ParameterIssue>& /*issues*/) {
    return true;
  }
  /// Same contract as `setParameters`.
  virtual bool checkParameters(const std::vector<TestParameter>& /*parameters*/,
                               std::vector<ParameterIssue>& /*issues*/) {
    return true;
  }
  /// Takes the settings of section "STORAGE" from the contents of the host's configuration file.
  /// @return false, with `error` filled, when a value is unusable
  virtual bool configure(ConfigurationMap /*configuration*/, ConfigurationError* /*error*/) {
    return true;
  }
  /// Restores each parameter's default value.
  virtual void resetParameters() {}

  const Identifier& identifier() const { return identifier_; }

 protected:
  Identifier identifier_;
};

}  // namespace ostria::storage
