// This program, run again beside itself.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace ostria::host {

class Children {
 public:
  /// @param error  whether the line came on standard error
  using OnLine = std::function<void(std::size_t child, const std::string& line, bool error)>;
  /// All lines of the child have been given. @param code  exit code, -1 for a child that was killed
  using OnEnd = std::function<void(std::size_t child, int code)>;

  /// Asks those that still run to stop, and waits for them.
  virtual ~Children() = default;
  /// Starts this program with the arguments, without input and in a group of its own, so that keys
  /// reach it by this process alone. It is asked to stop when this process dies.
  /// @return false when it could not be started
  virtual bool start(std::size_t child, const std::vector<std::string>& arguments) = 0;
  virtual std::size_t running() const = 0;
  /// Waits for something to happen, at most that long, and reports it.
  virtual void wait(int milliseconds, const OnLine& onLine, const OnEnd& onEnd) = 0;
  /// Asks all that run to stop, as Ctrl-C does.
  virtual void interrupt() = 0;
};

/// Null where the system has no such thing.
std::unique_ptr<Children> makeChildren();

}  // namespace ostria::host
