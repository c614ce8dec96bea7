// The judgement of rows by the values that the drive itself reports.
#include "host/core/model/smart_rows.h"

#include <charconv>

namespace ostria::host {
namespace {

int leading(const std::string& text) {
  int value = -1;
  std::from_chars(text.data(), text.data() + text.size(), value);
  return value;
}

}  // namespace

bool SmartRow::isBelowThreshold() const {
  const int limit = leading(threshold);
  const int current = leading(value);
  return limit > 0 && current >= 0 && current <= limit;
}

bool SmartRow::wasBelowThreshold() const {
  const int limit = leading(threshold);
  const int lowest = leading(worst);
  // A worst value of 0 was never set.
  return !isBelowThreshold() && limit > 0 && lowest > 0 && lowest <= limit;
}

std::optional<std::uint64_t> SmartRow::number(std::string SmartRow::*field) const {
  const std::string& text = this->*field;
  std::uint64_t value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (text.empty() || error != std::errc() || end != text.data() + text.size()) {
    return std::nullopt;
  }
  return value;
}

}  // namespace ostria::host
