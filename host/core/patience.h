// Another program may hold a lock for ever, and a user who waits for it may not.
#pragma once

#include <chrono>
#include <functional>
#include <thread>
#include <utility>

namespace ostria::host {

/// A wait for another program: ten seconds, or until the next interrupt. One that came before the
/// wait began does not end it, since what a stopped run has found is kept, too. Once it was in
/// vain, it is not tried again.
class Patience {
 public:
  /// @param interrupts  how many there were; may be called from the thread that waits alone
  explicit Patience(std::function<int()> interrupts) : interrupts_(std::move(interrupts)) {}

  void begin() {
    before_ = interrupts_();
    latest_ = Clock::now() + std::chrono::seconds(10);
  }
  bool isInterrupted() const { return interrupts_() > before_; }
  /// Waits for a moment. @return false when the wait is over
  bool pause() {
    over_ = over_ || isInterrupted() || Clock::now() > latest_;
    if (!over_) {
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    return !over_;
  }

 private:
  using Clock = std::chrono::steady_clock;

  std::function<int()> interrupts_;
  int before_ = 0;
  bool over_ = false;
  Clock::time_point latest_;
};

}  // namespace ostria::host
