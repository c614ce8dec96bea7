#pragma once

#include <map>
#include <string>
#include <string_view>

#include "host/core/user_error.h"

namespace ostria::host {

/// Turns the message keys of a module into text for people. Starts with the English texts that are
/// built into the program.
class Texts {
 public:
  Texts();

  /// Adds the rows of a file (key, tab, text; "#" begins a comment line), which win over those that
  /// are there. `name` is used in the sentence about a wrong line; nothing is added then.
  UsageError add(std::string_view content, const std::string& name);

  /// The text of one key; a key without a text is made readable by its own rule.
  std::string text(std::string_view key) const;
  /// A key, or a message that a module put together from keys, numbers and other text; translated
  /// part by part.
  std::string message(std::string_view composed) const;
  /// A displayed property: most values are plain data, some are keys.
  std::string propertyValue(std::string_view key, std::string_view value) const;

 private:
  const std::string* find(std::string_view key) const;
  std::string word(std::string_view token, bool& isKey) const;

  std::map<std::string, std::string, std::less<>> rows_;
};

/// What the form of a key says about its text: "_" is a blank, "|" keeps the next capital, the
/// other letters are small, the first one is a capital.
std::string readableKey(std::string_view key);

/// The rows of an HTML table as plain text: cells parted by tabs, rows by line ends. A text that is
/// no table is returned as it is.
std::string plainTable(std::string_view text);

}  // namespace ostria::host
