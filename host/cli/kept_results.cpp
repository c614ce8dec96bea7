// A store may hold serial numbers of drives that are not there any more, so the redactor learns
// them from it before anything of it is shown.
#include "host/cli/kept_results.h"

#include <algorithm>
#include <utility>

#include "host/cli/stop.h"
#include "host/core/report/kept_run.h"
#include "host/core/run/describe_device.h"
#include "host/platform/result_store.h"

namespace ostria::host {
namespace {

// As the command line names it; the names that are shown depend on the language.
std::string testLabel(const Catalogue& catalogue, const std::string& id) {
  for (const CatalogueDiagnostic& diagnostic : catalogue.diagnostics) {
    for (const CatalogueTest& test : diagnostic.tests) {
      if (identifierText(test.id) == id && !test.longName.empty()) {
        return diagnostic.longName + "/" + test.longName;
      }
    }
  }
  return id;
}

}  // namespace

KeptResults::KeptResults(Redactor& redactor, const Texts& texts, const Interrupts& interrupts)
    : redactor_(redactor),
      texts_(texts),
      interrupts_(interrupts),
      history_(resultStore(Patience([&interrupts] { return interrupts.count(); }))) {}

std::vector<KeptRun> KeptResults::read() {
  auto kept = history_->read();
  if (const auto* error = std::get_if<UsageError>(&kept)) {
    if (interrupts_.isAbortRequested()) {
      throw Stop{ExitCode::Stopped, texts_.say("note.stopped_by_user")};
    }
    throw Stop{ExitCode::CouldNotStart, texts_.say(*error)};
  }
  std::vector<KeptRun> runs = std::get<std::vector<KeptRun>>(std::move(kept));
  for (const KeptRun& run : runs) {
    for (const KeptDrive& drive : run.drives) {
      redactor_.addSecret(drive.serial);
    }
  }
  return runs;
}

std::vector<KeptRun> KeptResults::readOrNote(Session& session) {
  auto kept = history_->read();
  if (const auto* error = std::get_if<UsageError>(&kept)) {
    session.notices.push_back(texts_.say(*error));
    return {};
  }
  return std::get<std::vector<KeptRun>>(std::move(kept));
}

std::vector<HistoryRecord> KeptResults::records(const HistoryFilter& filter) {
  std::vector<HistoryRecord> records = chosenRecords(read(), filter);
  for (HistoryRecord& record : records) {
    record.serial = redactor_.whole(record.serial);
    record.result.text = redactor_.text(record.result.text);
  }
  return records;
}

void KeptResults::hideSecrets(KeptRun& run) const {
  for (KeptDrive& drive : run.drives) {
    drive.serial = redactor_.whole(drive.serial);
  }
  for (KeptResult& result : run.results) {
    result.text = redactor_.text(result.text);
  }
}

Comparison KeptResults::comparison(std::vector<std::string> names) {
  const std::vector<KeptRun> runs = read();
  if (names.empty()) {
    if (runs.size() < 2) {
      throw Stop{ExitCode::NotPerformed, texts_.say("compare.too_few")};
    }
    names = {std::to_string(runs[runs.size() - 2].number), std::to_string(runs.back().number)};
  }
  std::vector<KeptRun> chosen;
  for (const std::string& name : names) {
    const auto found = std::find_if(runs.begin(), runs.end(), [&](const KeptRun& run) {
      return std::to_string(run.number) == name;
    });
    if (found == runs.end()) {
      throw Stop{ExitCode::Usage, texts_.say("usage.no_run", {{"run", name}})};
    }
    chosen.push_back(*found);
    hideSecrets(chosen.back());
  }
  return compareRuns(chosen[0], chosen[1]);
}

void KeptResults::compareWithLastTime(Session& session, storage::SystemComponentManager& manager) {
  const auto runs = readOrNote(session);
  for (DeviceInfo& device : session.devices) {
    storage::SystemComponent* component = manager.component(device.index);
    if (component == nullptr) {
      continue;
    }
    // The serial number of `device` may be masked.
    const std::string serial = serialOf(*component);
    const KeptRun* run = lastRunOf(runs, device.model, serial, session.virtualPc);
    const KeptDrive now{device.index, device.model, serial, {}, {}, {}, {}, numbersOf(device)};
    if (run == nullptr || now.numbers.empty()) {
      continue;
    }
    for (const KeptDrive& drive : run->drives) {
      if (drive.model == device.model && drive.serial == serial) {
        device.sinceLastTime = {run->number, run->started, changesBetween(drive, now)};
      }
    }
  }
}

void KeptResults::takeLastRuns(Session& session, storage::SystemComponentManager& manager,
                               const Catalogue& catalogue) {
  const auto runs = readOrNote(session);
  for (DeviceInfo& device : session.devices) {
    storage::SystemComponent* component = manager.component(device.index);
    if (component == nullptr) {
      continue;
    }
    // Model and serial number of `device` may be masked.
    const auto results = lastResultsOf(runs, component->description().model, serialOf(*component),
                                       session.virtualPc);
    for (const auto& [id, result] : results) {
      const auto time = secondsOfIsoTime(result.time);
      const auto outcome = exitCodeOfWord(result.outcome);
      if (time && outcome) {
        device.lastRuns.push_back({testLabel(catalogue, id), *time, static_cast<int>(*outcome)});
      }
    }
  }
}

bool KeptResults::keep(Session& session) {
  KeptRun kept = keptRunOf(session, session.programVersion, texts_);
  const UsageError error = history_->add(kept);
  session.notices.push_back(error.isSet()
                                ? texts_.say(error)
                                : texts_.say("history.kept", {{"run", std::to_string(kept.number)},
                                                              {"file", history_->where()}}));
  return !error.isSet();
}

}  // namespace ostria::host
