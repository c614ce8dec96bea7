// The disks that the megaraid_sas driver shows: drives on its first two channels, each under the
// number that the controller has for it, and volumes on the others.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace ostria::host {

struct MegaraidDisk {
  std::uint32_t host = 0;
  bool volume = false;
  std::uint32_t driveNumber = 0;  ///< of a drive, on its controller
  std::string name;               ///< "sdb"
};

/// @param root  folder that stands for "/"
std::vector<MegaraidDisk> megaraidDisks(const std::string& root);

}  // namespace ostria::host
