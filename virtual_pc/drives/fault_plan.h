// Planned faults at work: of one device, and of the calls of the operating system.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <random>
#include <vector>

#include "virtual_pc/description/fault_rule.h"

namespace ostria::virtual_pc {

/// Faults of one device, by command and count.
class FaultPlan {
 public:
  void add(const FaultRule& rule) { rules_.push_back({rule, 0}); }
  void clear() { rules_.clear(); }
  /// Counts a command and gives the rule that hits it, null when none does. Of several the first.
  /// @param adminQueue  NVMe only: the queue that the command is in
  const FaultRule* take(std::uint8_t command, std::uint8_t detail, bool adminQueue = false);
  /// Fills a buffer for `GarbageFault`; the same sequence in each run.
  void fillGarbage(std::uint8_t* data, std::size_t bytes);

 private:
  struct Counted {
    FaultRule rule;
    std::uint32_t seen;
  };
  std::vector<Counted> rules_;
  std::minstd_rand random_;
};

/// Faults at the border to the operating system, whatever the device: for sweeps that let each call
/// of a run fail once.
class PlatformFaults {
 public:
  /// Counts one platform call. True when this is the call to fail; the caller then sets
  /// `failError()` and does nothing else.
  bool countCall() { return ++calls_ == failAt_; }
  std::uint64_t calls() const { return calls_; }
  std::uint32_t failError() const { return failError_; }
  /// All devices are gone from the call that `goneFrom` named on.
  bool devicesGone() const { return goneAt_ != 0 && calls_ >= goneAt_; }

  /// Lets call number `call` (from 1) fail with a Windows error code. 0 lets none fail.
  void failCall(std::uint64_t call, std::uint32_t error);
  /// Takes all devices off the bus from call number `call` on. 0 brings them back.
  void goneFrom(std::uint64_t call) { goneAt_ = call; }
  /// What a driver answered, before the caller gets it.
  struct Answer {
    std::uint32_t code;  ///< control code; 0 for reads and writes
    std::vector<std::uint8_t>& output;
    std::size_t& returned;  ///< bytes of `output`, or bytes written
    std::uint32_t& error;   ///< of the system
  };
  /// May change every answer of a driver; empty: none is.
  std::function<void(const Answer&)> onAnswer;
  /// Counts from 0 again, with no fault.
  void reset() { *this = {}; }

 private:
  std::uint64_t calls_ = 0;
  std::uint64_t failAt_ = 0;
  std::uint64_t goneAt_ = 0;
  std::uint32_t failError_ = 0;
};

}  // namespace ostria::virtual_pc
