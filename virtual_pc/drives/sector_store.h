// The content of a medium of any size in little memory.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <unordered_map>

namespace ostria::virtual_pc {

/// Content of a medium. A sector that was never written holds a pattern that its address gives, so
/// that memory grows only with what was written.
class SectorStore {
 public:
  explicit SectorStore(std::uint32_t sectorBytes) : sectorBytes_(sectorBytes) {}

  /// Copies sectors out: `count` times `sectorBytes` bytes.
  void read(std::uint64_t lba, std::uint64_t count, std::uint8_t* out) const;
  /// Copies one sector in.
  void write(std::uint64_t lba, const std::uint8_t* in);

  std::uint32_t sectorBytes() const { return sectorBytes_; }
  /// Sectors that take memory.
  std::size_t storedSectors() const { return written_.size(); }

  /// What an unwritten sector holds; never all zeros. `bytes` is a multiple of 8.
  static void pattern(std::uint64_t lba, std::uint32_t bytes, std::uint8_t* out);

 private:
  std::uint32_t sectorBytes_;
  std::unordered_map<std::uint64_t, std::unique_ptr<std::uint8_t[]>> written_;
  /// One bit for each written sector of a group of 64, so that a scan need not look for each.
  std::unordered_map<std::uint64_t, std::uint64_t> groups_;
};

}  // namespace ostria::virtual_pc
