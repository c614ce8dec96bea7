// The drive is asked before the test: a command during its routine may end that.
#include "host/core/run/self_test_time.h"

#include <charconv>

#include "host/core/run/smart_report.h"
#include "ostria/storage/test_ids.h"

namespace ostria::host {
namespace {

const char* rowOf(const storage::Identifier& test) {
  if (test == storage::ids::kShortSelfTest) {
    return "Short";
  }
  if (test == storage::ids::kExtendedSelfTest) {
    return "Extended";
  }
  return test == storage::ids::kConveyanceSelfTest ? "Conveyance" : nullptr;
}

}  // namespace

std::chrono::seconds selfTestTime(const storage::Identifier& test,
                                  storage::SystemComponent& component) {
  const char* const name = rowOf(test);
  std::string report;
  if (name == nullptr || !component.getReport("SELF_TEST_TIMES", report)) {
    return {};
  }
  std::uint32_t seconds = 0;
  for (const SmartRow& row : readSmartReport(report)) {
    if (row.name == name) {
      // What is no number is no time.
      (void)std::from_chars(row.data.data(), row.data.data() + row.data.size(), seconds);
    }
  }
  return std::chrono::seconds(seconds);
}

}  // namespace ostria::host
