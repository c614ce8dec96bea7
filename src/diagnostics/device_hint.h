#pragma once

#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "base/on_exit.h"
#include "diagnostics/storage_test_base.h"

namespace ostria::storage {

/// What the catalogue hands to the host: a test, and the line about the possibly defective
/// components that follows when the device failed it. It is also the border that no exception
/// crosses.
template <typename T>
class TestWithDeviceHint final : public Test {
  static_assert(std::is_base_of_v<StorageTest, T>);

 public:
  /// @param hint  composed text of message keys
  TestWithDeviceHint(const Identifier& id, std::string hint)
      : Test(id), test_(id), hint_(std::move(hint)) {}

  bool isApplicable(SystemComponent* component) override {
    return guarded(false, [&] { return test_.isApplicable(component); });
  }

  TestResult run(TestRunContext* context) override {
    const OnExit forget{[&] { test_.endRun(); }};
    bool ended = false;
    const TestResult result = guarded(TestResult::CouldNotStart, [&] {
      const TestResult verdict = test_.run(context);
      ended = true;
      return verdict;
    });
    // Each of these may meet what ended the test: a host that fails, or no memory. The verdict
    // stands all the same.
    if (!ended) {
      guarded(false, [&] { return closeProgress(context); });
    }
    if (result == TestResult::Failed) {
      guarded(false, [&] { return giveHint(*context); });
    }
    return result;
  }

  bool isHostFlagged() override {
    return guarded(false, [&] { return test_.isHostFlagged(); });
  }
  bool isHostRestricted() override {
    return guarded(false, [&] { return test_.isHostRestricted(); });
  }
  std::vector<TestParameter> parameters() override {
    return guarded(std::vector<TestParameter>(), [&] { return test_.parameters(); });
  }
  void setParameter(TestParameter parameter) override {
    guarded(false, [&] {
      test_.setParameter(std::move(parameter));
      return true;
    });
  }
  std::vector<TestParameter> defaultParameters() override {
    return guarded(std::vector<TestParameter>(), [&] { return test_.defaultParameters(); });
  }
  bool setParameters(const std::vector<TestParameter>& parameters,
                     std::vector<ParameterIssue>& issues) override {
    return guarded(false, [&] { return test_.setParameters(parameters, issues); });
  }
  bool checkParameters(const std::vector<TestParameter>& parameters,
                       std::vector<ParameterIssue>& issues) override {
    return guarded(false, [&] { return test_.checkParameters(parameters, issues); });
  }
  bool configure(ConfigurationMap configuration, ConfigurationError* error) override {
    return guarded(false, [&] { return test_.configure(std::move(configuration), error); });
  }
  void resetParameters() override {
    guarded(false, [&] {
      test_.resetParameters();
      return true;
    });
  }

 private:
  /// What `call` returns, or `otherwise` when it throws.
  template <typename Result, typename Call>
  static Result guarded(Result otherwise, Call call) {
    try {
      return call();
    } catch (...) {
      return otherwise;
    }
  }

  /// The closing report that the test did not come to.
  static bool closeProgress(TestRunContext* context) {
    TestListener* const listener = context == nullptr ? nullptr : context->listener();
    if (listener != nullptr) {
      listener->progress(100, {});
    }
    return true;
  }

  bool giveHint(TestRunContext& context) {
    if (MessageLog* log = context.messageLog()) {
      log->add(hint_, 0, 0);
    }
    if (TestListener* listener = context.listener()) {
      listener->progress(100, hint_);
    }
    return true;
  }

  T test_;
  std::string hint_;
};

}  // namespace ostria::storage
