// The rows of the module's SMART and vendor log reports.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace ostria::host {

/// One row of a module's SMART or log page report; a field that the report does not have is empty.
struct SmartRow {
  std::string id;
  std::string name;
  std::string value;
  std::string worst;
  std::string threshold;
  std::string data;

  std::string shown;  ///< the data as people read it; empty: as it is

  /// The normalised value has reached its threshold.
  bool isBelowThreshold() const;
  /// It had reached it, and has not now.
  bool wasBelowThreshold() const;
  /// A field that is a whole number and nothing else.
  std::optional<std::uint64_t> number(std::string SmartRow::*field) const;
  const std::string& readable() const { return shown.empty() ? data : shown; }
};

// The rows of vendor logs have no key but their English name.
// Rows of the vendor log page that hold a serial number, or what is made of one.
inline constexpr std::string_view kManufacturingLabel = "Manufacturing 8S bar-code";
inline constexpr std::string_view kSupplierSerial = "Manufacturing Supplier Serial Number";
inline constexpr std::string_view kCurrentLabel = "Current 8S label";

}  // namespace ostria::host
