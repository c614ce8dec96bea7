#pragma once

#include <cstddef>
#include <cstdint>

/// Offsets inside the pass-through blocks of LSI controllers, in bytes, little-endian: a header,
/// and the data behind it.
namespace ostria::storage::lsi {

/// Direction of both, as seen from the controller's side of the drive.
inline constexpr std::uint8_t kNoData = 0;
inline constexpr std::uint8_t kToDrive = 1;
inline constexpr std::uint8_t kFromDrive = 2;

// SCSI.
inline constexpr std::size_t kSspHeader = 64;
inline constexpr std::size_t kSspDirectionAt = 4;
inline constexpr std::size_t kSspTimeoutAt = 8;
inline constexpr std::size_t kSspStatusAt = 10;
inline constexpr std::size_t kSspCdbLengthAt = 11;
inline constexpr std::size_t kSspCdbAt = 12;
inline constexpr std::size_t kSspSenseAt = 28;
inline constexpr std::size_t kSspSenseBytes = 32;
inline constexpr std::size_t kSspDataLengthAt = 60;

// ATA.
inline constexpr std::size_t kStpHeader = 60;
inline constexpr std::size_t kStpDirectionAt = 1;
inline constexpr std::size_t kStpTimeoutAt = 2;
inline constexpr std::size_t kStpFlagsAt = 4;
inline constexpr std::size_t kStpFisAt = 8;
inline constexpr std::size_t kStpStatusAt = 28;
inline constexpr std::size_t kStpFisLengthAt = 32;
inline constexpr std::size_t kStpDataLengthAt = 36;
inline constexpr std::size_t kStpReplyFisAt = 40;
inline constexpr std::size_t kFisBytes = 20;

}  // namespace ostria::storage::lsi
