#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "ostria/storage/test_run_context.h"
#include "ostria/storage/tool.h"

namespace ostria::storage::test {

/// A host of tests that allocates nothing and answers every question with yes.
class QuietHost final : public TestRunContext, private TestListener, private MessageLog {
 public:
  explicit QuietHost(SystemComponent* component) : component_(component) {}

  std::uint64_t polls = 0;
  std::uint64_t abortFrom = ~std::uint64_t{0};
  std::uint64_t eventFrom = ~std::uint64_t{0};
  int lastPercent = -1;

  SystemComponent* component() override { return component_; }
  MessageLog* messageLog() override { return this; }
  TestListener* listener() override { return this; }
  void hostNotice4() override {}
  bool isAbortRequested() override { return polls++ >= abortFrom; }
  const std::uint8_t* systemEvents() override {
    events_ = polls > eventFrom ? 8 : 0;
    return &events_;
  }
  void hostNotice7() override {}
  void parameters(std::vector<TestParameter>& out) override { out.clear(); }

 private:
  void progress(std::uint8_t percent, const std::string& /*message*/) override {
    lastPercent = percent;
  }
  void requestInput(InputRequest* request) override { request->answer = InputRequest::Yes; }
  void hostNotice3() override {}
  bool canRequestInput() override { return true; }
  void hostNotice5() override {}
  void hostNotice6() override {}
  void add(std::string /*message*/, std::uint32_t /*severity*/, std::uint8_t /*flag*/) override {}

  SystemComponent* component_;
  std::uint8_t events_ = 0;
};

/// The host of a tool, which allocates nothing in a run either, and answers no.
class QuietToolHost final : public ToolEventReceiver, public AbortContext {
 public:
  explicit QuietToolHost(Tool& tool) : tool_(tool) {
    for (const char* name : {"OnRecoverInit", "OnSmartToolInit"}) {
      handlers[name] = [this](Tool*, const std::string&) { ++begun; };
    }
    for (const char* name : {"OnRecoverFinish", "OnSmartToolFinish"}) {
      handlers[name] = [this](Tool*, const std::string&) { ++finished; };
    }
    tool.eventReceiver = this;
    tool.abortSource = this;
    tool.systemEvents = &events_;
  }
  ~QuietToolHost() override {
    tool_.eventReceiver = nullptr;
    tool_.abortSource = nullptr;
    tool_.systemEvents = nullptr;
    tool_.setDevices({});
  }
  QuietToolHost(const QuietToolHost&) = delete;
  QuietToolHost& operator=(const QuietToolHost&) = delete;

  std::uint64_t polls = 0;
  std::uint64_t abortFrom = ~std::uint64_t{0};
  std::uint64_t eventFrom = ~std::uint64_t{0};
  unsigned begun = 0;
  unsigned finished = 0;
  void requestInput(InputRequest& request) override { request.answer = InputRequest::No; }
  // Tools look at the events whenever they have asked for an abort.
  bool isAborted() override {
    events_ = polls >= eventFrom ? 8 : 0;
    return polls++ >= abortFrom;
  }

 private:
  Tool& tool_;
  std::uint8_t events_ = 0;
};

}  // namespace ostria::storage::test
