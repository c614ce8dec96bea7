#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include "base/kinds.h"

namespace ostria::storage {

/// Bus types of a storage device descriptor.
enum class DescriptorBus : std::uint32_t {
  Scsi = 1,
  Atapi = 2,
  Ata = 3,
  Ieee1394 = 4,
  Ssa = 5,
  Fibre = 6,
  Usb = 7,
  Raid = 8,
  Iscsi = 9,
  Sas = 10,
  Sata = 11,
  Sd = 12,
  Mmc = 13,
  Nvme = 17,
};

/// What the operating system's storage device descriptor says of a disk.
struct DeviceDescriptor {
  static constexpr std::size_t kMinimumSize = 40;
  static constexpr std::size_t kRemovableMediaOffset = 10;
  static constexpr std::size_t kVendorIdOffset = 12;
  static constexpr std::size_t kProductIdOffset = 16;
  static constexpr std::size_t kBusTypeOffset = 28;

  bool removableMedia = false;
  DescriptorBus bus{};
  std::optional<std::string> vendor;   ///< as it stands there, blanks included
  std::optional<std::string> product;  ///< none when the descriptor has no usable text

  /// Reads the block that the system returned. Texts lie inside it and end with it at the latest.
  /// @return nothing for a block below 40 bytes
  static std::optional<DeviceDescriptor> parse(std::span<const std::uint8_t> block);
};

/// True for the volume of a firmware RAID.
/// @param optaneVolume  set to true for the family that caches volumes, else untouched
bool IsVendorRaid(const DeviceDescriptor& descriptor, bool* optaneVolume);

/// @param removable  whether the medium can be taken out, nothing when that is not known
DeviceConnection connectionOf(DescriptorBus bus, std::optional<bool> removable);

/// Kind of bus where the bus type alone decides. A RAID bus that is no firmware RAID gives
/// `Unknown`: what hangs there must be asked.
StorageBusKind busKindOf(const DeviceDescriptor& descriptor, std::optional<bool> removable,
                         bool* optaneVolume);

/// Vendor text by which NVMe drives behind a RAID driver show themselves.
inline constexpr const char* kNvmeVendorText = "NVMe    ";

}  // namespace ostria::storage
