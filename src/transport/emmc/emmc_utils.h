#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "base/device_handle.h"

namespace ostria::storage {

enum class EmmcMediaKind : std::uint32_t { Removable = 0, Fixed = 1, Other = 2 };

struct EmmcGeometry {
  std::uint64_t cylinders = 0;
  EmmcMediaKind mediaKind = EmmcMediaKind::Other;
  std::uint32_t tracksPerCylinder = 0;
  std::uint32_t sectorsPerTrack = 0;
  std::uint32_t bytesPerSector = 0;
  std::uint64_t totalSectors = 0;
};

struct EmmcIdentity {
  std::string serialNumber;
  std::string product;
  std::string vendor;
  std::string revision;
};

/// A mounted volume that lies on the device.
struct EmmcVolume {
  std::string devicePath;  ///< by which the volume is opened, "\\.\C:" for instance
  std::string rootPath;    ///< "C:\" for instance
  std::string fileSystem;  ///< name as the system has it; empty when unknown
};

/// What the operating system knows of an eMMC or SD device. A result is 0 on success; an output is
/// written on success only.
class EmmcUtils {
 public:
  static constexpr std::uint32_t kOpenFailed = 31;
  static constexpr std::uint32_t kGeometryFailed = 97;

  virtual ~EmmcUtils() = default;

  /// For a caller who has a path and no handle: opens it for reading and writing, shared,
  /// instead of the handle in use. @return `OpenFailed` on a failure
  virtual std::uint32_t Open(const std::string& path) = 0;
  /// Closes the handle in use.
  virtual std::uint32_t Close() = 0;
  /// @return `GeometryFailed` on a failure
  virtual std::uint32_t GetGeometry(EmmcGeometry* out) = 0;
  /// @return `ProtocolResult::TransportFailure` on a failure
  virtual std::uint32_t GetIdentity(EmmcIdentity* out) = 0;
  /// Replaces `out` by the volumes of fixed drives that lie on this device, at least in part.
  /// @return `ProtocolResult::Failure` when the device cannot be distinguished from others
  virtual std::uint32_t ListVolumes(std::vector<EmmcVolume>* out) = 0;
  /// The folder for temporary files below a volume's root, in the system's own form.
  virtual std::string TemporaryDirectory(const std::string& rootPath) const = 0;
};

/// The form of the platform, on an open device that stays the caller's; never null. Defined by each
/// platform.
std::unique_ptr<EmmcUtils> makeEmmcUtils(DeviceHandle handle, const std::string& devicePath);

}  // namespace ostria::storage
