// The reports look like JSON and are not: the values are not escaped, so a reader of JSON would
// refuse what a device with a quotation mark in its name reports.
#include "host/core/model/smart_rows.h"

#include <charconv>

namespace ostria::host {
namespace {

struct Field {
  std::string_view name;
  std::string SmartRow::*member;
};

constexpr Field kFields[] = {
    {"id", &SmartRow::id},       {"description", &SmartRow::name},
    {"value", &SmartRow::value}, {"worst", &SmartRow::worst},
    {"data", &SmartRow::data},   {"threshold", &SmartRow::threshold},
};

// Takes the value that begins at `at` up to the quotation mark that really ends it: the one before
// the next field, or before the end of the object.
std::string_view valueAt(std::string_view object, std::size_t at) {
  std::size_t end = object.find("\",\"", at);
  while (end != std::string_view::npos) {
    for (const Field& field : kFields) {
      const std::string_view behind = object.substr(end + 3);
      if (behind.starts_with(field.name) && behind.substr(field.name.size()).starts_with("\":\"")) {
        return object.substr(at, end - at);
      }
    }
    end = object.find("\",\"", end + 1);
  }
  end = object.rfind('"');
  return end == std::string_view::npos || end < at ? object.substr(at)
                                                   : object.substr(at, end - at);
}

// A backslash stands before a quotation mark or a backslash of the value.
std::string unescaped(std::string_view value) {
  std::string text;
  for (std::size_t i = 0; i < value.size(); ++i) {
    const bool escape =
        value[i] == '\\' && i + 1 < value.size() && (value[i + 1] == '"' || value[i + 1] == '\\');
    text += value[escape ? ++i : i];
  }
  return text;
}

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

std::vector<SmartRow> readSmartReport(std::string_view text) {
  std::vector<SmartRow> rows;
  constexpr std::string_view kBegin = "{\"";
  constexpr std::string_view kBetween = "\"},{\"";
  std::size_t at = text.find(kBegin);
  while (at != std::string_view::npos) {
    const std::size_t between = text.find(kBetween, at);
    const std::size_t end = between == std::string_view::npos ? text.rfind('}') : between + 1;
    if (end == std::string_view::npos || end < at) {
      break;
    }
    const std::string_view object = text.substr(at, end - at);
    SmartRow row;
    for (const Field& field : kFields) {
      const std::string opening = "\"" + std::string(field.name) + "\":\"";
      const std::size_t found = object.find(opening);
      if (found == std::string_view::npos) {
        continue;
      }
      row.*field.member = unescaped(valueAt(object, found + opening.size()));
    }
    rows.push_back(std::move(row));
    at = between == std::string_view::npos ? between : between + 3;
  }
  return rows;
}

}  // namespace ostria::host
