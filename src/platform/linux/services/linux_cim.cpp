// The two kinds of WMI query that this product asks, answered from sysfs and from our own records.
#include "platform/linux/services/linux_cim.h"

#include <optional>

#include "platform/linux/services/linux_driver_rows.h"
#include "platform/linux/services/linux_result_store.h"
#include "services/string_handler.h"
#include "services/wql_condition.h"

namespace ostria::storage {
namespace {

using Row = std::map<std::string, std::string>;

constexpr const char* kRoot = "ROOT";
constexpr const char* kDriverSpace = "ROOT\\CIMV2";
// The namespace of the records and the one above it are made by the first write.
constexpr const char* kProductSpace = "ROOT\\Ostria";
constexpr const char* kRecordSpace = "ROOT\\Ostria\\Ostria_Diagnostics";

/// The form of a name that the store knows it by, whatever the case of its letters.
std::string storedName(const std::string& name) {
  for (const std::string& known : LinuxResultStore::textNames()) {
    if (sameName(known, name)) {
      return known;
    }
  }
  return name;
}

/// The value under a name, whatever the case of its letters.
const std::string* valueOf(const Row& row, const std::string& name) {
  for (const auto& [key, value] : row) {
    if (sameName(key, name)) {
      return &value;
    }
  }
  return nullptr;
}

}  // namespace

CimResult LinuxCim::query(const char* const* fields, const char* where, const char* className,
                          int fieldCount, CimTable** table, const std::wstring& nameSpace) {
  if (fieldCount > 0 && (where == nullptr || *where == '\0')) {
    return CimResult::QueryIncomplete;
  }
  return select(fields, where, className, fieldCount, table, nameSpace);
}

CimResult LinuxCim::queryAll(CimTable** table, const char* className, int fieldCount,
                             const char* const* fields, const std::wstring& nameSpace) {
  return select(fields, nullptr, className, fieldCount, table, nameSpace);
}

CimResult LinuxCim::select(const char* const* fields, const char* where, const char* className,
                           int fieldCount, CimTable** table, const std::wstring& nameSpace) {
  if (fieldCount <= 0) {
    return CimResult::NoFields;
  }
  if (fields == nullptr || className == nullptr || *className == '\0' || table == nullptr) {
    return CimResult::QueryIncomplete;
  }
  for (int i = 0; i < fieldCount; ++i) {
    if (fields[i] == nullptr) {
      return CimResult::NullFieldName;
    }
  }
  std::optional<WqlCondition> condition;
  if (where != nullptr && !(condition = parseWqlCondition(where))) {
    return CimResult::ConnectFailed;
  }

  std::vector<Row> rows;
  if (sameName(className, "Win32_PnPSignedDriver") && sameName(toNarrow(nameSpace), kDriverSpace)) {
    rows = diskDriverRows();
  } else {
    // A class is there as soon as it has a record. Reading must not make the file.
    const auto store = LinuxResultStore::openForReading(resultStorePath());
    if (store == nullptr || !store->read(toNarrow(nameSpace), className, rows)) {
      return CimResult::ConnectFailed;
    }
  }

  auto answer = std::make_unique<CimTable>();
  for (const Row& row : rows) {
    if (condition) {
      const std::string* const value = valueOf(row, condition->property);
      if (value == nullptr || !condition->accepts(*value)) {
        continue;
      }
    }
    auto& columns = answer->emplace_back();
    for (int i = 0; i < fieldCount; ++i) {
      auto& column = columns.emplace_back();
      if (const std::string* const value = valueOf(row, fields[i])) {
        column.push_back(*value);
      }
    }
  }
  *table = answer.release();
  return CimResult::Success;
}

CimResult LinuxCim::writeRecord(const std::vector<std::string>& names,
                                const std::vector<std::string>& values, const char* className,
                                const std::wstring& nameSpace) {
  if (className == nullptr || *className == '\0') {
    return CimResult::QueryIncomplete;
  }
  if (names.size() != values.size()) {
    return CimResult::Success;
  }
  LinuxResultStore::Record texts;
  for (std::size_t i = 0; i < names.size(); ++i) {
    texts[storedName(names[i])] = values[i];
  }
  const auto store = LinuxResultStore::open(resultStorePath());
  const std::string space = toNarrow(nameSpace);
  if (store == nullptr) {
    return CimResult::ConnectFailed;
  }
  bool there = sameName(space, kRoot) || store->hasNamespace(space);
  if (!there && sameName(space, kRecordSpace)) {
    bool existed = false;
    there = store->ensureNamespace(kProductSpace, existed);
  }
  return there && store->add(space, className, texts) ? CimResult::Success
                                                      : CimResult::ConnectFailed;
}

CimResult LinuxCim::ensureNamespace(const std::wstring& parent, const std::wstring& name,
                                    bool* existed) {
  bool before = false;
  const auto store = LinuxResultStore::open(resultStorePath());
  const std::string above = toNarrow(parent);
  if (store == nullptr || !(sameName(above, kRoot) || store->hasNamespace(above)) ||
      !store->ensureNamespace(toNarrow(parent + L"\\" + name), before)) {
    return CimResult::ConnectFailed;
  }
  if (existed != nullptr) {
    *existed = before;
  }
  return CimResult::Success;
}

std::unique_ptr<Cim> makeCim() { return std::make_unique<LinuxCim>(); }

}  // namespace ostria::storage
