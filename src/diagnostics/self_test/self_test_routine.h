#pragma once

#include <cstdint>

#include "diagnostics/smart_test_base.h"

namespace ostria::storage {

/// Has an ATA or SCSI drive examine itself: starts the drive's routine, watches it, stops it on
/// request and translates its final status. The variants choose the routine and the devices.
///
/// A routine lives on in the drive by itself. It is stopped on an abort, on a time-out, and when
/// another one is found in progress at the start; not after the drive was lost.
class SelfTest : public SmartTestBase {
 public:
  TestResult run(TestRunContext* context) override;
  /// What all variants demand; they call it last.
  TestResult check(StorageComponent* component, TestListener* listener, MessageLog* log) override;
  TestResult prepare(StorageComponent* component, TestListener* listener, MessageLog* log) override;

 protected:
  /// What the routine is and how it is watched.
  struct Routine {
    std::uint32_t testCode;    ///< first argument of `StartSelfTest`, 8 bits
    std::uint32_t secondCode;  ///< second argument, 8 bits
    std::uint32_t pollSeconds;
    std::uint32_t timeoutSeconds;  ///< from the start of the routine
  };

  SelfTest(const Identifier& id, const Routine& routine) : SmartTestBase(id), routine_(routine) {}

  /// Refusal of devices that cannot do a short or extended test: null objects, and ATA drives
  /// without self-tests.
  static TestResult checkSelfTestSupported(StorageComponent* component, TestListener* listener,
                                           MessageLog* log);

  /// Whether an ATA drive cannot say yet what it can do: its SMART data, where that stands, cannot
  /// be read while SMART is switched off. `prepare` switches it on and has the checks made.
  static bool capabilitiesUnknown(const StorageProtocolProperties& properties);

  Routine routine_;
  /// The configuration chose the routine: no time-out, and also for SSDs.
  bool explicitParameters_ = false;

 private:
  TestResult perform();
  /// Stops a routine that somebody else has started. @return `Passed` when the drive is free
  TestResult clearOtherRoutine();
  TestResult startRoutine();
  /// @param running  cleared when the routine needs no stopping any more
  TestResult watch(bool& running);
  /// Asks the drive how far it is. @return `Stopped` when the drive is gone
  TestResult poll(std::uint8_t& shown, std::uint8_t& status);
  TestResult cannotPerform();
};

/// Short offline routine, ATA and SCSI.
class ShortSelfTest : public SelfTest {
 public:
  explicit ShortSelfTest(const Identifier& id) : SelfTest(id, {1, 0, 10, 600}) {}

  bool isApplicable(SystemComponent* component) override;
  TestResult check(StorageComponent* component, TestListener* listener, MessageLog* log) override;
};

/// Extended offline routine, internal SCSI disks.
class ExtendedSelfTest : public SelfTest {
 public:
  explicit ExtendedSelfTest(const Identifier& id) : SelfTest(id, {2, 0, 5, 65535}) {}

  TestResult check(StorageComponent* component, TestListener* listener, MessageLog* log) override;
};

/// Conveyance offline routine, ATA.
class ConveyanceSelfTest : public SelfTest {
 public:
  explicit ConveyanceSelfTest(const Identifier& id) : SelfTest(id, {3, 0, 10, 800}) {}

  bool isApplicable(SystemComponent* component) override;
  TestResult check(StorageComponent* component, TestListener* listener, MessageLog* log) override;
};

/// A drive-specific routine of ATA disks, or the one that the configuration names.
class QuickDriveSelfTest : public SelfTest {
 public:
  explicit QuickDriveSelfTest(const Identifier& id) : SelfTest(id, {80, 4, 10, 600}) {}

  /// False also for the models on the exclusion list.
  bool isApplicable(SystemComponent* component) override;
  /// "SEC_NUM" is the routine, "SEC_COUNT" its count: decimal numbers below 256.
  bool configure(ConfigurationMap configuration, ConfigurationError* error) override;
  TestResult check(StorageComponent* component, TestListener* listener, MessageLog* log) override;
};

}  // namespace ostria::storage
