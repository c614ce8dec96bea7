#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

struct sqlite3;

namespace ostria::storage {

/// The bounded table of result records in a file that many processes may write at once. Each write
/// is one transaction: a process that is killed in it leaves the records as they were before. A
/// writer waits up to half a minute for the others.
class LinuxResultStore {
 public:
  static constexpr std::uint32_t kDefaultLimit = 5000;

  /// A record: "Id" and the seven texts, by name.
  /// A text that was not given is not in it.
  using Record = std::map<std::string, std::string>;

  /// Texts of a record beside its "Id".
  static const std::vector<std::string>& textNames();

  /// Opens the file, and makes it with its directories when it is not there.
  /// @param limit  records that a class keeps
  /// @return null when the file cannot be used
  static std::unique_ptr<LinuxResultStore> open(const std::string& path,
                                                std::uint32_t limit = kDefaultLimit);
  /// Opens the file for reading. @return null when it is not there or cannot be used
  static std::unique_ptr<LinuxResultStore> openForReading(const std::string& path);
  ~LinuxResultStore();

  /// Adds a record under the next number; the oldest of its class go when there are too many.
  /// @param texts  by the names of `textNames`; any other name is a failure
  bool add(const std::string& nameSpace, const std::string& className, const Record& texts);
  /// Records of a class by number, ascending. False when the file cannot be read, or has no record
  /// of such a class.
  bool read(const std::string& nameSpace, const std::string& className,
            std::vector<Record>& records);
  /// Whether the namespace was made, or holds records.
  bool hasNamespace(const std::string& nameSpace);
  /// @param existed  whether the namespace was known before
  bool ensureNamespace(const std::string& nameSpace, bool& existed);

 private:
  struct Closer {
    void operator()(sqlite3* database) const;
  };
  using Database = std::unique_ptr<sqlite3, Closer>;

  LinuxResultStore(Database database, std::uint32_t limit);
  bool prepare();

  Database database_;
  std::uint32_t limit_;
};

/// Where the records are kept: the file that the environment variable OSTRIA_RESULTS names, else
/// ostria-diagnostics/results.sqlite for root under /var/lib, else under $XDG_STATE_HOME or
/// ~/.local/state. Empty when none of these is known.
std::string resultStorePath();

}  // namespace ostria::storage
