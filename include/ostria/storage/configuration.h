#pragma once

#include <cstdint>
#include <map>
#include <string>

namespace ostria::storage {

/// Contents of the host's configuration file: section name, then key, to value.
using ConfigurationMap = std::map<std::string, std::map<std::string, std::string>>;

/// Why a value of the configuration is unusable.
struct ConfigurationError {
  static constexpr std::uint32_t NotANumber = 1115;
  static constexpr std::uint32_t OutOfRange = 1116;

  std::uint32_t reserved1 =
      0;                   ///< the module sets 0; the config.ini reader keeps its line number here
  std::uint32_t code = 0;  ///< `NotANumber`, `OutOfRange`, or a code of the config.ini reader
  std::uint32_t reserved2 = 0;
  std::string key;
  std::string section;
};

}  // namespace ostria::storage
