// A device as the outputs show it, from the properties of the module. Numbers come as text with a
// unit behind them.
#include "host/core/run/describe_device.h"

#include <charconv>

#include "host/core/model/raw_values.h"
#include "host/core/run/collect_health.h"
#include "host/core/run/smart_report.h"

namespace ostria::host {
namespace {

using storage::PropertyEntry;

std::string valueOf(const std::vector<PropertyEntry>& properties, std::string_view key) {
  for (const PropertyEntry& entry : properties) {
    if (entry.key == key) {
      return entry.value;
    }
  }
  return {};
}

// The number that a value begins with: "7200 RPM", "35 °C".
template <typename Number>
std::optional<Number> numberOf(const std::vector<PropertyEntry>& properties, std::string_view key) {
  const std::string value = valueOf(properties, key);
  Number number = 0;
  const auto [end, error] = std::from_chars(value.data(), value.data() + value.size(), number);
  if (error != std::errc() || end == value.data()) {
    return std::nullopt;
  }
  return number;
}

std::string connectionOf(const std::map<std::string, std::string>& attributes) {
  const auto parent = attributes.find("parent");
  if (parent == attributes.end()) {
    return "other";
  }
  if (parent->second == "LOCAL_DRIVES") {
    return "internal";
  }
  if (parent->second == "USB_DRIVES") {
    return "external";
  }
  if (parent->second.starts_with("RAID_ATTACHED_DRIVES")) {
    return "raid";
  }
  return "other";
}

// The module names a drive behind a controller by its port there: "...#phy2", "...#nvme3", "0:5".
RaidLocation raidLocationOf(storage::SystemComponent& component,
                            const std::map<std::string, std::string>& attributes,
                            const Texts& texts) {
  constexpr std::string_view kParent = "RAID_ATTACHED_DRIVES\\";
  const auto parent = attributes.find("parent");
  if (parent == attributes.end() || !parent->second.starts_with(kParent)) {
    return {};
  }
  const std::string id = component.id();
  RaidLocation location{parent->second.substr(kParent.size()), {}, {}};
  if (std::string report; component.getReport("RAID_SETS", report)) {
    for (const SmartRow& row : readSmartReport(report)) {
      // A level is a key only where it has no name.
      const bool named = row.data.find(' ') != std::string::npos;
      RaidSet set{0, named ? row.data : texts.text(row.data)};
      // A number that is none stays 0.
      (void)std::from_chars(row.name.data(), row.name.data() + row.name.size(), set.number);
      location.sets.push_back(std::move(set));
    }
  }
  const std::size_t mark = id.rfind('#');
  const std::string port = mark == std::string::npos ? std::string() : id.substr(mark + 1);
  if (port.starts_with("phy")) {
    location.port = texts.say("raid.phy", {{"number", port.substr(3)}});
  } else if (port.starts_with("nvme")) {
    location.port = texts.say("raid.path", {{"number", port.substr(4)}});
  } else if (const std::size_t colon = id.find(':'); colon != std::string::npos) {
    location.port = texts.say(
        "raid.drive", {{"controller", id.substr(0, colon)}, {"number", id.substr(colon + 1)}});
  }
  return location;
}

// The module does not name the bus, so it follows from how the device is connected and what it
// speaks.
std::string busOf(const DeviceInfo& info, const std::string& protocolType) {
  if (info.connection == "external") {
    return "USB";
  }
  if (info.connection == "raid") {
    return "RAID";
  }
  if (protocolType == "ata") {
    return "ATA";
  }
  if (protocolType == "scsi") {
    return "SCSI";
  }
  if (protocolType == "nvme") {
    return "NVMe";
  }
  return info.protocol == "EMMC" ? "eMMC" : "unknown";
}

std::vector<ShownProperty> shown(const std::vector<PropertyEntry>& entries, const Texts& texts,
                                 const Redactor& redactor) {
  std::vector<ShownProperty> out;
  for (const PropertyEntry& entry : entries) {
    // Fields that were never filled come as zeros.
    if (!entry.value.empty() &&
        entry.value.find_first_not_of(std::string_view("\0 ", 2)) == std::string::npos) {
      continue;
    }
    std::string value = redactor.property(entry.key, entry.value);
    out.push_back({entry.key, texts.text(entry.key), texts.propertyValue(entry.key, value)});
  }
  return out;
}

}  // namespace

std::string serialOf(storage::SystemComponent& component) {
  return valueOf(component.description().properties, "SERIAL");
}

DeviceNames redactedNames(const DeviceNames& names, const Redactor& redactor) {
  DeviceNames shown{
      redactor.text(names.node), {}, {}, redactor.whole(names.wwn), names.controllerState};
  for (const std::string& link : names.byId) {
    shown.byId.push_back(redactor.lastPart(link));
  }
  for (const std::string& link : names.byPath) {
    shown.byPath.push_back(redactor.text(redactor.addresses(link)));
  }
  return shown;
}

void redactRows(std::vector<SmartRow>& rows, const Redactor& redactor) {
  for (SmartRow& row : rows) {
    row.data = redactor.property(row.name, row.data);
  }
}

DeviceInfo describeDevice(storage::SystemComponent& component, std::uint32_t index,
                          const DeviceNames& names, const Texts& texts, Redactor& redactor) {
  const storage::ComponentDescription description = component.description();
  const auto& properties = description.properties;
  // The links of the system hold the WWN where they do not hold the serial number.
  redactor.addSecret(names.wwn);
  redactor.addSecret(names.wwn.substr(names.wwn.find('.') + 1));
  for (const char* key : {"SERIAL", "UDI", "CURRENT_8S_LABEL"}) {
    redactor.addSecret(valueOf(properties, key));
  }

  DeviceInfo info;
  info.index = index;
  info.id = redactor.text(component.id());
  info.names = redactedNames(names, redactor);
  info.raid = raidLocationOf(component, description.attributes, texts);
  info.name = redactor.text(description.displayName);
  info.model = redactor.text(description.model);
  info.manufacturer = redactor.text(valueOf(properties, "MANUFACTURER"));
  info.serial = redactor.whole(valueOf(properties, "SERIAL"));
  info.udi = redactor.whole(valueOf(properties, "UDI"));
  info.firmware = redactor.text(valueOf(properties, "FIRMWARE"));
  info.connection = connectionOf(description.attributes);
  info.protocol = valueOf(properties, "PROTOCOL");
  std::string protocolType;
  if (!component.getReport("protocol_type", protocolType)) {
    protocolType.clear();
  }
  info.bus = busOf(info, protocolType);
  const auto nonRotating = description.attributes.find("NonRotatingMedia");
  info.solidState = nonRotating != description.attributes.end() && nonRotating->second == "T";

  info.logicalSectors = numberOf<std::uint64_t>(properties, "LOGICAL_SECTORS");
  info.logicalSectorBytes = numberOf<std::uint64_t>(properties, "LOGICAL_SECTOR_SIZE");
  info.physicalSectorBytes = numberOf<std::uint64_t>(properties, "PHYSICAL_SECTOR_SIZE");
  info.rotationRpm = numberOf<std::uint64_t>(properties, "ROTATION_RATE");
  info.temperatureCelsius = numberOf<std::int64_t>(properties, "TEMPERATURE");
  if (info.logicalSectors && info.logicalSectorBytes) {
    std::uint64_t bytes = 0;
    if (!__builtin_mul_overflow(*info.logicalSectors, *info.logicalSectorBytes, &bytes)) {
      info.sizeBytes = bytes;
    }
  }
  info.properties = shown(properties, texts, redactor);
  if (info.sizeBytes) {
    const std::string size = sizeText(static_cast<double>(*info.sizeBytes));
    info.name = (info.model.empty() ? texts.say("device.no_model") : info.model) + " - " + size;
    for (ShownProperty& property : info.properties) {
      if (property.key == "SIZE") {
        property.value =
            texts.say("device.size", {{"bytes", groupedNumber(*info.sizeBytes)}, {"size", size}});
      }
    }
  }
  for (const storage::PropertySection& section : component.sections()) {
    info.sections.push_back({texts.text(section.title), shown(section.entries, texts, redactor)});
  }
  return info;
}

void describeDetails(storage::SystemComponent& component, const Catalogue& catalogue,
                     const Texts& texts, const Redactor& redactor, DeviceInfo& info) {
  for (const CatalogueDiagnostic& diagnostic : catalogue.diagnostics) {
    for (const CatalogueTest& test : diagnostic.tests) {
      if (test.test == nullptr || !test.test->isApplicable(&component)) {
        continue;
      }
      info.applicableTests.push_back({test.id, test.nameKey, texts.text(test.nameKey)});
    }
  }
  collectHealth(component, texts, redactor, info);
  std::string report;
  // A drive that sleeps, or is silent, is left alone.
  const bool awake = info.evidence.answers && info.evidence.smart != DataState::Asleep;
  if (awake && component.getReport("OSTRIA_LOG_PAGE", report)) {
    info.logPage = readSmartReport(report);
  }
  redactRows(info.logPage, redactor);
}

}  // namespace ostria::host
