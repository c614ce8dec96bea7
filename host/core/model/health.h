// One verdict for each drive, from everything that is known of it, with the reasons in words and
// numbers and where each comes from.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "host/core/model/outcome.h"
#include "host/core/model/smart_rows.h"
#include "host/core/user_error.h"

namespace ostria::host {

/// From the best to the worst.
enum class Verdict { Good, NotKnown, Watch, Replace, NotAnswering };

/// What is known of a piece of data. Only the first has a value.
enum class DataState { Value, NotSupported, Unreadable, Asleep };

enum class HealthSource {
  Device,
  Test,
  SmartAttribute,
  NvmeLog,
  DrivePrediction,
  SystemPrediction,
  SelfTestLog
};

struct HealthReason {
  Verdict verdict = Verdict::Good;  ///< what it makes of the drive
  HealthSource source = HealthSource::Device;
  std::string key;      ///< of the host's texts
  Arguments arguments;  ///< of that text
  std::string advice;   ///< key of a text, empty for none
  bool past = false;    ///< it happened once; nothing says that it still does
};

/// The verdict, the reasons with the worst first, and the numbers that were looked at.
struct Health {
  Verdict verdict = Verdict::NotKnown;
  std::vector<HealthReason> reasons;
  std::optional<std::uint64_t> powerOnHours;
  std::optional<std::uint64_t> wearPercent;   ///< of the rated life, above 100 beyond it
  std::optional<std::uint64_t> sparePercent;  ///< of an NVMe drive
};

/// What one test or tool of this run says about the drive.
struct TestEvidence {
  std::string name;
  ExitCode outcome = ExitCode::NotPerformed;
  bool lost = false;  ///< the drive no longer answered during the test
  std::uint64_t badSectors = 0;
  std::vector<std::string> messageKeys;
  bool gaps = false;  ///< commands failed without a verdict on the medium, and the drive answers
};

/// Everything that a verdict is made of.
struct HealthEvidence {
  bool asked = false;      ///< the drive itself was asked
  bool answers = true;     ///< counts when it was asked
  bool identified = true;  ///< false: what it was asked to know it by was not answered
  bool solidState = false;
  DataState smart = DataState::NotSupported;
  std::vector<SmartRow> rows;                 ///< with `smart` a value
  std::string controllerState;                ///< the kernel's, see `DeviceNames`
  std::optional<bool> predictsFailure;        ///< the drive's own status
  std::optional<bool> systemSeesFailure;      ///< the operating system's
  std::optional<std::string> failedSelfTest;  ///< newest of the log, when it found a fault
  std::vector<TestEvidence> tests;
};

Health judge(const HealthEvidence& evidence);

/// What one row alone makes of the drive.
/// @param rows  the whole report, of which `row` is one
Verdict verdictOf(const SmartRow& row, const std::vector<SmartRow>& rows);

/// What a program ends with that found this.
ExitCode exitCodeOf(Verdict verdict);
/// "good", "watch", "replace", "not_answering", "not_known".
const char* verdictWord(Verdict verdict);
/// "test", "smart_attribute" and so on.
const char* sourceWord(HealthSource source);
/// "value", "not_supported", "unreadable", "asleep".
const char* stateWord(DataState state);

}  // namespace ostria::host
