// Runs in a file of one JSON object a line, for systems without a database, and for the files of
// versions before 5.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "host/core/file_lock.h"
#include "host/core/model/history.h"

namespace ostria::host {

/// Keeps the newest runs, safe against a second program that does the same. A line that cannot be
/// read is passed over.
class FileHistory final : public History {
 public:
  /// @param lock  locks a file that lies beside the one of the runs
  FileHistory(std::string path, LockFile lock, Patience patience)
      : path_(std::move(path)), lock_(std::move(lock)), patience_(std::move(patience)) {}
  UsageError add(KeptRun& run) override;
  OrUsageError<std::vector<KeptRun>> read() override;
  std::string where() const override { return path_; }

 private:
  std::string path_;
  LockFile lock_;
  Patience patience_;
};

/// The runs of such a file's text. Lines of older versions hold one result each; those of one time
/// and drive become a run.
std::vector<KeptRun> runsOfLines(std::string_view text);

}  // namespace ostria::host
