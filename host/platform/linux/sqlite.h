// A small skin of SQLite: statements and transactions that remember whether something failed.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "host/core/patience.h"

struct sqlite3;
struct sqlite3_stmt;

namespace ostria::host {

struct CloseDatabase {
  void operator()(sqlite3* database) const;
};
using Database = std::unique_ptr<sqlite3, CloseDatabase>;

/// Opens a database that somebody else may have prepared: no link is followed, nothing in the
/// schema is run, and no statement takes longer than half a minute.
/// @param writable  makes the file, for its owner alone, when it is not there
/// @param patience  how long it waits for other programs; outlives the database
/// @return null when the file cannot be used
Database openDatabase(const std::string& path, bool writable, Patience& patience);

bool execute(sqlite3* database, const char* text);

/// One prepared statement.
class Statement {
 public:
  Statement(sqlite3* database, const char* text);
  ~Statement();
  Statement(const Statement&) = delete;
  Statement& operator=(const Statement&) = delete;

  Statement& bind(const std::string& text);
  Statement& bind(std::int64_t number);
  /// Steps to the next row. @return false at the end, or on a failure, see `good`
  bool row();
  /// Steps to the end.
  bool run();
  bool good() const { return good_; }
  std::int64_t number(int column);
  std::string text(int column);

 private:
  sqlite3_stmt* statement_ = nullptr;
  int bound_ = 0;
  bool good_ = false;
};

/// A write from its begin on: other writers wait. Taken back unless committed.
class Transaction {
 public:
  explicit Transaction(sqlite3* database);
  ~Transaction();
  Transaction(const Transaction&) = delete;
  Transaction& operator=(const Transaction&) = delete;
  bool isOpen() const { return open_; }
  bool commit();

 private:
  sqlite3* database_;
  bool open_;
};

}  // namespace ostria::host
