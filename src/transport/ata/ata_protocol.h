// ATA drives (ACS-3), whatever carries their commands.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <memory>
#include <vector>

#include "transport/ata/ata_bridge.h"
#include "transport/ata/smart_attribute.h"
#include "transport/bridge_list.h"
#include "transport/storage_protocol.h"

namespace ostria::storage {

/// A drive reached with ATA commands, through whichever of its bridges works.
class AtaProtocol : public StorageProtocol {
 public:
  DeviceHandle GetDeviceHandle() override { return bridges_.deviceHandle(); }
  ProtocolResult GetProperties(StorageProtocolProperties* out) override;
  /// A 28-bit drive takes at most 255 sectors; what its command cannot address or count gives
  /// `InvalidArgument`. Fewer bytes than asked give `NoDataReturned`.
  ProtocolResult Read(std::uint64_t lba, std::uint16_t sectors, std::uint32_t timeoutSeconds,
                      void* buffer, std::uint32_t bufferBytes) override;
  ProtocolResult GetTemperature(std::uint8_t* celsius) override;
  ProtocolResult StartSelfTest(std::uint8_t code, std::uint8_t second) override;
  ProtocolResult GetSelfTestProgress(std::uint8_t* percent) override;
  ProtocolResult GetSelfTestResult(std::uint8_t* code) override;
  ProtocolResult AbortSelfTest() override;
  ProtocolResult GetFirstFailedLba(std::uint64_t* lba) override;
  ProtocolResult GetSmartStatus(std::uint8_t* healthy) override;
  ProtocolResult SetSmartEnabled(std::uint8_t enable) override;
  ProtocolResult WriteUncorrectable(std::uint64_t lba) override;
  /// Identifies the drive afresh first, so that nothing is written on stale geometry.
  ProtocolResult Write(std::uint64_t lba, std::uint16_t sectors, std::uint64_t ignored,
                       const void* buffer) override;
  ProtocolResult GetWearIndicator(std::uint32_t* percent) override;
  ProtocolResult GetPowerMode(std::uint32_t* mode) override;
  ProtocolResult IdleImmediate() override;
  /// Appends the attributes with a current value of 1 to 253; does not clear.
  virtual ProtocolResult GetSmartAttributes(std::vector<SmartAttribute>* attributes);
  /// Seconds that the drive gives its own self-tests: short, extended, conveyance.
  using SelfTestTimes = std::array<std::uint32_t, 3>;
  /// @param times  0 for a test that the drive does not have, or gives no time for
  ProtocolResult GetSelfTestTimes(SelfTestTimes* times);

  /// @return false when the same bridge is in the list already
  bool AddBridge(std::shared_ptr<AtaBridge> bridge) { return bridges_.add(std::move(bridge)); }
  /// Offers the command to the bridges in order until one gives `Success`; that one moves to the
  /// front. `NoDataReturned` behind which the status shows an error is the drive's verdict and ends
  /// the walk. A failed attempt leaves the command as it was, except for `NoDataReturned` that is
  /// returned, which leaves the registers to look at.
  ProtocolResult SendThroughBridges(AtaCmd& command);
  /// Whether an IDENTIFY DEVICE through this bridge alone brings 512 valid bytes.
  static bool ProbeBridge(AtaBridge& bridge);
  /// Reads a log of 512-byte pages from its first page on.
  /// @param buffer     room for `pages` pages
  /// @param pagesRead  good pages. A general-purpose log page (logs 3, 7, DFh) that stays bad, or
  ///                   that the drive refuses, is skipped, with the next one in its place and still
  ///                   `Success`: compare this with `pages`
  ProtocolResult ReadLog(std::uint8_t log, std::uint16_t pages, void* buffer,
                         std::uint16_t* pagesRead);
  /// Pages of logs 1, 2, 3, 6 and 7; 0 for any other log, and for one of which the drive said
  /// nothing. Asked once per object, and again only when no directory could be read, or one of them
  /// was lost on the way.
  std::uint16_t GetLogPageCount(std::uint8_t log);

 private:
  ProtocolResult OfferToBridges(AtaCmd& command, const AtaCmd& asked);
  ProtocolResult SendChecked(AtaCmd& command);
  ProtocolResult SendPage(AtaCmd& command);
  ProtocolResult ReadSmartData(AtaPage& page);
  ProtocolResult ReadLogExtPages(std::uint8_t log, std::uint16_t pages, std::uint8_t* buffer,
                                 std::uint16_t& pagesRead);
  void FillLogDirectory();
  bool ReadDirectory(AtaCmd& command, const AtaPage& page,
                     std::initializer_list<std::uint8_t> logs);
  void ReadFruData();
  void ReadSmartCapabilities();
  bool CanAddress(std::uint64_t lba, std::uint16_t sectors) const;
  ProtocolResult FailedLbaOfExtendedLog(std::uint16_t pages, std::uint64_t& lba);
  ProtocolResult FailedLbaOfShortLog(std::uint64_t& lba);

  BridgeList<AtaBridge> bridges_;
  std::map<std::uint8_t, std::uint16_t> logDirectory_;
  bool directoryLost_ = false;  ///< one of the two was lost on the way, not refused
};

}  // namespace ostria::storage
