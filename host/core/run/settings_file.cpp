#include "host/core/run/settings_file.h"

#include <cctype>

namespace ostria::host {
namespace {

std::string_view trimmed(std::string_view text) {
  const std::size_t first = text.find_first_not_of(" \t\r");
  if (first == std::string_view::npos) {
    return {};
  }
  return text.substr(first, text.find_last_not_of(" \t\r") - first + 1);
}

std::string capitals(std::string_view text) {
  std::string out(text);
  for (char& c : out) {
    c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  }
  return out;
}

}  // namespace

OrUsageError<storage::ConfigurationMap> readConfiguration(std::string_view text,
                                                          const std::string& name) {
  storage::ConfigurationMap map;
  std::string section;
  std::size_t number = 0;
  if (text.starts_with("\xEF\xBB\xBF")) {
    text.remove_prefix(3);
  }
  while (!text.empty()) {
    const std::size_t end = text.find('\n');
    std::string_view line = text.substr(0, end);
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    ++number;
    line = trimmed(line.substr(0, line.find(';')));
    if (line.empty()) {
      continue;
    }
    const std::string place = name + ", line " + std::to_string(number) + ": ";

    if (line.front() == '[') {
      if (line.back() != ']') {
        return UsageError{place + "the bracket of the section is not closed."};
      }
      section = capitals(trimmed(line.substr(1, line.size() - 2)));
      if (section.empty()) {
        return UsageError{place + "the section has no name."};
      }
      if (!map.try_emplace(section).second) {
        return UsageError{place + "the section " + section + " is there already."};
      }
      continue;
    }
    const std::size_t equals = line.find('=');
    if (equals == std::string_view::npos) {
      return UsageError{place + "neither a [SECTION] nor KEY=VALUE."};
    }
    const std::string key = capitals(trimmed(line.substr(0, equals)));
    const std::string_view value = trimmed(line.substr(equals + 1));
    if (key.empty()) {
      return UsageError{place + "there is no key before the \"=\"."};
    }
    if (value.empty()) {
      return UsageError{place + "the key " + key + " has no value."};
    }
    if (section.empty()) {
      return UsageError{place + "the key " + key + " stands before any section."};
    }
    if (!map[section].try_emplace(key, value).second) {
      return UsageError{place + "the key " + key + " is there already in section " + section + "."};
    }
  }
  return map;
}

UsageError refusedSetting(const storage::ConfigurationError& error, const std::string& name) {
  std::string reason = "its value cannot be used";
  if (error.code == storage::ConfigurationError::NotANumber) {
    reason = "its value is not a number";
  }
  if (error.code == storage::ConfigurationError::OutOfRange) {
    reason = "its value is outside the range that it allows";
  }
  return {name + ": section " + error.section + ", key " + error.key + ": " + reason + " (code " +
          std::to_string(error.code) + ")."};
}

}  // namespace ostria::host
