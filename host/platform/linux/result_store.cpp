// Runs in the SQLite file that the module's own records also lie in: docs/result-records.md.
#include "host/platform/result_store.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>

#include "host/core/model/file_history.h"
#include "host/platform/files.h"
#include "host/platform/linux/sqlite.h"
#include "host/platform/state_files.h"

namespace ostria::host {
namespace {

constexpr std::int64_t kVersion = 1;
constexpr std::uint64_t kMostLegacyBytes = 64 * kMebibyte;

constexpr const char* kTables =
    "CREATE TABLE runs (run INTEGER PRIMARY KEY AUTOINCREMENT, started TEXT NOT NULL,"
    "  machine TEXT NOT NULL, virtual INTEGER NOT NULL, program_version TEXT NOT NULL,"
    "  module_version TEXT NOT NULL, outcome TEXT NOT NULL);"
    "CREATE TABLE drives (run INTEGER NOT NULL, device INTEGER NOT NULL, model TEXT NOT NULL,"
    "  serial TEXT NOT NULL, wwn TEXT NOT NULL, node TEXT NOT NULL, firmware TEXT NOT NULL,"
    "  verdict TEXT NOT NULL, PRIMARY KEY (run, device)) WITHOUT ROWID;"
    "CREATE TABLE numbers (run INTEGER NOT NULL, device INTEGER NOT NULL, name TEXT NOT NULL,"
    "  value INTEGER NOT NULL, PRIMARY KEY (run, device, name)) WITHOUT ROWID;"
    "CREATE TABLE results (run INTEGER NOT NULL, device INTEGER NOT NULL, time TEXT NOT NULL,"
    "  id TEXT NOT NULL, name TEXT NOT NULL, outcome TEXT NOT NULL, text TEXT NOT NULL);"
    "CREATE INDEX results_of_runs ON results (run);"
    "PRAGMA user_version = 1;";

std::string folderOf(const std::string& path) { return path.substr(0, path.rfind('/')); }

// Folders that are missing are made for the owner alone.
bool makeFolders(const std::string& path) {
  for (std::size_t slash = path.find('/', 1);; slash = path.find('/', slash + 1)) {
    const std::string folder = path.substr(0, slash);
    if (mkdir(folder.c_str(), 0700) != 0 && errno != EEXIST) {
      return false;
    }
    if (slash == std::string::npos) {
      return true;
    }
  }
}

std::int64_t versionOf(sqlite3* database) {
  Statement version(database, "PRAGMA user_version");
  return version.row() ? version.number(0) : -1;
}

bool insert(sqlite3* database, KeptRun& run) {
  Statement head(database,
                 "INSERT INTO runs (started, machine, virtual, program_version, module_version, "
                 "outcome) VALUES (?, ?, ?, ?, ?, ?) RETURNING run");
  head.bind(run.started)
      .bind(run.machine)
      .bind(std::int64_t{run.virtualPc ? 1 : 0})
      .bind(run.programVersion)
      .bind(run.moduleVersion)
      .bind(run.outcome);
  if (!head.row()) {
    return false;
  }
  run.number = head.number(0);
  bool good = head.run();
  for (const KeptDrive& drive : run.drives) {
    Statement row(database, "INSERT INTO drives VALUES (?, ?, ?, ?, ?, ?, ?, ?)");
    good = good && row.bind(run.number)
                       .bind(std::int64_t{drive.device})
                       .bind(drive.model)
                       .bind(drive.serial)
                       .bind(drive.wwn)
                       .bind(drive.node)
                       .bind(drive.firmware)
                       .bind(drive.verdict)
                       .run();
    for (const auto& [name, value] : drive.numbers) {
      Statement number(database, "INSERT INTO numbers VALUES (?, ?, ?, ?)");
      good = good && number.bind(run.number)
                         .bind(std::int64_t{drive.device})
                         .bind(name)
                         .bind(static_cast<std::int64_t>(value))
                         .run();
    }
  }
  for (const KeptResult& result : run.results) {
    Statement row(database, "INSERT INTO results VALUES (?, ?, ?, ?, ?, ?, ?)");
    good = good && row.bind(run.number)
                       .bind(std::int64_t{result.device})
                       .bind(result.time)
                       .bind(result.id)
                       .bind(result.name)
                       .bind(result.outcome)
                       .bind(result.text)
                       .run();
  }
  return good;
}

// The oldest runs go, whole ones, until the results are few enough; the newest always stays.
bool prune(sqlite3* database) {
  Statement first(
      database,
      "SELECT min(run) FROM (SELECT run, sum(n) OVER (ORDER BY run DESC) AS total FROM "
      "(SELECT runs.run AS run, max(count(results.run), 1) AS n FROM runs LEFT JOIN results ON "
      "results.run = runs.run GROUP BY runs.run)) WHERE total <= ? OR run = (SELECT "
      "max(run) FROM runs)");
  if (!first.bind(static_cast<std::int64_t>(History::kMostResults)).row()) {
    return false;
  }
  const std::int64_t oldest = first.number(0);
  bool good = first.run();
  for (const char* text : {"DELETE FROM results WHERE run < ?", "DELETE FROM numbers WHERE run < ?",
                           "DELETE FROM drives WHERE run < ?", "DELETE FROM runs WHERE run < ?"}) {
    Statement drop(database, text);
    good = good && drop.bind(oldest).run();
  }
  return good;
}

bool readInto(sqlite3* database, std::vector<KeptRun>& runs) {
  std::map<std::int64_t, std::size_t> indices;
  Statement heads(database,
                  "SELECT run, started, machine, virtual, program_version, module_version, outcome "
                  "FROM runs ORDER BY run");
  while (heads.row()) {
    indices[heads.number(0)] = runs.size();
    runs.push_back({heads.number(0),
                    heads.text(1),
                    heads.text(2),
                    heads.number(3) != 0,
                    heads.text(4),
                    heads.text(5),
                    heads.text(6),
                    {},
                    {}});
  }
  const auto runOf = [&](std::int64_t number) {
    const auto found = indices.find(number);
    return found == indices.end() ? nullptr : &runs[found->second];
  };
  Statement drives(database,
                   "SELECT run, device, model, serial, wwn, node, firmware, verdict FROM drives "
                   "ORDER BY run, device");
  while (drives.row()) {
    if (KeptRun* run = runOf(drives.number(0))) {
      run->drives.push_back({static_cast<std::uint32_t>(drives.number(1)),
                             drives.text(2),
                             drives.text(3),
                             drives.text(4),
                             drives.text(5),
                             drives.text(6),
                             drives.text(7),
                             {}});
    }
  }
  Statement numbers(database, "SELECT run, device, name, value FROM numbers");
  while (numbers.row()) {
    KeptRun* run = runOf(numbers.number(0));
    if (run == nullptr) {
      continue;
    }
    for (KeptDrive& drive : run->drives) {
      if (drive.device == numbers.number(1)) {
        drive.numbers[numbers.text(2)] = static_cast<std::uint64_t>(numbers.number(3));
      }
    }
  }
  Statement results(database,
                    "SELECT run, device, time, id, name, outcome, text FROM results ORDER BY run, "
                    "rowid");
  while (results.row()) {
    if (KeptRun* run = runOf(results.number(0))) {
      run->results.push_back({static_cast<std::uint32_t>(results.number(1)), results.text(2),
                              results.text(3), results.text(4), results.text(5), results.text(6)});
    }
  }
  return heads.good() && drives.good() && numbers.good() && results.good();
}

class SqliteHistory final : public History {
 public:
  SqliteHistory(std::string path, Patience patience)
      : path_(std::move(path)), patience_(std::move(patience)) {}

