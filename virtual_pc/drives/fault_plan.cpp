// Which rule hits a command: all that match count it, the first one acts.
#include "virtual_pc/drives/fault_plan.h"

namespace ostria::virtual_pc {

const FaultRule* FaultPlan::take(std::uint8_t command, std::uint8_t detail, bool adminQueue) {
  const FaultRule* hit = nullptr;
  for (Counted& counted : rules_) {
    const FaultRule& rule = counted.rule;
    if (rule.command && *rule.command != command) {
      continue;
    }
    if (rule.detail && *rule.detail != detail) {
      continue;
    }
    if (rule.adminQueue && *rule.adminQueue != adminQueue) {
      continue;
    }
    if (counted.seen != ~std::uint32_t{0}) {
      ++counted.seen;
    }
    const bool started = counted.seen >= rule.occurrence;
    const bool over = rule.times != 0 && counted.seen - rule.occurrence >= rule.times;
    if ((hit == nullptr) && started && !over) {
      hit = &rule;
    }
  }
  return hit;
}

void FaultPlan::fillGarbage(std::uint8_t* data, std::size_t bytes) {
  for (std::size_t i = 0; i < bytes; ++i) {
    data[i] = static_cast<std::uint8_t>(random_() >> 8);
  }
}

void PlatformFaults::failCall(std::uint64_t call, std::uint32_t error) {
  failAt_ = call;
  failError_ = error;
}

}  // namespace ostria::virtual_pc
