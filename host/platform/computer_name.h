// What a report calls the computer.
#pragma once

#include <string>

namespace ostria::host {

struct ComputerName {
  std::string name;
  std::string system;  ///< the operating system with its version
};

/// Both are empty when the system does not say.
ComputerName computerName();

}  // namespace ostria::host
