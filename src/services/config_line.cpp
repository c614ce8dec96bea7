// The line rules of config.ini. Each rule was once a regular expression; a matcher that recurses
// with the length of a line overran the stack, and two of the rules took quadratic time. Every
// helper steps over runs that cannot overlap, so one pass over the line is all that a rule costs.
#include "services/config_line.h"

#include <algorithm>
#include <array>
#include <cstddef>

#include "services/config_file.h"

namespace ostria::storage::config_line {

namespace {

using namespace config_file_error;

constexpr bool isSpace(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

// Looked up: nearly every character of a file is asked about, by several rules.
constexpr std::array<bool, 256> kWordCharacters = [] {
  std::array<bool, 256> table{};
  for (const char c : std::string_view("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz"
                                       "0123456789_")) {
    table[static_cast<unsigned char>(c)] = true;
  }
  return table;
}();
constexpr bool isWord(char c) { return kWordCharacters[static_cast<unsigned char>(c)]; }
bool isBracket(char c) { return c == '[' || c == ']'; }

template <typename Predicate>
std::size_t skip(std::string_view line, std::size_t at, Predicate skipped) {
  while (at < line.size() && skipped(line[at])) {
    ++at;
  }
  return at;
}

bool isAt(std::string_view line, std::size_t at, char wanted) {
  return at < line.size() && line[at] == wanted;
}

/// `first`, then white space and a word (both or neither), then `last`: "[ a[" and "[[", but not
/// "[ [".
bool repeats(std::string_view line, char sign) {
  for (std::size_t i = line.find(sign); i < line.size(); i = line.find(sign, i + 1)) {
    const std::size_t word = skip(line, i + 1, isSpace);
    const std::size_t end = skip(line, word, isWord);
    if (isAt(line, i + 1, sign) || (end != word && isAt(line, end, sign))) {
      return true;
    }
  }
  return false;
}

/// A sign of the first kind and one of the second with nothing but letters and digits between.
template <typename First, typename Second>
bool joins(std::string_view line, First first, Second second) {
  for (std::size_t i = 0; i < line.size(); ++i) {
    if (!first(line[i])) {
      continue;
    }
    const std::size_t end = skip(line, i + 1, isWord);
    if (end < line.size() && second(line[end])) {
      return true;
    }
  }
  return false;
}

bool joins(std::string_view line, char first, char second) {
  return joins(
      line, [=](char c) { return c == first; }, [=](char c) { return c == second; });
}

/// A word directly before or behind a bracket of a line that has none of the other kind.
bool isUnpaired(std::string_view line, char bracket, char other) {
  if (line.find(other) != std::string_view::npos) {
    return false;
  }
  for (std::size_t i = 0; i < line.size(); ++i) {
    if (line[i] == bracket &&
        ((i > 0 && isWord(line[i - 1])) || (i + 1 < line.size() && isWord(line[i + 1])))) {
      return true;
    }
  }
  return false;
}

bool hasEmptyBrackets(std::string_view line) {
  for (std::size_t i = 0; i < line.size(); ++i) {
    if (line[i] == '[' && isAt(line, skip(line, i + 1, isSpace), ']')) {
      return true;
    }
  }
  return false;
}

bool beginsWithoutKey(std::string_view line) {
  const std::size_t equals = skip(line, 0, isSpace);
  if (!isAt(line, equals, '=')) {
    return false;
  }
  const std::size_t value = skip(line, equals + 1, isSpace);
  return value < line.size() && isWord(line[value]);
}

bool endsWithoutValue(std::string_view line) {
  const std::size_t word = skip(line, 0, isWord);
  const std::size_t equals = skip(line, word, isSpace);
  return word != 0 && isAt(line, equals, '=') && isBlank(line.substr(equals + 1));
}

bool isEquals(char c) { return c == '='; }

/// `brokenRule` of a line without a bracket.
std::uint32_t brokenKeyRule(std::string_view line) {
  if (line.find('=') == std::string_view::npos) {
    return kNeitherSectionNorKey;
  }
  if (repeats(line, '=')) {
    return kRepeatedEquals;
  }
  if (beginsWithoutKey(line)) {
    return kNoKey;
  }
  return endsWithoutValue(line) ? kNoValue : 0;
}

}  // namespace

bool isBlank(std::string_view line) { return skip(line, 0, isSpace) == line.size(); }

std::uint32_t brokenRule(std::string_view line) {
  // Nearly all lines set a key: what only brackets can break is not asked of them.
  const bool brackets = std::ranges::any_of(line, isBracket);
  if (!brackets) {
    return brokenKeyRule(line);
  }
  struct Rule {
    std::uint32_t code;
    bool broken;
  };
  const std::array<Rule, 10> rules = {{
      {kRepeatedOpenBracket, repeats(line, '[')},
      {kRepeatedCloseBracket, repeats(line, ']')},
      {kRepeatedEquals, repeats(line, '=')},
      {kEqualsAtBracket, joins(line, isEquals, isBracket) || joins(line, isBracket, isEquals)},
      {kBracketNotClosed, isUnpaired(line, '[', ']')},
      {kBracketNotOpened, isUnpaired(line, ']', '[')},
      {kBracketsReversed, joins(line, ']', '[')},
      {kEmptySection, hasEmptyBrackets(line)},
      {kNoKey, beginsWithoutKey(line)},
      {kNoValue, endsWithoutValue(line)},
  }};
  for (const Rule& rule : rules) {
    if (rule.broken) {
      return rule.code;
    }
  }
  return 0;
}

std::optional<std::string_view> sectionName(std::string_view line) {
  const auto isNamePart = [](char c) { return isWord(c) || isSpace(c) || c == '*'; };
  for (std::size_t i = line.find('['); i < line.size(); i = line.find('[', i + 1)) {
    const std::size_t end = skip(line, i + 1, isNamePart);
    if (end != i + 1 && isAt(line, end, ']')) {
      return line.substr(i + 1, end - i - 1);
    }
  }
  return std::nullopt;
}

std::optional<KeyAndValue> keyAndValue(std::string_view line) {
  for (std::size_t equals = line.find('='); equals != std::string_view::npos;
       equals = line.find('=', equals + 1)) {
    std::size_t end = equals;
    while (end > 0 && isSpace(line[end - 1])) {
      --end;
    }
    std::size_t begin = end;
    while (begin > 0 && isWord(line[begin - 1])) {
      --begin;
    }
    if (begin == end || equals + 1 == line.size()) {
      continue;
    }
    // White space before the value is no part of it, but a value of white space alone keeps the
    // last: nothing at all would not be a value.
    const std::size_t value = skip(line, equals + 1, isSpace);
    return KeyAndValue{line.substr(begin, end - begin),
                       line.substr(value < line.size() ? value : line.size() - 1)};
  }
  return std::nullopt;
}

}  // namespace ostria::storage::config_line
