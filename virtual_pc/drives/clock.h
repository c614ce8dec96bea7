// The one clock of a virtual PC: drives and system share it, so that waits cost nothing in tests.
#pragma once

#include <cstdint>

namespace ostria::virtual_pc {

/// Time of the virtual PC, in microseconds since it was switched on. Virtual time moves only when
/// somebody waits for something, and then it jumps; with real time the waits are slept through.
class Clock {
 public:
  explicit Clock(bool realTime = false) : realTime_(realTime) {}

  std::uint64_t now() const { return now_; }
  /// Lets `microseconds` pass. Saturates at the end of time.
  void advance(std::uint64_t microseconds);
  /// Lets time pass until `moment`; a moment that has passed changes nothing.
  void advanceTo(std::uint64_t moment);

 private:
  bool realTime_;
  std::uint64_t now_ = 0;
};

inline constexpr std::uint64_t kMicrosecondsPerSecond = 1'000'000;

/// A duration that never ends by itself: only a time-out ends the wait for it.
inline constexpr std::uint64_t kNever = ~std::uint64_t{0};

}  // namespace ostria::virtual_pc