  UsageError add(KeptRun& run) override {
    UsageError failed{"file.results_unwritable", {{"file", path_}}};
    if (path_.empty() || !makeFolders(folderOf(path_))) {
      return failed;
    }
    const Database database = openDatabase(path_, true, patience_);
    if (database == nullptr) {
      return failed;
    }
    Transaction transaction(database.get());
    if (!transaction.isOpen() || !prepare(database.get()) || !insert(database.get(), run) ||
        !prune(database.get()) || !transaction.commit()) {
      return failed;
    }
    return {};
  }

  OrUsageError<std::vector<KeptRun>> read() override {
    UsageError failed{"file.results_unreadable", {{"file", path_}}};
    std::vector<KeptRun> runs;
    std::error_code error;
    if (path_.empty() || !std::filesystem::exists(std::filesystem::symlink_status(path_, error))) {
      return runs;
    }
    const Database database = openDatabase(path_, false, patience_);
    if (database == nullptr) {
      return failed;
    }
    const std::int64_t version = versionOf(database.get());
    if (version == 0) {
      return runs;  // the module's records alone
    }
    if (version != kVersion || !readInto(database.get(), runs)) {
      return failed;
    }
    return runs;
  }

  std::string where() const override { return path_; }

 private:
  // The first run brings those of the file that earlier versions wrote.
  bool prepare(sqlite3* database) const {
    const std::int64_t version = versionOf(database);
    if (version != 0) {
      return version == kVersion;
    }
    if (!execute(database, kTables)) {
      return false;
    }
    const auto old =
        readRegularFile(stateFolder() + "/ostria/results.jsonl", {kMostLegacyBytes, true});
    bool good = true;
    if (const auto* text = std::get_if<std::string>(&old)) {
      for (KeptRun& run : runsOfLines(*text)) {
        good = good && insert(database, run);
      }
    }
    return good;
  }

  std::string path_;
  Patience patience_;
};

}  // namespace

std::unique_ptr<History> resultStore(Patience patience) {
  const char* named = secure_getenv("OSTRIA_RESULTS");
  if (named != nullptr && *named != '\0') {
    return std::make_unique<SqliteHistory>(named, std::move(patience));
  }
  const std::string folder = stateFolder();
  return std::make_unique<SqliteHistory>(
      folder.empty() ? folder : folder + "/ostria-diagnostics/results.sqlite", std::move(patience));
}

}  // namespace ostria::host
