// The parameters that a user may give to a scan. Their texts reach the module as they were typed,
// so nothing but digits counts as a number.
#include "diagnostics/surface/scan_parameters.h"

#include <algorithm>
#include <optional>

#include "checks/message_keys.h"

namespace ostria::storage {

namespace {

constexpr std::uint32_t kWholeNumberWithRange = 2;

/// The number, if the text is nothing but digits and the number is in the parameter's range.
std::optional<std::uint32_t> parseInRange(const ScanParameter& parameter, const std::string& text) {
  if (text.empty()) {
    return std::nullopt;
  }
  std::uint32_t number = 0;
  for (const char c : text) {
    if (c < '0' || c > '9') {
      return std::nullopt;
    }
    number = number * 10 + static_cast<std::uint32_t>(c - '0');
    if (number > parameter.highest) {
      return std::nullopt;
    }
  }
  if (number < parameter.lowest) {
    return std::nullopt;
  }
  return number;
}

template <typename Value>
bool take(const ScanParameter& parameter, const std::vector<TestParameter>& given, Value* value,
          std::vector<ParameterIssue>& issues) {
  const auto isThis = [&](const TestParameter& entry) { return entry.key == parameter.key; };
  const auto found = std::find_if(given.begin(), given.end(), isThis);
  if (found == given.end()) {
    return true;
  }
  if (std::find_if(found + 1, given.end(), isThis) != given.end()) {
    issues.push_back({ParameterIssue::Duplicate, keys::kDuplicatedParameter, *found});
    return false;
  }
  const std::optional<std::uint32_t> number = parseInRange(parameter, found->value);
  if (!number) {
    issues.push_back({ParameterIssue::ValueRefused, parameter.refusal, *found});
    return false;
  }
  *value = *number;
  return true;
}

}  // namespace

const ScanParameter kStartRangeParameter = {
    keys::kStartRange,    keys::kStartRangeLabel, keys::kStartRangeDescription, 0, 0, 99,
    keys::kUseNumber0To99};
const ScanParameter kStopRangeParameter = {
    keys::kStopRange,      keys::kStopRangeLabel, keys::kStopRangeDescription, 100, 1, 100,
    keys::kUseNumber1To100};
const ScanParameter kCoverageAreaParameter = {
    keys::kCoverageArea,   keys::kCoverageAreaLabel, keys::kCoverageAreaDescription, 20, 1, 100,
    keys::kUseNumber1To100};
const ScanParameter kErrorLimitParameter = {
    keys::kErrorLimit,     keys::kErrorLimit, keys::kErrorLimitDescription, 1, 0, 100,
    keys::kUseNumber0To100};

TestParameter describe(const ScanParameter& parameter) {
  TestParameter record;
  record.key = parameter.key;
  record.displayKey = parameter.displayKey;
  record.descriptionKey = parameter.descriptionKey;
  record.defaultValue = std::to_string(parameter.defaultValue);
  record.value = record.defaultValue;
  record.type = kWholeNumberWithRange;
  record.range =
      "[" + std::to_string(parameter.lowest) + ":" + std::to_string(parameter.highest) + "]";
  return record;
}

void refuseUnknown(const std::vector<TestParameter>& given,
                   std::span<const ScanParameter* const> known,
                   std::vector<ParameterIssue>& issues) {
  for (const TestParameter& entry : given) {
    const bool isKnown =
        std::any_of(known.begin(), known.end(),
                    [&](const ScanParameter* parameter) { return entry.key == parameter->key; });
    if (!isKnown) {
      issues.push_back({ParameterIssue::UnknownParameter, keys::kInvalidParameter, entry});
    }
  }
}

bool takeParameter(const ScanParameter& parameter, const std::vector<TestParameter>& given,
                   double* value, std::vector<ParameterIssue>& issues) {
  return take(parameter, given, value, issues);
}

bool takeParameter(const ScanParameter& parameter, const std::vector<TestParameter>& given,
                   std::uint64_t* value, std::vector<ParameterIssue>& issues) {
  return take(parameter, given, value, issues);
}

std::string issueText(const std::vector<ParameterIssue>& issues) {
  std::string text;
  for (const ParameterIssue& issue : issues) {
    if (issue.kind == ParameterIssue::None) {
      continue;
    }
    if (!text.empty()) {
      text += "; |";
    }
    text += issue.parameter.key + ": " + issue.message;
  }
  return text;
}

}  // namespace ostria::storage
