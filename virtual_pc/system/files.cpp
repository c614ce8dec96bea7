// Files of a volume: their content lies in the clusters of the drive, so that its flaws show there.
#include <winerror.h>
#include <winioctl.h>

#include <algorithm>
#include <cstring>
#include <utility>

#include "virtual_pc/system/text_forms.h"
#include "virtual_pc/system/volume.h"

namespace ostria::virtual_pc {

namespace {

/// Splits "\a\b" into its names.
std::vector<std::string> namesOf(const std::string& path) {
  std::vector<std::string> out;
  std::size_t at = 0;
  while (at < path.size()) {
    const std::size_t end = std::min(path.find('\\', at), path.size());
    if (end > at) {
      out.push_back(path.substr(at, end - at));
    }
    at = end + 1;
  }
  return out;
}

}  // namespace

std::shared_ptr<FileNode> VolumeObject::find(const std::string& path) const {
  std::shared_ptr<FileNode> node = root_;
  for (const std::string& name : namesOf(path)) {
    const auto child = node->children.find(lowerCase(name));
    if (child == node->children.end()) {
      return nullptr;
    }
    node = child->second;
  }
  return node;
}

std::uint32_t VolumeObject::missing(const std::string& path) const {
  const auto directory = find(path.substr(0, path.rfind('\\') + 1));
  return directory && directory->directory ? ERROR_FILE_NOT_FOUND : ERROR_PATH_NOT_FOUND;
}

std::uint32_t VolumeObject::create(const std::string& path, bool directory,
                                   std::shared_ptr<FileNode>* node) {
  const std::vector<std::string> names = namesOf(path);
  if (names.empty()) {
    return ERROR_ALREADY_EXISTS;
  }
  std::shared_ptr<FileNode> parent = root_;
  for (std::size_t i = 0; i + 1 < names.size(); ++i) {
    const auto child = parent->children.find(lowerCase(names[i]));
    if (child == parent->children.end() || !child->second->directory) {
      return ERROR_PATH_NOT_FOUND;
    }
    parent = child->second;
  }
  if (names.back().find_first_of("<>:\"/|?*") != std::string::npos) {
    return ERROR_INVALID_NAME;
  }
  auto& slot = parent->children[lowerCase(names.back())];
  if (slot) {
    *node = slot;
    return ERROR_ALREADY_EXISTS;
  }
  slot = std::make_shared<FileNode>();
  slot->name = names.back();
  slot->directory = directory;
  *node = slot;
  return ERROR_SUCCESS;
}

std::uint32_t VolumeObject::remove(const std::string& path, bool directory) {
  const std::shared_ptr<FileNode> node = find(path);
  if (!node) {
    return missing(path);
  }
  if (node == root_) {
    return ERROR_ACCESS_DENIED;
  }
  if (node->directory != directory) {
    return directory ? ERROR_DIRECTORY : ERROR_ACCESS_DENIED;
  }
  if (!node->children.empty()) {
    return ERROR_DIR_NOT_EMPTY;
  }
  if (node->opens != 0) {
    return ERROR_SHARING_VIOLATION;
  }
  removeNode(node.get());
  return ERROR_SUCCESS;
}

void VolumeObject::removeNode(const FileNode* node) { removeBelow(*root_, node); }

bool VolumeObject::removeBelow(FileNode& directory, const FileNode* node) {
  for (auto at = directory.children.begin(); at != directory.children.end(); ++at) {
    if (at->second.get() == node) {
      release(*at->second, 0);
      reserve(*at->second, 0);
      directory.children.erase(at);
      return true;
    }
    if (removeBelow(*at->second, node)) {
      return true;
    }
  }
  return false;
}

bool VolumeObject::allocate(FileNode& node, std::uint64_t cluster) {
  if (node.clusters.contains(cluster)) {
    return true;
  }
  if (node.reserved != 0) {
    --node.reserved;
  } else if (freeClusters_ != 0) {
    --freeClusters_;
  } else {
    return false;
  }
  std::uint64_t location = nextCluster_;
  if (returned_.empty()) {
    ++nextCluster_;
  } else {
    location = returned_.back();
    returned_.pop_back();
  }
  node.clusters[cluster] = location;
  return true;
}

void VolumeObject::release(FileNode& node, std::uint64_t fromCluster) {
  const auto first = node.clusters.lower_bound(fromCluster);
  // Pushed from the back, so that they are taken again in ascending order.
  for (auto at = node.clusters.end(); at != first;) {
    --at;
    returned_.push_back(at->second);
    ++freeClusters_;
  }
  node.clusters.erase(first, node.clusters.end());
}

std::uint32_t VolumeObject::resize(FileNode& node, std::uint64_t bytes) {
  const std::uint64_t clusters = (bytes + clusterBytes_ - 1) / clusterBytes_;
  const std::uint64_t held = node.clusters.size() + node.reserved;
  if (clusters > held && clusters - held > freeClusters_) {
    return ERROR_DISK_FULL;
  }
  release(node, clusters);
  reserve(node,
          node.sparse || clusters < node.clusters.size() ? 0 : clusters - node.clusters.size());
  node.bytes = bytes;
  node.cache.clear();
  return ERROR_SUCCESS;
}

void VolumeObject::reserve(FileNode& node, std::uint64_t clusters) {
  freeClusters_ = freeClusters_ + node.reserved - clusters;
  node.reserved = clusters;
}

void VolumeObject::makeSparse(FileNode& node) {
  node.sparse = true;
  reserve(node, 0);
}

SectorResult VolumeObject::readFile(FileNode& node, std::uint64_t offset, std::uint64_t bytes,
                                    std::uint8_t* out) {
  SectorResult total;
  const std::uint64_t perCluster = clusterBytes_ / sectorBytes_;
  std::vector<std::uint8_t> buffer;
  while (total.bytes < bytes) {
    const std::uint64_t at = offset + total.bytes;
    const std::uint64_t first = at / clusterBytes_;
    const std::uint64_t skip = at % clusterBytes_;
    const auto start = node.clusters.find(first);
    // As many clusters as lie one behind the other on the volume, or as many holes.
    std::uint64_t run = 1;
    const std::uint64_t most = (skip + bytes - total.bytes + clusterBytes_ - 1) / clusterBytes_;
    auto next = start;
    while (run < most && run < 256) {
      if (start == node.clusters.end()) {
        if (node.clusters.contains(first + run)) {
          break;
        }
      } else if (++next == node.clusters.end() || next->first != first + run ||
                 next->second != start->second + run) {
        break;
      }
      ++run;
    }
    const std::uint64_t now = std::min(bytes - total.bytes, run * clusterBytes_ - skip);
    if (start == node.clusters.end()) {
      std::memset(out + total.bytes, 0, static_cast<std::size_t>(now));
    } else {
      const std::uint64_t from = skip / sectorBytes_;
      const std::uint64_t sectors = (skip + now + sectorBytes_ - 1) / sectorBytes_ - from;
      buffer.resize(static_cast<std::size_t>(sectors * sectorBytes_));
      const SectorResult part =
          readSectors(start->second * perCluster + from, sectors, buffer.data());
      total.durationMicroseconds += part.durationMicroseconds;
      total.error = part.error;
      if (part.error) {
        return total;
      }
      std::memcpy(out + total.bytes, buffer.data() + skip % sectorBytes_,
                  static_cast<std::size_t>(now));
    }
    total.bytes += static_cast<std::size_t>(now);
  }
  return total;
}

SectorResult VolumeObject::writeFile(FileNode& node, std::uint64_t offset, std::uint64_t bytes,
                                     const std::uint8_t* in) {
  SectorResult total;
  const std::uint64_t perCluster = clusterBytes_ / sectorBytes_;
  std::vector<std::uint8_t> buffer;
  while (total.bytes < bytes) {
    const std::uint64_t at = offset + total.bytes;
    const std::uint64_t first = at / clusterBytes_;
    const std::uint64_t skip = at % clusterBytes_;
    const bool fresh = !node.clusters.contains(first);
    if (!allocate(node, first)) {
      total.error = ERROR_DISK_FULL;
      return total;
    }
    const std::uint64_t location = node.clusters[first];
    SectorResult part;
    std::uint64_t now = std::min<std::uint64_t>(bytes - total.bytes, clusterBytes_ - skip);
    if (now == clusterBytes_) {
      // Whole clusters go in one piece as long as they lie one behind the other.
      std::uint64_t run = 1;
      while (run < 256 && (run + 1) * clusterBytes_ <= bytes - total.bytes &&
             allocate(node, first + run) && node.clusters[first + run] == location + run) {
        ++run;
      }
      now = run * clusterBytes_;
      part = writeSectors(location * perCluster, run * perCluster, in + total.bytes);
    } else {
      buffer.assign(clusterBytes_, 0);
      const std::uint64_t from = skip / sectorBytes_;
      const std::uint64_t sectors = (skip + now + sectorBytes_ - 1) / sectorBytes_ - from;
      const bool whole = skip % sectorBytes_ == 0 && now % sectorBytes_ == 0;
      std::uint8_t* sectorsAt = buffer.data() + from * sectorBytes_;
      if (!fresh && !whole) {
        part = readSectors(location * perCluster + from, sectors, sectorsAt);
      }
      if (!part.error) {
        std::memcpy(buffer.data() + skip, in + total.bytes, static_cast<std::size_t>(now));
        // A fresh cluster is written whole, so that the rest of it reads as zeros.
        part = fresh ? writeSectors(location * perCluster, perCluster, buffer.data())
                     : writeSectors(location * perCluster + from, sectors, sectorsAt);
      }
    }
    total.durationMicroseconds += part.durationMicroseconds;
    total.error = part.error;
    if (part.error) {
      return total;
    }
    total.bytes += static_cast<std::size_t>(now);
  }
  node.bytes = std::max(node.bytes, offset + bytes);
  return total;
}

FileObject::FileObject(std::shared_ptr<VolumeObject> volume, std::shared_ptr<FileNode> node)
    : volume_(std::move(volume)), node_(std::move(node)) {
  ++node_->opens;
  volume_->opened();
}

FileObject::~FileObject() {
  --node_->opens;
  volume_->fileClosed();
}

void FileObject::closing(OpenFile& file) {
  if (file.deleteOnClose) {
    volume_->removeNode(node_.get());
  }
}

void FileObject::control(IoRequest& request) {
  if (!volume_->present()) {
    return request.fail(ERROR_DEVICE_NOT_CONNECTED);
  }
  if (request.code != FSCTL_SET_SPARSE) {
    return request.fail(ERROR_INVALID_FUNCTION);
  }
  if (!request.file->writable) {
    return request.fail(ERROR_ACCESS_DENIED);
  }
  volume_->makeSparse(*node_);
}

void FileObject::read(IoRequest& request) {
  if (node_->directory) {
    return request.fail(ERROR_INVALID_FUNCTION);
  }
  if (request.offset >= node_->bytes) {
    return request.fail(ERROR_HANDLE_EOF);
  }
  request.makeRoom();
  if (!request.file->unbuffered && readFromCache(request)) {
    return;
  }
  const std::uint64_t bytes =
      std::min<std::uint64_t>(request.output.size(), node_->bytes - request.offset);
  const SectorResult result =
      volume_->readFile(*node_, request.offset, bytes, request.output.data());
  request.error = result.error;
  request.returned = result.error ? 0 : result.bytes;
  request.durationMicroseconds = result.durationMicroseconds;
}

void FileObject::write(IoRequest& request) {
  if (node_->directory) {
    return request.fail(ERROR_INVALID_FUNCTION);
  }
  const SectorResult result =
      volume_->writeFile(*node_, request.offset, request.input.size(), request.input.data());
  request.error = result.error;
  request.returned = result.bytes;
  request.durationMicroseconds = result.durationMicroseconds;
  keepInCache(request);
}

void FileObject::keepInCache(const IoRequest& request) {
  const std::uint64_t page = volume_->clusterBytes();
  const std::uint64_t end = request.offset + request.input.size();
  for (std::uint64_t at = request.offset / page * page; at < end; at += page) {
    const bool whole = at >= request.offset && at + page <= end;
    if (!whole || request.file->unbuffered || request.error != ERROR_SUCCESS) {
      node_->cache.erase(at / page);
      continue;
    }
    const auto first = request.input.begin() + static_cast<std::ptrdiff_t>(at - request.offset);
    node_->cache[at / page].assign(first, first + static_cast<std::ptrdiff_t>(page));
  }
}

bool FileObject::readFromCache(IoRequest& request) const {
  const std::uint64_t page = volume_->clusterBytes();
  for (std::uint64_t done = 0; done < request.output.size();) {
    const std::uint64_t at = request.offset + done;
    const auto cached = node_->cache.find(at / page);
    if (cached == node_->cache.end()) {
      return false;
    }
    const std::uint64_t now = std::min(page - at % page, request.output.size() - done);
    std::memcpy(request.output.data() + done, cached->second.data() + at % page,
                static_cast<std::size_t>(now));
    done += now;
  }
  request.returned = request.output.size();
  return true;
}

}  // namespace ostria::virtual_pc
