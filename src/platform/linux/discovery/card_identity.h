#pragma once

#include <string>

namespace ostria::storage {

// The numbers of the CID and EXT_CSD registers as the kernel prints them ("0x000015"), made
// readable. Text that is no number stays as it is.

/// @param sd      an SD card; else eMMC, whose identifiers are others
/// @param manfid  manufacturer identifier; one that is not known stays a number, "0x2a"
std::string cardManufacturer(bool sd, const std::string& manfid);
/// The product revision n.m of an SD card.
std::string sdRevision(const std::string& hwrev, const std::string& fwrev);
/// The firmware version of an eMMC device: eight bytes, as text where they are printable, else as
/// a number without the zero bytes around it.
std::string mmcRevision(const std::string& fwrev);

}  // namespace ostria::storage
