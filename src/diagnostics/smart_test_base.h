#pragma once

#include "base/on_exit.h"
#include "checks/smart_state_guard.h"
#include "diagnostics/storage_test_base.h"

namespace ostria::storage {

/// Base of the tests that need SMART enabled on the device and leave it as they found it.
class SmartTestBase : public StorageTest {
 protected:
  using StorageTest::StorageTest;

  /// What `prepare` does behind its `check`. The state that was found is kept for `restoringSmart`.
  /// @return `NotPerformed` after the refusal was reported
  TestResult enableSmart(StorageComponent& component, TestListener* listener, MessageLog* log);

  /// Does the work of a run between `bind` and the closing report. However it ends, by an exception
  /// too, SMART is then as `enableSmart` found it.
  /// @param work  gives the result of the run
  template <typename Work>
  TestResult restoringSmart(Work work) {
    smartGuard_ = {};
    const OnExit restore{[this] { smartGuard_.restore(*protocol_, log_); }};
    return work();
  }

  /// A whole run that prepares the device and then looks at it, with its closing report.
  /// @param judge  gives the result of the look
  template <typename Judge>
  TestResult runWithSmart(TestRunContext* context, Judge judge) {
    const TestResult begun = begin(context);
    if (begun != TestResult::Passed) {
      return begun;
    }
    return close(restoringSmart([&] {
      const TestResult prepared = prepare(component_, listener_, log_);
      return prepared == TestResult::Passed ? judge() : prepared;
    }));
  }

 private:
  SmartStateGuard smartGuard_;
};

}  // namespace ostria::storage
