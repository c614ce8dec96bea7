// Reads a disk through the operating system, block by block; a block that fails is narrowed down to
// its first bad sector.
#include "tools/scan_tool.h"

#include <algorithm>
#include <limits>
#include <new>

#include "base/sector_size.h"
#include "checks/device_checks.h"
#include "checks/null_channels.h"
#include "tools/tool_events.h"

namespace ostria::storage {
namespace {

constexpr std::uint32_t kReadTimeoutSeconds = 30;

/// The block for a device whose first sectors refuse every block of the probe: bad sectors there
/// are just what a scan is for.
constexpr std::uint16_t kFallbackBlock = 127;

/// Sectors that are listed one by one. A dead disk has billions, which no host could show.
constexpr std::size_t kMostListed = 100000;

/// Whether the system's read says what ails the sector. Otherwise the device itself is asked: the
/// system has one answer for a broken cable and for a drive that it could not reach.
bool isVerdict(ProtocolResult result) {
  return result == ProtocolResult::MediumError || result == ProtocolResult::InterfaceCrcError ||
         result == ProtocolResult::CommandRejected || result == ProtocolResult::ReadTimeout;
}

}  // namespace

ToolStatus ScanTool::execute(const RecoverDeviceItem& /*item*/, std::uint32_t /*partitionIndex*/) {
  statistics_.fill(0);
  aborted_ = false;
  badSectors_.clear();
  clearFindings();
  steppedOver_ = 0;
  StorageProtocolProperties properties;
  if (!canScan(properties)) {
    return ToolStatus::CouldNotRun;
  }

  component_->restartReadTimes();
  publishProgress(0);
  const ToolStatus status = scan(properties);
  buffer_ = {};
  if (steppedOver_ != 0) {
    notices_.push_back("Sectors that could not be read, for reasons other than the medium: " +
                       std::to_string(steppedOver_) + ".");
  }
  if (statistics_[Found] > badSectors_.size()) {
    notices_.push_back("Bad sectors that are counted but not listed: " +
                       std::to_string(statistics_[Found] - badSectors_.size()) + ".");
  }
  return status;
}

bool ScanTool::canScan(StorageProtocolProperties& properties) {
  protocol_ = component_ != nullptr ? component_->storageProtocol() : nullptr;
  if (protocol_ == nullptr || !succeeded(protocol_->GetProperties(&properties))) {
    return false;
  }
  TestListener* const listener = &NullTestListener::instance();
  MessageLog* const log = &NullMessageLog::instance();
  return checkSeekable(component_, listener, log) &&
         component_->connection() != DeviceConnection::RaidMember &&
         checkReadyToRead(component_, listener, log) && properties.totalSectors != 0 &&
         properties.logicalSectorSize >= kSmallestSectorBytes;
}

std::uint16_t ScanTool::firstBlockSize(const StorageProtocolProperties& properties) {
  std::uint16_t block = component_->preferredReadBlock();
  if (block == 0) {
    block = kFallbackBlock;
  }
  const std::uint32_t fitting =
      std::numeric_limits<std::uint32_t>::max() / sectorBufferBytes(properties);
  return static_cast<std::uint16_t>(std::min<std::uint32_t>(block, fitting));
}

ToolStatus ScanTool::scan(const StorageProtocolProperties& properties) {
  const std::uint64_t total = properties.totalSectors;
  const std::uint32_t sectorBytes = sectorBufferBytes(properties);
  std::uint16_t block = firstBlockSize(properties);
  clearMessage();
  addLine("BAD_SECTOR_TOOL_STARTED " + title_);

  std::uint8_t reported = 0;
  for (std::uint64_t sector = 0; sector < total;) {
    if (isAbortRequested(*owner_)) {
      return stopWith(ToolStatus::Stopped);
    }
    if (hasCompromisingEvent(*owner_)) {
      return stopWith(ToolStatus::SystemEvent);
    }
    if (block > total - sector) {
      block = static_cast<std::uint16_t>(total - sector);
    }

    BlockRead read = readBlock(sector, block, sectorBytes);
    if (succeeded(read.result)) {
      addToStatistic(Scanned, block);
      sector += block;
    } else {
      // A device that comes back with sectors of another size is another one, or none to be judged.
      if (!protocol_->IsAccessible() ||
          sectorBufferBytes(cachedProperties(protocol_)) != sectorBytes) {
        return stopWith(ToolStatus::Stopped);
      }
      if (!isVerdict(read.result)) {
        read.result = askDevice(read.sector, sectorBytes);
      }
      switch (read.result) {
        case ProtocolResult::InterfaceCrcError:
        case ProtocolResult::MediumError:
          // What became of the sector is in the counters, from which the end result is made.
          (void)handleBadSector(read.sector);
          break;
        case ProtocolResult::CommandRejected:
          return stopWith(ToolStatus::DeviceRejected);
        case ProtocolResult::ReadTimeout:
          return ToolStatus::ReadTimeout;
        case ProtocolResult::Success:
          break;
        default:
          // Neither good nor known to be bad: a repair must not write over it.
          ++steppedOver_;
          addToStatistic(Scanned, -1);
          break;
      }
      addToStatistic(Scanned, static_cast<std::int32_t>(read.sector - sector + 1));
      sector = read.sector + 1;
    }
    if (aborted_) {
      return ToolStatus::Stopped;
    }

    const double percent =
        total > 1 ? static_cast<double>(sector) * 100.0 / static_cast<double>(total - 1) : 100.0;
    const auto whole = static_cast<std::uint8_t>(std::min(percent, 100.0));
    if (whole > reported) {
      reportProgress(whole);
      publishProgress(whole);
      reported = whole;
    }
  }
  addLine("BAD_SECTOR_TOOL_FINISHED " + title_);

  if (statistics_[NotFixed] != 0) {
    return ToolStatus::NotRepaired;
  }
  if (statistics_[Found] != 0) {
    return ToolStatus::Repaired;
  }
  // Nothing is known of what was stepped over, so it must not pass for good.
  if (steppedOver_ != 0) {
    return statistics_[Scanned] == 0 ? ToolStatus::CouldNotRun : ToolStatus::Stopped;
  }
  return ToolStatus::Finished;
}

/// A block that fails is read again sector by sector, up to the first that fails. A block that ran
/// out of time is not: each of its sectors could take as long.
ScanTool::BlockRead ScanTool::readBlock(std::uint64_t first, std::uint16_t count,
                                        std::uint32_t sectorBytes) {
  const std::size_t needed = std::size_t{count} * sectorBytes;
  if (buffer_.size() < needed && !buffer_.make(needed)) {
    throw std::bad_alloc();
  }
  const ProtocolResult whole = component_->readSectors(
      first, count, buffer_, false, static_cast<std::uint32_t>(needed), kReadTimeoutSeconds);
  if (succeeded(whole) || whole == ProtocolResult::ReadTimeout) {
    return {whole, first};
  }
  for (std::uint64_t sector = first; sector < first + count; ++sector) {
    const ProtocolResult single =
        component_->readSectors(sector, 1, buffer_, false, sectorBytes, kReadTimeoutSeconds);
    if (!succeeded(single)) {
      return {single, sector};
    }
  }
  return {ProtocolResult::Success, first};
}

/// What the device itself says of a sector that the system could not read. Good is only what the
/// system reads as well: a pass-through may report success for a command that never arrived.
ProtocolResult ScanTool::askDevice(std::uint64_t sector, std::uint32_t sectorBytes) {
  if (!buffer_.renew()) {
    throw std::bad_alloc();
  }
  const ProtocolResult verdict =
      protocol_->Read(sector, 1, kReadTimeoutSeconds, buffer_.data(), sectorBytes);
  return succeeded(verdict)
             ? component_->readSectors(sector, 1, buffer_, false, sectorBytes, kReadTimeoutSeconds)
             : verdict;
}

ToolStatus ScanTool::stopWith(ToolStatus status) {
  abort();
  return status;
}

void ScanTool::abort() {
  addLine("BAD_SECTOR_TOOL_ABORTED");
  publishProgress(100);
  aborted_ = true;
}

ToolStatus ScanTool::handleBadSector(std::uint64_t sector) {
  recordBadSector(sector);
  return ToolStatus::Recorded;
}

void ScanTool::recordBadSector(std::uint64_t sector) {
  addToStatistic(Found, 1);
  if (isListed()) {
    badSectors_.push_back(sector);
    addLine("BAD_SECTOR_FOUND_AT " + std::to_string(sector));
  }
}

bool ScanTool::isListed() const { return statistics_[Found] <= kMostListed; }

void ScanTool::reportProgress(std::uint8_t percent) {
  addLine("BAD_SECTOR_TOOL_PROGRESS " + std::to_string(percent) + "%");
}

void ScanTool::addToStatistic(std::uint32_t index, std::int32_t amount) {
  if (index < statistics_.size()) {
    statistics_[index] += static_cast<std::uint64_t>(std::int64_t{amount});
  }
}

void ScanTool::publishProgress(std::uint8_t percent) {
  publish(*owner_, eventReceiver_, "Progress", {std::to_string(percent)});
}

}  // namespace ostria::storage
