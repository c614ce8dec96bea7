#pragma once

#include <string>

#include "ostria/storage/configuration.h"

namespace ostria::storage {

/// The section that holds all settings of this module.
inline constexpr char kStorageSection[] = "STORAGE";

/// Codes of the `ConfigurationError` that ends the reading of a file, beside those for the value of
/// a key. 1001 to 1014 name a malformed line.
namespace config_file_error {
inline constexpr std::uint32_t kNotReadable = 0;
inline constexpr std::uint32_t kSectionTwice = 1;
inline constexpr std::uint32_t kKeyTwice = 2;
inline constexpr std::uint32_t kRepeatedOpenBracket = 1001;
inline constexpr std::uint32_t kRepeatedCloseBracket = 1002;
inline constexpr std::uint32_t kRepeatedEquals = 1003;
inline constexpr std::uint32_t kEqualsAtBracket = 1006;
inline constexpr std::uint32_t kBracketNotClosed = 1007;
inline constexpr std::uint32_t kBracketNotOpened = 1008;
inline constexpr std::uint32_t kBracketsReversed = 1009;
inline constexpr std::uint32_t kNeitherSectionNorKey = 1010;
inline constexpr std::uint32_t kEmptySection = 1011;
inline constexpr std::uint32_t kNoKey = 1012;
inline constexpr std::uint32_t kNoValue = 1014;
}  // namespace config_file_error

/// Reads a configuration file: sections in brackets, "key = value" lines, ";" starts a comment.
/// Names of sections and keys are folded to capitals, those of ASCII; values stay as they are,
/// blanks at their end included. Text is UTF-8.
/// @param contents  replaced by what was read, up to the line in error
/// @param error     set on failure: the code, and the line number (from 1) in `reserved1`
/// @return false when the file cannot be opened or a line ends the reading
bool readConfigurationFile(const std::string& path, ConfigurationMap& contents,
                           ConfigurationError& error);

}  // namespace ostria::storage
