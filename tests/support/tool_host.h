#pragma once

#include <algorithm>
#include <cstdint>
#include <deque>
#include <functional>
#include <string>
#include <vector>

#include "ostria/storage/tool.h"

namespace ostria::storage::test {

/// The host's side of a tool's run: writes down the events in the order in which they come, each
/// with the data that stand behind it, and answers questions.
class ToolHost final : public ToolEventReceiver {
 public:
  /// What was received: "OnDeviceFinish id|0".
  std::vector<std::string> received;
  /// Answers to questions, in order; the last one stays.
  std::deque<std::uint32_t> answers{0};
  std::vector<InputRequest> requests;
  /// Called at each event, before it is written down.
  std::function<void(Tool&, const std::string& event)> onEvent;
  AbortContext abort;
  std::uint8_t systemEvents = 0;

  explicit ToolHost(Tool& tool) {
    for (const char* name :
         {"RecoverInit", "OperationInit", "DeviceInit", "PartitionInit", "PartitionFinish",
          "DeviceFinish", "RecoverFinish", "Progress", "SmartToolInit", "SmartToolFinish"}) {
      listenTo(name);
    }
    tool.eventReceiver = this;
    tool.abortSource = &abort;
    tool.systemEvents = &systemEvents;
  }

  void requestInput(InputRequest& request) override {
    requests.push_back(request);
    request.answer = answers.front();
    if (answers.size() > 1) {
      answers.pop_front();
    }
  }

  /// The events without those of progress.
  std::vector<std::string> steps() const {
    std::vector<std::string> out;
    for (const std::string& line : received) {
      if (line.compare(0, 10, "OnProgress") != 0) {
        out.push_back(line);
      }
    }
    return out;
  }
  /// Percentages in the order in which they came.
  std::vector<int> progress() const {
    std::vector<int> out;
    for (const std::string& line : received) {
      if (line.compare(0, 11, "OnProgress ") == 0) {
        out.push_back(std::stoi(line.substr(11)));
      }
    }
    return out;
  }

 private:
  static std::string joined(Tool& tool, const std::string& name) {
    const auto* const values = tool.getParameter(name);
    std::string out;
    for (std::size_t i = 0; values != nullptr && i < values->size(); ++i) {
      out += (i == 0 ? " " : "|") + (*values)[i];
    }
    return out;
  }

  void listenTo(const std::string& name) {
    handlers["On" + name] = [this, name](Tool* tool, const std::string& event) {
      if (onEvent) {
        onEvent(*tool, event);
      }
      const std::string message = joined(*tool, "Message");
      received.push_back(event + joined(*tool, name) +
                         (message.empty() ? "" : " :" + message.substr(1)));
    };
  }
};

}  // namespace ostria::storage::test
