// The question before a device is changed: model and serial number, as a number alone is easily
// mixed up.
#include "host/core/run/device_question.h"

namespace ostria::host {

std::string deviceForQuestion(const DeviceInfo& device, const Texts& texts) {
  std::string text = device.model.empty() ? device.id : device.model;
  return texts.say(
      "question.device",
      {{"model", text},
       {"serial", device.serial.empty() ? texts.say("question.no_serial") : device.serial}});
}

std::string RunServices::journalBegin(std::string_view key, const DeviceInfo& device) const {
  if (!journal) {
    return {};
  }
  const std::string node = device.names.node.empty() ? device.id : device.names.node;
  std::string line = texts.say(key, {{"node", node}, {"name", deviceForQuestion(device, texts)}});
  journal(line);
  return line;
}

void RunServices::journalEnd(const std::string& line, ExitCode outcome) const {
  if (journal) {
    journal(texts.say("journal.ended",
                      {{"what", line}, {"code", std::to_string(static_cast<int>(outcome))}}));
  }
}

const char* refusalKey(Answer answer) {
  return answer == Answer::No ? "note.declined" : "note.nobody_to_ask";
}

}  // namespace ostria::host
