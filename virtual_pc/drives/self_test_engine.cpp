// Self-tests run in virtual time: each question settles what has ended until then.
#include "virtual_pc/drives/self_test_engine.h"

#include <algorithm>
#include <utility>

namespace ostria::virtual_pc {

namespace {

constexpr std::uint8_t kReadFailure = 7;

/// Of the routines of all command sets, 2 and (in the foreground) 6 read the whole medium.
bool readsAll(std::uint8_t code) { return code == 2 || code == 6; }

}  // namespace

SelfTestEngine::SelfTestEngine(const Clock& clock, const BlockMedium& medium,
                               std::vector<SelfTestDescription> routines)
    : clock_(clock), medium_(medium), routines_(std::move(routines)) {}

const SelfTestDescription* SelfTestEngine::find(std::uint8_t code) const {
  const auto found = std::ranges::find(routines_, code, &SelfTestDescription::code);
  return found == routines_.end() ? nullptr : &*found;
}

std::uint64_t SelfTestEngine::durationMicroseconds(std::uint8_t code) const {
  const SelfTestDescription* routine = find(code);
  return routine != nullptr ? routine->seconds * kMicrosecondsPerSecond : 0;
}

SelfTestResult SelfTestEngine::judge(const SelfTestDescription& routine) const {
  SelfTestResult result;
  result.code = routine.code;
  if (routine.outcome) {
    result.status = *routine.outcome;
    result.failingLba = routine.failingLba;
  } else if (readsAll(routine.code)) {
    result.failingLba = medium_.firstUnreadable();
    if (result.failingLba) {
      result.status = kReadFailure;
    }
  }
  return result;
}

bool SelfTestEngine::start(std::uint8_t code) {
  const SelfTestDescription* routine = find(code);
  if (routine == nullptr) {
    return false;
  }
  abort();
  coming_ = judge(*routine);
  std::uint64_t duration = routine->seconds * kMicrosecondsPerSecond;
  if (coming_.status != 0) {
    // A routine that scans gets as far as its bad sector; any other as far as the file says.
    const std::uint64_t reach = !routine->outcome && coming_.failingLba
                                    ? *coming_.failingLba * 100 / medium_.sectors()
                                    : routine->stopsAtPercent;
    duration = duration / 100 * reach;
  }
  running_ = routine;
  startedAt_ = clock_.now();
  endsAt_ = startedAt_ + duration;
  return true;
}

std::optional<SelfTestResult> SelfTestEngine::runNow(std::uint8_t code) {
  if (!start(code)) {
    return std::nullopt;
  }
  running_ = nullptr;
  coming_.moment = endsAt_;
  ended_.push_back(coming_);
  return coming_;
}

void SelfTestEngine::settle() {
  if ((running_ == nullptr) || clock_.now() < endsAt_) {
    return;
  }
  running_ = nullptr;
  coming_.moment = endsAt_;
  ended_.push_back(coming_);
}

bool SelfTestEngine::abort() {
  settle();
  if (running_ == nullptr) {
    return false;
  }
  ended_.push_back({running_->code, 1, clock_.now(), std::nullopt});
  running_ = nullptr;
  return true;
}

std::optional<std::uint8_t> SelfTestEngine::runningCode() {
  settle();
  if (running_ == nullptr) {
    return std::nullopt;
  }
  return running_->code;
}

std::uint8_t SelfTestEngine::percentDone() {
  settle();
  if ((running_ == nullptr) || running_->seconds == 0) {
    return 0;
  }
  const std::uint64_t done =
      (clock_.now() - startedAt_) / (std::uint64_t{running_->seconds} * 10'000);
  return static_cast<std::uint8_t>(std::min<std::uint64_t>(done, 99));
}

const std::vector<SelfTestResult>& SelfTestEngine::ended() {
  settle();
  return ended_;
}

}  // namespace ostria::virtual_pc
