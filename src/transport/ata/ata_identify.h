// IDENTIFY DEVICE (ATA8-ACS) to properties. Names in mixed case are those of the public interface.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "transport/storage_protocol_properties.h"

namespace ostria::storage {

/// Whether 512 bytes are IDENTIFY DEVICE data of an ATA device: not all zero, not of a packet
/// device, and with the right checksum if they carry one. False for null.
bool IsValidIdentifyData(const std::uint8_t* page);

/// Writes what 512 bytes of valid IDENTIFY DEVICE data (ACS words) say into the record; leaves the
/// fields that other commands fill.
void parseIdentifyData(const std::uint8_t* page, StorageProtocolProperties& properties);

/// The major versions of word 80, newest first; "VERSION_NOT_REPORTED" alone when there is none.
std::vector<std::string> ataMajorVersions(std::uint16_t word80);

/// The text of the minor version in word 81; "UNRECOGNIZED_VERSION" for an unknown one.
std::string AtaVersionName(std::uint16_t word81);

/// A drive does not tell its maker: the vendor as the model number lets guess it.
std::string VendorFromModel(const std::string& model);

}  // namespace ostria::storage
