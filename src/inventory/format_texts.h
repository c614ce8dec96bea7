#pragma once

#include <array>
#include <cstdint>
#include <string>

namespace ostria::storage {

/// Text of a 128-bit counter of the NVMe health log: "1,234,567 [588 GB]".
/// @param bytes16  the count, 16 bytes, little-endian
/// @param unit     bytes that one count stands for; 0 leaves out the size in brackets
std::string FormatCounter(const std::uint8_t* bytes16, std::uint32_t unit);

/// Degrees Celsius of a temperature in kelvin, "-" for 0 (no sensor).
std::string FormatKelvin(std::uint16_t kelvin);

/// A GUID as 36 characters in lower case, without braces. The 16 bytes are as on the disk: the
/// first three fields little-endian.
std::string FormatGuid(const std::array<std::uint8_t, 16>& guid);

/// Bus, device and function from a text such as "PCI bus 0, device 23, function 1".
/// @return false, with the output as it was, when a number is missing or above 255
bool ParsePciLocation(const std::string& text, std::array<std::uint8_t, 3>* location);

}  // namespace ostria::storage
