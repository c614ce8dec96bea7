#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "ostria/storage/test_parameter.h"

namespace ostria::storage {

/// A parameter of the read tests: a whole number with a range.
struct ScanParameter {
  const char* key;
  const char* displayKey;
  const char* descriptionKey;
  std::uint32_t defaultValue;
  std::uint32_t lowest;
  std::uint32_t highest;
  const char* refusal;  ///< message key of a value outside the range
};

extern const ScanParameter kStartRangeParameter;
extern const ScanParameter kStopRangeParameter;
extern const ScanParameter kCoverageAreaParameter;
extern const ScanParameter kErrorLimitParameter;

/// The record that the host shows.
TestParameter describe(const ScanParameter& parameter);

/// Adds an issue for each entry whose key is none of `known`.
void refuseUnknown(const std::vector<TestParameter>& given,
                   std::span<const ScanParameter* const> known,
                   std::vector<ParameterIssue>& issues);

/// Takes one parameter out of the list. A parameter that is absent, given twice or refused leaves
/// `value` alone.
/// @return false when an issue was added
bool takeParameter(const ScanParameter& parameter, const std::vector<TestParameter>& given,
                   double* value, std::vector<ParameterIssue>& issues);
bool takeParameter(const ScanParameter& parameter, const std::vector<TestParameter>& given,
                   std::uint64_t* value, std::vector<ParameterIssue>& issues);

/// The complaints as one text, "KEY: MESSAGE; |KEY: MESSAGE".
std::string issueText(const std::vector<ParameterIssue>& issues);

}  // namespace ostria::storage
