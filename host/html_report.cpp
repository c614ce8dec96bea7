#include "host/html_report.h"

#include <algorithm>
#include <charconv>
#include <map>

#include "host/catalogue.h"
#include "host/html_style.h"
#include "host/surface_map.h"
#include "host/terminal.h"
#include "host/tool_runner.h"

namespace ostria::host {
namespace {

constexpr std::size_t kMapColumns = 64;
constexpr std::size_t kMapRows = 12;
constexpr std::size_t kCell = 10;

// Tests that read the surface and list what they could not read.
constexpr storage::Identifier kSurfaceTests[] = {{1, 2, 13}, {1, 2, 16}};

std::string badge(const std::string& word, const std::string& text) {
  return "<span class=\"badge " + word + "\">" + htmlEscaped(text) + "</span>";
}

std::string badge(ExitCode outcome) { return badge(outcomeWord(outcome), outcomeText(outcome)); }

std::string definition(const std::string& label, const std::string& value) {
  if (value.empty()) return {};
  return "<dt>" + htmlEscaped(label) + "</dt><dd>" + htmlEscaped(value) + "</dd>\n";
}

std::string cell(const std::string& value, bool number = false) {
  return (number ? "<td class=\"number\">" : "<td>") + htmlEscaped(value) + "</td>";
}

// A horizontal bar of `part` out of 100 with a mark at `limit`, none when that is 0.
std::string bar(unsigned part, unsigned limit, bool bad) {
  part = std::min(part, 100U);
  std::string svg =
      "<svg class=\"bar\" viewBox=\"0 0 100 10\" preserveAspectRatio=\"none\" aria-hidden=\"true\">"
      "<rect width=\"100\" height=\"10\" fill=\"#d9dee5\"/><rect width=\"" +
      std::to_string(part) + "\" height=\"10\" fill=\"" + (bad ? "#b3261e" : "#1b7f3b") + "\"/>";
  if (limit > 0 && limit < 100) {
    svg +=
        "<rect x=\"" + std::to_string(limit) + "\" width=\"1.5\" height=\"10\" fill=\"#1c2430\"/>";
  }
  return svg + "</svg>";
}

int leadingNumber(const std::string& text) {
  int number = -1;
  std::from_chars(text.data(), text.data() + text.size(), number);
  return number;
}

std::string smartTable(const std::vector<SmartRow>& rows) {
  if (rows.empty()) return {};
  const bool ata = std::any_of(rows.begin(), rows.end(),
                               [](const SmartRow& row) { return !row.threshold.empty(); });
  std::string html = "<div class=\"wide\"><table><thead><tr>";
  for (const char* title :
       ata ? std::vector<const char*>{"ID", "Attribute", "", "Value", "Worst", "Limit", "Data"}
           : std::vector<const char*>{"Field", "", "Data"}) {
    html += std::string("<th>") + title + "</th>";
  }
  html += "</tr></thead><tbody>\n";
  for (const SmartRow& row : rows) {
    const bool bad = row.isBelowThreshold();
    html += bad ? "<tr class=\"bad\">" : "<tr>";
    if (ata) {
      const int value = std::max(leadingNumber(row.value), 0);
      const int limit = std::max(leadingNumber(row.threshold), 0);
      html += cell(row.id, true) + cell(row.name + (bad ? " (below limit)" : "")) + "<td>" +
              bar(static_cast<unsigned>(value), static_cast<unsigned>(limit), bad) + "</td>" +
              cell(row.value, true) + cell(row.worst, true) + cell(row.threshold, true) +
              cell(row.data, true);
    } else {
      const int part = row.data.ends_with(" %") ? leadingNumber(row.data) : -1;
      html += cell(row.name) + "<td>" +
              (part >= 0 ? bar(static_cast<unsigned>(part), 0, false) : std::string()) + "</td>" +
              cell(row.data, true);
    }
    html += "</tr>\n";
  }
  return html + "</tbody></table></div>\n";
}

std::string surfaceMap(const std::vector<SectorRange>& ranges, std::uint64_t totalSectors,
                       bool complete) {
  constexpr std::size_t kCells = kMapColumns * kMapRows;
  const std::string width = std::to_string(kMapColumns * kCell);
  const std::string height = std::to_string(kMapRows * kCell);
  const auto bad = badCells(ranges, totalSectors, kCells);
  const std::string fill = complete ? "good" : "unread";
  std::string html = "<svg class=\"map\" role=\"img\" aria-label=\"Map of the surface: " +
                     std::to_string(bad.size()) + " of " + std::to_string(kCells) +
                     " cells hold bad sectors\" viewBox=\"0 0 " + width + " " + height +
                     "\"><defs><pattern id=\"" + fill +
                     "\" width=\"10\" height=\"10\" "
                     "patternUnits=\"userSpaceOnUse\"><rect width=\"9\" height=\"9\" "
                     "fill=\"" +
                     (complete ? "#bfe3ca" : "#d9dee5") + "\"/></pattern></defs><rect width=\"" +
                     width + "\" height=\"" + height + "\" fill=\"url(#" + fill + ")\"/>\n";
  for (const std::size_t index : bad) {
    const std::uint64_t first = firstSectorOf(index, totalSectors, kCells);
    const std::uint64_t next = firstSectorOf(index + 1, totalSectors, kCells);
    html += "<rect x=\"" + std::to_string(index % kMapColumns * kCell) + "\" y=\"" +
            std::to_string(index / kMapColumns * kCell) +
            "\" width=\"9\" height=\"9\" fill=\"#b3261e\" stroke=\"#1c2430\"><title>Sectors " +
            std::to_string(first) + " to " + std::to_string(next == 0 ? 0 : next - 1) +
            "</title></rect>\n";
  }
  html +=
      "</svg><p class=\"soft\">From the first sector (top left) to the last (bottom right); "
      "each cell stands for about " +
      std::to_string(std::max<std::uint64_t>(totalSectors / kCells, 1)) +
      " sectors. Red: bad sectors in it.";
  if (!complete) {
    html += " The run did not read the whole device, so nothing is known of the other cells.";
  }
  return html + "</p>\n";
}

std::string messageHtml(const std::string& text) {
  const bool table = text.find('\t') != std::string::npos;
  if (!table) return "<p>" + htmlEscaped(text) + "</p>";
  std::string html = "<table>";
  std::size_t at = 0;
  while (at < text.size()) {
    const std::size_t end = std::min(text.find('\n', at), text.size());
    html += "<tr>";
    for (std::size_t begin = at; begin <= end;) {
      const std::size_t stop = std::min(text.find('\t', begin), end);
      html += cell(text.substr(begin, stop - begin));
      begin = stop + 1;
    }
    html += "</tr>";
    at = end + 1;
  }
  return html + "</table>";
}

// A sample leaves most of the surface unread, and so does a scan that met its limit of bad blocks.
bool readWholeSurface(const TestRun& run, std::size_t badBlocks) {
  if (run.test.id != kSurfaceTests[0]) return false;
  if (run.outcome == ExitCode::Passed) return true;
  int limit = 1;
  for (const auto& [key, value] : run.parameters) {
    if (key == "ERROR_LIMIT") limit = leadingNumber(value);
  }
  return run.outcome == ExitCode::Failed && badBlocks > 0 &&
         (limit == 0 || badBlocks < static_cast<std::size_t>(std::max(limit, 1)));
}

class Report {
 public:
  explicit Report(const Session& session) : session_(session) {}

