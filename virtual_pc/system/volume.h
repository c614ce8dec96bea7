// A volume: a file system on a partition of a disk.
#pragma once

#include <algorithm>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "virtual_pc/description/description.h"
#include "virtual_pc/drives/block_medium.h"
#include "virtual_pc/system/disk.h"
#include "virtual_pc/system/kernel_object.h"

namespace ostria::virtual_pc {

/// A file or directory of a volume.
struct FileNode {
  std::string name;
  bool directory = false;
  std::uint64_t bytes = 0;
  std::map<std::uint64_t, std::uint64_t> clusters;  ///< of the file: cluster of the volume
  std::map<std::string, std::shared_ptr<FileNode>> children;  ///< by name in lower case
  unsigned opens = 0;
  bool sparse = false;         ///< takes clusters only where something was written
  std::uint64_t reserved = 0;  ///< clusters that it takes beside those that hold content
  /// What the system's cache holds of it, by cluster of the file.
  std::map<std::uint64_t, std::vector<std::uint8_t>> cache;
};

/// A volume with a drive letter: the raw volume as a device, and its files. File content lies in
/// the sectors of the drive, so that what ails the drive shows in its files.
class VolumeObject : public IoObject {
 public:
  /// @param disk  null for a volume on no drive of this machine, which then has a medium of its own
  /// @param further  the other disks of a volume that spans several
  VolumeObject(const VolumeDescription& description, DiskObject* disk,
               std::vector<DiskObject*> further = {});

  void control(IoRequest& request) override;
  std::uint64_t size() const override { return description_.totalBytes; }
  std::uint32_t alignment() const override {
    return std::max(sectorBytes_, description_.sectorBytes);
  }
  void closing(OpenFile& file) override;

  const VolumeDescription& description() const { return description_; }
  DiskObject* disk() const { return disk_; }
  /// The name that every volume has, without a backslash at the end.
  std::string guidPath() const;
  /// Whether a write to these bytes of a disk goes to its file system's sectors.
  bool covers(const DiskObject& disk, std::uint64_t offset, std::uint64_t bytes) const;
  bool present() const { return disk_ == nullptr || disk_->present(); }
  /// Whether the file system holds the sectors: neither locked nor dismounted.
  bool mounted() const { return lockedBy_ == nullptr && !dismounted_; }
  std::uint64_t startOffset() const { return startSector_ * sectorBytes_; }
  std::uint64_t freeBytes() const { return freeClusters_ * clusterBytes_; }
  std::uint32_t clusterBytes() const { return clusterBytes_; }

  // Files. Paths are UTF-8, from the root on, with backslashes and without one at the end; the root
  // itself is empty. Error results are the system's codes, 0 for success.
  std::shared_ptr<FileNode> find(const std::string& path) const;
  /// The code for a path that `find` does not know: whether the name is missing, or already its
  /// directory.
  std::uint32_t missing(const std::string& path) const;
  std::uint32_t create(const std::string& path, bool directory, std::shared_ptr<FileNode>* node);
  std::uint32_t remove(const std::string& path, bool directory);
  void removeNode(const FileNode* node);
  using IoObject::resize;
  std::uint32_t resize(FileNode& node, std::uint64_t bytes);
  /// Makes a file sparse: what it takes without content is free again.
  void makeSparse(FileNode& node);
  SectorResult readFile(FileNode& node, std::uint64_t offset, std::uint64_t bytes,
                        std::uint8_t* out);
  SectorResult writeFile(FileNode& node, std::uint64_t offset, std::uint64_t bytes,
                         const std::uint8_t* in);
  /// An opening of a file came or went; the volume can't be locked while there is one.
  void opened() { ++openFiles_; }
  void fileClosed() { --openFiles_; }

 private:
  SectorResult readSectors(std::uint64_t sector, std::uint64_t count, std::uint8_t* out);
  SectorResult writeSectors(std::uint64_t sector, std::uint64_t count, const std::uint8_t* in);
  void fileSystemControl(IoRequest& request);
  void ntfsData(IoRequest& request) const;
  void diskExtents(IoRequest& request) const;
  bool allocate(FileNode& node, std::uint64_t cluster);
  void reserve(FileNode& node, std::uint64_t clusters);
  void release(FileNode& node, std::uint64_t fromCluster);
  bool removeBelow(FileNode& directory, const FileNode* node);

  VolumeDescription description_;
  DiskObject* disk_;
  std::vector<DiskObject*> further_;  ///< in the order of the description's parts
  std::unique_ptr<BlockMedium> own_;
  std::uint32_t sectorBytes_ = 512;
  std::uint32_t clusterBytes_;
  std::uint64_t startSector_ = 0;
  std::uint64_t nextCluster_;
  std::uint64_t freeClusters_;
  std::vector<std::uint64_t> returned_;  ///< clusters that files have given back
  std::shared_ptr<FileNode> root_ = std::make_shared<FileNode>();
  unsigned openFiles_ = 0;
  const OpenFile* lockedBy_ = nullptr;
  bool dismounted_ = false;
};

/// An open file or directory of a volume.
class FileObject : public IoObject {
 public:
  FileObject(std::shared_ptr<VolumeObject> volume, std::shared_ptr<FileNode> node);
  ~FileObject() override;

  void control(IoRequest& request) override;
  void read(IoRequest& request) override;
  void write(IoRequest& request) override;
  std::uint64_t size() const override { return node_->bytes; }
  std::uint32_t resize(std::uint64_t bytes) override { return volume_->resize(*node_, bytes); }
  std::uint32_t alignment() const override { return volume_->alignment(); }
  const void* identity() const override { return node_.get(); }
  void closing(OpenFile& file) override;

  bool sparse() const { return node_->sparse; }

 private:
  /// The cache of buffered openings: what was written through it is read from it.
  void keepInCache(const IoRequest& request);
  bool readFromCache(IoRequest& request) const;

  std::shared_ptr<VolumeObject> volume_;
  std::shared_ptr<FileNode> node_;
};

}  // namespace ostria::virtual_pc
