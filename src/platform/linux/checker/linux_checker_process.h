#pragma once

#include <sys/types.h>

#include <array>
#include <functional>
#include <string>
#include <vector>

namespace ostria::storage {

/// A program that runs in a session of its own, so that neither an interrupt from the terminal nor
/// the end of this process stops it half way. It gets no input; what it prints and what it writes
/// to descriptor 3 come back on pipes.
class LinuxCheckerProcess {
 public:
  static constexpr int kProgressDescriptor = 3;
  static constexpr int kNotStarted = -1;

  using Receiver = std::function<void(const std::string& bytes)>;

  /// Runs the program to its end.
  /// @param arguments  the program's path, then its arguments
  /// @return the exit code, 128 and the signal for one that a signal ended, or `notStarted`
  static int run(const std::vector<std::string>& arguments, const Receiver& onText,
                 const Receiver& onProgress);
};

}  // namespace ostria::storage