  std::string make() {
    html_ =
        "<!doctype html>\n<html lang=\"en\">\n<head><meta charset=\"utf-8\">\n"
        "<meta name=\"viewport\" content=\"width=device-width,initial-scale=1\">\n"
        "<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; "
        "style-src 'unsafe-inline'\">\n<title>Storage report, " +
        htmlEscaped(session_.machine) + "</title>\n<style>" + kReportStyle +
        "</style></head>\n<body><main>\n";
    machine();
    for (const DeviceInfo& device : session_.devices) deviceSection(device);
    html_ += "</main></body>\n</html>\n";
    return std::move(html_);
  }

 private:
  bool hasVerdicts() const {
    return !session_.tests.empty() || std::any_of(session_.tools.begin(), session_.tools.end(),
                                                  [](const ToolRun& run) { return !run.isSmart; });
  }

  void machine() {
    html_ += "<div class=\"head\"><h1>Storage report</h1>" +
             (hasVerdicts() ? badge(session_.outcome()) : std::string()) + "</div>\n<section><dl>";
    html_ += definition("Computer", session_.machine) + definition("System", session_.system);
    html_ += definition("Begun", isoTime(session_.started)) +
             definition("Ended", isoTime(session_.finished));
    html_ += definition("Module interface", session_.moduleVersion) + "</dl>\n";
    for (const std::string& notice : session_.notices) {
      html_ += "<p>" + htmlEscaped(notice) + "</p>\n";
    }
    html_ +=
        "<div class=\"wide\"><table><thead><tr><th>Device</th><th>Result</th><th>Health</th>"
        "</tr></thead><tbody>\n";
    for (const DeviceInfo& device : session_.devices) {
      html_ += "<tr>" + cell(std::to_string(device.index) + ": " + device.name) + "<td>" +
               verdict(device) + "</td>" + cell(health(device)) + "</tr>\n";
    }
    html_ += "</tbody></table></div></section>\n";
  }

