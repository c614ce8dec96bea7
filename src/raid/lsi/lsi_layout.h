#pragma once

#include <cstddef>
#include <cstdint>

/// Offsets inside the blocks that LSI controllers answer with, in bytes, little-endian.
namespace ostria::storage::lsi {

// Controller list: count, then 32-bit controller numbers.
inline constexpr std::size_t kControllerListBytes = 260;
inline constexpr std::size_t kFirstControllerId = 4;

// Controller data.
inline constexpr std::size_t kControllerInfoBytes = 2480;
inline constexpr std::size_t kPciVendorAt = 0;
inline constexpr std::size_t kPciDeviceAt = 2;
inline constexpr std::size_t kInterfaceMaskAt = 104;
inline constexpr std::size_t kImageCountAt = 180;
inline constexpr std::size_t kFirstImage = 184;
inline constexpr std::size_t kImageBytes = 72;
inline constexpr std::size_t kImageRoom = 8;
inline constexpr std::size_t kImageNameBytes = 8;
inline constexpr std::size_t kImageVersionAt = 8;  ///< inside an image entry
inline constexpr std::size_t kImageVersionBytes = 32;
inline constexpr std::size_t kProductNameAt = 1344;
inline constexpr std::size_t kProductNameBytes = 80;
inline constexpr std::size_t kSerialAt = 1424;
inline constexpr std::size_t kSerialBytes = 32;
inline constexpr std::size_t kRaidLevelMaskAt = 1500;

// Controller properties: the logical drives.
inline constexpr std::size_t kPropertiesBytes = 4104;
inline constexpr std::size_t kFirstLogicalDrive = 8;
inline constexpr std::size_t kLogicalDriveBytes = 16;
inline constexpr std::size_t kLogicalDriveNumberAt = 0;  ///< inside a record, 8 bits
inline constexpr std::size_t kLogicalDriveStateAt = 4;   ///< 8 bits

// One array: count, then 16-bit numbers of its drives.
inline constexpr std::size_t kArrayInfoBytes = 516;
inline constexpr std::size_t kFirstArrayMember = 4;

// One logical drive.
inline constexpr std::size_t kDriveInfoBytes = 384;
inline constexpr std::size_t kPrimaryLevelAt = 32;
inline constexpr std::size_t kSecondaryLevelAt = 34;
inline constexpr std::size_t kDriveCountAt = 36;
inline constexpr std::size_t kSpanDepthAt = 37;
inline constexpr std::size_t kLogicalSizeAt = 256;  ///< 64 bits, units of 512 bytes

// Physical drive list: size, count, then records.
inline constexpr std::size_t kDriveListBytes = 6152;
inline constexpr std::size_t kDriveCountInListAt = 4;
inline constexpr std::size_t kFirstDriveRecord = 8;
inline constexpr std::size_t kDriveRecordBytes = 24;
inline constexpr std::size_t kDriveTypeAt = 6;  ///< inside a record; only type 0, a disk, is listed

// One physical drive.
inline constexpr std::size_t kPdInfoBytes = 512;
inline constexpr std::size_t kInquiryAt = 4;
inline constexpr std::size_t kFirmwareStateAt = 184;
inline constexpr std::size_t kDriveInterfaceAt = 188;  ///< 16 bits, the interface in the top four
inline constexpr std::uint16_t kSataInterface = 3;
inline constexpr std::size_t kRawSizeAt = 232;  ///< 64 bits, units of 512 bytes

// Configuration: the arrays, then the logical drives, each a record of a size that is reported.
inline constexpr std::size_t kConfigurationBytes = 4616;
inline constexpr std::size_t kArrayCountAt = 4;  ///< 16 bits, as the three behind it
inline constexpr std::size_t kArrayBytesAt = 6;
inline constexpr std::size_t kSetCountAt = 8;
inline constexpr std::size_t kSetBytesAt = 10;
inline constexpr std::size_t kFirstArray = 32;
inline constexpr std::size_t kSetNumberAt = 0;  ///< inside the record of a logical drive, 8 bits
inline constexpr std::size_t kSetArrayAt = 80;  ///< array of its first span, 16 bits
inline constexpr std::uint64_t kBlockBytes = 512;

}  // namespace ostria::storage::lsi
