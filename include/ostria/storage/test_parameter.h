#pragma once

#include <cstdint>
#include <string>

namespace ostria::storage {

/// One parameter of a test that the host may show and change.
struct TestParameter {
  std::string key;             ///< name on the command line, for example "ERROR_LIMIT"
  std::string displayKey;      ///< message key of the label
  std::string descriptionKey;  ///< message key of the explanation
  std::string defaultValue;    ///< decimal digits
  std::string value;           ///< current value, decimal digits
  std::uint32_t type = 0;      ///< 2: a whole number with a range
  std::string range;           ///< lowest and highest value, "[0:100]"
  std::uint32_t reserved1 = 0;
  std::uint32_t reserved2 = 0;
};

/// One refused parameter.
struct ParameterIssue {
  enum Kind : std::uint32_t { None = 0, ValueRefused = 1, UnknownParameter = 2, Duplicate = 3 };

  std::uint32_t kind = None;
  std::string message;      ///< message key that says what is required
  TestParameter parameter;  ///< the record as it was received
};

}  // namespace ostria::storage
