// Everything that is said to a user, in the user's language.
#pragma once

#include <map>
#include <string>
#include <string_view>

#include "host/core/user_error.h"

namespace ostria::host {

/// Turns the message keys of a module, and those of the host itself, into text for people. The
/// host's own begin with a small letter and have a dot: "usage.unknown_option". Starts with the
/// English texts that are built into the program.
class Texts {
 public:
  Texts();

  /// Adds the rows of a file (key, tab, text; "#" begins a comment line), which win over those that
  /// are there. `name` is used in the sentence about a wrong line; nothing is added then.
  UsageError add(std::string_view content, const std::string& name);

  /// A sentence of the host's own: the text of its key with the arguments in place of the names in
  /// braces. A text file may leave an argument away, and what it does not know stays as it is.
  std::string say(std::string_view key, const Arguments& arguments = {}) const;
  /// The sentence of an error; empty when nothing is wrong.
  std::string say(const UsageError& error) const;

  /// The text of one key of a module; a key without a text is made readable by its own rule.
  std::string text(std::string_view key) const;
  /// What a test is, by the key of its name; empty when there is no such text.
  std::string explanation(const std::string& nameKey) const;
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
