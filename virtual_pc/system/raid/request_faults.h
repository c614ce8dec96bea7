// Planned faults of a controller's own requests.
#pragma once

#include <algorithm>
#include <cstdint>
#include <span>
#include <utility>
#include <vector>

#include "virtual_pc/description/raid_description.h"

namespace ostria::virtual_pc {

/// Planned faults of a controller's own requests, by code and count.
class RequestFaults {
 public:
  explicit RequestFaults(const std::vector<RequestFault>& rules) {
    for (const RequestFault& rule : rules) rules_.push_back({rule, 0});
  }
  /// Counts a request and gives the rule that hits it, null when none does. Of several the first.
  const RequestFault* take(std::uint32_t code) {
    const RequestFault* hit = nullptr;
    for (auto& [rule, seen] : rules_) {
      if (rule.code != code) continue;
      ++seen;
      if (!hit && seen >= rule.occurrence &&
          (rule.times == 0 || seen - rule.occurrence < rule.times))
        hit = &rule;
    }
    return hit;
  }
  /// Lays the bytes of a rule over an answer, as far as it reaches.
  static void patch(const RequestFault& rule, std::span<std::uint8_t> answer) {
    for (std::size_t i = 0; i < rule.patch.size() && rule.patchAt + i < answer.size(); ++i)
      answer[rule.patchAt + i] = rule.patch[i];
  }

 private:
  std::vector<std::pair<RequestFault, std::uint32_t>> rules_;
};

}  // namespace ostria::virtual_pc
