// The settings of a run: of a file, and of the command line.
#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "host/core/file_reader.h"
#include "host/core/model/module_catalogue.h"
#include "host/core/run/selection.h"
#include "host/core/user_error.h"
#include "ostria/storage/configuration.h"

namespace ostria::host {

/// A setting as it was written on the command line.
using GivenSetting = std::pair<std::string, std::string>;

/// What is in force, and where it comes from.
struct Settings {
  storage::ConfigurationMap map;
  std::string source;               ///< for sentences: the file, or the option
  std::vector<UsageError> notices;  ///< which file was used, and what in it is not known
  /// A self-test routine of the file that keeps the drive busy or that only its maker knows.
  std::optional<std::string> riskyRoutine;
};

/// Reads the settings, of the named file or of the usual one if that is there and can be trusted.
/// Those of the command line win.
OrUsageError<Settings> readSettings(const std::optional<std::string>& named,
                                    const std::vector<GivenSetting>& given, const FileReader& read);

/// Gives the settings to every test. The sentence of the first one that refuses them.
UsageError applySettings(const Catalogue& catalogue, const Settings& settings);

/// Whether a test that runs the routine of the settings is chosen.
bool usesRoutine(const Selection& selection, const Catalogue& catalogue);

}  // namespace ostria::host
