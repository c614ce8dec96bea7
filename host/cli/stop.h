// An early end of the program.
#pragma once

#include <string>

#include "host/core/model/outcome.h"

namespace ostria::host {

/// Thrown where a step cannot go on: the program ends with this code and one sentence.
struct Stop {
  ExitCode code;
  std::string sentence;
};

}  // namespace ostria::host
