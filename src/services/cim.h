#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace ostria::storage {

/// Rows, columns, and one text for a scalar or one per element for an array.
using CimTable = std::vector<std::vector<std::vector<std::string>>>;

/// Result of every `Cim` operation.
enum class CimResult : std::uint32_t {
  Success = 0,
  ComStartFailed = 16,
  ComSecurityFailed = 17,
  LocatorFailed = 18,
  ConnectFailed = 19,  ///< connecting, or a later step of a write
  ProxyFailed = 20,
  QueryIncomplete = 21,  ///< no class or text to start from
  NullFieldName = 25,
  NoFields = 27,
  ComAlreadyRunning = 91,
};

/// WMI queries, and the bounded table of result records.
class Cim {
 public:
  virtual ~Cim() = default;

  /// "SELECT fields FROM class WHERE where" in a namespace.
  /// @param table  set to a new table on success; the caller frees it with `freeTable`
  virtual CimResult query(const char* const* fields, const char* where, const char* className,
                          int fieldCount, CimTable** table, const std::wstring& nameSpace) = 0;
  /// The same without "WHERE".
  virtual CimResult queryAll(CimTable** table, const char* className, int fieldCount,
                             const char* const* fields, const std::wstring& nameSpace) = 0;
  /// Adds a result record; the table keeps at most 5000, the oldest goes first. Names and values
  /// that differ in number write nothing and give `Success`.
  virtual CimResult writeRecord(const std::vector<std::string>& names,
                                const std::vector<std::string>& values, const char* className,
                                const std::wstring& nameSpace) = 0;
  /// Makes sure that a namespace exists under a parent. @param existed  whether it was there before
  virtual CimResult ensureNamespace(const std::wstring& parent, const std::wstring& name,
                                    bool* existed) = 0;
  virtual void freeTable(CimTable* table) { delete table; }
};

/// A new object for one use, never null. Defined by each platform.
std::unique_ptr<Cim> makeCim();

}  // namespace ostria::storage
