// The arguments of the command line.
#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "host/core/report/output_formats.h"
#include "host/core/texts/texts.h"
#include "host/core/user_error.h"

namespace ostria::host {

/// An option that is none of the host's own: a diagnostic of the module, as it was written.
struct ModuleOption {
  std::string written;  ///< for messages: "-Q", "--quick"
  std::string name;     ///< "Q" or "quick"
  bool isLong = false;
  std::optional<std::string> value;  ///< what stood directly behind it
};

/// An output that goes to a file of its own.
struct ChosenReport {
  const OutputFormatRow* format;
  std::string file;
};

/// The arguments, sorted, but not yet checked against what the module offers.
struct CommandLine {
  bool help = false;
  bool version = false;
  bool list = false;
  bool show = false;
  bool jsonProgress = false;
  bool redact = false;
  bool readOnly = false;
  bool record = false;
  bool history = false;
  bool compare = false;
  std::string historyTest;   ///< of --test: identifier or a part of a name
  std::string historySince;  ///< of --since: beginning of an ISO time
  bool virtualPc = false;
  bool quiet = false;         ///< only what is not good
  std::size_t jobs = 1;       ///< drives that are tested at the same time
  bool wake = false;          ///< sleeping drives, also for what only looks at them
  bool forceMounted = false;  ///< repair a disk whose volumes are in use
  std::optional<std::string> module;
  std::optional<std::string> machineFile;
  std::optional<std::string> configFile;
  std::optional<std::string> textsFile;
  std::optional<std::string> captureFile;                  ///< gets the drives as a machine file
  std::optional<std::string> sectorsFile;                  ///< gets the bad sectors, one a line
  std::vector<std::pair<std::string, std::string>> notes;  ///< of the user, for the report
  std::optional<bool> assume;
  std::vector<std::pair<std::string, std::string>> settings;  ///< of --set: key and value
  std::vector<std::string> assumeWrite;     ///< serial numbers of drives that may be written to
  const OutputFormatRow* format = nullptr;  ///< of standard output; null: plain text
  std::vector<ChosenReport> reports;
  std::vector<ModuleOption> moduleOptions;
  std::vector<std::string> operands;

  /// Whether one of the reports goes to a collector.
  bool isCollected() const;
};

/// @param arguments  without the program's name
OrUsageError<CommandLine> readCommandLine(const std::vector<std::string>& arguments);

/// The output that the arguments ask for instead of plain text, found even when they are wrong
/// otherwise; null for none.
const OutputFormatRow* formatAskedFor(const std::vector<std::string>& arguments);

/// Whether progress is asked for as JSON lines, found even when the arguments are wrong otherwise.
bool isJsonProgress(const std::vector<std::string>& arguments);

/// The host's own options, for `--help`.
std::string hostOptionsHelp(const Texts& texts);

}  // namespace ostria::host
