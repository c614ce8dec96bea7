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

const char* refusalKey(Answer answer) {
  return answer == Answer::No ? "note.declined" : "note.nobody_to_ask";
}

}  // namespace ostria::host