  std::string verdict(const DeviceInfo& device) const {
    bool any = false;
    ExitCode worst = ExitCode::Passed;
    for (const TestRun& run : session_.tests) {
      if (run.device != device.index || !run.applicable) continue;
      worst = worse(worst, run.outcome);
      any = true;
    }
    for (const ToolRun& run : session_.tools) {
      // Attributes that could be read are no verdict on the device.
      if (run.device != device.index || !run.applicable || run.isSmart) continue;
      worst = worse(worst, run.outcome);
      any = true;
    }
    return any ? badge(worst) : badge("not_performed", "not tested");
  }

  static std::string health(const DeviceInfo& device) {
    const auto below = std::count_if(device.smart.begin(), device.smart.end(),
                                     [](const SmartRow& row) { return row.isBelowThreshold(); });
    std::string text =
        !device.smartSupported ? "SMART not supported"
        : below > 0 ? std::to_string(below) + (below == 1 ? " SMART value below its limit"
                                                          : " SMART values below their limit")
                    : "No SMART value below its limit";
    if (device.temperatureCelsius) {
      text += ", " + std::to_string(*device.temperatureCelsius) + " °C";
    }
    return text;
  }

  void deviceSection(const DeviceInfo& device) {
    html_ += "<section><div class=\"head\"><h2>Device " + std::to_string(device.index) + ": " +
             htmlEscaped(device.name) + "</h2>" + verdict(device) + "</div>\n<dl>";
    html_ += definition("Connection", device.connection + ", " + device.bus);
    for (const ShownProperty& row : device.properties) html_ += definition(row.label, row.value);
    html_ += "</dl>\n";
    verdicts(device);
    maps(device);
    tools(device);
    if (!device.smart.empty()) html_ += "<h3>SMART</h3>\n" + smartTable(device.smart);
    if (!device.logPage.empty()) html_ += "<h3>Vendor log page</h3>\n" + smartTable(device.logPage);
    for (const ShownSection& section : device.sections) {
      html_ += "<h3>" + htmlEscaped(section.title) + "</h3><dl>";
      for (const ShownProperty& row : section.properties) html_ += definition(row.label, row.value);
      html_ += "</dl>\n";
    }
    html_ += "</section>\n";
  }

