#pragma once

#include <string>

#include "ostria/storage/test_channels.h"

namespace ostria::storage {

/// Listener of a silent check: ignores everything, and nobody answers.
class NullTestListener final : public TestListener {
 public:
  static NullTestListener& instance() {
    static NullTestListener listener;
    return listener;
  }

  void progress(std::uint8_t /*percent*/, const std::string& /*message*/) override {}
  void requestInput(InputRequest* /*request*/) override {}
  void hostNotice3() override {}
  bool canRequestInput() override { return false; }
  void hostNotice5() override {}
  void hostNotice6() override {}
};

/// Log of a silent check.
class NullMessageLog final : public MessageLog {
 public:
  static NullMessageLog& instance() {
    static NullMessageLog log;
    return log;
  }

  void add(std::string /*message*/, std::uint32_t /*severity*/, std::uint8_t /*flag*/) override {}
};

}  // namespace ostria::storage
