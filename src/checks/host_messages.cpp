// The texts a host gets are message keys, alone or joined with numbers; the host translates the
// keys letter for letter, so nothing here may touch their spelling.
#include "checks/host_messages.h"

#include "checks/message_keys.h"

namespace ostria::storage {

void showThenLog(TestListener* listener, MessageLog* log, const std::string& text,
                 Severity severity) {
  if (listener != nullptr) {
    listener->progress(100, text);
  }
  if (log != nullptr) {
    log->add(text, severity, 0);
  }
}

void logThenShow(TestListener* listener, MessageLog* log, const std::string& text,
                 Severity severity) {
  if (log != nullptr) {
    log->add(text, severity, 0);
  }
  if (listener != nullptr) {
    listener->progress(100, text);
  }
}

TestResult refuse(TestListener* listener, MessageLog* log, const std::string& reason,
                  Severity severity) {
  showThenLog(listener, log, reason, severity);
  return TestResult::NotPerformed;
}

std::string keyWithNumber(const char* key, std::uint64_t number) {
  return std::string(key) + " " + std::to_string(number);
}

std::string keyColonNumber(const char* key, std::uint64_t number) {
  return std::string(key) + ": " + std::to_string(number);
}

std::string passwordText() {
  return std::string(keys::kPasswordProtected) + ". |" + keys::kTryToDisablePassword;
}

}  // namespace ostria::storage
