// The plain text for people: laid out by columns where the terminal is wide enough, one below the
// other where it is not.
#include "host/cli/text_report.h"

#include <algorithm>
#include <map>

#include "host/cli/history_text.h"
#include "host/cli/text_parts.h"
#include "host/cli/text_reads.h"
#include "host/core/model/tool_status.h"
#include "host/core/report/health_text.h"
#include "host/core/report/plain_text.h"
#include "ostria/storage/test_ids.h"

namespace ostria::host {
namespace {

constexpr std::size_t kShownBadSectors = 20;
// A few reads say nothing of a disk.
constexpr std::uint64_t kTellingReads = 10;

std::string sectorsText(const ToolRun& run, const TextStyle& style) {
  std::string out = detailLine(
      style.texts.say("sectors.read", {{"count", std::to_string(run.sectorsScanned)}}), style);
  if (run.badSectorsFound == 0) {
    return out;
  }
  out += detailLine(
      style.texts.say("sectors.bad", {{"found", std::to_string(run.badSectorsFound)},
                                      {"repaired", std::to_string(run.badSectorsRepaired)}}),
      style);
  // After a repair each with what became of it, as far as a person reads.
  for (std::size_t i = 0; run.repairs && i < std::min(run.badSectors.size(), kShownBadSectors);
       ++i) {
    const bool repaired = std::binary_search(run.repairedSectors.begin(), run.repairedSectors.end(),
                                             run.badSectors[i]);
    out += detailLine(style.texts.say(repaired ? "sectors.repaired" : "sectors.stayed_bad",
                                      {{"sector", std::to_string(run.badSectors[i])}}),
                      style);
  }
  std::string list = style.texts.say("sectors.at");
  for (std::size_t i = 0; !run.repairs && i < std::min(run.badSectors.size(), kShownBadSectors);
       ++i) {
    list += " " + std::to_string(run.badSectors[i]);
  }
  if (run.badSectors.size() > kShownBadSectors) {
    list += " " +
            style.texts.say("sectors.more",
                            {{"count", std::to_string(run.badSectors.size() - kShownBadSectors)}});
  }
  const bool said =
      run.badSectors.empty() || (run.repairs && run.badSectors.size() <= kShownBadSectors);
  return said ? out : out + detailLine(list, style);
}

std::string testText(const TestRun& run, const TextStyle& style) {
  std::string name = run.test.name;
  if (!run.parameters.empty()) {
    name += " (";
    for (std::size_t i = 0; i < run.parameters.size(); ++i) {
      name += (i == 0 ? "" : ", ") + run.parameters[i].first + "=" + run.parameters[i].second;
    }
    name += ")";
  }
  std::string out = run.applicable ? outcomeLine(run.outcome, harmless(name), style)
                                   : outcomeLine(style.texts.say("tool.unsupported"), Colour::Grey,
                                                 harmless(name), style);
  for (const Message& message : run.messages) {
    out += detailLine(message.text, style);
  }
  if (!run.note.empty()) {
    out += detailLine(run.note, style);
  }
  out += rangesText(run.badRanges, style);
  if (run.reads && run.reads->reads >= kTellingReads) {
    const bool surface =
        run.test.id == storage::ids::kFullDiskScan || run.test.id == storage::ids::kLinearRead;
    out += readsText(*run.reads, surface, style);
  }
  return out;
}

std::string toolText(const ToolRun& run, const Session& session, const TextStyle& style) {
  if (session.operation == "filterDevices") {
    return line(style.texts.say(run.applicable ? "tool.supported" : "tool.unsupported"), 2, 2,
                style);
  }
  std::string name = session.toolTitle;
  if (run.status) {
    name += ": " + style.texts.say(statusKey(run));
  }
  // The verdict on the drive stands in the summary; attributes that were read are none.
  std::string out = run.isSmart ? line(name, 2, 2, style) : outcomeLine(run.outcome, name, style);
  if (!run.note.empty()) {
    out += detailLine(run.note, style);
  }
  if (run.hasSectors) {
    out += sectorsText(run, style);
  }
  if (run.reads && run.reads->reads >= kTellingReads) {
    out += readsText(*run.reads, true, style);
  }
  for (const PartitionResult& partition : run.partitions) {
    out += outcomeLine(
        partition.outcome,
        harmless(partition.name) + ": " + style.texts.say(statusKey(partition.status, true)),
        style);
    for (const std::string& note : partition.notes) {
      out += detailLine(note, style);
    }
    if (!partition.report.empty()) {
      std::string report = partition.report;
      while (!report.empty() && report.back() == '\n') {
        report.pop_back();
      }
      out += detailLine(report, style);
    }
  }
  if (!run.smart.empty()) {
    out += smartTable(run.smart, style);
  }
  if (!run.logPage.empty()) {
    out += "  " + style.texts.say("smart.vendor_log") + "\n" + smartTable(run.logPage, style);
  }
  return out;
}

std::string countsText(const Session& session, const TextStyle& style) {
  std::map<std::string, int> counts;
  for (const TestRun& run : session.tests) {
    ++counts[run.applicable ? outcomeKey(run.outcome) : "tool.unsupported"];
  }
  for (const ToolRun& run : session.tools) {
    if (!run.isSmart) {
      ++counts[outcomeKey(run.outcome)];
    }
  }
  std::string sentence = style.texts.say("summary.title");
  bool first = true;
  for (const auto& [key, count] : counts) {
    sentence += (first ? " " : ", ") + std::to_string(count) + " " + style.texts.say(key);
    first = false;
  }
  const auto duration =
      std::chrono::duration_cast<std::chrono::seconds>(session.finished - session.started);
  return sentence + style.texts.say(first ? "summary.time_alone" : "summary.time",
                                    {{"time", durationText(duration)}});
}

// Last on a terminal, where it stays in sight.
std::string verdictsText(const Session& session, bool quiet, const TextStyle& style) {
  std::string out = "\n" +
                    coloured(wrapped(countsText(session, style), style.width, 2),
                             colourOf(session.outcome()), style.colour) +
                    "\n";
  for (const DeviceInfo* device : worstFirst(session)) {
    if (quiet && exitCodeOf(device->health.verdict) == ExitCode::Passed) {
      continue;
    }
    std::string title = style.texts.say(
        "device.title", {{"device", std::to_string(device->index)},
                         {"name", device->name.empty() ? device->id : device->name}});
    for (const std::string& part :
         {nodeText(*device, style.texts), device->serial, numbersText(*device, style.texts)}) {
      title += part.empty() ? "" : ", " + part;
    }
    out += healthText(*device, title, style);
  }
  return out;
}

std::string summaryText(const Session& session, bool quiet, const TextStyle& style) {
  std::string out;
  for (const std::string& notice : session.notices) {
    out += line(notice, 0, 0, style);
  }
  return session.operation == "filterDevices" ? out : out + verdictsText(session, quiet, style);
}

}  // namespace

void TextReport::begin(DocumentKind kind, const Session& session) {
  kind_ = kind;
  session_ = &session;
  first_ = true;
}

void TextReport::device(const DeviceInfo& device) {
  if (kind_ == DocumentKind::List) {
    return;  // a table needs all of them
  }
  pending_ = &device;
  if (kind_ == DocumentKind::Run) {
    return;  // with its first result
  }
  output_.write(first_ ? "" : "\n");
  first_ = false;
  output_.write(detailsText(device, style_));
}

void TextReport::testResult(const TestRun& run) {
  const bool meant = run.applicable && (run.named || run.outcome != ExitCode::NotPerformed);
  writeResult(meant ? run.outcome : ExitCode::Passed, testText(run, style_));
}

void TextReport::toolResult(const ToolRun& run) {
  // Attributes that were read are no verdict.
  writeResult(run.isSmart ? ExitCode::Passed : run.outcome, toolText(run, *session_, style_));
}

void TextReport::writeResult(ExitCode outcome, const std::string& text) {
  if (quiet_ && outcome == ExitCode::Passed) {
    return;
  }
  if (pending_ != nullptr) {
    output_.write((first_ ? "" : "\n") + deviceHeading(*pending_, style_));
    first_ = false;
    pending_ = nullptr;
  }
  output_.write(text);
}

std::vector<DeviceInfo> TextReport::shown(const std::vector<DeviceInfo>& devices) const {
  std::vector<DeviceInfo> out = devices;
  std::erase_if(out, [this](const DeviceInfo& device) {
    return quiet_ && exitCodeOf(device.health.verdict) == ExitCode::Passed;
  });
  return out;
}

void TextReport::end() {
  if (kind_ == DocumentKind::Run) {
    const bool good = worse(session_->outcome(), session_->ending) == ExitCode::Passed &&
                      session_->notices.empty();
    if (!quiet_ || !good) {
      output_.write(summaryText(*session_, quiet_, style_));
    }
    return;
  }
  if (kind_ == DocumentKind::List) {
    const std::vector<DeviceInfo> devices = shown(session_->devices);
    if (!devices.empty()) {
      output_.write(listText(devices, style_));
    }
  }
  for (const std::string& notice : session_->notices) {
    error_.write(wrapped(harmless(notice), errorWidth_, 2) + "\n");
  }
}

void TextReport::history(const std::vector<HistoryRecord>& records) {
  output_.write(historyText(records, style_));
}

void TextReport::comparison(const Comparison& comparison) {
  output_.write(comparisonText(comparison, style_));
}

void TextReport::help(const std::string& text) { output_.write(text); }

void TextReport::version(const std::string& program, const std::string& module,
                         const std::string& notice) {
  output_.write(
      "OstriaDiagnosticsCLI " + program + "\n" +
      (module.empty() ? notice : style_.texts.say("version.module", {{"version", module}})) + "\n");
}

}  // namespace ostria::host
