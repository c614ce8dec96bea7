#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "transport/ata/smart_attribute.h"

namespace ostria::storage {

/// A log page of a drive, as it came.
using LogPage = std::array<std::uint8_t, 512>;

// Rows of the reports: JSON objects with texts as values, joined by ",", without the brackets of
// the array around them. Quotation marks and backslashes in texts are escaped.

/// One row for each attribute, in the order given.
std::string ataSmartRows(const std::vector<SmartAttribute>& attributes);

/// @param page  NVMe SMART / Health Information log (NVMe base standard, log 02h)
std::string nvmeSmartRows(const LogPage& page);

/// Whether a vendor log page (log DFh) of an ATA drive carries the fields of the report.
bool isAtaVendorPage(const LogPage& page);
/// Fields of that page; a row without a value is left out.
std::string ataVendorRows(const LogPage& page);

/// Fields of the vendor log page (log DFh) of an NVMe drive; empty for a revision of the page that
/// is not known.
std::string nvmeVendorRows(const LogPage& page);

}  // namespace ostria::storage
