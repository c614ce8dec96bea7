// Results are kept as they were shown: who reads them next year has no other words for them.
#include "host/core/report/kept_run.h"

#include "host/core/model/module_catalogue.h"
#include "host/core/model/tool_status.h"

namespace ostria::host {
namespace {

std::string messagesOf(const TestRun& run) {
  std::string text;
  for (const Message& message : run.messages) {
    text += (text.empty() ? "" : " / ") + message.text;
  }
  return text.empty() ? run.note : text;
}

}  // namespace

KeptRun keptRunOf(const Session& session, const std::string& programVersion, const Texts& texts) {
  KeptRun kept;
  kept.started = isoTime(session.started);
  kept.machine = session.machine;
  kept.virtualPc = session.virtualPc;
  kept.programVersion = programVersion;
  kept.moduleVersion = session.moduleVersion;
  kept.outcome = outcomeWord(session.outcome());
  for (const DeviceInfo& device : session.devices) {
    kept.drives.push_back({device.index, device.model, device.serial, device.names.wwn,
                           device.names.node, device.firmware, verdictWord(device.health.verdict),
                           numbersOf(device)});
  }
  for (const TestRun& run : session.tests) {
    if (run.applicable && run.begun) {
      kept.results.push_back({run.device, isoTime(run.started), identifierText(run.test.id),
                              run.test.name, outcomeWord(run.outcome), messagesOf(run)});
    }
  }
  for (const ToolRun& run : session.tools) {
    if (!run.applicable || session.operation == "filterDevices") {
      continue;
    }
    kept.results.push_back(
        {run.device, isoTime(run.started),
         session.toolName + (session.operation.empty() ? "" : " " + session.operation),
         session.toolTitle, outcomeWord(run.outcome),
         run.status ? texts.say(statusKey(run)) : run.note});
  }
  return kept;
}

}  // namespace ostria::host
