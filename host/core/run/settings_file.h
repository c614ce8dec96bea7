// The configuration file of the user.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "host/core/user_error.h"
#include "ostria/storage/configuration.h"

namespace ostria::host {

/// Reads the text of a configuration file: "[SECTION]" and "KEY=VALUE" lines, ";" begins a comment.
/// Names are folded to capitals. `name` is the file's name in sentences.
/// @param blankEnded  gets the keys of values that blanks or tabs follow, which are no part of the
///                    value here; may be null
OrUsageError<storage::ConfigurationMap> readConfiguration(
    std::string_view text, const std::string& name, std::vector<std::string>* blankEnded = nullptr);

/// The sentence for a value that a test refused.
UsageError refusedSetting(const storage::ConfigurationError& error, const std::string& name);

}  // namespace ostria::host
