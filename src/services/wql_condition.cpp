// A small part of WQL: one property equal to one value, as the queries of this module have it.
#include "services/wql_condition.h"

#include <algorithm>
#include <cctype>

namespace ostria::storage {
namespace {

std::string trimmed(const std::string& text) {
  const auto first = text.find_first_not_of(" \t\r\n");
  if (first == std::string::npos) {
    return "";
  }
  return text.substr(first, text.find_last_not_of(" \t\r\n") - first + 1);
}

bool isName(const std::string& text) {
  return !text.empty() && std::all_of(text.begin(), text.end(), [](unsigned char c) {
    return std::isalnum(c) != 0 || c == '_';
  });
}

/// The text between the quotes, with a backslash before a quote or a backslash taken away.
std::optional<std::string> unquoted(const std::string& text) {
  const char quote = text.front();
  std::string out;
  for (std::size_t i = 1; i < text.size(); ++i) {
    char c = text[i];
    if (c == quote) {
      return i + 1 == text.size() ? std::optional(out) : std::nullopt;
    }
    if (c == '\\' && i + 1 < text.size()) {
      c = text[++i];
    }
    out += c;
  }
  return std::nullopt;
}

}  // namespace

bool sameName(const std::string& a, const std::string& b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](unsigned char x, unsigned char y) {
    return std::tolower(x) == std::tolower(y);
  });
}

bool WqlCondition::accepts(const std::string& text) const { return sameName(text, value); }

std::optional<WqlCondition> parseWqlCondition(const std::string& text) {
  const auto equals = text.find('=');
  if (equals == std::string::npos) {
    return std::nullopt;
  }
  WqlCondition condition;
  condition.property = trimmed(text.substr(0, equals));
  const std::string value = trimmed(text.substr(equals + 1));
  if (!isName(condition.property) || value.empty()) {
    return std::nullopt;
  }
  if (value.front() == '\'' || value.front() == '"') {
    const auto inner = unquoted(value);
    if (!inner) {
      return std::nullopt;
    }
    condition.value = *inner;
  } else {
    if (!std::all_of(value.begin(), value.end(),
                     [](unsigned char c) { return std::isdigit(c) != 0; })) {
      return std::nullopt;
    }
    condition.value = value;
  }
  return condition;
}

}  // namespace ostria::storage
