// Colours, and the two output streams of the program.
#pragma once

#include <atomic>
#include <cstddef>
#include <mutex>
#include <string>
#include <string_view>

#include "host/platform/console.h"

namespace ostria::host {

/// How the two outputs are to be written.
struct Terminal {
  bool errorIsTerminal = false;
  bool outputColour = false;
  bool errorControl = false;    ///< lines of standard error can be overwritten
  std::size_t outputWidth = 0;  ///< columns; 0: no limit
  std::size_t errorWidth = 0;
};

/// Looks at the standard outputs and at NO_COLOR and COLUMNS.
Terminal detectTerminal();

enum class Colour { Plain, Green, Red, Yellow, Grey, Bold };
std::string coloured(const std::string& text, Colour colour, bool enabled);

/// Writes to a stream and remembers when nobody reads any more. Any thread may write: an interrupt
/// is answered by the one that takes the signals. Texts of two threads do not mix.
class Output {
 public:
  explicit Output(Stream stream) : stream_(stream) {}
  void write(std::string_view text);
  bool isClosed() const { return failure_ != 0; }
  /// The system's error number of the write that failed, 0 for none.
  int failure() const { return failure_; }

 private:
  Stream stream_;
  std::mutex mutex_;
  std::atomic<int> failure_ = 0;
};

}  // namespace ostria::host
