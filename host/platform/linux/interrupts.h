#pragma once

#include <atomic>
#include <functional>
#include <mutex>
#include <thread>

namespace ostria::host {

/// Takes Ctrl-C, a hang-up and a request to terminate on a thread of its own. The first one asks
/// for an abort, each further one is told that the program is waiting. The thread also calls a
/// function about twice a second. To be made before any other thread, which inherits the blocked
/// signals.
class Interrupts {
 public:
  Interrupts();
  ~Interrupts();
  Interrupts(const Interrupts&) = delete;
  Interrupts& operator=(const Interrupts&) = delete;

  bool isAbortRequested() const { return count_.load() > 0; }
  /// Asks for an abort as Ctrl-C does, for example because nobody reads the output any more.
  void requestAbort() { count_.fetch_add(1); }
  /// @param onInterrupt  gets how many interrupts there were
  /// @param onTick       may be empty
  void setHandlers(std::function<void(int)> onInterrupt, std::function<void()> onTick);

 private:
  void loop();

  std::atomic<int> count_{0};
  std::atomic<bool> ending_{false};
  std::mutex mutex_;
  std::function<void(int)> onInterrupt_;
  std::function<void()> onTick_;
  std::thread thread_;
};

}  // namespace ostria::host