  void verdicts(const DeviceInfo& device) {
    std::string rows;
    for (const TestRun& run : session_.tests) {
      if (run.device != device.index) continue;
      rows += "<tr><td>" +
              (run.applicable ? badge(run.outcome) : badge("not_supported", "not supported")) +
              "</td><td><strong>" + htmlEscaped(run.test.name) + "</strong>";
      for (const auto& [key, value] : run.parameters) {
        rows += "<br><span class=\"soft\">" + htmlEscaped(key + "=" + value) + "</span>";
      }
      for (const Message& message : run.messages) rows += messageHtml(message.text);
      if (!run.note.empty()) rows += messageHtml(run.note);
      const auto duration =
          std::chrono::duration_cast<std::chrono::seconds>(run.finished - run.started);
      rows += "</td>" + cell(durationText(duration), true) + "</tr>\n";
    }
    if (rows.empty()) return;
    html_ +=
        "<h3>Tests</h3>\n<div class=\"wide\"><table><thead><tr><th>Result</th><th>Test</th>"
        "<th>Time</th></tr></thead><tbody>\n" +
        rows + "</tbody></table></div>\n";
  }

  void maps(const DeviceInfo& device) {
    if (!device.logicalSectors || *device.logicalSectors == 0) return;
    for (const TestRun& run : session_.tests) {
      const bool surface = std::find(std::begin(kSurfaceTests), std::end(kSurfaceTests),
                                     run.test.id) != std::end(kSurfaceTests);
      if (run.device != device.index || !surface || !run.applicable) continue;
      std::vector<SectorRange> ranges;
      for (const Message& message : run.messages) {
        const auto found = rangesOf(message.key);
        ranges.insert(ranges.end(), found.begin(), found.end());
      }
      const bool complete = readWholeSurface(run, ranges.size());
      if (ranges.empty() && run.outcome != ExitCode::Passed) continue;
      html_ += "<h3>Surface, " + htmlEscaped(run.test.name) + "</h3>\n" +
               surfaceMap(ranges, *device.logicalSectors, complete);
    }
    for (const ToolRun& run : session_.tools) {
      if (run.device != device.index || !run.hasSectors) continue;
      std::vector<SectorRange> ranges;
      for (const std::uint64_t sector : run.badSectors) ranges.emplace_back(sector, sector);
      html_ += "<h3>Surface</h3>\n" + surfaceMap(ranges, *device.logicalSectors,
                                                 run.sectorsScanned >= *device.logicalSectors);
    }
  }

  void tools(const DeviceInfo& device) {
    for (const ToolRun& run : session_.tools) {
      if (run.device != device.index || (run.isSmart && run.outcome == ExitCode::Passed)) continue;
      html_ += "<h3>" + htmlEscaped(session_.toolTitle) + "</h3>\n<p>" + badge(run.outcome) +
               (run.status ? " " + std::string(statusText(*run.status, false)) : std::string()) +
               "</p>\n";
      if (!run.note.empty()) html_ += "<p>" + htmlEscaped(run.note) + "</p>\n";
      if (run.hasSectors) {
        html_ += "<dl>" + definition("Sectors read", std::to_string(run.sectorsScanned)) +
                 definition("Bad sectors found", std::to_string(run.badSectorsFound)) +
                 definition("Bad sectors repaired", std::to_string(run.badSectorsRepaired)) +
                 "</dl>\n";
      }
      for (const PartitionResult& partition : run.partitions) {
        html_ += "<p>" + badge(partition.outcome) + " " + htmlEscaped(partition.name) + ": " +
                 statusText(partition.status, true) + "</p>\n";
        for (const std::string& note : partition.notes) {
          html_ += "<p>" + htmlEscaped(note) + "</p>\n";
        }
        if (!partition.report.empty()) {
          html_ += "<pre>" + htmlEscaped(partition.report) + "</pre>\n";
        }
      }
    }
  }

  const Session& session_;
  std::string html_;
};

}  // namespace

std::string htmlEscaped(std::string_view text) {
  std::string out;
  for (const char c : text) {
    switch (c) {
      case '&':
        out += "&amp;";
        break;
      case '<':
        out += "&lt;";
        break;
      case '>':
        out += "&gt;";
        break;
      case '"':
        out += "&quot;";
        break;
      case '\'':
        out += "&#39;";
        break;
      case '\n':
        out += c;
        break;
      default:
        out += static_cast<unsigned char>(c) < 0x20 || c == 0x7F ? '?' : c;
    }
  }
  return out;
}

std::string htmlReport(const Session& session) { return Report(session).make(); }

}  // namespace ostria::host
