// Result records in SQLite: WMI's bounded table for a system without WMI.
#include "platform/linux/services/linux_result_store.h"

#include <fcntl.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <optional>

namespace ostria::storage {
namespace {

constexpr int kBusyTimeoutMilliseconds = 30000;
constexpr std::time_t kMostSeconds = 120;
constexpr int kStepsBetweenLooks = 100000;

constexpr const char* kSchemaStatements =
    "CREATE TABLE IF NOT EXISTS namespaces (path TEXT PRIMARY KEY COLLATE NOCASE) WITHOUT ROWID;"
    "CREATE TABLE IF NOT EXISTS records ("
    "  namespace TEXT NOT NULL COLLATE NOCASE, class TEXT NOT NULL COLLATE NOCASE,"
    "  Id INTEGER NOT NULL, ModuleName TEXT, DeviceUdi TEXT, DeviceDisplayName TEXT, TestName TEXT,"
    "  TestStatus TEXT, TestStartTimestamp TEXT, TestDuration TEXT,"
    "  PRIMARY KEY (namespace, class, Id)) WITHOUT ROWID;";

/// One prepared statement. Every operation answers false once anything failed.
class Statement {
 public:
  Statement(sqlite3* database, const std::string& text) {
    good_ = sqlite3_prepare_v2(database, text.c_str(), -1, &statement_, nullptr) == SQLITE_OK;
  }
  ~Statement() { sqlite3_finalize(statement_); }
  Statement(const Statement&) = delete;
  Statement& operator=(const Statement&) = delete;

  Statement& bind(const std::string& text) {
    good_ =
        good_ && sqlite3_bind_text(statement_, ++bound_, text.data(), static_cast<int>(text.size()),
                                   SQLITE_TRANSIENT) == SQLITE_OK;
    return *this;
  }
  Statement& bind(std::int64_t number) {
    good_ = good_ && sqlite3_bind_int64(statement_, ++bound_, number) == SQLITE_OK;
    return *this;
  }
  /// Leaves the next value empty.
  Statement& skip() {
    ++bound_;
    return *this;
  }
  /// Steps to the next row. @return false at the end, or on a failure, see `good`
  bool row() {
    const int result = good_ ? sqlite3_step(statement_) : SQLITE_ERROR;
    if (result != SQLITE_ROW && result != SQLITE_DONE) {
      good_ = false;
    }
    return result == SQLITE_ROW;
  }
  bool run() {
    while (row()) {
      continue;
    }
    return good_;
  }
  bool good() const { return good_; }
  std::int64_t number(int column) { return sqlite3_column_int64(statement_, column); }
  std::string text(int column) {
    const unsigned char* const text = sqlite3_column_text(statement_, column);
    return text == nullptr
               ? std::string()
               : std::string(reinterpret_cast<const char*>(text),
                             static_cast<std::size_t>(sqlite3_column_bytes(statement_, column)));
  }
  bool isEmpty(int column) { return sqlite3_column_type(statement_, column) == SQLITE_NULL; }

 private:
  sqlite3_stmt* statement_ = nullptr;
  int bound_ = 0;
  bool good_ = false;
};

bool execute(sqlite3* database, const char* text) {
  return sqlite3_exec(database, text, nullptr, nullptr, nullptr) == SQLITE_OK;
}

/// A write from its begin on: other writers wait. Taken back unless committed.
class Transaction {
 public:
  explicit Transaction(sqlite3* database)
      : database_(database), open_(execute(database, "BEGIN IMMEDIATE")) {}
  ~Transaction() {
    if (open_) {
      execute(database_, "ROLLBACK");
    }
  }
  Transaction(const Transaction&) = delete;
  Transaction& operator=(const Transaction&) = delete;

  bool open() const { return open_; }
  bool commit() {
    if (!open_ || !execute(database_, "COMMIT")) {
      return false;
    }
    open_ = false;
    return true;
  }

