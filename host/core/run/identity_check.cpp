// Between a question and its answer a disk can be pulled and another one put in its place.
#include "host/core/run/identity_check.h"

#include <string>

#include "host/core/run/describe_device.h"
#include "host/core/run/smart_report.h"

namespace ostria::host {

bool isStillThatDrive(storage::SystemComponent& component) {
  std::string report;
  if (!component.getReport("IDENTITY", report)) {
    return false;
  }
  const std::string wanted = component.description().model;
  const std::string serial = serialOf(component);
  std::string model;
  for (const SmartRow& row : readSmartReport(report)) {
    if (row.name == "Model") {
      model = row.data;
    } else if (row.name == "Serial" && model == wanted && row.data == serial) {
      return true;
    }
  }
  return false;
}

}  // namespace ostria::host
