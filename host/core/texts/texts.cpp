// Keys become text: by the file of texts, and where that has none by the form of the key itself, as
// a module newer than this program may speak of things that it does not know.
#include "host/core/texts/texts.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <utility>

#include "host/core/texts/clean_text.h"
#include "host/core/texts/english_texts.h"

namespace ostria::host {
namespace {

bool isUpper(char c) { return c >= 'A' && c <= 'Z'; }
bool isLower(char c) { return c >= 'a' && c <= 'z'; }

void capitalize(std::string& text) {
  if (!text.empty() && isLower(text[0])) {
    text[0] = static_cast<char>(text[0] - 'a' + 'A');
  }
}

// A word that only a key can be: capitals, joined by "_" or marked by "|".
bool looksLikeKey(std::string_view word) {
  bool joined = false;
  bool letter = false;
  for (const char c : word) {
    if (isLower(c)) {
      return false;
    }
    joined = joined || c == '_' || c == '|';
    letter = letter || isUpper(c);
  }
  return joined && letter;
}

// Properties whose values may be keys; the values of all others are the device's own words.
constexpr std::array<std::string_view, 7> kKeyValued = {
    "TEMPERATURE", "PARTITION_TYPE", "FILE_SYSTEM",          "SPEC_VERSION",
    "RAID_LEVEL",  "PLATFORM",       "SUPPORTED_RAID_LEVELS"};

std::string withoutTags(std::string_view html) {
  std::string out;
  bool inTag = false;
  for (const char c : html) {
    if (c == '<') {
      inTag = true;
    }
    if (!inTag) {
      out += c;
    }
    if (c == '>') {
      inTag = false;
    }
  }
  const std::size_t first = out.find_first_not_of(' ');
  if (first == std::string::npos) {
    return {};
  }
  return out.substr(first, out.find_last_not_of(' ') - first + 1);
}

}  // namespace

// The built-in texts are those that the tests look at line by line.
Texts::Texts() { (void)add(englishTexts(), "built-in texts"); }

UsageError Texts::add(std::string_view content, const std::string& name) {
  decltype(rows_) added;
  std::size_t number = 0;
  while (!content.empty()) {
    const std::size_t end = content.find('\n');
    std::string_view line = content.substr(0, end);
    content.remove_prefix(end == std::string_view::npos ? content.size() : end + 1);
    ++number;
    if (!line.empty() && line.back() == '\r') {
      line.remove_suffix(1);
    }
    if (line.empty() || line.front() == '#') {
      continue;
    }
    const std::size_t tab = line.find('\t');
    if (tab == 0 || tab == std::string_view::npos || tab + 1 == line.size()) {
      return {"file.text_line", {{"file", name}, {"line", std::to_string(number)}}};
    }
    // Most files are sorted, so most rows belong at the end.
    added.insert_or_assign(added.end(), std::string(line.substr(0, tab)),
                           cleanText(line.substr(tab + 1)));
  }
  added.merge(rows_);
  rows_ = std::move(added);
  return {};
}

const std::string* Texts::find(std::string_view key) const {
  const auto row = rows_.find(key);
  return row == rows_.end() ? nullptr : &row->second;
}

std::string Texts::say(std::string_view key, const Arguments& arguments) const {
  const std::string* found = find(key);
  if (found == nullptr) {
    return std::string(key);
  }
  // Only the text is searched for names: an argument may hold braces of a user or a device.
  std::string out;
  std::string_view rest = *found;
  while (!rest.empty()) {
    const std::size_t open = std::min(rest.find('{'), rest.size());
    out += rest.substr(0, open);
    rest.remove_prefix(open);
    const std::size_t close = rest.find('}');
    if (rest.empty() || close == std::string_view::npos) {
      return out + std::string(rest);
    }
    const std::string_view name = rest.substr(1, close - 1);
    const auto argument = std::find_if(arguments.begin(), arguments.end(),
                                       [&](const auto& pair) { return pair.first == name; });
    out += argument != arguments.end() ? argument->second : std::string(rest.substr(0, close + 1));
    rest.remove_prefix(close + 1);
  }
  return out;
}

std::string Texts::say(const UsageError& error) const {
  return error.isSet() ? say(error.key, error.arguments) : std::string();
}

std::string Texts::text(std::string_view key) const {
  const std::string* found = find(key);
  std::string out = found != nullptr ? *found : readableKey(key);
  capitalize(out);
  if (!out.empty() && out.back() == ':') {
    out.pop_back();
  }
  return out;
}

std::string Texts::explanation(const std::string& nameKey) const {
  // One test has a longer key for it than for its name.
  for (const std::string& key : {nameKey + "_TOOLTIP", "EXTENDED_" + nameKey + "_TOOLTIP"}) {
    if (const std::string* found = find(key)) {
      return *found;
    }
  }
  return {};
}

std::string Texts::word(std::string_view token, bool& isKey) const {
  isKey = true;
  std::string tail;
  bool sentence = false;
  for (;;) {
    if (const std::string* found = find(token)) {
      std::string out = *found;
      if (sentence) {
        capitalize(out);
      }
      if (!tail.empty() && out.back() == tail.front()) {
        tail.erase(0, 1);
      }
      return out + tail;
    }
    // A bar in front of a whole key begins a sentence; punctuation may follow the key.
    if (!token.empty() && std::string_view(".,:;").find(token.back()) != std::string_view::npos) {
      tail.insert(0, 1, token.back());
      token.remove_suffix(1);
    } else if (!sentence && token.size() > 1 && token.front() == '|') {
      sentence = true;
      token.remove_prefix(1);
    } else {
      break;
    }
  }
  isKey = looksLikeKey(token);
  return isKey ? readableKey(token) + tail : std::string(token) + tail;
}

std::string Texts::message(std::string_view composed) const {
  if (composed.starts_with("<table")) {
    return plainTable(composed);
  }
  if (find(composed) != nullptr) {
    return text(composed);
  }
  std::string out;
  bool previousIsKey = false;
  while (!composed.empty()) {
    const std::size_t end = composed.find_first_of(" \n");
    const std::string_view token = composed.substr(0, end);
    bool isKey = false;
    const std::string piece = word(token, isKey);
    // Two keys side by side are two sentences.
    if (isKey && previousIsKey &&
        std::isalnum(static_cast<unsigned char>(out.empty() ? ' ' : out[out.size() - 2])) != 0) {
      out.insert(out.size() - 1, 1, '.');
    }
    out += piece;
    previousIsKey = isKey;
    if (end == std::string_view::npos) {
      break;
    }
    out += composed[end];
    composed.remove_prefix(end + 1);
  }
  capitalize(out);
  return out;
}

std::string Texts::propertyValue(std::string_view key, std::string_view value) const {
  if (std::find(kKeyValued.begin(), kKeyValued.end(), key) == kKeyValued.end()) {
    return std::string(value);
  }
  if (find(value) != nullptr || value.starts_with('_')) {
    return text(value);
  }
  return std::string(value);
}

std::string readableKey(std::string_view key) {
  std::string out;
  bool keep = false;
  for (const char c : key) {
    if (c == '|') {
      keep = true;
      continue;
    }
    if (c == '_') {
      if (!out.empty()) {
        out += ' ';
      }
    } else if (isUpper(c) && !keep && !out.empty()) {
      out += static_cast<char>(c - 'A' + 'a');
    } else {
      out += c;
    }
    keep = false;
  }
  return out;
}

std::string plainTable(std::string_view text) {
  if (!text.starts_with("<table")) {
    return std::string(text);
  }
  std::string out;
  std::size_t row = text.find("<tr>");
  while (row != std::string_view::npos) {
    const std::size_t nextRow = text.find("<tr>", row + 4);
    std::string_view cells = text.substr(
        row + 4, nextRow == std::string_view::npos ? std::string_view::npos : nextRow - row - 4);
    if (!out.empty()) {
      out += '\n';
    }
    bool first = true;
    for (;;) {
      const std::size_t begin = std::min(cells.find("<td"), cells.find("<th"));
      if (begin == std::string_view::npos) {
        break;
      }
      cells.remove_prefix(begin);
      const std::size_t end = std::min(cells.find("</td>"), cells.find("</th>"));
      if (!first) {
        out += '\t';
      }
      out += withoutTags(cells.substr(0, end));
      first = false;
      if (end == std::string_view::npos) {
        break;
      }
      cells.remove_prefix(end);
    }
    row = nextRow;
  }
  return out;
}

}  // namespace ostria::host
