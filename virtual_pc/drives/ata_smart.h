// SMART state and pages of an ATA drive (ATA8-ACS 7.52 and annex A).
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "virtual_pc/description/description.h"
#include "virtual_pc/drives/device_model.h"
#include "virtual_pc/drives/self_test_engine.h"

namespace ostria::virtual_pc {

using AtaPage = std::array<std::uint8_t, 512>;

/// Makes the bytes of a page add up to 0 modulo 256.
void sealPage(AtaPage* page);

/// The SMART side of an ATA drive: its state, its pages and its logs (ATA8-ACS, 7.52 and annex A).
class AtaSmart {
 public:
  AtaSmart(const DriveDescription& drive, const Clock& clock, const BlockMedium& medium);

  bool supported() const { return supported_; }
  bool enabled() const { return enabled_; }
  bool logging() const { return description_.logging; }
  SelfTestEngine& selfTests() { return selfTests_; }

  /// Does a SMART command (B0h); `out` comes in with status 50h.
  void perform(AtaExchange& exchange);
  /// Whether what the command asks for has changed since it was recorded: all of SMART once it was
  /// switched, the self-test logs once a test was started.
  bool outdates(const AtaTaskFile& in) const;
  /// Puts the state of SMART and of self-tests into a recorded page of 512 bytes.
  void bringUpToDate(AtaExchange& exchange);
  /// Notes an error that the drive has reported to the host.
  void noteError(const ErrorEntryDescription& error);

  /// Pages of a log through READ LOG EXT, or through SMART READ LOG. Empty: no such log.
  std::vector<AtaPage> generalLog(std::uint8_t address);
  std::vector<AtaPage> smartLog(std::uint8_t address);

 private:
  AtaPage dataPage();
  AtaPage thresholdPage() const;
  void startSelfTest(AtaExchange& exchange);
  void returnStatus(AtaExchange& exchange) const;
  std::vector<SelfTestEntryDescription> selfTestEntries();
  std::uint8_t executionStatus();

  SmartDescription description_;
  std::string partNumber_;
  const Clock& clock_;
  bool supported_;
  bool enabled_;
  SelfTestEngine selfTests_;
  std::vector<ErrorEntryDescription> errors_;
  bool selfTestTouched_ = false;  ///< the host has started or ended one
};

/// Answers a command with an error: the error register, and ERR in the status.
void failAta(AtaExchange& exchange, std::uint8_t error);

inline constexpr std::uint8_t kAtaAbort = 0x04;
inline constexpr std::uint8_t kAtaIdNotFound = 0x10;
inline constexpr std::uint8_t kAtaUncorrectable = 0x40;
inline constexpr std::uint8_t kAtaInterfaceCrc = 0x84;

}  // namespace ostria::virtual_pc
