#pragma once

#include <map>
#include <string>
#include <vector>

namespace ostria::storage {

/// What the kernel tells of the driver of each disk, by the names of the WMI class of signed
/// drivers: "DeviceClass", "FriendlyName" (the model), "DriverVersion" (that of an
/// out-of-tree module, else the kernel's), "CompatID" ("USBSTOR\Disk" for a USB disk, else
/// "GenDisk").
/// @param root  directory above sys/ and proc/, "" for the running system
std::vector<std::map<std::string, std::string>> diskDriverRows(const std::string& root = "");

}  // namespace ostria::storage
