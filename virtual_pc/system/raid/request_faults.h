// Planned faults of a controller's own requests.
#pragma once

#include <algorithm>
#include <cstdint>
#include <span>
#include <utility>
#include <variant>
#include <vector>

#include "virtual_pc/description/raid_description.h"
#include "virtual_pc/system/machine.h"

namespace ostria::virtual_pc {

/// Faults of a controller or of a library, by code, count and drive. The machine outlives it.
class RequestFaults {
 public:
  RequestFaults(Machine& machine, const std::vector<RequestFault>& rules) : machine_(machine) {
    for (const RequestFault& rule : rules) {
      rules_.emplace_back(rule, 0);
    }
  }
  /// Counts a request and gives the rule that hits it, null when none does. Of several the first.
  /// @param drive  the drive that the request is for; null when it is for none
  const RequestFault* take(std::uint32_t code, const Drive* drive) {
    const RequestFault* hit = nullptr;
    for (auto& [rule, seen] : rules_) {
      if (rule.code != code || (rule.drive && machine_.drive(*rule.drive) != drive)) {
        continue;
      }
      ++seen;
      if (hit == nullptr && seen >= rule.occurrence &&
          (rule.times == 0 || seen - rule.occurrence < rule.times)) {
        hit = &rule;
      }
    }
    auto& refusal = machine_.requestRefusal();
    if (hit == nullptr && refusal && refusal->fault.code == code) {
      ++refusal->hits;
      hit = &refusal->fault;
    }
    return hit;
  }
  /// Lays the bytes of a patch over an answer, as far as it reaches.
  static void patch(const RequestFault* rule, std::span<std::uint8_t> answer) {
    const auto* patch = actionOf<RequestPatch>(rule);
    for (std::size_t i = 0; patch != nullptr && i < patch->bytes.size(); ++i) {
      if (patch->at + i < answer.size()) {
        answer[patch->at + i] = patch->bytes[i];
      }
    }
  }
  /// What a rule does, if it is of that kind; null without a rule.
  template <typename Action>
  static const Action* actionOf(const RequestFault* rule) {
    return rule != nullptr ? std::get_if<Action>(&rule->action) : nullptr;
  }

 private:
  Machine& machine_;
  std::vector<std::pair<RequestFault, std::uint32_t>> rules_;
};

}  // namespace ostria::virtual_pc
