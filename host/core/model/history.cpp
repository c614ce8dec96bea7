// Trends are made of the counts that also make the verdicts. A drive is known by model and serial
// number, as its number and node move.
#include "host/core/model/history.h"

#include <algorithm>
#include <cctype>
#include <set>

#include "host/core/model/health_rules.h"
#include "host/core/model/raw_values.h"

namespace ostria::host {
namespace {

std::string lowered(std::string text) {
  for (char& c : text) {
    c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  }
  return text;
}

bool isNamed(const KeptDrive& drive, const std::vector<std::string>& names) {
  return names.empty() || std::any_of(names.begin(), names.end(), [&](const std::string& name) {
           return isSerial(name, drive.serial) || isWwn(name, drive.wwn) || name == drive.model ||
                  name == drive.node;
         });
}

bool isSame(const KeptDrive& a, const KeptDrive& b) {
  return a.model == b.model && a.serial == b.serial;
}

// "health.pending" is kept as "pending".
std::string shortName(const char* key) {
  const std::string text = key;
  return text.substr(text.find('.') + 1);
}

template <std::size_t N>
void takeCounts(const CountRule (&rules)[N], const std::vector<SmartRow>& rows,
                std::map<std::string, std::uint64_t>& numbers) {
  for (const CountRule& rule : rules) {
    for (const SmartRow& row : rows) {
      const auto count = row.number(&SmartRow::id) == rule.id ? countOf(row) : std::nullopt;
      if (count) {
        numbers[shortName(rule.key)] = *count;
      }
    }
  }
}

}  // namespace

const KeptDrive* KeptRun::drive(std::uint32_t device) const {
  const auto found = std::find_if(drives.begin(), drives.end(),
                                  [&](const KeptDrive& row) { return row.device == device; });
  return found == drives.end() ? nullptr : &*found;
}

std::vector<HistoryRecord> chosenRecords(const std::vector<KeptRun>& runs,
                                         const HistoryFilter& filter) {
  std::vector<HistoryRecord> out;
  const std::string test = lowered(filter.test);
  for (const KeptRun& run : runs) {
    for (const KeptResult& result : run.results) {
      const KeptDrive* found = run.drive(result.device);
      const KeptDrive drive = found != nullptr ? *found : KeptDrive{};
      const bool wanted = isNamed(drive, filter.drives) && result.time >= filter.since &&
                          (test.empty() || result.id == filter.test ||
                           lowered(result.name).find(test) != std::string::npos);
      if (wanted) {
        out.push_back({run.number, run.virtualPc, run.machine, drive.model, drive.serial, result});
      }
    }
  }
  return out;
}

std::vector<Change> changesBetween(const KeptDrive& before, const KeptDrive& now) {
  std::vector<Change> changes;
  for (const auto& [name, value] : now.numbers) {
    const auto old = before.numbers.find(name);
    if (old != before.numbers.end() && old->second != value) {
      changes.push_back({name, old->second, value});
    }
  }
  return changes;
}

Comparison compareRuns(const KeptRun& before, const KeptRun& now) {
  Comparison out{before, now, {}, {}};
  const auto find = [](const KeptRun& run, const KeptDrive& like) {
    const auto found = std::find_if(run.drives.begin(), run.drives.end(),
                                    [&](const KeptDrive& row) { return isSame(row, like); });
    return found == run.drives.end() ? nullptr : &*found;
  };
  for (const KeptDrive& drive : now.drives) {
    const KeptDrive* old = find(before, drive);
    out.drives.push_back({drive.model, drive.serial, old != nullptr ? old->verdict : "",
                          drive.verdict,
                          old != nullptr ? changesBetween(*old, drive) : std::vector<Change>()});
  }
  for (const KeptDrive& drive : before.drives) {
    if (find(now, drive) == nullptr) {
      out.drives.push_back({drive.model, drive.serial, drive.verdict, "", {}});
    }
  }

  // By drive and test, each once.
  std::map<std::pair<std::string, std::string>, ResultComparison> results;
  const auto take = [&](const KeptRun& run, std::string ResultComparison::*side) {
    for (const KeptResult& result : run.results) {
      const KeptDrive* drive = run.drive(result.device);
      const KeptDrive known = drive != nullptr ? *drive : KeptDrive{};
      ResultComparison& row = results[{known.model + '\n' + known.serial, result.id}];
      row.model = known.model;
      row.serial = known.serial;
      row.id = result.id;
      row.name = result.name;
      row.*side = result.outcome;
    }
  };
  take(before, &ResultComparison::before);
  take(now, &ResultComparison::now);
  for (const auto& [key, row] : results) {
    if (row.before != row.now) {
      out.results.push_back(row);
    }
  }
  return out;
}

const KeptRun* lastRunOf(const std::vector<KeptRun>& runs, const std::string& model,
                         const std::string& serial, bool virtualPc) {
  if (serial.empty()) {
    return nullptr;  // nobody can tell two such drives apart
  }
  const auto found = std::find_if(runs.rbegin(), runs.rend(), [&](const KeptRun& run) {
    return run.virtualPc == virtualPc &&
           std::any_of(run.drives.begin(), run.drives.end(), [&](const KeptDrive& drive) {
             return drive.model == model && drive.serial == serial && !drive.numbers.empty();
           });
  });
  return found == runs.rend() ? nullptr : &*found;
}

std::map<std::string, KeptResult> lastResultsOf(const std::vector<KeptRun>& runs,
                                                const std::string& model, const std::string& serial,
                                                bool virtualPc) {
  std::map<std::string, KeptResult> last;
  for (const KeptRun& run : runs) {
    for (const KeptResult& result : run.results) {
      const KeptDrive* drive = run.drive(result.device);
      if (serial.empty() || run.virtualPc != virtualPc || drive == nullptr ||
          drive->model != model || drive->serial != serial) {
        continue;
      }
      KeptResult& kept = last[result.id];
      if (result.time >= kept.time) {
        kept = result;
      }
    }
  }
  return last;
}

std::map<std::string, std::uint64_t> numbersOf(const DeviceInfo& device) {
  std::map<std::string, std::uint64_t> numbers;
  if (device.protocol == "NVMe" || device.bus == "NVMe") {
    takeCounts(kNvmeCounts, device.evidence.rows, numbers);
  } else {
    takeCounts(kAtaCounts, device.evidence.rows, numbers);
  }
  if (device.health.wearPercent) {
    numbers["wear"] = *device.health.wearPercent;
  }
  if (device.health.sparePercent) {
    numbers["spare"] = *device.health.sparePercent;
  }
  if (device.health.powerOnHours) {
    numbers["hours"] = *device.health.powerOnHours;
  }
  return numbers;
}

}  // namespace ostria::host
