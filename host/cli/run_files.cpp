// All of them are opened before the first device and kept after the last, so that a run of a night
// ends with whole files or with a notice.
#include "host/cli/run_files.h"

#include <utility>

#include "host/core/report/plain_text.h"

namespace ostria::host {
namespace {

UsageError prepareFile(const std::string& path, std::unique_ptr<WholeFile>& file,
                       Readers readers = Readers::Owner) {
  auto prepared = WholeFile::prepare(path, readers);
  if (auto* error = std::get_if<UsageError>(&prepared)) {
    return std::move(*error);
  }
  file = std::get<std::unique_ptr<WholeFile>>(std::move(prepared));
  return {};
}

// One sector a line, as other programs take them. With several drives a line that begins with "#"
// says whose they are.
std::string badSectorLines(const Session& session) {
  std::string lines;
  for (const ToolRun& run : session.tools) {
    const DeviceInfo* device = session.device(run.device);
    if (session.tools.size() > 1 && device != nullptr) {
      lines += "# " + std::to_string(run.device) + " " + harmless(device->name) + " " +
               harmless(device->serial) + "\n";
    }
    for (const std::uint64_t sector : run.badSectors) {
      lines += std::to_string(sector) + "\n";
    }
  }
  return lines;
}

}  // namespace

UsageError RunFiles::prepare(const CommandLine& line) {
  for (const ChosenReport& chosen : line.reports) {
    reports_.push_back({chosen, nullptr});
    if (UsageError error =
            prepareFile(chosen.file, reports_.back().file,
                        chosen.format->collected ? Readers::Everybody : Readers::Owner);
        error.isSet()) {
      return error;
    }
  }
  if (line.captureFile) {
    captureName_ = *line.captureFile;
    return prepareFile(captureName_, capture_);
  }
  if (!line.sectorsFile) {
    return {};
  }
  sectorsName_ = *line.sectorsFile;
  return prepareFile(sectorsName_, sectors_);
}

bool RunFiles::writeCapture(const std::string& machine, Session& session, const Texts& texts) {
  capture_->write(machine);
  const bool kept = capture_->keep();
  session.notices.push_back(
      texts.say(kept ? "capture.kept" : "file.report_lost", {{"file", captureName_}}));
  return kept;
}

bool RunFiles::write(DocumentKind kind, Session& session, const Texts& texts) {
  bool allKept = true;
  const auto keep = [&](WholeFile& file, const std::string& name) {
    if (!file.keep()) {
      session.notices.push_back(texts.say("file.report_lost", {{"file", name}}));
      allKept = false;
    }
  };
  for (const Report& report : reports_) {
    const auto format =
        report.chosen.format->make([&](std::string_view text) { report.file->write(text); }, texts);
    writeSession(*format, kind, session);
    keep(*report.file, report.chosen.file);
  }
  if (sectors_ != nullptr) {
    sectors_->write(badSectorLines(session));
    keep(*sectors_, sectorsName_);
  }
  return allKept;
}

}  // namespace ostria::host
