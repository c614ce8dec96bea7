// Rows of numbers. A row that is not as it should be counts as missing.
#include "host/core/run/collect_reads.h"

#include <algorithm>
#include <charconv>

#include "host/core/model/smart_rows.h"
#include "host/core/run/smart_report.h"

namespace ostria::host {
namespace {

constexpr std::size_t kMapCells = 768;

std::vector<std::uint64_t> numbersOf(const std::string& text) {
  std::vector<std::uint64_t> numbers;
  const char* at = text.data();
  const char* const end = text.data() + text.size();
  while (at < end) {
    std::uint64_t number = 0;
    const auto [next, error] = std::from_chars(at, end, number);
    if (error != std::errc() || (next != end && *next != ' ')) {
      return {};
    }
    numbers.push_back(number);
    at = next == end ? next : next + 1;
  }
  return numbers;
}

struct Field {
  const char* name;
  std::uint64_t ReadTimes::*member;
};

constexpr Field kFields[] = {
    {"Sectors", &ReadTimes::sectors},
    {"Sector Bytes", &ReadTimes::sectorBytes},
    {"Reads", &ReadTimes::reads},
    {"Failed Reads", &ReadTimes::failedReads},
    {"Sectors Read", &ReadTimes::sectorsRead},
    {"Microseconds", &ReadTimes::microseconds},
    {"Position", &ReadTimes::position},
    {"Bad Blocks", &ReadTimes::badBlocks},
};

void take(const SmartRow& row, ReadTimes& times) {
  if (row.name == "Map") {
    const bool known = row.data.find_first_not_of(".012345x") == std::string::npos;
    times.map = known && row.data.size() == kMapCells ? row.data : std::string();
    return;
  }
  const std::vector<std::uint64_t> numbers = numbersOf(row.data);
  for (const Field& field : kFields) {
    if (row.name == field.name && numbers.size() == 1) {
      times.*field.member = numbers[0];
    }
  }
  if (row.name == "Classes" && numbers.size() == times.classes.size()) {
    std::copy(numbers.begin(), numbers.end(), times.classes.begin());
  }
  if (row.name == "Bad" && numbers.size() == 2 && numbers[1] > 0) {
    times.bad.emplace_back(numbers[0], numbers[0] + numbers[1] - 1);
  }
  if (row.name == "Slow" && numbers.size() == 3) {
    times.slowest.push_back({numbers[0], numbers[1], numbers[2]});
  }
}

}  // namespace

std::optional<ReadTimes> readTimesOf(storage::SystemComponent& component) {
  std::string report;
  if (!component.getReport("READ_TIMES", report)) {
    return std::nullopt;
  }
  ReadTimes times;
  for (const SmartRow& row : readSmartReport(report)) {
    take(row, times);
  }
  times.bad = withoutOverlap(std::move(times.bad));
  return times.reads > 0 ? std::optional(times) : std::nullopt;
}

}  // namespace ostria::host
