// The rows of the module's SMART and vendor log reports.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace ostria::host {

/// One row of a module's SMART or log page report; a field that the report does not have is empty.
struct SmartRow {
  std::string id;
  std::string name;
  std::string value;
  std::string worst;
  std::string threshold;
  std::string data;

  /// The normalised value has reached its threshold.
  bool isBelowThreshold() const;
};

// The module's rows have no key but their English name, letter for letter, the missing "i" in the
// first one included. These are the names that the host itself looks for; a test compares them with
// the rows of the real module.
inline constexpr std::string_view kAvailableSpare = "Avalable Spare";
inline constexpr std::string_view kAvailableSpareThreshold = "Available Spare Threshold";
inline constexpr std::string_view kPercentageUsed = "Percentage Used";
inline constexpr std::string_view kCriticalWarning = "Critical Warning";
// Rows of the vendor log page that hold a serial number, or what is made of one.
inline constexpr std::string_view kManufacturingLabel = "Manufacturing 8S bar-code";
inline constexpr std::string_view kSupplierSerial = "Manufacturing Supplier Serial Number";
inline constexpr std::string_view kCurrentLabel = "Current 8S label";

/// Whether the row says that the device is failing or worn: a value at its threshold, or of an NVMe
/// drive a critical warning, spare space below its limit, a life that is used up.
/// @param rows  the whole report, of which `row` is one
bool needsAttention(const SmartRow& row, const std::vector<SmartRow>& rows);

/// Reads the report's text: an array of objects with text values. The values are not escaped, so a
/// quotation mark inside one does not end it.
std::vector<SmartRow> readSmartReport(std::string_view text);

}  // namespace ostria::host
