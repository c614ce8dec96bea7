// The run as one HTML file. It runs no script and loads nothing, and says so in its policy: what a
// device calls itself must not become more than text, even if an escape were forgotten.
#include <algorithm>

#include "host/core/model/tool_status.h"
#include "host/core/report/html_parts.h"
#include "host/core/report/html_style.h"
#include "host/core/report/output_formats.h"

namespace ostria::host {
namespace {

// Tests that read the surface and list what they could not read.
constexpr storage::Identifier kSurfaceTests[] = {{1, 2, 13}, {1, 2, 16}};

std::chrono::seconds secondsBetween(Clock::time_point begin, Clock::time_point end) {
  return std::chrono::duration_cast<std::chrono::seconds>(end - begin);
}

// A sample leaves most of the surface unread, and so does a scan that met its limit of bad blocks.
bool readWholeSurface(const TestRun& run, std::size_t badBlocks) {
  if (run.test.id != kSurfaceTests[0]) {
    return false;
  }
  if (run.outcome == ExitCode::Passed) {
    return true;
  }
  int limit = 1;
  for (const auto& [key, value] : run.parameters) {
    if (key == "ERROR_LIMIT") {
      limit = leadingNumber(value);
    }
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
    for (const DeviceInfo& device : session_.devices) {
      deviceSection(device);
    }
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
    html_ +=
        definition("Begun", isoTime(session_.started)) +
        definition("Ended", isoTime(session_.finished) + ", after " +
                                durationText(secondsBetween(session_.started, session_.finished)));
    html_ += definition("Module interface", session_.moduleVersion) + "</dl>\n";
    for (const std::string& notice : session_.notices) {
      html_ += "<p>" + htmlEscaped(notice) + "</p>\n";
    }
    html_ +=
        "<div class=\"wide\"><table><thead><tr><th>Device</th><th>Result</th><th>Health</th>"
        "</tr></thead><tbody>\n";
    for (const DeviceInfo& device : session_.devices) {
      const std::string number = std::to_string(device.index);
      html_ += "<tr><td><a href=\"#device-" + number + "\">" + number + ": " +
               htmlEscaped(device.name) + "</a></td><td>" + verdict(device) + "</td>" +
               cell(health(device)) + "</tr>\n";
    }
    html_ += "</tbody></table></div></section>\n";
  }

  std::string verdict(const DeviceInfo& device) const {
    bool any = false;
    ExitCode worst = ExitCode::Passed;
    for (const TestRun& run : session_.tests) {
      if (run.device != device.index || !run.applicable) {
        continue;
      }
      worst = worse(worst, run.outcome);
      any = true;
    }
    for (const ToolRun& run : session_.tools) {
      // Attributes that could be read are no verdict on the device.
      if (run.device != device.index || !run.applicable || run.isSmart) {
        continue;
      }
      worst = worse(worst, run.outcome);
      any = true;
    }
    return any ? badge(worst) : badge("not_performed", "not tested");
  }

  static std::string health(const DeviceInfo& device) {
    std::string text;
    for (const SmartRow& row : device.smart) {
      if (!needsAttention(row, device.smart)) {
        continue;
      }
      text += text.empty() ? "Needs attention: " : ", ";
      text += row.name + (row.threshold.empty() ? " " + row.data : std::string());
    }
    if (text.empty()) {
      text = device.smartSupported ? "No SMART value beyond its limit" : "SMART not supported";
    }
    if (device.temperatureCelsius) {
      text += ", " + std::to_string(*device.temperatureCelsius) + " °C";
    }
    return text;
  }

  void deviceSection(const DeviceInfo& device) {
    html_ += "<section id=\"device-" + std::to_string(device.index) +
             "\"><div class=\"head\"><h2>Device " + std::to_string(device.index) + ": " +
             htmlEscaped(device.name) + "</h2>" + verdict(device) + "</div>\n<dl>";
    html_ += definition("Connection", device.connection + ", " + device.bus);
    for (const ShownProperty& row : device.properties) {
      html_ += definition(row.label, row.value);
    }
    html_ += "</dl>\n";
    verdicts(device);
    maps(device);
    tools(device);
    if (!device.smart.empty()) {
      html_ += "<h3>SMART</h3>\n" + smartTableHtml(device.smart);
    }
    if (!device.logPage.empty()) {
      html_ += "<h3>Vendor log page</h3>\n" + smartTableHtml(device.logPage);
    }
    html_ += sectionsHtml(device.sections);
    html_ += "</section>\n";
  }

  void verdicts(const DeviceInfo& device) {
    std::string rows;
    for (const TestRun& run : session_.tests) {
      if (run.device != device.index) {
        continue;
      }
      rows += "<tr><td>" +
              (run.applicable ? badge(run.outcome) : badge("not_supported", "not supported")) +
              "</td><td><strong>" + htmlEscaped(run.test.name) + "</strong>";
      for (const auto& [key, value] : run.parameters) {
        rows += "<br><span class=\"soft\">" + htmlEscaped(key + "=" + value) + "</span>";
      }
      for (const Message& message : run.messages) {
        rows += messageHtml(message.text);
      }
      if (!run.note.empty()) {
        rows += messageHtml(run.note);
      }
      rows += "</td>" +
              cell(run.applicable ? durationText(secondsBetween(run.started, run.finished))
                                  : std::string(),
                   true) +
              "</tr>\n";
    }
    if (rows.empty()) {
      return;
    }
    html_ +=
        "<h3>Tests</h3>\n<div class=\"wide\"><table><thead><tr><th>Result</th><th>Test</th>"
        "<th class=\"number\">Time</th></tr></thead><tbody>\n" +
        rows + "</tbody></table></div>\n";
  }

  void maps(const DeviceInfo& device) {
    if (!device.logicalSectors || *device.logicalSectors == 0) {
      return;
    }
    for (const TestRun& run : session_.tests) {
      const bool surface = std::find(std::begin(kSurfaceTests), std::end(kSurfaceTests),
                                     run.test.id) != std::end(kSurfaceTests);
      if (run.device != device.index || !surface || !run.applicable) {
        continue;
      }
      std::vector<SectorRange> ranges;
      for (const Message& message : run.messages) {
        const auto found = rangesOf(message.key);
        ranges.insert(ranges.end(), found.begin(), found.end());
      }
      const bool complete = readWholeSurface(run, ranges.size());
      // A sample that found nothing has nothing to show.
      if (ranges.empty() && !complete) {
        continue;
      }
      html_ += "<h3>Surface, " + htmlEscaped(run.test.name) + "</h3>\n" +
               surfaceMapHtml(ranges, *device.logicalSectors, complete);
    }
    for (const ToolRun& run : session_.tools) {
      if (run.device != device.index || !run.hasSectors) {
        continue;
      }
      std::vector<SectorRange> ranges;
      for (const std::uint64_t sector : run.badSectors) {
        ranges.emplace_back(sector, sector);
      }
      html_ += "<h3>Surface</h3>\n" + surfaceMapHtml(ranges, *device.logicalSectors,
                                                     run.sectorsScanned >= *device.logicalSectors);
    }
  }

  void tools(const DeviceInfo& device) {
    for (const ToolRun& run : session_.tools) {
      if (run.device != device.index || (run.isSmart && run.outcome == ExitCode::Passed)) {
        continue;
      }
      html_ += "<h3>" + htmlEscaped(session_.toolTitle) + "</h3>\n<p>" + badge(run.outcome) +
               (run.status ? " " + std::string(statusText(*run.status, false)) : std::string()) +
               "</p>\n";
      if (!run.note.empty()) {
        html_ += "<p>" + htmlEscaped(run.note) + "</p>\n";
      }
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

class HtmlOutput final : public OutputFormat {
 public:
  explicit HtmlOutput(WriteText write) : write_(std::move(write)) {}
  void begin(DocumentKind /*kind*/, const Session& session) override { session_ = &session; }
  void end() override { write_(Report(*session_).make()); }

 private:
  WriteText write_;
  const Session* session_ = nullptr;
};

}  // namespace

std::unique_ptr<OutputFormat> makeHtmlOutput(WriteText write) {
  return std::make_unique<HtmlOutput>(std::move(write));
}

}  // namespace ostria::host
