#pragma once

#include "tests/support/messages.h"

namespace ostria::storage::test {

/// The name of `messages` in older tests.
inline std::string told(const FakeHost& host, TestResult result) { return messages(host, result); }

}  // namespace ostria::storage::test
