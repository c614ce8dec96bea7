// The settings file. The module has a reader of its own for one key; this one is stricter, as a
// mistake in a file that the user wrote is better said than passed over.
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
                                                          const std::string& name,
                                                          std::vector<std::string>* blankEnded) {
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
    line = line.substr(0, line.find(';'));
    // The end of a line of Windows is no blank.
    const std::size_t last = line.find_last_not_of('\r');
    const bool endsInBlank =
        last != std::string_view::npos && (line[last] == ' ' || line[last] == '\t');
    line = trimmed(line);
    if (line.empty()) {
      continue;
    }
    const auto wrong = [&](const char* key, const std::string& what = {}) {
      return UsageError{
          key,
          {{"file", name}, {"line", std::to_string(number)}, {"name", what}, {"section", section}}};
    };

    if (line.front() == '[') {
      if (line.back() != ']') {
        return wrong("settings.open_bracket");
      }
      section = capitals(trimmed(line.substr(1, line.size() - 2)));
      if (section.empty()) {
        return wrong("settings.no_section_name");
      }
      if (!map.try_emplace(section).second) {
        return wrong("settings.section_twice");
      }
      continue;
    }
    const std::size_t equals = line.find('=');
    if (equals == std::string_view::npos) {
      return wrong("settings.unknown_line");
    }
    const std::string key = capitals(trimmed(line.substr(0, equals)));
    const std::string_view value = trimmed(line.substr(equals + 1));
    if (key.empty()) {
      return wrong("settings.no_key");
    }
    if (value.empty()) {
      return wrong("settings.no_value", key);
    }
    if (section.empty()) {
      return wrong("settings.no_section", key);
    }
    if (!map[section].try_emplace(key, value).second) {
      return wrong("settings.key_twice", key);
    }
    if (endsInBlank && blankEnded != nullptr) {
      blankEnded->push_back(key);
    }
  }
  return map;
}

UsageError refusedSetting(const storage::ConfigurationError& error, const std::string& name) {
  std::string key = "settings.refused";
  if (error.code == storage::ConfigurationError::NotANumber) {
    key = "settings.not_a_number";
  }
  if (error.code == storage::ConfigurationError::OutOfRange) {
    key = "settings.out_of_range";
  }
  return {key,
          {{"file", name},
           {"section", error.section},
           {"name", error.key},
           {"code", std::to_string(error.code)}}};
}

}  // namespace ostria::host
