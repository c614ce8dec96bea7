// The results that are kept from one run to the next.
#pragma once

#include <string>
#include <vector>

#include "host/core/file_lock.h"
#include "host/core/model/results.h"
#include "host/core/texts/texts.h"
#include "host/core/user_error.h"

namespace ostria::host {

/// One kept result.
struct HistoryRecord {
  std::string time;  ///< ISO 8601, UTC
  std::string model;
  std::string serial;
  std::string id;       ///< of the test, or command word of the tool
  std::string name;     ///< as it was shown
  std::string outcome;  ///< one of the words of `outcomeWord`
  std::string text;     ///< the messages
};

/// Where results are kept.
class History {
 public:
  virtual ~History() = default;
  /// Keeps the records behind those that are there.
  /// @return a sentence when they could not be kept
  virtual UsageError add(const std::vector<HistoryRecord>& records) = 0;
  /// All kept records, oldest first; none when nothing was ever kept.
  virtual OrUsageError<std::vector<HistoryRecord>> read() const = 0;
};

/// Keeps the newest records in a file of one JSON object a line, safe against a second program that
/// does the same. A line that cannot be read is passed over.
class FileHistory final : public History {
 public:
  static constexpr std::size_t kMostRecords = 5000;

  /// @param lock  locks a file that lies beside the one of the records
  FileHistory(std::string path, LockFile lock) : path_(std::move(path)), lock_(std::move(lock)) {}
  UsageError add(const std::vector<HistoryRecord>& records) override;
  OrUsageError<std::vector<HistoryRecord>> read() const override;

 private:
  std::string path_;
  LockFile lock_;
};

/// What of a session is worth keeping: everything that began.
std::vector<HistoryRecord> recordsOf(const Session& session, const Texts& texts);

}  // namespace ostria::host
