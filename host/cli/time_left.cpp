// A rest that is worked out anew at each look grows while a self-test stands at its last tenth, and
// jumps with each block of another speed; so an end is kept, and moved for a reason only.
#include "host/cli/time_left.h"

#include <algorithm>

namespace ostria::host {
namespace {

using std::chrono::duration_cast;
using std::chrono::milliseconds;
using std::chrono::seconds;

// The first seconds say nothing about the rest.
constexpr seconds kTooEarly{2};
constexpr milliseconds kTolerance{10000};

}  // namespace

void TimeLeft::start(Time now, seconds expected) {
  measured_ = now;
  measuredPercent_ = percent_ = 0;
  waiting_ = expected > seconds(0);
  end_ = waiting_ ? std::optional(now + expected) : std::nullopt;
}

void TimeLeft::reached(double percent, Time now) {
  if (percent <= percent_) {
    return;
  }
  percent_ = percent;
  if (waiting_) {
    // A self-test begins with a tenth "done" that took no time.
    waiting_ = false;
    measured_ = now;
    measuredPercent_ = percent;
    return;
  }
  const auto elapsed = now - measured_;
  if (elapsed < kTooEarly || percent >= 100) {
    return;
  }
  const double factor = (100 - percent) / (percent - measuredPercent_);
  const auto estimate = milliseconds(static_cast<milliseconds::rep>(
      static_cast<double>(duration_cast<milliseconds>(elapsed).count()) * factor));
  const Time end = now + estimate;
  const milliseconds rest = end_ ? duration_cast<milliseconds>(*end_ - now) : milliseconds(0);
  if (!end_ || end < *end_ || estimate > rest + std::max(kTolerance, rest / 5)) {
    end_ = end;
  }
}

std::optional<seconds> TimeLeft::left(Time now) const {
  if (!end_ || *end_ <= now) {
    return std::nullopt;
  }
  return duration_cast<seconds>(*end_ - now + milliseconds(999));
}

}  // namespace ostria::host
