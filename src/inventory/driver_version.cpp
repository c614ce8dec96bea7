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

DriverVersions::DriverVersions() = default;

DriverVersions::~DriverVersions() { get_cim()->freeTable(table_); }

std::string DriverVersions::of(const std::string& model) {
  constexpr std::array<const char*, ColumnCount> kFields = {"FriendlyName", "DriverVersion",
                                                            "CompatID"};
  if (!asked_) {
    asked_ = true;
    CimTable* answer = nullptr;
    const CimResult result =
        get_cim()->query(kFields.data(), "DeviceClass = 'DiskDrive'", "Win32_PnPSignedDriver",
                         static_cast<int>(kFields.size()), &answer, L"ROOT\\CIMV2");
    if (result == CimResult::Success) {
      table_ = answer;
    }
  }
  if (table_ == nullptr || table_->empty()) {
    return "error";
  }

  std::string first = cell(table_->front(), DriverVersion);
  for (const Row& row : *table_) {
    if (cell(row, DriverVersion) != first) {
      return first;
    }
  }
  for (const Row& row : *table_) {
    if (hasCell(row, FriendlyName, model)) {
      return cell(row, DriverVersion);
    }
  }
  for (const Row& row : *table_) {
    if (hasCell(row, CompatId, "USBSTOR\\Disk")) {
      return cell(row, DriverVersion);
    }
  }
  return "error";
}

}  // namespace ostria::storage
