// An early end of the program.
#pragma once

#include <string>
#include <utility>
#include <variant>

#include "host/core/model/outcome.h"
#include "host/core/texts/texts.h"
#include "host/core/user_error.h"

namespace ostria::host {

/// Thrown where a step cannot go on: the program ends with this code and one sentence.
struct Stop {
  ExitCode code;
  std::string sentence;
};

/// Ends the program where something is wrong.
inline void stopOn(const UsageError& error, const Texts& texts, ExitCode code = ExitCode::Usage) {
  if (error.isSet()) {
    throw Stop{code, texts.say(error)};
  }
}

/// The result of a step, or the end of the program.
template <typename T>
T orStop(OrUsageError<T> result, const Texts& texts, ExitCode code = ExitCode::Usage) {
  if (const auto* error = std::get_if<UsageError>(&result)) {
    stopOn(*error, texts, code);
  }
  return std::get<T>(std::move(result));
}

}  // namespace ostria::host
