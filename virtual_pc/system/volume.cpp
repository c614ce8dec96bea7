// A mounted file system: locks, dismounts, queries.
#include "virtual_pc/system/volume.h"

#include <winerror.h>
#include <winioctl.h>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <utility>

#include "base/byte_order.h"

namespace ostria::virtual_pc {

namespace {

constexpr std::uint32_t kNotLocked = 158;  // ERROR_NOT_LOCKED

LARGE_INTEGER large(std::uint64_t value) {
  LARGE_INTEGER out;
  out.QuadPart = static_cast<LONGLONG>(value);
  return out;
}

}  // namespace

VolumeObject::VolumeObject(const VolumeDescription& description, DiskObject* disk,
                           std::vector<DiskObject*> further)
    : description_(description), disk_(disk), further_(std::move(further)) {
  if (disk_ != nullptr) {
    sectorBytes_ = disk_->alignment();
    startSector_ = disk_->partition(description.partition)->startSector;
  } else {
    own_ = std::make_unique<BlockMedium>(std::max<std::uint64_t>(description.totalBytes / 512, 1),
                                         512);
  }
  clusterBytes_ = std::max(description.clusterBytes, sectorBytes_);
  freeClusters_ = description.freeBytes / clusterBytes_;
  nextCluster_ = description.totalBytes / clusterBytes_ - freeClusters_;
  root_->directory = true;
  for (const FileDescription& file : description.files) {
    std::shared_ptr<FileNode> node;
    for (std::size_t at = file.path.find('\\', 1); at != std::string::npos;
         at = file.path.find('\\', at + 1)) {
      create(file.path.substr(0, at), true, &node);
    }
    if (create(file.path, file.directory, &node) != ERROR_SUCCESS || file.directory) {
      continue;
    }
    resize(*node, file.bytes);
    if (!file.text.empty()) {
      writeFile(*node, 0, file.text.size(),
                reinterpret_cast<const std::uint8_t*>(file.text.data()));
    }
  }
}

std::string VolumeObject::guidPath() const {
  static constexpr char kHex[] = "0123456789abcdef";
  const auto letter = static_cast<unsigned char>(description_.letter);
  return std::string("\\\\?\\Volume{5a5a0000-0000-0000-0000-0000000000") + kHex[letter >> 4] +
         kHex[letter & 15] + "}";
}

bool VolumeObject::covers(const DiskObject& disk, std::uint64_t offset, std::uint64_t bytes) const {
  if (disk_ == &disk) {
    return offset < startOffset() + size() && startOffset() < offset + bytes;
  }
  for (std::size_t i = 0; i < further_.size(); ++i) {
    const PartitionDescription* part =
        further_[i] == &disk ? disk.partition(description_.furtherParts[i].partition) : nullptr;
    if (part != nullptr && offset < (part->startSector + part->sectors) * disk.alignment() &&
        part->startSector * disk.alignment() < offset + bytes) {
      return true;
    }
  }
  return false;
}

SectorResult VolumeObject::readSectors(std::uint64_t sector, std::uint64_t count,
                                       std::uint8_t* out) {
  if (disk_ != nullptr) {
    return disk_->readSectors(startSector_ + sector, count, out);
  }
  const MediumAnswer answer = own_->read(sector, count, out);
  return {answer.outcome == MediumOutcome::Good ? 0u : ERROR_IO_DEVICE,
          static_cast<std::size_t>(answer.doneSectors * sectorBytes_), answer.durationMicroseconds};
}

SectorResult VolumeObject::writeSectors(std::uint64_t sector, std::uint64_t count,
                                        const std::uint8_t* in) {
  if (disk_ != nullptr) {
    return disk_->writeSectors(startSector_ + sector, count, in);
  }
  const MediumAnswer answer = own_->write(sector, count, in);
  return {answer.outcome == MediumOutcome::Good ? 0u : ERROR_IO_DEVICE,
          static_cast<std::size_t>(answer.doneSectors * sectorBytes_), answer.durationMicroseconds};
}

void VolumeObject::closing(OpenFile& file) {
  // A lock goes with the handle that holds it, and the file system comes back.
  if (lockedBy_ != &file) {
    return;
  }
  lockedBy_ = nullptr;
  dismounted_ = false;
}

void VolumeObject::control(IoRequest& request) {
  if (!present()) {
    return request.fail(ERROR_DEVICE_NOT_CONNECTED);
  }
  if ((request.code >> 16) == FILE_DEVICE_FILE_SYSTEM) {
    return fileSystemControl(request);
  }
  switch (request.code) {
    case IOCTL_STORAGE_GET_DEVICE_NUMBER: {
      // A volume on several disks has no device number of its own.
      if (disk_ == nullptr || !further_.empty()) {
        return request.fail(ERROR_INVALID_FUNCTION);
      }
      const STORAGE_DEVICE_NUMBER number{FILE_DEVICE_DISK, disk_->number(), description_.partition};
      return request.answer(&number, sizeof number);
    }
    case IOCTL_VOLUME_GET_VOLUME_DISK_EXTENTS:
      return diskExtents(request);
    default:
      return request.fail(ERROR_INVALID_FUNCTION);
  }
}

void VolumeObject::fileSystemControl(IoRequest& request) {
  switch (request.code) {
    case FSCTL_LOCK_VOLUME:
      if ((lockedBy_ != nullptr) || openFiles_ != 0 || !description_.lockable) {
        return request.fail(ERROR_ACCESS_DENIED);
      }
      lockedBy_ = request.file;
      return;
    case FSCTL_UNLOCK_VOLUME:
      if (lockedBy_ != request.file) {
        return request.fail(kNotLocked);
      }
      lockedBy_ = nullptr;
      dismounted_ = false;
      return;
    case FSCTL_DISMOUNT_VOLUME:
      if ((lockedBy_ != nullptr) && lockedBy_ != request.file) {
        return request.fail(ERROR_ACCESS_DENIED);
      }
      // Without a lock the next access mounts it again, so nothing stays of it.
      dismounted_ = lockedBy_ != nullptr;
      return;
    case FSCTL_GET_NTFS_VOLUME_DATA:
      return ntfsData(request);
    default:
      return request.fail(ERROR_INVALID_FUNCTION);
  }
}

void VolumeObject::diskExtents(IoRequest& request) const {
  if (disk_ == nullptr) {
    return request.fail(ERROR_INVALID_FUNCTION);
  }
  constexpr std::size_t kHead = offsetof(VOLUME_DISK_EXTENTS, Extents);
  std::vector<DISK_EXTENT> extents{{disk_->number(), large(startOffset()), large(size())}};
  for (std::size_t i = 0; i < further_.size(); ++i) {
    const DiskObject& disk = *further_[i];
    const PartitionDescription& part = *disk.partition(description_.furtherParts[i].partition);
    extents.push_back({disk.number(), large(part.startSector * disk.alignment()),
                       large(part.sectors * disk.alignment())});
  }
  std::vector<std::uint8_t> block(kHead + extents.size() * sizeof extents[0]);
  storage::storeLe32(block.data(), static_cast<std::uint32_t>(extents.size()));
  std::memcpy(block.data() + kHead, extents.data(), extents.size() * sizeof extents[0]);
  if (request.output.size() < kHead + sizeof extents[0]) {
    return request.fail(ERROR_INSUFFICIENT_BUFFER);
  }
  request.answerCut(block.data(), block.size());
  if (request.output.size() < block.size()) {
    request.error = ERROR_MORE_DATA;  // with as many as there is room for
  }
}

void VolumeObject::ntfsData(IoRequest& request) const {
  if (description_.fileSystem != "NTFS") {
    return request.fail(ERROR_INVALID_FUNCTION);
  }
  NTFS_VOLUME_DATA_BUFFER data{};
  data.VolumeSerialNumber = large(description_.serial);
  data.NumberSectors = large(size() / sectorBytes_);
  data.TotalClusters = large(size() / clusterBytes_);
  data.FreeClusters = large(freeClusters_);
  data.BytesPerSector = sectorBytes_;
  data.BytesPerCluster = clusterBytes_;
  data.BytesPerFileRecordSegment = 1024;
  request.answer(&data, sizeof data);
}

}  // namespace ostria::virtual_pc
