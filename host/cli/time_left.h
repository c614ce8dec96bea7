// How long a run still takes.
#pragma once

#include <chrono>
#include <optional>

namespace ostria::host {

/// Estimates the rest of a run from what was measured. Between two steps of progress the rest only
/// falls; a step that came later than expected is the one reason for it to grow.
class TimeLeft {
 public:
  using Time = std::chrono::steady_clock::time_point;

  void start(Time now);
  /// @param percent  0 to 100; what is not above the one before says nothing
  void reached(double percent, Time now);
  /// Nothing before there is an estimate, and once it has passed.
  std::optional<std::chrono::seconds> left(Time now) const;

 private:
  Time started_;
  double percent_ = 0;
  std::optional<Time> end_;
};

}  // namespace ostria::host
