// Self-test routines of ATA and SCSI drives: time, outcome, log.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "virtual_pc/description/description.h"
#include "virtual_pc/drives/block_medium.h"
#include "virtual_pc/drives/clock.h"

namespace ostria::virtual_pc {

/// A self-test that has ended.
struct SelfTestResult {
  std::uint8_t code = 0;
  std::uint8_t status = 0;   ///< 0 passed, 1 aborted, 2 interrupted, 3 to 8 failed
  std::uint64_t moment = 0;  ///< when it ended, in microseconds of the clock
  std::optional<std::uint64_t> failingLba;
};

/// The self-test routines of a drive, which run beside its other work until their time is over.
class SelfTestEngine {
 public:
  SelfTestEngine(const Clock& clock, const BlockMedium& medium,
                 std::vector<SelfTestDescription> routines);

  bool knows(std::uint8_t code) const { return find(code) != nullptr; }
  /// Time that a routine takes if nothing stops it; 0 for one that is not known.
  std::uint64_t durationMicroseconds(std::uint8_t code) const;
  /// Starts a routine; one that runs is aborted. False when there is no such routine.
  bool start(std::uint8_t code);
  /// Runs a routine to its end at once, for a test in the foreground: the caller lets the time
  /// pass.
  std::optional<SelfTestResult> runNow(std::uint8_t code);
  /// Ends the running routine with status 1. False when none runs.
  bool abort();

  std::optional<std::uint8_t> runningCode();
  /// Done part of the running routine, 0 to 99; 0 when none runs.
  std::uint8_t percentDone();
  /// Routines that have ended since the PC was switched on, oldest first.
  const std::vector<SelfTestResult>& ended();

 private:
  const SelfTestDescription* find(std::uint8_t code) const;
  SelfTestResult judge(const SelfTestDescription& routine) const;
  void settle();

  const Clock& clock_;
  const BlockMedium& medium_;
  std::vector<SelfTestDescription> routines_;
  const SelfTestDescription* running_ = nullptr;
  std::uint64_t startedAt_ = 0;
  std::uint64_t endsAt_ = 0;
  SelfTestResult coming_;
  std::vector<SelfTestResult> ended_;
};

}  // namespace ostria::virtual_pc
