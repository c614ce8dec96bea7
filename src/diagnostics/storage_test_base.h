#pragma once

#include <cstdint>
#include <string>

#include "checks/device_checks.h"
#include "checks/host_messages.h"
#include "inventory/storage_component.h"
#include "ostria/storage/test.h"

namespace ostria::storage {

/// Base of the tests that work on one storage device. A test object is used for every run on every
/// device; all that it borrows is fetched anew by `bind` and valid during the run only.
class StorageTest : public Test {
 public:
  using Test::Test;

  /// Whether `check` has no objection; silent.
  bool isApplicable(SystemComponent* component) override;
  bool isHostFlagged() override { return false; }

  /// May this test run on this device at all? Looks at cached properties only.
  /// @return `Passed`, or the reason's result after the reason was reported; `CouldNotStart`
  ///         without a component or protocol
  virtual TestResult check(StorageComponent* component, TestListener* listener,
                           MessageLog* log) = 0;
  /// `check`, then what must happen on the device before the test proper. Does just `check` unless
  /// overridden.
  virtual TestResult prepare(StorageComponent* component, TestListener* listener, MessageLog* log) {
    return check(component, listener, log);
  }

  /// Forgets all that the run has borrowed. For whoever called `run`.
  void endRun();

 protected:
  /// Takes component, protocol, channels and read time-out from the context. Spins up a rotating
  /// ATA disk that stands by. Reports nothing.
  /// @return `CouldNotStart` when an object is missing
  TestResult bind(TestRunContext* context);
  /// A new run: clears the stop check, binds, and looks for a stop.
  TestResult begin(TestRunContext* context);
  /// Whether the test must stop. A user's abort is closed with an empty progress of 100 percent at
  /// every call; a system event is reported at the first call of a run only.
  bool checkStop(TestRunContext* context);
  /// The form for long loops. @param report  whether a system event is reported
  static bool checkStopNoted(TestRunContext* context, bool report);

  /// Reads one sector by the protocol into a scratch buffer of `bufferBytes`.
  ProtocolResult readSector(std::uint64_t lba, std::uint32_t bufferBytes);

  void progress(std::uint8_t percent, const std::string& message = {}) {
    listener_->progress(percent, message);
  }
  /// Ends a run: an empty progress of 100 percent. @return `result`
  TestResult close(TestResult result) {
    progress(100);
    return result;
  }

  StorageComponent* component_ = nullptr;
  StorageProtocol* protocol_ = nullptr;
  TestListener* listener_ = nullptr;
  MessageLog* log_ = nullptr;
  TestRunContext* context_ = nullptr;
  bool stopChecked_ = false;
  std::uint32_t readTimeoutSeconds_ = 30;  ///< of single reads: 10, or 30 when it may spin up
};

}  // namespace ostria::storage