 private:
  sqlite3* database_;
  bool open_;
};

std::string columnList() {
  std::string list;
  for (const std::string& name : LinuxResultStore::textNames()) {
    list += ", " + name;
  }
  return list;
}

// Folders that are missing are made for the owner alone.
bool makeFolders(const std::string& path) {
  if (path.empty()) {
    return true;
  }
  for (std::size_t slash = path.find('/', 1);; slash = path.find('/', slash + 1)) {
    if (mkdir(path.substr(0, slash).c_str(), 0700) != 0 && errno != EEXIST) {
      return false;
    }
    if (slash == std::string::npos) {
      return true;
    }
  }
}

// A regular file of the caller's or of root's, and no second name of another one.
bool isOwnFile(const std::string& path, bool make) {
  const int flags = O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC;
  int descriptor = ::open(path.c_str(), flags);
  if (descriptor < 0 && errno == ENOENT && make) {
    descriptor = ::open(path.c_str(), flags | O_CREAT | O_EXCL, 0600);
    if (descriptor < 0 && errno == EEXIST) {
      descriptor = ::open(path.c_str(), flags);  // another writer was first
    }
  }
  struct stat status {};
  const bool good = descriptor >= 0 && fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode) &&
                    status.st_nlink == 1 && (status.st_uid == geteuid() || status.st_uid == 0);
  if (descriptor >= 0) {
    ::close(descriptor);
  }
  return good;
}

// One for the process: what it does with the file takes moments.
std::atomic<std::time_t> latest{0};

int isTooLate(void* /*unused*/) { return std::time(nullptr) > latest ? 1 : 0; }

// Views and triggers are programs of whoever made the file, so they stay off, and no statement runs
// without an end.
sqlite3* openOwnFile(const std::string& path, int mode) {
  namespace fs = std::filesystem;
  std::error_code error;
  // The folders above the file may be links of the system's.
  const fs::path folder = fs::canonical(fs::absolute(path, error).parent_path(), error);
  const std::string real = error ? path : (folder / fs::path(path).filename()).string();
  if (!isOwnFile(real, mode == SQLITE_OPEN_READWRITE)) {
    return nullptr;
  }
  latest = std::time(nullptr) + kMostSeconds;
  sqlite3* database = nullptr;
  bool good =
      sqlite3_open_v2(real.c_str(), &database, mode | SQLITE_OPEN_NOFOLLOW, nullptr) == SQLITE_OK &&
      sqlite3_busy_timeout(database, kBusyTimeoutMilliseconds) == SQLITE_OK;
  for (const auto& [option, value] :
       {std::pair{SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0}, std::pair{SQLITE_DBCONFIG_ENABLE_VIEW, 0},
        std::pair{SQLITE_DBCONFIG_ENABLE_TRIGGER, 0}, std::pair{SQLITE_DBCONFIG_DEFENSIVE, 1}}) {
    good = good && sqlite3_db_config(database, option, value, nullptr) == SQLITE_OK;
  }
  if (!good) {
    sqlite3_close(database);
    return nullptr;
  }
  sqlite3_progress_handler(database, kStepsBetweenLooks, isTooLate, nullptr);
  return database;
}

std::string environment(const char* name) {
  const char* const value = secure_getenv(name);
  return value == nullptr ? std::string() : value;
}

}  // namespace

const std::vector<std::string>& LinuxResultStore::textNames() {
  static const std::vector<std::string> kNames = {"ModuleName",  "DeviceUdi",  "DeviceDisplayName",
                                                  "TestName",    "TestStatus", "TestStartTimestamp",
                                                  "TestDuration"};
  return kNames;
}

void LinuxResultStore::Closer::operator()(sqlite3* database) const { sqlite3_close(database); }

LinuxResultStore::LinuxResultStore(Database database, std::uint32_t limit)
    : database_(std::move(database)), limit_(std::max(limit, 1u)) {}

LinuxResultStore::~LinuxResultStore() = default;

std::unique_ptr<LinuxResultStore> LinuxResultStore::open(const std::string& path,
                                                         std::uint32_t limit) {
  if (path.empty() || !makeFolders(std::filesystem::path(path).parent_path().string())) {
    return nullptr;
  }
  Database database(openOwnFile(path, SQLITE_OPEN_READWRITE));
  if (database == nullptr) {
    return nullptr;
  }
  std::unique_ptr<LinuxResultStore> store(new LinuxResultStore(std::move(database), limit));
  return store->prepare() ? std::move(store) : nullptr;
}

std::unique_ptr<LinuxResultStore> LinuxResultStore::openForReading(const std::string& path) {
  Database database(path.empty() ? nullptr : openOwnFile(path, SQLITE_OPEN_READONLY));
  if (database == nullptr) {
    return nullptr;
  }
  return std::unique_ptr<LinuxResultStore>(
      new LinuxResultStore(std::move(database), kDefaultLimit));
}

