// Geometry, descriptor and volumes of an eMMC or SD disk. Some drivers give the descriptor's texts
// in hexadecimal with swapped bytes.

#include "platform/windows/discovery/win_emmc_utils.h"

#include <windows.h>
#include <winioctl.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <limits>
#include <optional>

#include "base/byte_order.h"
#include "base/protocol_result.h"
#include "platform/windows/discovery/win_storage_queries.h"
#include "platform/windows/io/win_handle.h"
#include "platform/windows/passthrough/win_device_control.h"
#include "services/volume_access.h"

namespace ostria::storage {

namespace {

constexpr std::size_t kDescriptorBlockBytes = 1000;

static_assert(sizeof(DISK_GEOMETRY) == 24);
static_assert(sizeof(STORAGE_PROPERTY_QUERY) == 12);
static_assert(sizeof(STORAGE_DEVICE_NUMBER) == 12);
static_assert(offsetof(STORAGE_DEVICE_DESCRIPTOR, VendorIdOffset) == 12);
static_assert(offsetof(STORAGE_DEVICE_DESCRIPTOR, SerialNumberOffset) == 24);

std::uint32_t asNumber(ProtocolResult result) { return static_cast<std::uint32_t>(result); }

bool printable(char c) { return c >= 0x20 && c <= 0x7E; }

int hexDigit(char c) {
  if (c >= '0' && c <= '9') {
    return c - '0';
  }
  if (c >= 'a' && c <= 'f') {
    return c - 'a' + 10;
  }
  if (c >= 'A' && c <= 'F') {
    return c - 'A' + 10;
  }
  return -1;
}

std::optional<std::string> decodeSwappedHex(const std::string& text) {
  if (text.size() % 2 != 0) {
    return std::nullopt;
  }
  std::string bytes;
  for (std::size_t i = 0; i < text.size(); i += 2) {
    const int high = hexDigit(text[i]);
    const int low = hexDigit(text[i + 1]);
    if (high < 0 || low < 0) {
      return std::nullopt;
    }
    const char byte = static_cast<char>(high * 16 + low);
    if (!printable(byte)) {
      return std::nullopt;
    }
    bytes += byte;
  }
  for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) {
    std::swap(bytes[i], bytes[i + 1]);
  }
  return bytes;
}

std::string trimWhiteSpace(const std::string& text) {
  constexpr const char* kWhite = " \t\n\v\f\r";
  const std::size_t first = text.find_first_not_of(kWhite);
  if (first == std::string::npos) {
    return {};
  }
  return text.substr(first, text.find_last_not_of(kWhite) - first + 1);
}

// A text of the descriptor, as far as the block goes.
std::string descriptorText(const std::array<std::uint8_t, kDescriptorBlockBytes>& block,
                           DWORD offset) {
  if (offset == 0 || offset >= block.size()) {
    return {};
  }
  const auto begin = block.begin() + offset;
  return DecodeDescriptorText(std::string(begin, std::find(begin, block.end(), std::uint8_t{0})));
}

UniqueHandle openVolume(const std::string& path) {
  return UniqueHandle(CreateFileA(path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                  nullptr, OPEN_EXISTING, 0, nullptr));
}

}  // namespace

std::string DecodeDescriptorText(const std::string& text) {
  if (const std::optional<std::string> decoded = decodeSwappedHex(text)) {
    return trimWhiteSpace(*decoded);
  }
  return trimWhiteSpace(
      std::string(text.begin(), std::find_if_not(text.begin(), text.end(), printable)));
}

std::unique_ptr<EmmcUtils> makeEmmcUtils(DeviceHandle handle, const std::string& devicePath) {
  return std::make_unique<WinEmmcUtils>(handle, devicePath);
}

WinEmmcUtils::WinEmmcUtils(DeviceHandle handle, std::string devicePath)
    : handle_(handle), devicePath_(std::move(devicePath)) {}

std::uint32_t WinEmmcUtils::Open(const std::string& path) {
  UniqueHandle opened(CreateFileA(path.c_str(), GENERIC_READ | GENERIC_WRITE,
                                  FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING, 0,
                                  nullptr));
  if (!opened) {
    return kOpenFailed;
  }
  handle_ = toDeviceHandle(opened.release());
  devicePath_ = path;
  return 0;
}

std::uint32_t WinEmmcUtils::Close() {
  if (!CloseHandle(toNativeHandle(handle_))) {
    return asNumber(ProtocolResult::Failure);
  }
  handle_ = DeviceHandle();
  return 0;
}

