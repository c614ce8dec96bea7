#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "ostria/storage/identifier.h"

namespace ostria::storage {

/// One displayed property.
struct PropertyEntry {
  std::string key;  ///< message key
  std::string value;
};

/// A titled list of properties.
struct PropertySection {
  std::vector<PropertyEntry> entries;
  std::string title;
};

/// Copy of the descriptive data of a component.
struct ComponentDescription {
  std::string displayName;
  std::string model;
  std::vector<PropertyEntry> properties;
  std::map<std::string, std::string> attributes;
};

/// A device as the host lists it. Owned by the component manager, valid until its next `scan`.
class SystemComponent {
 public:
  virtual ~SystemComponent() = default;

  virtual std::string id() { return id_; }
  virtual ComponentDescription description() {
    return {displayName_, model_, properties_, attributes_};
  }
  virtual std::vector<PropertySection> sections() { return sections_; }
  virtual std::uint32_t hostQuery4() = 0;
  /// Builds a report. Keys: "protocol_type", "SMART", "OSTRIA_LOG_PAGE", and, as rows
  /// {"description","data"}, "HEALTH": "Access" yes|no, "Power Mode" standby, "SMART"
  /// supported|disabled|not supported, "SMART Status" good|failing|unreadable, "Prediction"
  /// good|failing, "Self-Test" passed|failed CODE; what was not asked has no row; "IDENTITY":
  /// "Model", "Serial", asked anew; "RECORDING"[_MASKED]: for a machine file; "POWER": "Power Mode"
  /// standby|awake, wakes no drive; "WAKE": the same after a read; "RAID_SETS": number and level of
  /// each; "SELF_TEST_TIMES": seconds that the drive gives "Short", "Extended", "Conveyance";
  /// "READ_TIMES" of the latest test or tool, also while it runs: "Sectors", "Sector Bytes",
  /// "Reads", "Failed Reads", "Sectors Read", "Microseconds" of these, "Position" behind the latest
  /// read, "Classes" (below 3, 10, 50, 150, 500 ms and above), "Bad Blocks", "Bad" FIRST COUNT, up
  /// to 1000, "Slow" FIRST COUNT MICROSECONDS, the ten slowest first, "Map": 768 cells from first
  /// to last sector, "." unread, "0" to "5" the worst class, "x" bad; none when nothing was read
  /// yet.
  /// @return false when the data cannot be had; `value` is then not to be used
  virtual bool getReport(const std::string& key, std::string& value) = 0;
  virtual bool hostQuery6() = 0;
  virtual void hostNotice7() = 0;
  virtual bool hostQuery8() = 0;
  virtual void hostNotice9() = 0;
  virtual void hostNotice10() {}

 protected:
  std::string displayName_;  ///< model, " - " and size
  std::string model_;
  std::vector<PropertyEntry> properties_;          ///< ordered; a key occurs once
  std::map<std::string, std::string> attributes_;  ///< "parent", "NonRotatingMedia"
  std::vector<PropertySection> sections_;          ///< one for each partition
  std::string id_;                                 ///< the scanner's name of the device
};

}  // namespace ostria::storage
