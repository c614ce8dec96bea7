// The ways in which a user or the system asks the program to end.
#pragma once

#include <functional>
#include <memory>

#include "host/core/run/run_services.h"

namespace ostria::host {

/// Takes Ctrl-C, Ctrl-\, a hang-up and a request to terminate on a thread of its own; what the
/// program was started with as ignored stays ignored. The first one asks
/// for an abort, each further one is reported to the handler. The thread also calls a function
/// about twice a second.
class Interrupts : public AbortFlag {
 public:
  /// How many there were.
  virtual int count() const = 0;
  bool isAbortRequested() const override { return count() > 0; }
  /// Asks for an abort as Ctrl-C does, for example because nobody reads the output any more.
  virtual void requestAbort() = 0;
  /// @param onInterrupt  gets how many interrupts there were
  /// @param onTick       may be empty
  virtual void setHandlers(std::function<void(int)> onInterrupt, std::function<void()> onTick) = 0;
};

/// Begins to watch. To be called once, before any other thread is made: on some systems the threads
/// inherit who gets a signal.
std::unique_ptr<Interrupts> watchInterrupts();

}  // namespace ostria::host
