// The plain text for people: laid out by columns where the terminal is wide enough, one below the
// other where it is not.
#include "host/cli/text_report.h"

#include <algorithm>
#include <array>
#include <map>

#include "host/core/model/tool_status.h"
#include "host/core/report/plain_text.h"

namespace ostria::host {
namespace {

constexpr std::size_t kOutcomeColumns = 15;
constexpr std::size_t kShownBadSectors = 20;

Colour colourOf(ExitCode outcome) {
  switch (outcome) {
    case ExitCode::Passed:
      return Colour::Green;
    case ExitCode::Failed:
      return Colour::Red;
    case ExitCode::NotPerformed:
      return Colour::Grey;
    default:
      return Colour::Yellow;
  }
}

std::string capitals(std::string text) {
  for (char& c : text) {
    if (c >= 'a' && c <= 'z') {
      c = static_cast<char>(c - 'a' + 'A');
    }
  }
  return text;
}

std::string connectionText(const DeviceInfo& device, const Texts& texts) {
  return texts.say("connection." + device.connection);
}

std::string line(const std::string& text, std::size_t indent, std::size_t hanging,
                 const TextStyle& style) {
  return wrapped(std::string(indent, ' ') + text, style.width, hanging) + "\n";
}

// "  PASSED         SMART Status Test"
std::string outcomeLine(ExitCode outcome, const std::string& text, const TextStyle& style) {
  const std::string word = padded(capitals(style.texts.say(outcomeKey(outcome))), kOutcomeColumns);
  const std::string plain = line(word + " " + text, 2, kOutcomeColumns + 3, style);
  return "  " + coloured(word, colourOf(outcome), style.colour) + plain.substr(2 + word.size());
}

std::string detailLine(const std::string& text, const TextStyle& style) {
  const std::size_t indent = style.width != 0 && style.width < 60 ? 4 : kOutcomeColumns + 3;
  std::string out;
  std::size_t at = 0;
  // Tables of the module come as rows of cells.
  while (at <= text.size()) {
    const std::size_t end = std::min(text.find('\n', at), text.size());
    std::string row;
    for (std::size_t cell = at; cell <= end;) {
      const std::size_t cellEnd = std::min(text.find('\t', cell), end);
      const std::string piece = harmless(text.substr(cell, cellEnd - cell));
      row += cellEnd < end ? padded(piece, 12) + " " : piece;
      cell = cellEnd + 1;
    }
    out += line(row, indent, indent, style);
    at = end + 1;
  }
  return out;
}

std::string propertyLine(const std::string& label, const std::string& value, std::size_t indent,
                         std::size_t columnsOfLabel, const TextStyle& style) {
  return line(padded(harmless(label) + ":", columnsOfLabel) + " " + harmless(value), indent,
              indent + 2, style);
}

std::string smartTable(const std::vector<SmartRow>& rows, const TextStyle& style) {
  const bool ata = std::any_of(rows.begin(), rows.end(),
                               [](const SmartRow& row) { return !row.threshold.empty(); });
  const bool narrow = style.width != 0 && style.width < 70;
  std::string out;
  if (ata && !narrow) {
    out += "    " + padded(style.texts.say("smart.id"), 4) +
           padded(style.texts.say("smart.attribute"), 36) +
           padded(style.texts.say("smart.value"), 6) + padded(style.texts.say("smart.worst"), 6) +
           padded(style.texts.say("smart.limit"), 6) + style.texts.say("smart.data") + "\n";
  }
  for (const SmartRow& row : rows) {
    const std::string name = harmless(row.name);
    if (!ata) {
      const std::string field = propertyLine(row.name, row.data, 4, narrow ? 0 : 40, style);
      out += needsAttention(row, rows) ? coloured(field, Colour::Red, style.colour) : field;
      continue;
    }
    std::string text = narrow ? style.texts.say("smart.narrow_row", {{"id", row.id},
                                                                     {"name", name},
                                                                     {"value", row.value},
                                                                     {"worst", row.worst},
                                                                     {"limit", row.threshold},
                                                                     {"data", harmless(row.data)}})
                              : padded(row.id, 4) + padded(fitted(name, 35), 36) +
                                    padded(row.value, 6) + padded(row.worst, 6) +
                                    padded(row.threshold, 6) + harmless(row.data);
    if (row.isBelowThreshold()) {
      text += " " + style.texts.say("smart.below_limit");
    }
    const std::string whole = line(text, 4, 6, style);
    out += row.isBelowThreshold() ? coloured(whole, Colour::Red, style.colour) : whole;
  }
  return out;
}

std::string heading(const std::string& text, const TextStyle& style) {
  return coloured(wrapped(text, style.width, 2), Colour::Bold, style.colour) + "\n";
}

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
  std::string list = style.texts.say("sectors.at");
  for (std::size_t i = 0; i < std::min(run.badSectors.size(), kShownBadSectors); ++i) {
    list += " " + std::to_string(run.badSectors[i]);
  }
  if (run.badSectors.size() > kShownBadSectors) {
    list += " " +
            style.texts.say("sectors.more",
                            {{"count", std::to_string(run.badSectors.size() - kShownBadSectors)}});
  }
  return run.badSectors.empty() ? out : out + detailLine(list, style);
}

std::string listText(const std::vector<DeviceInfo>& devices, const TextStyle& style) {
  std::vector<std::array<std::string, 5>> rows;
  rows.push_back({style.texts.say("list.number"), style.texts.say("list.device"),
                  style.texts.say("list.connection"), style.texts.say("list.bus"),
                  style.texts.say("list.protocol")});
  for (const DeviceInfo& device : devices) {
    rows.push_back({std::to_string(device.index),
                    harmless(device.name.empty() ? device.id : device.name),
                    connectionText(device, style.texts), device.bus,
                    harmless(device.protocol.empty() ? "-" : device.protocol)});
  }
  std::array<std::size_t, 5> widths{};
  for (const auto& row : rows) {
    for (std::size_t c = 0; c < row.size(); ++c) {
      widths[c] = std::max(widths[c], columns(row[c]));
    }
  }
  std::size_t total = 0;
  for (const std::size_t width : widths) {
    total += width + 2;
  }
  std::string out;
  if (style.width != 0 && total - 2 > style.width) {
    for (std::size_t r = 1; r < rows.size(); ++r) {
      const auto& row = rows[r];
      out += line(row[0] + "  " + row[1], 0, 3, style);
      out += line(row[2] + ", " + row[3] + ", " + row[4], 3, 3, style);
    }
    return out;
  }
  for (std::size_t r = 0; r < rows.size(); ++r) {
    std::string text;
    for (std::size_t c = 0; c < 4; ++c) {
      text += padded(rows[r][c], widths[c] + 2);
    }
    text += rows[r][4];
    out += coloured(text, r == 0 ? Colour::Bold : Colour::Plain, style.colour) + "\n";
  }
  return out;
}

std::string deviceHeading(const DeviceInfo& device, const TextStyle& style) {
  return heading(
      style.texts.say("device.title",
                      {{"device", std::to_string(device.index)},
                       {"name", harmless(device.name.empty() ? device.id : device.name)}}),
      style);
}

std::string detailsText(const DeviceInfo& device, const TextStyle& style) {
  std::size_t width = 0;
  for (const ShownProperty& row : device.properties) {
    width = std::max(width, columns(row.label) + 1);
  }
  if (style.width != 0 && style.width < 60) {
    width = 0;
  }
  std::string out = deviceHeading(device, style);
  out += propertyLine(style.texts.say("list.connection"),
                      connectionText(device, style.texts) + ", " + device.bus, 2, width, style);
  for (const ShownProperty& row : device.properties) {
    if (!row.value.empty()) {
      out += propertyLine(row.label, row.value, 2, width, style);
    }
  }
  for (const ShownSection& section : device.sections) {
    out += line(section.title, 2, 2, style);
    for (const ShownProperty& row : section.properties) {
      if (row.value.empty()) {
        continue;
      }
      out += propertyLine(row.label, row.value, 4, width == 0 ? 0 : width - 2, style);
    }
  }
  if (!device.smart.empty()) {
    out += "  " + style.texts.say("smart.title") + "\n" + smartTable(device.smart, style);
  } else {
    out += "  " +
           style.texts.say(device.smartSupported ? "smart.no_attributes" : "smart.not_supported") +
           "\n";
  }
  if (!device.logPage.empty()) {
    out += "  " + style.texts.say("smart.vendor_log") + "\n" + smartTable(device.logPage, style);
  }
  out += "  " + style.texts.say("device.tests") + "\n";
  for (const NamedTest& test : device.applicableTests) {
    out +=
        line(style.texts.say(test.id.category == 2 ? "device.extended_test" : "device.quick_test",
                             {{"test", test.name}}),
             4, 6, style);
  }
  return out;
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
  std::string out = outcomeLine(run.outcome, harmless(name), style);
  for (const Message& message : run.messages) {
    out += detailLine(message.text, style);
  }
  if (!run.note.empty()) {
    out += detailLine(run.note, style);
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
    name = style.texts.say(statusKey(*run.status, false));
  }
  // Attributes that could be read are no verdict on the device.
  const bool verdict = !run.isSmart || run.outcome != ExitCode::Passed;
  std::string out = verdict ? outcomeLine(run.outcome, name, style) : line(name, 2, 2, style);
  if (!run.note.empty()) {
    out += detailLine(run.note, style);
  }
  if (run.hasSectors) {
    out += sectorsText(run, style);
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

std::string historyText(const std::vector<HistoryRecord>& records, const TextStyle& style) {
  if (records.empty()) {
    return style.texts.say("history.empty") + "\n";
  }
  std::string out;
  for (const HistoryRecord& record : records) {
    const std::string word = style.texts.say("outcome." + record.outcome);
    std::string text = record.time + "  " + padded(capitals(word), kOutcomeColumns) + " " +
                       harmless(record.name) + ", " + harmless(record.model);
    if (!record.serial.empty()) {
      text += ", " + harmless(record.serial);
    }
    out += line(text, 0, 4, style);
    if (!record.text.empty()) {
      out += line(harmless(record.text), 4, 4, style);
    }
  }
  return out;
}

std::string summaryText(const Session& session, const TextStyle& style) {
  std::string out;
  for (const std::string& notice : session.notices) {
    out += line(notice, 0, 0, style);
  }
  std::map<ExitCode, int> counts;
  for (const TestRun& run : session.tests) {
    ++counts[run.outcome];
  }
  for (const ToolRun& run : session.tools) {
    ++counts[run.outcome];
  }
  if (session.tests.size() + session.tools.size() < 2 || session.operation == "filterDevices" ||
      (!session.tools.empty() && session.tools.front().isSmart)) {
    return out;
  }
  std::string sentence = style.texts.say("summary.title");
  bool first = true;
  for (const auto& [outcome, count] : counts) {
    sentence +=
        (first ? " " : ", ") + std::to_string(count) + " " + style.texts.say(outcomeKey(outcome));
    first = false;
  }
  const auto duration =
      std::chrono::duration_cast<std::chrono::seconds>(session.finished - session.started);
  sentence += style.texts.say("summary.time", {{"time", durationText(duration)}});
  out += "\n";
  out += coloured(wrapped(sentence, style.width, 2), colourOf(session.outcome()), style.colour);
  return out + "\n";
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
  output_.write(first_ ? "" : "\n");
  first_ = false;
  output_.write(kind_ == DocumentKind::Details ? detailsText(device, style_)
                                               : deviceHeading(device, style_));
}

void TextReport::testResult(const TestRun& run) { output_.write(testText(run, style_)); }

void TextReport::toolResult(const ToolRun& run) { output_.write(toolText(run, *session_, style_)); }

void TextReport::end() {
  if (kind_ == DocumentKind::Run) {
    output_.write(summaryText(*session_, style_));
    return;
  }
  if (kind_ == DocumentKind::List) {
    output_.write(listText(session_->devices, style_));
  }
  for (const std::string& notice : session_->notices) {
    error_.write(wrapped(harmless(notice), errorWidth_, 2) + "\n");
  }
}

void TextReport::history(const std::vector<HistoryRecord>& records) {
  output_.write(historyText(records, style_));
}

void TextReport::help(const std::string& text) { output_.write(text); }

void TextReport::version(const std::string& program, const std::string& module,
                         const std::string& notice) {
  output_.write(
      "OstriaDiagnosticsCLI " + program + "\n" +
      (module.empty() ? notice : style_.texts.say("version.module", {{"version", module}})) + "\n");
}

}  // namespace ostria::host
