// The names and orders of the values are the tool's; numbers come as decimal text.
#include "host/core/run/tool_results.h"

#include <algorithm>
#include <charconv>
#include <string_view>

#include "host/core/model/tool_status.h"
#include "host/core/run/describe_device.h"
#include "host/core/run/smart_report.h"

namespace ostria::host {
namespace {

using Values = std::vector<std::string>;

template <typename Number>
Number numberAt(const Values& values, std::size_t index, Number otherwise) {
  if (index >= values.size()) {
    return otherwise;
  }
  const std::string& text = values[index];
  Number number = otherwise;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  return error == std::errc() && end == text.data() + text.size() ? number : otherwise;
}

std::string textAt(const Values& values, std::size_t index) {
  return index < values.size() ? values[index] : std::string();
}

std::vector<std::uint64_t> numbersOf(const Values& values) {
  std::vector<std::uint64_t> numbers;
  for (std::size_t i = 0; i < values.size(); ++i) {
    numbers.push_back(numberAt<std::uint64_t>(values, i, 0));
  }
  return numbers;
}

constexpr int kNoStatus = -1;
constexpr int kStopped = 8;
// How the tool begins its sentences on a volume that did not come back, and on sectors of which
// nothing is known.
constexpr std::string_view kLostVolume = "The volume could not be mounted again";
constexpr std::string_view kGaps = "Sectors that could not be read";

bool hasOne(const Values& messages, std::string_view beginning) {
  return std::any_of(messages.begin(), messages.end(),
                     [&](const std::string& text) { return text.starts_with(beginning); });
}

}  // namespace

Values ToolResults::stored(const char* name) const {
  const Values* values = tool_.getParameter(name);
  return values == nullptr ? Values() : *values;
}

std::uint8_t ToolResults::percent() const {
  return numberAt<std::uint8_t>(stored("Progress"), 0, 0);
}

std::string ToolResults::partitionBegun() const { return textAt(stored("PartitionInit"), 1); }

bool ToolResults::accepts(std::size_t index) const {
  return textAt(stored("DevicesFilter"), index) == "T";
}

PartitionResult ToolResults::partition() const {
  const Values values = stored("PartitionFinish");
  PartitionResult result;
  result.name = services_.redactor.text(textAt(values, 1));
  result.report = services_.redactor.text(textAt(values, 2));
  result.status = numberAt(values, 3, kNoStatus);
  result.outcome = outcomeOfStatus(result.status, true);
  for (const std::string& note : stored("Message")) {
    result.notes.push_back(services_.redactor.text(services_.texts.message(note)));
    // A check that the user did not want scheduled was not stopped, it never began.
    if (result.status == 8) {
      result.outcome = ExitCode::NotPerformed;
    }
  }
  return result;
}

void ToolResults::device(bool isFilesystem, ToolRun& run) const {
  const Values values = stored("DeviceFinish");
  run.note = noteOf(stored("Message"));
  if (isFilesystem || values.size() < 2) {
    return;
  }
  run.status = numberAt(values, 1, kNoStatus);
  run.outcome = outcomeOfStatus(*run.status, false);
  const Values sectors = stored("SectorsInfo");
  run.hasSectors = sectors.size() >= 3;
  run.sectorsScanned = numberAt<std::uint64_t>(sectors, 0, 0);
  run.badSectorsFound = numberAt<std::uint64_t>(sectors, 1, 0);
  run.badSectorsRepaired = numberAt<std::uint64_t>(sectors, 2, 0);
  run.badSectors = numbersOf(stored("BadSectorsList"));
  run.repairedSectors = numbersOf(stored("RepairedSectorsList"));
  // Whatever was found, the system is not as it was, or not all is known of the device.
  const Values messages = stored("Message");
  run.gaps = hasOne(messages, kGaps);
  if (run.gaps || hasOne(messages, kLostVolume)) {
    run.incomplete = run.status == kStopped && !services_.abort.isAbortRequested();
    run.outcome =
        worse(run.incomplete ? ExitCode::CouldNotStart : run.outcome, ExitCode::CouldNotStart);
  }
  // Bad sectors count, also when the scan did not come to its end.
  if (run.badSectorsFound > 0) {
    run.outcome = worse(run.outcome, ExitCode::Failed);
  }
}

std::string ToolResults::noteOf(const Values& messages) const {
  std::string note;
  std::size_t names = 0;
  for (const std::string& message : messages) {
    if (note.empty()) {
      note = services_.texts.message(message);
    } else if (message.ends_with('.')) {
      note += (note.ends_with('.') ? " " : ". ") + services_.texts.message(message);
    } else {
      note += (names++ == 0 ? ": " : ", ") + message;
    }
  }
  return services_.redactor.text(note);
}

void ToolResults::smart(ToolRun& run) const {
  const Values values = stored("DeviceFinish");
  run.protocol = textAt(values, 2);
  run.logPage = readSmartReport(textAt(values, 4));
  redactRows(run.logPage, services_.redactor);
}

}  // namespace ostria::host
