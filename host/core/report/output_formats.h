// The outputs that a user can ask for beside plain text. A new one is a source that defines its
// function, and a row here.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "host/core/report/output_format.h"
#include "host/core/texts/texts.h"

namespace ostria::host {

/// One JSON document, docs/output.schema.json.
std::unique_ptr<OutputFormat> makeJsonOutput(WriteText write, const Texts& texts);
/// One HTML file that needs nothing beside it: the machine, each device with its identity, state,
/// SMART data, verdicts and a map of its surface where one was scanned.
std::unique_ptr<OutputFormat> makeHtmlOutput(WriteText write, const Texts& texts);
/// One line for each result, for the process that has this one test a drive: job_lines.h.
std::unique_ptr<OutputFormat> makeJobOutput(WriteText write, const Texts& texts);
/// Numbers for the textfile collector of a Prometheus node exporter, docs/metrics.md.
std::unique_ptr<OutputFormat> makeMetricsOutput(WriteText write, const Texts& texts);

/// One result as the JSON document has it, in one line.
std::string testRunJson(const TestRun& run);
std::string toolRunJson(const ToolRun& run, const Session& session, const Texts& texts);

struct OutputFormatRow {
  std::string_view option;  ///< on the command line, behind "--"
  bool toFile;              ///< the option takes a file; otherwise it replaces the plain text
  std::unique_ptr<OutputFormat> (*make)(WriteText write, const Texts& texts);
  /// It goes to a collector of the machine: made of the list as well, readable by everybody, and
  /// with the last run of each test.
  bool collected = false;
};

inline constexpr OutputFormatRow kOutputFormats[] = {
    {"json", false, makeJsonOutput},
    {"report", true, makeHtmlOutput},
    {"job-lines", false, makeJobOutput},
    {"metrics", true, makeMetricsOutput, true},
};

/// The row of an option, null when there is none.
inline const OutputFormatRow* findOutputFormat(std::string_view option) {
  for (const OutputFormatRow& row : kOutputFormats) {
    if (row.option == option) {
      return &row;
    }
  }
  return nullptr;
}

}  // namespace ostria::host
