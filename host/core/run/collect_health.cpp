// The module reports rows of text; here they become evidence. A report that is empty although the
// drive has SMART is one that could not be read, which is not the same as a drive without any.
#include "host/core/run/collect_health.h"

#include <algorithm>

#include "host/core/model/raw_values.h"
#include "host/core/run/describe_device.h"
#include "host/core/run/readable_rows.h"
#include "host/core/run/smart_report.h"

namespace ostria::host {
namespace {

std::optional<std::string> dataOf(const std::vector<SmartRow>& rows, std::string_view name) {
  const auto found =
      std::find_if(rows.begin(), rows.end(), [&](const SmartRow& row) { return row.name == name; });
  return found == rows.end() ? std::nullopt : std::optional<std::string>(found->data);
}

std::optional<bool> failing(const std::optional<std::string>& data) {
  if (data == "failing") {
    return true;
  }
  return data == "good" ? std::optional<bool>(false) : std::nullopt;
}

// SCSI drives have a status but no attributes; what USB bridges let through is another matter.
bool hasAttributes(storage::SystemComponent& component, const std::optional<std::string>& smart) {
  std::string protocol;
  return smart && *smart != "not supported" && component.getReport("protocol_type", protocol) &&
         (protocol == "ata" || protocol == "nvme");
}

void takeStatus(const std::vector<SmartRow>& rows, HealthEvidence& evidence) {
  evidence.asked = true;
  evidence.answers = dataOf(rows, "Access") != "no";
  evidence.predictsFailure = failing(dataOf(rows, "SMART Status"));
  evidence.systemSeesFailure = failing(dataOf(rows, "Prediction"));
  constexpr std::string_view kFailed = "failed ";
  const std::string selfTest = dataOf(rows, "Self-Test").value_or("");
  if (selfTest.starts_with(kFailed)) {
    evidence.failedSelfTest = selfTest.substr(kFailed.size());
  }
}

void addTest(const TestRun& run, DeviceInfo& device) {
  if (run.device != device.index || !run.applicable || !run.begun) {
    return;
  }
  TestEvidence test{run.test.name, run.outcome, run.lost, 0, {}, run.gaps};
  for (const Message& message : run.messages) {
    test.messageKeys.push_back(message.key);
  }
  device.evidence.tests.push_back(std::move(test));
}

void addTool(const ToolRun& run, const Session& session, DeviceInfo& device) {
  // Attributes are evidence of their own, and a file system is no drive.
  if (run.device != device.index || !run.applicable || run.isSmart || !run.partitions.empty() ||
      session.operation == "filterDevices") {
    return;
  }
  device.evidence.tests.push_back(
      {session.toolTitle, run.outcome, run.lost, run.badSectorsFound, {}, run.gaps});
}

}  // namespace

void collectHealth(storage::SystemComponent& component, const Texts& texts,
                   const Redactor& redactor, DeviceInfo& device) {
  HealthEvidence& evidence = device.evidence;
  evidence = {};
  evidence.solidState = device.solidState;
  evidence.controllerState = device.names.controllerState;
  std::string report;
  std::vector<SmartRow> status;
  if (component.getReport("HEALTH", report)) {
    status = readSmartReport(report);
    takeStatus(status, evidence);
  }
  if (!evidence.answers) {
    evidence.smart = DataState::Unreadable;
    return;
  }
  if (dataOf(status, "Power Mode") == "standby") {
    evidence.smart = DataState::Asleep;
    return;
  }
  report.clear();
  if (component.getReport("SMART", report) && !report.empty()) {
    evidence.smart = DataState::Value;
    evidence.rows = readSmartReport(report);
    redactRows(evidence.rows, redactor);
    makeReadable(evidence.rows, device.solidState, texts);
    return;
  }
  if (!hasAttributes(component, dataOf(status, "SMART"))) {
    evidence.smart = DataState::NotSupported;
    return;
  }
  evidence.smart = DataState::Unreadable;
  // The drive may have gone since it was asked.
  report.clear();
  if (component.getReport("HEALTH", report)) {
    takeStatus(readSmartReport(report), evidence);
  }
}

void judgeDevices(Session& session) {
  for (DeviceInfo& device : session.devices) {
    device.evidence.tests.clear();
    for (const TestRun& run : session.tests) {
      addTest(run, device);
    }
    for (const ToolRun& run : session.tools) {
      addTool(run, session, device);
    }
    device.health = judge(device.evidence);
  }
}

}  // namespace ostria::host
