#pragma once

#include <cstdint>
#include <limits>
#include <stdexcept>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "ostria/storage/test_run_context.h"

namespace ostria::storage::test {

/// Parameters that a user chose for a test: key and value.
using Parameters = std::vector<std::pair<std::string, std::string>>;

/// The host's side of one run: hands out the device and the channels, writes down the messages
/// in the order in which they come, and asks for a stop at a chosen poll.
class FakeHost : public TestRunContext {
 public:
  static constexpr unsigned kNever = std::numeric_limits<unsigned>::max();

  explicit FakeHost(SystemComponent* component) : component_(component) {}

  /// What came: "progress 50", "progress 100 KEY", "log 2 KEY", "log 0 flag 1 KEY".
  std::vector<std::string> messages;
  /// Polls are counted from 0; from that poll on the user asks for an abort.
  unsigned abortFromPoll = kNever;
  /// From that poll on these event flags are set.
  unsigned eventFromPoll = kNever;
  std::uint8_t eventFlags = 0x08;
  bool hasEventByte = true;
  bool hasLog = true;
  bool hasListener = true;
  /// What the user answers to a request; 0 when nobody is there to answer.
  std::uint32_t answer = 0;
  std::vector<InputRequest> requests;
  std::vector<TestParameter> chosenParameters;
  unsigned polls = 0;
  /// The report, progress or log, counted from 0, at which the host fails with an exception.
  unsigned failAtReport = kNever;
  unsigned reports = 0;

  void choose(const Parameters& parameters) {
    chosenParameters.resize(parameters.size());
    for (std::size_t i = 0; i < parameters.size(); ++i) {
      std::tie(chosenParameters[i].key, chosenParameters[i].value) = parameters[i];
    }
  }
  /// Number of lines that begin with `prefix`.
  unsigned count(const std::string& prefix) const {
    unsigned found = 0;
    for (const std::string& line : messages) {
      found += static_cast<unsigned int>(line.compare(0, prefix.size(), prefix) == 0);
    }
    return found;
  }

  SystemComponent* component() override { return component_; }
  MessageLog* messageLog() override { return hasLog ? &log_ : nullptr; }
  TestListener* listener() override { return hasListener ? &listener_ : nullptr; }
  void hostNotice4() override {}
  bool isAbortRequested() override { return polls++ >= abortFromPoll; }
  const std::uint8_t* systemEvents() override {
    // The abort is asked first, so this poll is already counted.
    events_ = polls > eventFromPoll ? eventFlags : 0;
    return hasEventByte ? &events_ : nullptr;
  }
  void hostNotice7() override {}
  void parameters(std::vector<TestParameter>& out) override { out = chosenParameters; }

 private:
  void countReport() {
    if (reports++ == failAtReport) {
      throw std::runtime_error("the host fails");
    }
  }

  class Listener final : public TestListener {
   public:
    explicit Listener(FakeHost& host) : host_(host) {}
    void progress(std::uint8_t percent, const std::string& message) override {
      host_.countReport();
      host_.messages.push_back("progress " + std::to_string(percent) +
                               (message.empty() ? "" : " " + message));
    }
    void requestInput(InputRequest* request) override {
      request->answer = host_.answer;
      host_.requests.push_back(*request);
    }
    void hostNotice3() override {}
    bool canRequestInput() override { return host_.answer != 0; }
    void hostNotice5() override {}
    void hostNotice6() override {}

   private:
    FakeHost& host_;
  };

  class Log final : public MessageLog {
   public:
    explicit Log(FakeHost& host) : host_(host) {}
    void add(std::string message, std::uint32_t severity, std::uint8_t flag) override {
      host_.countReport();
      host_.messages.push_back("log " + std::to_string(severity) +
                               (flag == 0 ? " " : " flag " + std::to_string(flag) + " ") + message);
    }

   private:
    FakeHost& host_;
  };

  SystemComponent* component_;
  Listener listener_{*this};
  Log log_{*this};
  std::uint8_t events_ = 0;
};

}  // namespace ostria::storage::test
