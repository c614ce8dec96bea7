// The run as one HTML file. It runs no script and loads nothing, and says so in its policy: what a
// device calls itself must not become more than text, even if an escape were forgotten.
#include <algorithm>

#include "host/core/model/tool_status.h"
#include "host/core/report/health_text.h"
#include "host/core/report/html_parts.h"
#include "host/core/report/html_style.h"
#include "host/core/report/output_formats.h"
#include "ostria/storage/test_ids.h"

namespace ostria::host {
namespace {

// Tests that read the surface and list what they could not read.
constexpr storage::Identifier kSurfaceTests[] = {storage::ids::kFullDiskScan,
                                                 storage::ids::kLinearRead};

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
  Report(const Session& session, const Texts& texts) : session_(session), texts_(texts) {}

  std::string make() {
    html_ = "<!doctype html>\n<html lang=\"" + say("report.language") +
            "\">\n<head><meta charset=\"utf-8\">\n"
            "<meta name=\"viewport\" content=\"width=device-width,initial-scale=1\">\n"
            "<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; "
            "style-src 'unsafe-inline'\">\n<title>" +
            say("report.title") + ", " + htmlEscaped(session_.machine) + "</title>\n<style>" +
            kReportStyle + "</style></head>\n<body><main>\n";
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

  // A file that was not kept says nothing of the drives.
  ExitCode stopped() const {
    return session_.ending == ExitCode::Stopped ? ExitCode::Stopped : ExitCode::Passed;
  }

  void machine() {
    html_ += "<div class=\"head\"><h1>" + say("report.title") + "</h1>" +
             badge(worse(hasVerdicts() ? session_.outcome() : session_.healthOutcome(), stopped()),
                   texts_) +
             "</div>\n<section><dl>";
    html_ += definition(texts_.say("report.computer"), session_.machine) +
             definition(texts_.say("report.system"), session_.system);
    for (const auto& [key, text] : session_.notes) {
      html_ += definition(key, text);
    }
    html_ += definition(texts_.say("report.started"), bothTimes(session_.started)) +
             definition(texts_.say("report.finished"),
                        texts_.say("report.finished_after",
                                   {{"time", bothTimes(session_.finished)},
                                    {"duration", durationText(secondsBetween(
                                                     session_.started, session_.finished))}}));
    html_ += definition(texts_.say("report.program"), session_.programVersion) +
             definition(texts_.say("report.module"), session_.moduleVersion) + "</dl>\n";
    for (const std::string& notice : session_.notices) {
      html_ += "<p>" + htmlEscaped(notice) + "</p>\n";
    }
    html_ += "<div class=\"wide\"><table><thead><tr>" + headCell(texts_.say("list.device")) +
             headCell(texts_.say("report.result")) + headCell(texts_.say("report.health")) +
             "</tr></thead><tbody>\n";
    for (const DeviceInfo* row : worstFirst(session_)) {
      const DeviceInfo& device = *row;
      const std::string number = std::to_string(device.index);
      html_ +=
          "<tr><td><a href=\"#device-" + number + "\">" + number + ": " + htmlEscaped(device.name) +
          "</a>" + (device.serial.empty() ? std::string() : "<br>" + htmlEscaped(device.serial)) +
          (device.names.node.empty() ? std::string() : "<br>" + htmlEscaped(device.names.node)) +
          "</td><td>" + verdict(device) + "</td><td>" + health(device) + "</td></tr>\n";
    }
    html_ += "</tbody></table></div></section>\n";
  }

  // UTC for whoever compares, local time for whoever was there.
  std::string bothTimes(Clock::time_point time) const {
    return texts_.say("report.both_times", {{"utc", isoTime(time)}, {"local", localTime(time)}});
  }

  std::string verdict(const DeviceInfo& device) const {
    bool any = false;
    ExitCode worst = ExitCode::Passed;
    for (const TestRun& run : session_.tests) {
      if (run.device != device.index || !run.applicable ||
          (!run.named && run.outcome == ExitCode::NotPerformed)) {
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
    return any ? badge(worst, texts_) : badge("not_performed", texts_.say("report.not_tested"));
  }

  std::string health(const DeviceInfo& device) const {
    std::string html = badge(std::string("health_") + verdictWord(device.health.verdict),
                             verdictText(device.health, texts_));
    const auto reasons = reasonsOf(device.health);
    html += "<ul>";
    for (const HealthReason& reason : reasons) {
      html += "<li>" + htmlEscaped(reasonText(reason, texts_)) + "</li>";
    }
    html += "</ul>";
    const std::string advice = adviceText(device.health, texts_);
    html += advice.empty() ? "" : "<p><strong>" + htmlEscaped(advice) + "</strong></p>";
    const std::string since = sinceLastTimeText(device, texts_);
    html += since.empty() ? "" : "<p>" + htmlEscaped(since) + "</p>";
    const std::string numbers = numbersText(device, texts_);
    return html + (numbers.empty() ? "" : "<p class=\"soft\">" + htmlEscaped(numbers) + "</p>");
  }

  void deviceSection(const DeviceInfo& device) {
    html_ +=
        "<section id=\"device-" + std::to_string(device.index) + "\"><div class=\"head\"><h2>" +
        htmlEscaped(texts_.say("device.title",
                               {{"device", std::to_string(device.index)}, {"name", device.name}})) +
        "</h2>" + verdict(device) + "</div>\n<dl>";
    html_ += definition(texts_.say("list.connection"),
                        texts_.say("connection." + device.connection) + ", " + device.bus);
    html_ += definition(texts_.say("list.node"), device.names.node) +
             definition(texts_.say("names.wwn"), device.names.wwn) +
             definition(texts_.say("raid.controller"), device.raid.controller) +
             definition(texts_.say("raid.port"), device.raid.port) +
             definition(texts_.say("raid.sets"), raidSetsText(device.raid, texts_));
    for (const ShownProperty& row : device.properties) {
      html_ += definition(row.label, row.value);
    }
    html_ += "</dl>\n";
    verdicts(device);
    maps(device);
    tools(device);
    if (!device.evidence.rows.empty()) {
      html_ +=
          "<h3>" + say("smart.title") + "</h3>\n" + smartTableHtml(device.evidence.rows, texts_);
    }
    if (!device.logPage.empty()) {
      html_ +=
          "<h3>" + say("smart.vendor_log") + "</h3>\n" + smartTableHtml(device.logPage, texts_);
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
              (run.applicable ? badge(run.outcome, texts_)
                              : badge("not_supported", texts_.say("tool.unsupported"))) +
              "</td><td><strong>" + htmlEscaped(run.test.name) + "</strong>";
      if (const std::string text = texts_.explanation(run.test.nameKey); !text.empty()) {
        rows += "<br><span class=\"soft\">" + htmlEscaped(text) + "</span>";
      }
      for (const auto& [key, value] : run.parameters) {
        rows += "<br><span class=\"soft\">" + htmlEscaped(key + "=" + value) + "</span>";
      }
      for (const Message& message : run.messages) {
        rows += messageHtml(message.text);
      }
      if (!run.note.empty()) {
        rows += messageHtml(run.note);
      }
      rows += rangesHtml(run.badRanges);
      rows += "</td>" +
              cell(run.applicable ? durationText(secondsBetween(run.started, run.finished))
                                  : std::string(),
                   true) +
              "</tr>\n";
    }
    if (rows.empty()) {
      return;
    }
    html_ += "<h3>" + say("report.tests") + "</h3>\n<div class=\"wide\"><table><thead><tr>" +
             headCell(texts_.say("report.result")) + headCell(texts_.say("report.test")) +
             headCell(texts_.say("report.time"), true) + "</tr></thead><tbody>\n" + rows +
             "</tbody></table></div>\n";
  }

  static constexpr std::size_t kShownRanges = 1000;

  std::string rangesHtml(const std::vector<SectorRange>& ranges) const {
    if (ranges.empty()) {
      return {};
    }
    std::string text = texts_.say("ranges.title");
    for (std::size_t i = 0; i < std::min(ranges.size(), kShownRanges); ++i) {
      text += (i == 0 ? " " : ", ") + std::to_string(ranges[i].first) +
              (ranges[i].second == ranges[i].first ? "" : " - " + std::to_string(ranges[i].second));
    }
    return "<p>" + htmlEscaped(text + more(ranges.size())) + "</p>";
  }

  std::string more(std::size_t count) const {
    return count <= kShownRanges
               ? std::string()
               : " " +
                     texts_.say("sectors.more", {{"count", std::to_string(count - kShownRanges)}});
  }

  // Each bad sector, after a repair with what became of it.
  std::string sectorsHtml(const ToolRun& run) const {
    if (run.badSectors.empty()) {
      return {};
    }
    std::string text = texts_.say("sectors.at");
    for (std::size_t i = 0; i < std::min(run.badSectors.size(), kShownRanges); ++i) {
      const std::uint64_t sector = run.badSectors[i];
      const bool repaired =
          std::binary_search(run.repairedSectors.begin(), run.repairedSectors.end(), sector);
      text += " " + std::to_string(sector) +
              (!run.repairs
                   ? ""
                   : " (" + texts_.say(repaired ? "sectors.short_repaired" : "sectors.short_bad") +
                         ")") +
              (i + 1 < run.badSectors.size() ? "," : "");
    }
    return "<p>" + htmlEscaped(text + more(run.badSectors.size())) + "</p>\n";
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
      if (readMap(run.reads, run.test.name)) {
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
      html_ += "<h3>" + say("report.surface") + ", " + htmlEscaped(run.test.name) + "</h3>\n" +
               surfaceMapHtml(ranges, *device.logicalSectors, complete, texts_);
    }
    for (const ToolRun& run : session_.tools) {
      if (run.device != device.index || !run.hasSectors || readMap(run.reads, {})) {
        continue;
      }
      std::vector<SectorRange> ranges;
      for (const std::uint64_t sector : run.badSectors) {
        ranges.emplace_back(sector, sector);
      }
      html_ += "<h3>" + say("report.surface") + "</h3>\n" +
               surfaceMapHtml(ranges, *device.logicalSectors,
                              run.sectorsScanned >= *device.logicalSectors, texts_);
    }
  }

  bool readMap(const std::optional<ReadTimes>& reads, const std::string& test) {
    const std::string map = reads ? readMapHtml(*reads, texts_) : std::string();
    if (map.empty()) {
      return false;
    }
    html_ += "<h3>" + say("report.surface") + (test.empty() ? "" : ", " + htmlEscaped(test)) +
             "</h3>\n" + map + readTimesHtml(*reads, texts_);
    return true;
  }

  void tools(const DeviceInfo& device) {
    for (const ToolRun& run : session_.tools) {
      if (run.device != device.index || (run.isSmart && run.note.empty())) {
        continue;
      }
      html_ += "<h3>" + htmlEscaped(session_.toolTitle) + "</h3>\n<p>" +
               badge(run.outcome, texts_) +
               (run.status ? " " + say(statusKey(run)) : std::string()) + "</p>\n";
      if (!run.isSmart) {
        html_ += "<p class=\"soft\">" + say("operation." + session_.operation) + "</p>\n";
      }
      if (!run.note.empty()) {
        html_ += "<p>" + htmlEscaped(run.note) + "</p>\n";
      }
      if (run.hasSectors) {
        html_ += "<dl>" +
                 definition(texts_.say("report.sectors_read"), std::to_string(run.sectorsScanned)) +
                 definition(texts_.say("report.bad_sectors"), std::to_string(run.badSectorsFound)) +
                 definition(texts_.say("report.repaired_sectors"),
                            std::to_string(run.badSectorsRepaired)) +
                 "</dl>\n" + sectorsHtml(run);
      }
      for (const PartitionResult& partition : run.partitions) {
        html_ += "<p>" + badge(partition.outcome, texts_) + " " + htmlEscaped(partition.name) +
                 ": " + say(statusKey(partition.status, true)) + "</p>\n";
        for (const std::string& note : partition.notes) {
          html_ += "<p>" + htmlEscaped(note) + "</p>\n";
        }
        if (!partition.report.empty()) {
          html_ += "<pre>" + htmlEscaped(partition.report) + "</pre>\n";
        }
      }
    }
  }

  std::string say(std::string_view key) const { return htmlEscaped(texts_.say(key)); }

  const Session& session_;
  const Texts& texts_;
  std::string html_;
};

class HtmlOutput final : public OutputFormat {
 public:
  HtmlOutput(WriteText write, const Texts& texts) : write_(std::move(write)), texts_(texts) {}
  void begin(DocumentKind /*kind*/, const Session& session) override { session_ = &session; }
  void end() override { write_(Report(*session_, texts_).make()); }

 private:
  WriteText write_;
  const Texts& texts_;
  const Session* session_ = nullptr;
};

}  // namespace

std::unique_ptr<OutputFormat> makeHtmlOutput(WriteText write, const Texts& texts) {
  return std::make_unique<HtmlOutput>(std::move(write), texts);
}

}  // namespace ostria::host
