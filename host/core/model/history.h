// The runs that are kept from one call of the program to the next, and what became of the drives
// meanwhile. Where they lie is the system's matter.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "host/core/model/results.h"
#include "host/core/user_error.h"

namespace ostria::host {

/// One kept result.
struct KeptResult {
  std::uint32_t device = 0;  ///< of the run
  std::string time;          ///< ISO 8601, UTC
  std::string id;            ///< of the test, or command word of the tool
  std::string name;          ///< as it was shown
  std::string outcome;       ///< one of the words of `outcomeWord`
  std::string text;          ///< the messages
};

/// A drive as a run found it.
struct KeptDrive {
  std::uint32_t device = 0;
  std::string model;
  std::string serial;
  std::string wwn;
  std::string node;
  std::string firmware;
  std::string verdict;  ///< one of the words of `verdictWord`
  /// What may grow, by the last part of its text's key: "pending", "wear".
  std::map<std::string, std::uint64_t> numbers;
};

struct KeptRun {
  std::int64_t number = 0;  ///< given when it is kept, rising
  std::string started;      ///< ISO 8601, UTC
  std::string machine;
  bool virtualPc = false;
  std::string programVersion;
  std::string moduleVersion;
  std::string outcome;
  std::vector<KeptDrive> drives;
  std::vector<KeptResult> results;

  const KeptDrive* drive(std::uint32_t device) const;
};

/// Where runs are kept.
class History {
 public:
  /// Results that are kept; the oldest runs go when there are more.
  static constexpr std::size_t kMostResults = 5000;

  virtual ~History() = default;
  /// Keeps the run behind those that are there, and gives it its number.
  /// @return a sentence when it could not be kept
  virtual UsageError add(KeptRun& run) = 0;
  /// All kept runs, oldest first; none when nothing was ever kept.
  virtual OrUsageError<std::vector<KeptRun>> read() = 0;
  /// For sentences.
  virtual std::string where() const = 0;
};

/// What of the history is wanted. Empty: everything.
struct HistoryFilter {
  std::vector<std::string> drives;  ///< serial numbers, WWNs, models or nodes
  std::string test;                 ///< identifier or a part of the name, in any case
  std::string since;                ///< beginning of an ISO time
};

/// One result with all that it needs to be shown alone.
struct HistoryRecord {
  std::int64_t run = 0;
  bool virtualPc = false;
  std::string machine;
  std::string model;
  std::string serial;
  KeptResult result;
};

std::vector<HistoryRecord> chosenRecords(const std::vector<KeptRun>& runs,
                                         const HistoryFilter& filter);

/// Numbers that both have and that differ.
std::vector<Change> changesBetween(const KeptDrive& before, const KeptDrive& now);

/// What became of one drive.
struct DriveComparison {
  std::string model;
  std::string serial;
  std::string verdictBefore;  ///< empty: the drive was not there
  std::string verdictNow;     ///< empty: the drive is not there
  std::vector<Change> changes;
};

/// What became of one test on one drive.
struct ResultComparison {
  std::string model;
  std::string serial;
  std::string id;
  std::string name;
  std::string before;  ///< outcome; empty: it did not run
  std::string now;
};

struct Comparison {
  KeptRun before;
  KeptRun now;
  std::vector<DriveComparison> drives;
  std::vector<ResultComparison> results;  ///< those that differ
};

Comparison compareRuns(const KeptRun& before, const KeptRun& now);

/// The newest kept run that saw the drive; null when there is none. A simulated drive is another
/// one than a real drive of its name.
const KeptRun* lastRunOf(const std::vector<KeptRun>& runs, const std::string& model,
                         const std::string& serial, bool virtualPc);

/// The newest result of each test on a drive, by its id as it was kept.
std::map<std::string, KeptResult> lastResultsOf(const std::vector<KeptRun>& runs,
                                                const std::string& model, const std::string& serial,
                                                bool virtualPc);

/// The numbers of a drive that are worth comparing.
std::map<std::string, std::uint64_t> numbersOf(const DeviceInfo& device);

}  // namespace ostria::host
