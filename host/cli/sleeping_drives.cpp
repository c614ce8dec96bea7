// The module takes its orders from a variable, as it does for reading alone: its scan has no
// parameters. A drive that was left asleep stays so until the next scan.
#include "host/cli/sleeping_drives.h"

#include <algorithm>

#include "host/cli/stop.h"
#include "host/core/report/plain_text.h"
#include "host/core/run/smart_report.h"
#include "host/platform/environment.h"

namespace ostria::host {
namespace {

// The ids of those that may be woken all the same, with blanks between them.
constexpr const char* kVariable = "OSTRIA_KEEP_ASLEEP";

bool isAsleep(storage::SystemComponent& component) {
  std::string report;
  if (!component.getReport("POWER", report)) {
    return false;
  }
  const std::vector<SmartRow> rows = readSmartReport(report);
  return std::any_of(rows.begin(), rows.end(), [](const SmartRow& row) {
    return row.name == "Power Mode" && row.data == "standby";
  });
}

std::vector<std::string> idsOf(storage::SystemComponentManager& manager,
                               const std::vector<std::uint32_t>& devices) {
  std::vector<std::string> ids;
  for (const std::uint32_t index : devices) {
    storage::SystemComponent* component = manager.component(index);
    ids.push_back(component != nullptr ? component->id() : std::string());
  }
  return ids;
}

}  // namespace

void leaveDrivesAsleep() { setVariable(kVariable, " "); }

void wakeDrives(storage::SystemComponentManager& manager, const Selection& selection,
                const std::function<void()>& scan, const Texts& texts,
                std::vector<std::string>& notices) {
  std::vector<std::uint32_t> asleep;
  std::string ids = " ";
  for (std::uint32_t i = 0; i < manager.componentCount(); ++i) {
    const auto& chosen = selection.devices;
    storage::SystemComponent* component = manager.component(i);
    if (component != nullptr &&
        (chosen.empty() || std::find(chosen.begin(), chosen.end(), i) != chosen.end()) &&
        isAsleep(*component)) {
      asleep.push_back(i);
      ids += component->id() + " ";
      notices.push_back(texts.say(
          "notice.woken",
          {{"device", std::to_string(i)}, {"model", harmless(component->description().model)}}));
    }
  }
  if (asleep.empty()) {
    return;
  }
  std::vector<std::uint32_t> numbered = selection.devices;
  numbered.insert(numbered.end(), asleep.begin(), asleep.end());
  const std::vector<std::string> before = idsOf(manager, numbered);
  setVariable(kVariable, ids);
  scan();
  if (idsOf(manager, numbered) != before) {
    throw Stop{ExitCode::CouldNotStart, texts.say("notice.list_changed")};
  }
  for (const std::uint32_t index : asleep) {
    std::string report;
    // A drive that does not wake up shows it in what is asked of it next.
    (void)manager.component(index)->getReport("WAKE", report);
  }
}

void noteUnlisted(storage::SystemComponentManager& manager,
                  const std::vector<SuspendedDisk>& suspended, const Texts& texts,
                  std::vector<std::string>& notices) {
  for (const SuspendedDisk& disk : suspended) {
    bool listed = false;
    for (std::uint32_t i = 0; i < manager.componentCount() && !listed; ++i) {
      storage::SystemComponent* component = manager.component(i);
      listed = component != nullptr && component->id() == disk.id;
    }
    if (!listed) {
      notices.push_back(
          texts.say("notice.left_asleep", {{"node", disk.node}, {"model", harmless(disk.model)}}));
    }
  }
}

}  // namespace ostria::host