std::uint32_t WinEmmcUtils::GetGeometry(EmmcGeometry* out) {
  DISK_GEOMETRY geometry{};
  const ControlAnswer answer =
      deviceControl(handle_, IOCTL_DISK_GET_DRIVE_GEOMETRY, nullptr, 0, &geometry, sizeof geometry);
  if (out == nullptr || !answer || answer.returned < sizeof geometry) {
    return kGeometryFailed;
  }
  const auto cylinders = static_cast<std::uint64_t>(geometry.Cylinders.QuadPart);
  const std::uint64_t perCylinder =
      std::uint64_t{geometry.TracksPerCylinder} * geometry.SectorsPerTrack;
  if (perCylinder != 0 && cylinders > std::numeric_limits<std::uint64_t>::max() / perCylinder) {
    return kGeometryFailed;
  }

  out->cylinders = cylinders;
  const DWORD media = numberIn(geometry.MediaType);
  out->mediaKind = media == RemovableMedia ? EmmcMediaKind::Removable
                   : media == FixedMedia   ? EmmcMediaKind::Fixed
                                           : EmmcMediaKind::Other;
  out->tracksPerCylinder = geometry.TracksPerCylinder;
  out->sectorsPerTrack = geometry.SectorsPerTrack;
  out->bytesPerSector = geometry.BytesPerSector;
  // The geometry counts whole cylinders; what lies behind the last one is part of the device too.
  GET_LENGTH_INFORMATION length{};
  const ControlAnswer exact =
      deviceControl(handle_, IOCTL_DISK_GET_LENGTH_INFO, nullptr, 0, &length, sizeof length);
  const bool known = exact && exact.returned >= sizeof length && length.Length.QuadPart > 0 &&
                     geometry.BytesPerSector != 0;
  out->totalSectors =
      known ? static_cast<std::uint64_t>(length.Length.QuadPart) / geometry.BytesPerSector
            : cylinders * perCylinder;
  return 0;
}

std::uint32_t WinEmmcUtils::GetIdentity(EmmcIdentity* out) {
  STORAGE_PROPERTY_QUERY query{};
  query.PropertyId = StorageDeviceProperty;
  query.QueryType = PropertyStandardQuery;
  std::array<std::uint8_t, kDescriptorBlockBytes> block{};
  if (out == nullptr || !deviceControl(handle_, IOCTL_STORAGE_QUERY_PROPERTY, &query, sizeof query,
                                       block.data(), block.size())) {
    return asNumber(ProtocolResult::TransportFailure);
  }
  STORAGE_DEVICE_DESCRIPTOR descriptor;
  std::memcpy(&descriptor, block.data(), sizeof descriptor);
  out->product = descriptorText(block, descriptor.ProductIdOffset);
  out->revision = descriptorText(block, descriptor.ProductRevisionOffset);
  out->serialNumber = descriptorText(block, descriptor.SerialNumberOffset);
  out->vendor = descriptorText(block, descriptor.VendorIdOffset);
  return 0;
}

std::uint32_t WinEmmcUtils::ListVolumes(std::vector<EmmcVolume>* out) {
  STORAGE_DEVICE_NUMBER number{};
  const ControlAnswer answer =
      deviceControl(handle_, IOCTL_STORAGE_GET_DEVICE_NUMBER, nullptr, 0, &number, sizeof number);
  if (out == nullptr || !answer || answer.returned < sizeof number) {
    return asNumber(ProtocolResult::Failure);
  }

  std::vector<EmmcVolume> found;
  const DWORD letters = GetLogicalDrives();
  for (unsigned i = 0; i < 26; ++i) {
    if ((letters & (DWORD{1} << i)) == 0) {
      continue;
    }
    const char letter = static_cast<char>('A' + i);
    EmmcVolume volume;
    volume.rootPath = std::string{letter} + ":\\";
    volume.devicePath = std::string{"\\\\.\\"} + letter + ":";
    if (GetDriveTypeA(volume.rootPath.c_str()) != DRIVE_FIXED) {
      continue;
    }
    const UniqueHandle handle = openVolume(volume.devicePath);
    if (!handle || !liesOnDisk(toDeviceHandle(handle.get()), number.DeviceNumber)) {
      continue;
    }
    static_cast<void>(readFileSystemName(volume.rootPath, volume.fileSystem));
    found.push_back(std::move(volume));
  }
  *out = std::move(found);
  return 0;
}

std::string WinEmmcUtils::TemporaryDirectory(const std::string& rootPath) const {
  return rootPath + "\\Temp";
}

}  // namespace ostria::storage