bool LinuxResultStore::prepare() {
  // The tables are there nearly always; looking first spares the readers the wait for a writer.
  Statement present(database_.get(),
                    "SELECT count(*) FROM sqlite_master WHERE name IN ('namespaces', 'records')");
  if (!present.row()) {
    return false;
  }
  if (present.number(0) == 2) {
    return true;
  }
  present.run();
  Transaction transaction(database_.get());
  return transaction.open() && execute(database_.get(), kSchemaStatements) && transaction.commit();
}

bool LinuxResultStore::add(const std::string& nameSpace, const std::string& className,
                           const Record& texts) {
  for (const auto& [name, text] : texts) {
    if (std::find(textNames().begin(), textNames().end(), name) == textNames().end()) {
      return false;
    }
  }

  Transaction transaction(database_.get());
  if (!transaction.open()) {
    return false;
  }
  Statement known(database_.get(), "INSERT OR IGNORE INTO namespaces VALUES (?)");
  if (!known.bind(nameSpace).run()) {
    return false;
  }

  Statement state(database_.get(),
                  "SELECT count(*), max(Id) FROM records WHERE namespace = ? AND class = ?");
  if (!state.bind(nameSpace).bind(className).row()) {
    return false;
  }
  const std::int64_t count = state.number(0);
  const std::int64_t id = count == 0 ? 0 : state.number(1) + 1;
  if (!state.run()) {
    return false;
  }
  if (const std::int64_t surplus = count - (std::int64_t{limit_} - 1); surplus > 0) {
    Statement drop(database_.get(),
                   "DELETE FROM records WHERE namespace = ?1 AND class = ?2 AND Id IN (SELECT Id "
                   "FROM records WHERE namespace = ?1 AND class = ?2 ORDER BY Id LIMIT ?3)");
    if (!drop.bind(nameSpace).bind(className).bind(surplus).run()) {
      return false;
    }
  }

  Statement insert(database_.get(), "INSERT INTO records (namespace, class, Id" + columnList() +
                                        ") VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?)");
  insert.bind(nameSpace).bind(className).bind(id);
  for (const std::string& name : textNames()) {
    const auto text = texts.find(name);
    if (text == texts.end()) {
      insert.skip();
    } else {
      insert.bind(text->second);
    }
  }
  return insert.run() && transaction.commit();
}

bool LinuxResultStore::read(const std::string& nameSpace, const std::string& className,
                            std::vector<Record>& records) {
  Statement select(database_.get(), "SELECT Id" + columnList() +
                                        " FROM records WHERE namespace = ? AND class = ? "
                                        "ORDER BY Id");
  select.bind(nameSpace).bind(className);
  while (select.row()) {
    Record& record = records.emplace_back();
    record["Id"] = select.text(0);
    int column = 0;
    for (const std::string& name : textNames()) {
      if (!select.isEmpty(++column)) {
        record[name] = select.text(column);
      }
    }
  }
  return select.good() && !records.empty();
}

bool LinuxResultStore::hasNamespace(const std::string& nameSpace) {
  Statement select(database_.get(), "SELECT count(*) FROM namespaces WHERE path = ?");
  return select.bind(nameSpace).row() && select.number(0) != 0;
}

bool LinuxResultStore::ensureNamespace(const std::string& nameSpace, bool& existed) {
  Transaction transaction(database_.get());
  if (!transaction.open()) {
    return false;
  }
  Statement insert(database_.get(), "INSERT OR IGNORE INTO namespaces VALUES (?)");
  if (!insert.bind(nameSpace).run()) {
    return false;
  }
  existed = sqlite3_changes(database_.get()) == 0;
  return transaction.commit();
}

std::string resultStorePath() {
  constexpr const char* kFile = "/ostria-diagnostics/results.sqlite";
  if (std::string path = environment("OSTRIA_RESULTS"); !path.empty()) {
    return path;
  }
  // Root's variables may be those of whoever became root, and name a folder of theirs.
  if (geteuid() == 0) {
    return std::string("/var/lib") + kFile;
  }
  if (const std::string state = environment("XDG_STATE_HOME"); !state.empty() && state[0] == '/') {
    return state + kFile;
  }
  if (const std::string home = environment("HOME"); !home.empty()) {
    return home + "/.local/state" + kFile;
  }
  return "";
}

}  // namespace ostria::storage
