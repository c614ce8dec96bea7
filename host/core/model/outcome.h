// The outcomes of runs and the exit codes of the program.
#pragma once

#include <optional>
#include <string_view>

#include "ostria/storage/test.h"

namespace ostria::host {

/// What the program ends with. The values of test results are kept, 2 is added for wrong usage.
enum class ExitCode : int {
  Passed = 0,
  Failed = 1,  ///< a device failed a test, or bad sectors were found
  Usage = 2,
  NotPerformed = 3,
  Stopped = 4,
  Warning = 5,
  CouldNotStart = 6
};

/// The code of one result. A number that is no known result counts as "could not start".
ExitCode exitCodeOf(storage::TestResult result);

/// Which of two codes a run of both ends with: 1, 4, 6, 5, 3, 0, the first of them that occurs.
/// Usage stands above all.
ExitCode worse(ExitCode a, ExitCode b);

/// Key of its text: "outcome.passed".
const char* outcomeKey(ExitCode code);
/// One lower-case word with underscores, for machine-readable output.
const char* outcomeWord(ExitCode code);
/// Which code a word of `outcomeWord` stands for; none for any other word.
std::optional<ExitCode> exitCodeOfWord(std::string_view word);

}  // namespace ostria::host
