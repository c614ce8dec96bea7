// The file may lie where others can write, so the name is opened without following links, and views
// and triggers, which are programs of whoever made the file, stay off.
#include "host/platform/linux/sqlite.h"

#include <fcntl.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <ctime>
#include <filesystem>

namespace ostria::host {
namespace {

constexpr std::time_t kMostSeconds = 30;
constexpr int kStepsBetweenLooks = 100000;

// One for the process: what it does with the store takes moments.
std::atomic<std::time_t> latest{0};

int isTooLate(void* patience) {
  return std::time(nullptr) > latest || static_cast<Patience*>(patience)->isInterrupted() ? 1 : 0;
}

int isWorthWaiting(void* patience, int /*tries*/) {
  return static_cast<Patience*>(patience)->pause() ? 1 : 0;
}

bool isOwnFile(const std::string& path, bool make) {
  const int flags = O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC;
  int descriptor = open(path.c_str(), flags);
  if (descriptor < 0 && errno == ENOENT && make) {
    descriptor = open(path.c_str(), flags | O_CREAT | O_EXCL, 0600);
    if (descriptor < 0 && errno == EEXIST) {
      descriptor = open(path.c_str(), flags);  // another program was first
    }
  }
  struct stat status {};
  const bool good = descriptor >= 0 && fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode) &&
                    status.st_nlink == 1 && (status.st_uid == geteuid() || status.st_uid == 0);
  if (descriptor >= 0) {
    close(descriptor);
  }
  return good;
}

// The parts above the file may be links of the system's.
std::string withRealFolder(const std::string& path) {
  namespace fs = std::filesystem;
  std::error_code error;
  const fs::path folder = fs::canonical(fs::path(path).parent_path(), error);
  return error ? path : (folder / fs::path(path).filename()).string();
}

}  // namespace

void CloseDatabase::operator()(sqlite3* database) const { sqlite3_close(database); }

Database openDatabase(const std::string& path, bool writable, Patience& patience) {
  const std::string real = withRealFolder(path);
  if (!isOwnFile(real, writable)) {
    return nullptr;
  }
  sqlite3* raw = nullptr;
  const int mode = writable ? SQLITE_OPEN_READWRITE : SQLITE_OPEN_READONLY;
  const int result = sqlite3_open_v2(real.c_str(), &raw, mode | SQLITE_OPEN_NOFOLLOW, nullptr);
  Database database(raw);
  patience.begin();
  if (result != SQLITE_OK || sqlite3_busy_handler(raw, isWorthWaiting, &patience) != SQLITE_OK) {
    return nullptr;
  }
  latest = std::time(nullptr) + kMostSeconds;
  sqlite3_progress_handler(raw, kStepsBetweenLooks, isTooLate, &patience);
  for (const auto& [option, value] :
       {std::pair{SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0}, std::pair{SQLITE_DBCONFIG_ENABLE_VIEW, 0},
        std::pair{SQLITE_DBCONFIG_ENABLE_TRIGGER, 0}, std::pair{SQLITE_DBCONFIG_DEFENSIVE, 1}}) {
    if (sqlite3_db_config(raw, option, value, nullptr) != SQLITE_OK) {
      return nullptr;
    }
  }
  return database;
}

bool execute(sqlite3* database, const char* text) {
  return sqlite3_exec(database, text, nullptr, nullptr, nullptr) == SQLITE_OK;
}

Statement::Statement(sqlite3* database, const char* text)
    : good_(sqlite3_prepare_v2(database, text, -1, &statement_, nullptr) == SQLITE_OK) {}

Statement::~Statement() { sqlite3_finalize(statement_); }

Statement& Statement::bind(const std::string& text) {
  good_ = good_ && sqlite3_bind_text(statement_, ++bound_, text.data(),
                                     static_cast<int>(text.size()), SQLITE_TRANSIENT) == SQLITE_OK;
  return *this;
}

Statement& Statement::bind(std::int64_t number) {
  good_ = good_ && sqlite3_bind_int64(statement_, ++bound_, number) == SQLITE_OK;
  return *this;
}

bool Statement::row() {
  const int result = good_ ? sqlite3_step(statement_) : SQLITE_ERROR;
  good_ = result == SQLITE_ROW || result == SQLITE_DONE;
  return result == SQLITE_ROW;
}

bool Statement::run() {
  while (row()) {
  }
  return good_;
}

std::int64_t Statement::number(int column) { return sqlite3_column_int64(statement_, column); }

std::string Statement::text(int column) {
  const unsigned char* const text = sqlite3_column_text(statement_, column);
  return text == nullptr
             ? std::string()
             : std::string(reinterpret_cast<const char*>(text),
                           static_cast<std::size_t>(sqlite3_column_bytes(statement_, column)));
}

Transaction::Transaction(sqlite3* database)
    : database_(database), open_(execute(database, "BEGIN IMMEDIATE")) {}

Transaction::~Transaction() {
  if (open_) {
    execute(database_, "ROLLBACK");
  }
}

bool Transaction::commit() {
  if (!open_ || !execute(database_, "COMMIT")) {
    return false;
  }
  open_ = false;
  return true;
}

}  // namespace ostria::host
