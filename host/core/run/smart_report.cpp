// The reports have the form of JSON objects without the array around them. A module that escapes
// nothing is understood, too: of a drive with a quotation mark in its name every row is read.
#include "host/core/run/smart_report.h"

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

}  // namespace

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
