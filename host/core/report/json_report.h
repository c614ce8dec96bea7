#pragma once

#include <string>

#include "host/core/model/results.h"
#include "host/core/report/history.h"
#include "host/core/user_error.h"

namespace ostria::host {

/// Name and version of the form of the JSON documents. The version changes when a key does.
inline constexpr const char* kJsonSchema = "ostria.storage.diagnostics";
inline constexpr const char* kJsonVersion = "1.1";

/// Each returns one document with a line end behind it.
std::string listJson(const Session& session);
std::string detailsJson(const Session& session);
std::string runJson(const Session& session);
std::string historyJson(const std::vector<HistoryRecord>& records);
/// A document that says why there is no other.
std::string helpJson(const std::string& text);
/// @param module  empty when the module cannot be loaded, for the reason in `notice`
std::string versionJson(const std::string& program, const std::string& module,
                        const std::string& notice);
std::string errorJson(const std::string& sentence, ExitCode code);

}  // namespace ostria::host
