// What a process that tests one drive for another reports to it: one line for each result.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "host/core/model/results.h"

namespace ostria::host {

/// One line of `--job-lines`. Exactly one of the members is set; `ended` also stands alone.
struct JobLine {
  std::optional<std::string> device;  ///< the module's id of the drive that is tested
  std::optional<TestRun> run;
  std::optional<std::string> error;  ///< why nothing was tested
  bool ended = false;                ///< all results are there
};

/// None for a line that is none of `makeJobOutput`: the other process may have crashed in the
/// middle of it.
std::optional<JobLine> readJobLine(std::string_view line);

}  // namespace ostria::host
