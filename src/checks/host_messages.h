#pragma once

#include <cstdint>
#include <string>

#include "ostria/storage/test.h"

namespace ostria::storage {

/// Severities of log messages.
enum Severity : std::uint32_t {
  Statement = 0,
  ResourceProblem = 1,
  DeviceFault = 2,
  MissingCapability = 3,
};

// A message that matters goes to both channels; which one gets it first is part of each message's
// contract. A missing channel is left out.

/// Closing progress of 100 percent, then the log.
void showThenLog(TestListener* listener, MessageLog* log, const std::string& text,
                 Severity severity);
/// The log, then the closing progress of 100 percent.
void logThenShow(TestListener* listener, MessageLog* log, const std::string& text,
                 Severity severity);
/// Gives the reason why a test does not run on a device. @return `NotPerformed`
TestResult refuse(TestListener* listener, MessageLog* log, const std::string& reason,
                  Severity severity);

/// "KEY NUMBER"
std::string keyWithNumber(const char* key, std::uint64_t number);
/// "KEY: NUMBER"
std::string keyColonNumber(const char* key, std::uint64_t number);
/// The sentences for a disk that is locked by a password.
std::string passwordText();

}  // namespace ostria::storage
