#pragma once

#include <string>

#include "services/sal.h"

namespace ostria::storage {

/// What the operations of a tool said, kept for the tool's life.
class RecoverRunLog {
 public:
  RecoverRunLog() : timer_(get_timer()), timeHandler_(get_time_handler()) {}

  void append(const std::string& message) {
    if (!message.empty()) {
      text_ += ">>> LOG\n" + message + "\n<<< LOG\n";
    }
  }
  const std::string& text() const { return text_; }

 private:
  std::string text_;
  Timer* timer_;
  TimeHandler* timeHandler_;
};

}  // namespace ostria::storage
