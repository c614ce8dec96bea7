// How long a run still takes.
#pragma once

#include <chrono>
#include <optional>

namespace ostria::host {

/// Estimates the rest of a run from what was measured, and before that from what the drive said.
/// Between two steps of progress the rest only falls; a step that came later than expected is the
/// one reason for it to grow.
class TimeLeft {
 public:
  using Time = std::chrono::steady_clock::time_point;

  /// @param expected  what the drive says that it takes, 0 when it says nothing
  void start(Time now, std::chrono::seconds expected = {});
  /// @param percent  0 to 100; what is not above the one before says nothing
  void reached(double percent, Time now);
  /// Nothing before there is an estimate, and once it has passed.
  std::optional<std::chrono::seconds> left(Time now) const;

 private:
  Time measured_;               ///< from here on speed is measured
  double measuredPercent_ = 0;  ///< where that was
  bool waiting_ = false;        ///< for the first step of a drive that said how long it takes
  double percent_ = 0;
  std::optional<Time> end_;
};

}  // namespace ostria::host
