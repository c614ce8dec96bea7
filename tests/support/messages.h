#pragma once

#include <string>

#include "diagnostics/storage_test_base.h"
#include "tests/support/fake_host.h"

namespace ostria::storage::test {

/// The messages that a host received and the result, as one text: "0 / 100 KEY / log 2 same / 100 =
/// 1". "same" stands for the text of the entry before.
inline std::string messages(const FakeHost& host, TestResult result) {
  std::string all;
  std::string previous;
  for (const std::string& line : host.messages) {
    const bool logged = line.compare(0, 4, "log ") == 0;
    const std::string entry = logged ? line : line.substr(9);
    const std::size_t blank = entry.find(' ', logged ? 4 : 0);
    const std::string text = blank == std::string::npos ? "" : entry.substr(blank + 1);
    const bool repeats = !text.empty() && text == previous;
    all += (all.empty() ? "" : " / ") + (repeats ? entry.substr(0, blank) + " same" : entry);
    previous = text;
  }
  return all + " = " + std::to_string(static_cast<std::uint32_t>(result));
}

/// Runs the test on the device with a host of its own.
template <typename Device>
std::string runOn(Test& test, Device& device, unsigned abortFromPoll = FakeHost::kNever) {
  FakeHost host(device.component.get());
  host.abortFromPoll = abortFromPoll;
  const TestResult result = test.run(&host);
  return messages(host, result);
}

/// What the test objects to the device: empty for nothing.
template <typename Device>
std::string refusal(StorageTest& test, Device& device) {
  FakeHost host(device.component.get());
  const TestResult result = test.check(device.component.get(), host.listener(), host.messageLog());
  return result == TestResult::Passed ? "" : messages(host, result);
}

}  // namespace ostria::storage::test
