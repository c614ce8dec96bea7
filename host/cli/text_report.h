// Plain text for people on standard output.
#pragma once

#include <string>
#include <vector>

#include "host/cli/terminal.h"
#include "host/core/model/results.h"
#include "host/core/report/output_format.h"
#include "host/core/texts/texts.h"

namespace ostria::host {

/// How text for people is laid out, and in which words.
struct TextStyle {
  std::size_t width = 0;  ///< columns; 0: no limit
  bool colour = false;
  const Texts& texts;
};

/// The output that a user gets without asking for another.
class TextReport final : public OutputFormat {
 public:
  /// @param error       gets the notices of a list, whose output is often piped on
  /// @param errorWidth  its columns; 0: no limit
  TextReport(Output& output, Output& error, const TextStyle& style, std::size_t errorWidth)
      : output_(output), error_(error), style_(style), errorWidth_(errorWidth) {}

  void begin(DocumentKind kind, const Session& session) override;
  void setQuiet() override { quiet_ = true; }
  void device(const DeviceInfo& device) override;
  void testResult(const TestRun& run) override;
  void toolResult(const ToolRun& run) override;
  void end() override;
  void history(const std::vector<HistoryRecord>& records) override;
  void comparison(const Comparison& comparison) override;
  void help(const std::string& text) override;
  void version(const std::string& program, const std::string& module,
               const std::string& notice) override;

 private:
  void writeResult(ExitCode outcome, const std::string& text);
  std::vector<DeviceInfo> shown(const std::vector<DeviceInfo>& devices) const;

  Output& output_;
  Output& error_;
  TextStyle style_;
  std::size_t errorWidth_;
  DocumentKind kind_ = DocumentKind::List;
  const Session* session_ = nullptr;
  bool first_ = true;
  bool quiet_ = false;
  const DeviceInfo* pending_ = nullptr;  ///< whose heading waits for something below it
};

}  // namespace ostria::host
