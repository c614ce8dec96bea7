// What an NVMe controller reports of itself (NVM Express 1.4: identify and log pages).
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace ostria::virtual_pc {

/// Contents of the SMART / health information log.
struct NvmeHealth {
  std::uint8_t criticalWarning = 0;
  std::uint16_t temperatureKelvin = 308;
  std::uint8_t availableSpare = 100;
  std::uint8_t spareThreshold = 10;
  std::uint8_t percentageUsed = 2;
  std::uint64_t dataUnitsRead = 1'200'000;  ///< units of 1000 times 512 bytes
  std::uint64_t dataUnitsWritten = 900'000;
  std::uint64_t hostReads = 20'000'000;
  std::uint64_t hostWrites = 15'000'000;
  std::uint64_t busyMinutes = 600;
  std::uint64_t powerCycles = 350;
  std::uint64_t powerOnHours = 2'100;
  std::uint64_t unsafeShutdowns = 12;
  std::uint64_t mediaErrors = 0;
  std::uint64_t errorLogEntries = 0;
};

/// A self-test routine: 1 short, 2 extended.
struct NvmeSelfTest {
  std::uint8_t code = 1;
  std::uint32_t seconds = 120;
  /// Result of the log: 0 passed, 5 to 7 kinds of failure. Without one an extended test finds the
  /// first unreadable sector of the medium.
  std::optional<std::uint8_t> outcome;
  std::optional<std::uint64_t> failingLba;
  std::uint8_t stopsAtPercent = 100;  ///< where a failing routine ends
};

/// What a drive is, beside its medium.
struct NvmeTraits {
  std::uint16_t vendorId = 0x1234;
  std::uint16_t subsystemVendorId = 0x1234;
  std::string serial;
  std::string model;
  std::string firmware;
  std::uint32_t namespaceId = 1;     ///< of the only namespace
  bool namespaceManagement = false;  ///< and with it the common geometry under FFFFFFFFh
  bool selfTests = true;
  std::uint16_t extendedSelfTestMinutes = 30;
  /// Bytes written, in units of 10^9, that the drive is made for. Without one it has no endurance
  /// groups.
  std::optional<std::uint64_t> enduranceEstimate;
  /// The vendor log DFh. Without one there is no such log.
  std::optional<std::string> partNumber;
  std::uint16_t vendorCount = 0x2020;
  NvmeHealth health;
  std::vector<NvmeSelfTest> tests;  ///< routines that do not pass, or take their own time
  std::optional<std::uint8_t> runningSelfTest;

  // What a broken controller would say, instead of the truth.
  std::optional<std::uint8_t> dataSizePower;  ///< LBADS
  std::optional<std::uint64_t> namespaceSize;
};

}  // namespace ostria::virtual_pc
