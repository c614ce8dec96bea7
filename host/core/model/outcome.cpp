// The outcomes by their exit codes, and which of two counts.
#include "host/core/model/outcome.h"

#include <algorithm>
#include <array>

namespace ostria::host {
namespace {

struct Row {
  ExitCode code;
  int weight;
  const char* key;
  const char* word;
};

constexpr std::array<Row, 7> kRows = {{
    {ExitCode::Passed, 0, "outcome.passed", "passed"},
    {ExitCode::Failed, 5, "outcome.failed", "failed"},
    {ExitCode::Usage, 6, "outcome.usage", "usage"},
    {ExitCode::NotPerformed, 1, "outcome.not_performed", "not_performed"},
    {ExitCode::Stopped, 4, "outcome.stopped", "stopped"},
    {ExitCode::Warning, 2, "outcome.warning", "warning"},
    {ExitCode::CouldNotStart, 3, "outcome.could_not_start", "could_not_start"},
}};

const Row& rowOf(ExitCode code) { return kRows[static_cast<std::size_t>(code)]; }

}  // namespace

ExitCode exitCodeOf(storage::TestResult result) {
  switch (result) {
    case storage::TestResult::Passed:
      return ExitCode::Passed;
    case storage::TestResult::Failed:
      return ExitCode::Failed;
    case storage::TestResult::NotPerformed:
      return ExitCode::NotPerformed;
    case storage::TestResult::Stopped:
      return ExitCode::Stopped;
    case storage::TestResult::Warning:
      return ExitCode::Warning;
    case storage::TestResult::CouldNotStart:
      return ExitCode::CouldNotStart;
  }
  return ExitCode::CouldNotStart;
}

ExitCode worse(ExitCode a, ExitCode b) { return rowOf(a).weight >= rowOf(b).weight ? a : b; }

const char* outcomeKey(ExitCode code) { return rowOf(code).key; }

const char* outcomeWord(ExitCode code) { return rowOf(code).word; }

std::optional<ExitCode> exitCodeOfWord(std::string_view word) {
  const auto* row =
      std::find_if(kRows.begin(), kRows.end(), [&](const Row& r) { return r.word == word; });
  return row == kRows.end() ? std::nullopt : std::optional(row->code);
}

}  // namespace ostria::host
