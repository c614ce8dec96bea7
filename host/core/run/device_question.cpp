// The question before a device is changed: model and serial number, as a number alone is easily
// mixed up.
#include "host/core/run/device_question.h"

namespace ostria::host {

std::string deviceForQuestion(const DeviceInfo& device) {
  std::string text = device.model.empty() ? device.id : device.model;
  return text + ", serial number " + (device.serial.empty() ? "unknown" : device.serial);
}

std::string refusalNote(Answer answer) {
  return answer == Answer::No
             ? "Declined."
             : "It changes the device and nobody could be asked; --assume yes allows it.";
}

}  // namespace ostria::host
