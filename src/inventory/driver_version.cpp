// The disk driver's version from the rows of Win32_PnPSignedDriver. With several versions about,
// the first row stands for all; only a uniform list is searched by model.
#include "inventory/driver_version.h"

#include <algorithm>
#include <array>
#include <memory>

#include "services/sal.h"

namespace ostria::storage {
namespace {

enum Column : std::size_t { FriendlyName, DriverVersion, CompatId, ColumnCount };

using Row = CimTable::value_type;

std::string cell(const Row& row, Column column) {
  return column < row.size() && !row[column].empty() ? row[column].front() : std::string();
}

bool hasCell(const Row& row, Column column, const std::string& value) {
  return column < row.size() &&
         std::find(row[column].begin(), row[column].end(), value) != row[column].end();
}

}  // namespace

std::string findDriverVersion(const std::string& model) {
  constexpr std::array<const char*, ColumnCount> kFields = {"FriendlyName", "DriverVersion",
                                                            "CompatID"};
  Cim* const cim = get_cim();
  const auto release = [cim](CimTable* table) { cim->freeTable(table); };
  CimTable* answer = nullptr;
  const CimResult result =
      cim->query(kFields.data(), "DeviceClass = 'DiskDrive'", "Win32_PnPSignedDriver",
                 static_cast<int>(kFields.size()), &answer, L"ROOT\\CIMV2");
  const std::unique_ptr<CimTable, decltype(release)> table(answer, release);
  if (result != CimResult::Success || table == nullptr || table->empty()) {
    return "error";
  }

  const std::string first = cell(table->front(), DriverVersion);
  for (const Row& row : *table) {
    if (cell(row, DriverVersion) != first) {
      return first;
    }
  }
  for (const Row& row : *table) {
    if (hasCell(row, FriendlyName, model)) {
      return cell(row, DriverVersion);
    }
  }
  for (const Row& row : *table) {
    if (hasCell(row, CompatId, "USBSTOR\\Disk")) {
      return cell(row, DriverVersion);
    }
  }
  return "error";
}

}  // namespace ostria::storage
