// The results of one call of the program, as every output shows them.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "host/core/model/device_info.h"
#include "host/core/model/outcome.h"
#include "host/core/model/read_times.h"

namespace ostria::host {

using Clock = std::chrono::system_clock;

struct Message {
  std::string key;   ///< as the module composed it
  std::string text;  ///< in the language of the user
  std::uint32_t severity = 0;
  std::uint8_t flag = 0;
};

/// One test on one device.
struct TestRun {
  std::uint32_t device = 0;
  NamedTest test;
  std::string diagnosticName;
  std::vector<std::pair<std::string, std::string>> parameters;
  ExitCode outcome = ExitCode::NotPerformed;
  bool applicable = true;
  bool named = true;  ///< asked for by its name, not with its whole diagnostic
  bool lost = false;  ///< the device no longer answered
  bool gaps = false;  ///< commands failed without a verdict on the medium, and the device answers
  bool begun = true;  ///< false when the user stopped the run before it came to this test
  std::vector<Message> messages;
  std::string note;  ///< the host's own sentence about a run that could not take place
  std::optional<ReadTimes> reads;      ///< of a test that reads
  std::vector<SectorRange> badRanges;  ///< of a surface test, in growing order, without overlap
  Clock::time_point started;
  Clock::time_point finished;
};

struct PartitionResult {
  std::string name;
  int status = 0;
  ExitCode outcome = ExitCode::NotPerformed;
  std::string report;              ///< what the checker printed
  std::vector<std::string> notes;  ///< why it was not performed
};

/// A tool on one device.
struct ToolRun {
  std::uint32_t device = 0;
  ExitCode outcome = ExitCode::NotPerformed;
  std::optional<int> status;
  bool applicable = true;
  bool lost = false;  ///< the device no longer answered
  bool gaps = false;  ///< nothing is known of some sectors, and the device answers
  /// Something of it is not known or not as it was, though nobody stopped it: sectors without an
  /// answer, a volume that is not back.
  bool incomplete = false;
  std::string note;
  // Scan and repair.
  bool hasSectors = false;
  bool repairs = false;  ///< what was found was to be repaired
  std::uint64_t sectorsScanned = 0;
  std::uint64_t badSectorsFound = 0;
  std::uint64_t badSectorsRepaired = 0;
  std::vector<std::uint64_t> badSectors;
  std::vector<std::uint64_t> repairedSectors;  ///< those of them that were rewritten and read back
  std::optional<ReadTimes> reads;
  // Check of file systems.
  std::vector<PartitionResult> partitions;
  // SMART attributes.
  bool isSmart = false;
  std::string protocol;
  std::vector<SmartRow> smart;
  std::vector<SmartRow> logPage;
  Clock::time_point started;
  Clock::time_point finished;
};

/// Everything that one call of the program did.
struct Session {
  Clock::time_point started;
  Clock::time_point finished;
  std::string machine;  ///< name of the computer, or of the virtual PC
  std::string system;   ///< its operating system
  bool virtualPc = false;
  std::string moduleVersion;
  std::string programVersion;
  std::vector<std::pair<std::string, std::string>> notes;  ///< of the user: ticket, customer
  std::vector<DeviceInfo> devices;                         ///< those that take part
  std::vector<TestRun> tests;
  std::string toolName;  ///< command word, empty without a tool
  std::string toolTitle;
  std::string operation;
  std::vector<ToolRun> tools;
  std::vector<std::string> notices;  ///< sentences about the whole run
  bool unperformed = false;          ///< a test was asked for that no device supports
  /// What the program's own part adds: stopped by the user, or a file or record that was not kept.
  ExitCode ending = ExitCode::Passed;

  /// The worst outcome of a run and of the verdicts on its drives; `NotPerformed` when nothing ran.
  ExitCode outcome() const;
  /// The worst of the verdicts alone, for what runs nothing; `NotPerformed` without a drive.
  ExitCode healthOutcome() const;
  const DeviceInfo* device(std::uint32_t index) const;

 private:
  bool wasLookedAt(std::uint32_t device) const;
};

/// "2026-11-24T22:08:06Z".
std::string isoTime(Clock::time_point time);
/// Seconds since 1970 of such a text; none for any other.
std::optional<std::int64_t> secondsOfIsoTime(const std::string& text);
/// "2026-11-24 23:08:06 +0100", where the computer is.
std::string localTime(Clock::time_point time);
/// "1:05:09" or "0:07".
std::string durationText(std::chrono::seconds duration);

}  // namespace ostria::host
