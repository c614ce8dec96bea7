#include "host/cli/chosen_tests.h"

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

std::string quoted(std::string_view text) { return "\"" + std::string(text) + "\""; }

UsageError readParameters(std::string_view inside, TestListEntry& entry) {
  entry.hasBrackets = true;
  if (trimmed(inside).empty()) {
    return {"The brackets behind test " + quoted(entry.name) + " are empty."};
  }
  for (;;) {
    const std::size_t comma = inside.find(',');
    const std::string_view pair = inside.substr(0, comma);
    const std::size_t equals = pair.find('=');
    const std::string key = trimmed(pair.substr(0, equals));
    if (equals == std::string_view::npos || key.empty()) {
      return {"In the brackets behind test " + quoted(entry.name) + " stands " +
              quoted(trimmed(pair)) + " where KEY=VALUE is wanted."};
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
      return UsageError{"The list of tests " + quoted(text) + " has an empty place."};
    }
    rest = stop == std::string_view::npos ? std::string_view() : rest.substr(stop);
    if (!rest.empty() && rest.front() == '(') {
      const std::size_t close = rest.find_first_of("()", 1);
      if (close == std::string_view::npos || rest[close] != ')') {
        return UsageError{"The bracket behind test " + quoted(entry.name) + " is not closed."};
      }
      UsageError error = readParameters(rest.substr(1, close - 1), entry);
      if (!error.sentence.empty()) {
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
      return UsageError{"In the list of tests " + quoted(text) + " a comma is missing before " +
                        quoted(rest) + "."};
    }
    rest.remove_prefix(1);
  }
}

}  // namespace ostria::host
