#pragma once

#include <cstddef>
#include <cstdint>

/// Places inside the blocks that LSI controllers answer with, in bytes, little-endian.
namespace ostria::storage::lsi {

// Controller list: count, then 32-bit controller numbers.
inline constexpr std::size_t controllerListBytes = 260;
inline constexpr std::size_t firstControllerId = 4;

// Controller data.
inline constexpr std::size_t controllerInfoBytes = 2480;
inline constexpr std::size_t pciVendorAt = 0;
inline constexpr std::size_t pciDeviceAt = 2;
inline constexpr std::size_t interfaceMaskAt = 104;
inline constexpr std::size_t imageCountAt = 180;
inline constexpr std::size_t firstImage = 184;
inline constexpr std::size_t imageBytes = 72;
inline constexpr std::size_t imagePlaces = 8;
inline constexpr std::size_t imageNameBytes = 8;
inline constexpr std::size_t imageVersionAt = 8;  ///< inside an image entry
inline constexpr std::size_t imageVersionBytes = 32;
inline constexpr std::size_t productNameAt = 1344;
inline constexpr std::size_t productNameBytes = 80;
inline constexpr std::size_t serialAt = 1424;
inline constexpr std::size_t serialBytes = 32;
inline constexpr std::size_t raidLevelMaskAt = 1500;

// Controller properties: the logical drives.
inline constexpr std::size_t propertiesBytes = 4104;
inline constexpr std::size_t firstLogicalDrive = 8;
inline constexpr std::size_t logicalDriveBytes = 16;
inline constexpr std::size_t logicalDriveNumberAt = 0;  ///< inside a record, 8 bits
inline constexpr std::size_t logicalDriveStateAt = 4;   ///< 8 bits

// One array: count, then 16-bit numbers of its drives.
inline constexpr std::size_t arrayInfoBytes = 516;
inline constexpr std::size_t firstArrayMember = 4;

// One logical drive.
inline constexpr std::size_t driveInfoBytes = 384;
inline constexpr std::size_t primaryLevelAt = 32;
inline constexpr std::size_t secondaryLevelAt = 34;
inline constexpr std::size_t driveCountAt = 36;
inline constexpr std::size_t spanDepthAt = 37;
inline constexpr std::size_t logicalSizeAt = 256;  ///< 64 bits, units of 512 bytes

// Physical drive list: size, count, then records.
inline constexpr std::size_t driveListBytes = 6152;
inline constexpr std::size_t driveCountInListAt = 4;
inline constexpr std::size_t firstDriveRecord = 8;
inline constexpr std::size_t driveRecordBytes = 24;
inline constexpr std::size_t driveTypeAt = 6;  ///< inside a record; only type 0, a disk, is listed

// One physical drive.
inline constexpr std::size_t pdInfoBytes = 512;
inline constexpr std::size_t inquiryAt = 4;
inline constexpr std::size_t inquiryBytes = 96;
inline constexpr std::size_t firmwareStateAt = 184;
inline constexpr std::size_t driveInterfaceAt = 188;  ///< 16 bits, the interface in the top four
inline constexpr std::uint16_t sataInterface = 3;
inline constexpr std::size_t rawSizeAt = 232;  ///< 64 bits, units of 512 bytes

inline constexpr std::size_t configurationBytes = 4616;
inline constexpr std::uint64_t blockBytes = 512;

}  // namespace ostria::storage::lsi
