// Virtual time jumps; real time is slept through.
#include "virtual_pc/drives/clock.h"

#include <chrono>
#include <thread>

namespace ostria::virtual_pc {

void Clock::advance(std::uint64_t microseconds) {
  if (realTime_) {
    std::this_thread::sleep_for(std::chrono::microseconds(microseconds));
  }
  now_ = microseconds > kNever - 1 - now_ ? kNever - 1 : now_ + microseconds;
}

void Clock::advanceTo(std::uint64_t moment) {
  if (moment > now_) {
    advance(moment - now_);
  }
}

}  // namespace ostria::virtual_pc
