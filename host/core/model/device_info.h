// What the outputs show of a device: the properties as the module words them, and beside them the
// numbers that the module gives as text only.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "host/core/model/device_names.h"
#include "host/core/model/health.h"
#include "host/core/model/smart_rows.h"
#include "ostria/storage/identifier.h"

namespace ostria::host {

/// A property as it is shown: the key, its text, the value.
struct ShownProperty {
  std::string key;
  std::string label;
  std::string value;
};

struct ShownSection {
  std::string title;
  std::vector<ShownProperty> properties;
};

/// A name in the catalogue.
struct NamedTest {
  storage::Identifier id;
  std::string nameKey;
  std::string name;
};

/// A number that is not what it was.
struct Change {
  std::string name;  ///< "pending", "wear": the last part of a key of the texts of trends
  std::uint64_t before = 0;
  std::uint64_t now = 0;
};

/// What became of a drive since a kept run saw it.
struct SinceLastTime {
  std::int64_t run = 0;
  std::string time;  ///< ISO 8601, UTC
  std::vector<Change> changes;
};

/// The newest kept result of a test on a drive.
struct LastRun {
  std::string test;       ///< "quick/smart-status", "recover scan"
  std::int64_t time = 0;  ///< seconds since 1970
  int outcome = 0;        ///< exit code
};

/// A device as all outputs show it. Serial numbers are masked already when that is wanted.
struct DeviceInfo {
  std::uint32_t index = 0;
  std::string id;  ///< the module's name of the device
  DeviceNames names;
  RaidLocation raid;  ///< of a drive behind a RAID controller
  std::string name;   ///< model and size
  std::string model;
  std::string manufacturer;
  std::string serial;
  std::string udi;
  std::string firmware;
  std::string connection;  ///< "internal", "external", "raid" or "other"
  std::string bus;         ///< "ATA", "SCSI", "USB", "RAID", "NVMe", "eMMC"
  std::string protocol;
  bool solidState = false;
  std::optional<std::uint64_t> sizeBytes;
  std::optional<std::uint64_t> logicalSectors;
  std::optional<std::uint64_t> logicalSectorBytes;
  std::optional<std::uint64_t> physicalSectorBytes;
  std::optional<std::uint64_t> rotationRpm;
  std::optional<std::int64_t> temperatureCelsius;
  std::vector<ShownProperty> properties;
  std::vector<ShownSection> sections;
  HealthEvidence evidence;
  Health health;
  // What only the details ask for.
  std::vector<NamedTest> applicableTests;
  std::vector<SmartRow> logPage;
  std::optional<SinceLastTime> sinceLastTime;
  std::vector<LastRun> lastRuns;  ///< filled for collectors alone
};

}  // namespace ostria::host
