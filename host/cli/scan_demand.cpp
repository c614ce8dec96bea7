// A command for one drive leaves those behind it in the list alone. Not so where others have a part
// in the outcome: their secrets are masked, a suspended one is named, and what writes makes sure
// that no other drive answers to the same name.
#include "host/cli/scan_demand.h"

#include "host/core/run/first_devices.h"
#include "host/platform/device_names.h"

namespace ostria::host {

storage::ScanDemand demandOf(const CommandLine& line, const Plan& plan, bool suspended) {
  storage::ScanDemand demand;
  // Neither the list nor the SMART tool shows what is on a drive, nor its driver.
  const bool smart = plan.action == Action::RunTool && plan.selection.operation.empty();
  demand.details = (plan.action != Action::List && !smart) || !line.reports.empty();
  if (!line.redact && !plan.writes && !plan.changesVolumes() && plan.action != Action::Capture &&
      !suspended) {
    endWithNamedDevices(plan.selection.names, deviceIdAt, demand);
  }
  return demand;
}

}  // namespace ostria::host
