// The names under which the system knows a drive.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace ostria::host {

struct DeviceNames {
  std::string node;                 ///< "/dev/sda", "\\.\PhysicalDrive0"; empty: it has none
  std::vector<std::string> byId;    ///< links that name model, serial number or WWN
  std::vector<std::string> byPath;  ///< links that name the port
  std::string wwn;                  ///< "naa.5000c500a1b2c3d4", "eui.0025385b01234567"
  /// What the kernel says of an NVMe controller: "live", "resetting", "connecting", "dead"; empty
  /// where it says nothing.
  std::string controllerState = {};
  std::string controller = {};  ///< "0000:00:17.0"; empty: not known
};

/// The disks of a virtual PC are those of its simulated system.
/// @param id  the module's name of the device; a drive behind a RAID controller has no node
DeviceNames simulatedDeviceNames(const std::string& id);

/// Whether a user's text is this serial number. An empty one is nobody's.
bool isSerial(const std::string& text, const std::string& serial);
/// The same for a WWN, in any of the forms that it is written in.
bool isWwn(const std::string& text, const std::string& wwn);

/// A RAID set as its controller names it.
struct RaidSet {
  std::uint32_t number = 0;
  std::string level;
};

/// Where a drive hangs that has no node of its own.
struct RaidLocation {
  std::string controller;
  std::string port;           ///< "phy 2", "drive 5"
  std::vector<RaidSet> sets;  ///< that it belongs to; two can share their drives
};

}  // namespace ostria::host
