// The files that a run leaves where the user asked for them.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "host/cli/command_line.h"
#include "host/core/report/output_format.h"
#include "host/core/texts/texts.h"
#include "host/platform/files.h"

namespace ostria::host {

/// Reports, and the list of bad sectors.
class RunFiles {
 public:
  /// Finds out whether they can be written, which is better known before a test of two hours.
  UsageError prepare(const CommandLine& line);
  /// Writes the captured drives; that they were lost is a notice of the session.
  /// @return whether they were kept
  bool writeCapture(const std::string& machine, Session& session, const Texts& texts);
  /// Writes the others; those that were lost are notices of the session.
  /// @return whether all were kept
  bool write(DocumentKind kind, Session& session, const Texts& texts);

 private:
  struct Report {
    ChosenReport chosen;
    std::unique_ptr<WholeFile> file;
  };

  std::vector<Report> reports_;
  std::string captureName_;
  std::unique_ptr<WholeFile> capture_;  ///< null: not asked for
  std::string sectorsName_;
  std::unique_ptr<WholeFile> sectors_;  ///< null: not asked for
};

}  // namespace ostria::host
