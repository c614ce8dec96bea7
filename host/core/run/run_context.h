// The run of one test, as the contract hands it to the module.
#pragma once

#include <chrono>
#include <string>
#include <vector>

#include "host/core/run/run_services.h"
#include "ostria/storage/test_run_context.h"

namespace ostria::host {

/// Hands one run to a test and collects what the test says.
class RunContext final : public storage::TestRunContext,
                         private storage::TestListener,
                         private storage::MessageLog {
 public:
  /// @param probing    the test does not apply: only its reason is wanted, so that an abort is
  ///                   reported after the first poll
  /// @param confirmed  the user has agreed to this run already
  RunContext(const RunServices& services, storage::SystemComponent& component,
             std::vector<storage::TestParameter> parameters, bool probing, bool confirmed)
      : services_(services),
        component_(component),
        parameters_(std::move(parameters)),
        probing_(probing),
        confirmed_(confirmed) {}

  /// The messages in the order in which they came, with the closing line if it is none of them.
  std::vector<Message> messages() const;
  bool wasAskedForInput() const { return askedForInput_; }

  storage::SystemComponent* component() override { return &component_; }
  storage::MessageLog* messageLog() override { return this; }
  storage::TestListener* listener() override { return this; }
  void hostNotice4() override {}
  bool isAbortRequested() override;
  const std::uint8_t* systemEvents() override { return &systemEvents_; }
  void hostNotice7() override {}
  void parameters(std::vector<storage::TestParameter>& out) override { out = parameters_; }

 private:
  void progress(std::uint8_t percent, const std::string& message) override;
  void requestInput(storage::InputRequest* request) override;
  void hostNotice3() override {}
  bool canRequestInput() override;
  void hostNotice5() override {}
  void hostNotice6() override {}
  void add(std::string message, std::uint32_t severity, std::uint8_t flag) override;

  void showReads();
  std::string textOf(const std::string& message) const;

  const RunServices& services_;
  storage::SystemComponent& component_;
  std::vector<storage::TestParameter> parameters_;
  bool probing_;
  bool confirmed_;
  bool askedForInput_ = false;
  int polls_ = 0;
  std::chrono::steady_clock::time_point shown_{};
  std::uint8_t systemEvents_ = 0;
  std::vector<Message> messages_;
  std::string closing_;
};

}  // namespace ostria::host
