#pragma once

#include <cstdint>
#include <string>

namespace ostria::storage {

/// Message key of a GPT partition type, by GUID text in lower case; empty for an unknown type.
std::string gptTypeKey(const std::string& guid);

/// Display text of an MBR partition type, or a message key if it begins with "_"; empty for an
/// unknown type.
std::string mbrTypeName(std::uint8_t type);

/// True for the types that hold other partitions.
bool isExtendedMbrType(std::uint8_t type);

}  // namespace ostria::storage
