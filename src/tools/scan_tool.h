#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "base/protocol_result.h"
#include "services/transfer_buffer.h"
#include "tools/recover_bad_sectors_operation.h"

namespace ostria::storage {

/// Reads a whole device from the first sector to the last and lists the sectors that cannot be
/// read. Nothing is written. A sector whose read fails without a verdict on the medium is read once
/// more by the protocol; where that has none either, it is stepped over and counted. The message
/// has one line for each happening, a key and a value.
class ScanTool : public RecoverBadSectorsOperation {
 public:
  explicit ScanTool(Tool* owner) : ScanTool("SCAN_TOOL", owner) {}

  /// Treats the whole of the component; both arguments are ignored.
  /// @return never `Finished` when sectors were stepped over
  ToolStatus execute(const RecoverDeviceItem& item, std::uint32_t partitionIndex) override;
  void abort() override;
  std::string getMessage() override { return message_; }
  void clearMessage() override { message_.clear(); }
  const SectorStatistics* getSectorStatistics() override { return &statistics_; }
  const BadSectorList* getBadSectorList() override { return &badSectors_; }

  /// Called for each sector that the medium does not give back.
  virtual ToolStatus handleBadSector(std::uint64_t sector);
  /// Counts and lists the sector.
  virtual void recordBadSector(std::uint64_t sector);
  virtual void reportProgress(std::uint8_t percent);
  /// @param index  of the counter; anything above 3 is ignored
  virtual void addToStatistic(std::uint32_t index, std::int32_t amount);

 protected:
  enum Counter : std::uint32_t { Scanned = 0, Found = 1, Fixed = 2, NotFixed = 3 };

  ScanTool(std::string title, Tool* owner) : RecoverBadSectorsOperation(std::move(title), owner) {}
  void addLine(const std::string& line) { message_ += line + "\n"; }
  /// Whether the latest bad sector is one of those that are listed one by one.
  bool isListed() const;

  std::uint32_t timeoutSeconds_ = 30;  ///< of a repair's write and read-back
  bool aborted_ = false;
  StorageProtocol* protocol_ = nullptr;
  SectorStatistics statistics_{};
  BadSectorList badSectors_;
  std::string message_;

 private:
  /// How the read of a block ended: with the whole block, or at `sector`.
  struct BlockRead {
    ProtocolResult result = ProtocolResult::Success;
    std::uint64_t sector = 0;
  };

  bool canScan(StorageProtocolProperties& properties);
  std::uint16_t firstBlockSize(const StorageProtocolProperties& properties);
  ToolStatus scan(const StorageProtocolProperties& properties);
  BlockRead readBlock(std::uint64_t first, std::uint16_t count, std::uint32_t sectorBytes);
  ProtocolResult askDevice(std::uint64_t sector, std::uint32_t sectorBytes);
  ToolStatus stopWith(ToolStatus status);
  void publishProgress(std::uint8_t percent);

  TransferBuffer buffer_;
  std::uint64_t steppedOver_ = 0;  ///< sectors of which nothing is known after the scan
};

}  // namespace ostria::storage
