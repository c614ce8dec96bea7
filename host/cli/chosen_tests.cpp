// The list of tests behind an option, with the parameters of each in round brackets.
#include "host/cli/chosen_tests.h"

#include <algorithm>

namespace ostria::host {
namespace {

std::string trimmed(std::string_view text) {
  const std::size_t first = text.find_first_not_of(" \t");
  if (first == std::string_view::npos) {
    return {};
  }
  const std::size_t last = text.find_last_not_of(" \t");
  return std::string(text.substr(first, last - first + 1));
}

UsageError readParameters(std::string_view inside, TestListEntry& entry) {
  entry.hasBrackets = true;
  if (trimmed(inside).empty()) {
    return {"usage.empty_brackets", {{"test", entry.name}}};
  }
  for (;;) {
    const std::size_t comma = inside.find(',');
    const std::string_view pair = inside.substr(0, comma);
    const std::size_t equals = pair.find('=');
    const std::string key = trimmed(pair.substr(0, equals));
    if (equals == std::string_view::npos || key.empty()) {
      return {"usage.parameter_form", {{"test", entry.name}, {"text", trimmed(pair)}}};
    }
    entry.parameters.push_back({key, trimmed(pair.substr(equals + 1))});
    if (comma == std::string_view::npos) {
      return {};
    }
    inside.remove_prefix(comma + 1);
  }
}

}  // namespace

OrUsageError<std::vector<TestListEntry>> readTestList(std::string_view text) {
  std::vector<TestListEntry> entries;
  std::string_view rest = text;
  for (;;) {
    const std::size_t stop = rest.find_first_of(",()");
    TestListEntry entry;
    entry.name = trimmed(rest.substr(0, stop));
    if (entry.name.empty()) {
      return UsageError{"usage.empty_entry", {{"list", std::string(text)}}};
    }
    rest = stop == std::string_view::npos ? std::string_view() : rest.substr(stop);
    if (!rest.empty() && rest.front() == '(') {
      const std::size_t close = rest.find_first_of("()", 1);
      if (close == std::string_view::npos || rest[close] != ')') {
        return UsageError{"usage.open_bracket", {{"test", entry.name}}};
      }
      UsageError error = readParameters(rest.substr(1, close - 1), entry);
      if (error.isSet()) {
        return error;
      }
      rest.remove_prefix(close + 1);
      const std::size_t next = rest.find_first_not_of(" \t");
      rest = next == std::string_view::npos ? std::string_view() : rest.substr(next);
    }
    entries.push_back(std::move(entry));
    if (rest.empty()) {
      return entries;
    }
    if (rest.front() != ',') {
      return UsageError{"usage.missing_comma",
                        {{"list", std::string(text)}, {"text", std::string(rest)}}};
    }
    rest.remove_prefix(1);
  }
}

bool isNamedAsInHelp(const Catalogue& catalogue, const CatalogueTest& test, std::string_view name) {
  std::string own = test.longName;
  std::replace(own.begin(), own.end(), '_', '-');
  if (test.shortName.empty() || own.find(name) == std::string::npos) {
    return false;
  }
  const auto isTwin = [&](const CatalogueTest& other) {
    return other.shortName == test.shortName && other.longName == name;
  };
  return std::any_of(catalogue.diagnostics.begin(), catalogue.diagnostics.end(),
                     [&](const CatalogueDiagnostic& other) {
                       return std::any_of(other.tests.begin(), other.tests.end(), isTwin);
                     });
}

}  // namespace ostria::host
