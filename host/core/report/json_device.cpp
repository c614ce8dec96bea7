// What the module shows as text alone stands there as a number as well, where it can be read as
// one.
#include "host/core/report/json_device.h"

#include <charconv>

#include "host/core/model/module_catalogue.h"
#include "host/core/model/raw_values.h"
#include "host/core/report/health_text.h"

namespace ostria::host {
namespace {

Json propertiesJson(const std::vector<ShownProperty>& properties) {
  Json list = Json::array();
  for (const ShownProperty& row : properties) {
    list.push_back({{"key", row.key}, {"label", row.label}, {"value", row.value}});
  }
  return list;
}

// The module has sizes of partitions as text alone, "54.72 MBs" of powers of 1024.
std::optional<std::uint64_t> bytesOf(const ShownProperty& row) {
  constexpr std::string_view kUnits[] = {"byte", "KB", "MB", "GB", "TB", "PB"};
  const std::size_t blank = row.value.find(' ');
  if ((row.key != "SIZE" && row.key != "USED" && row.key != "FREE") || blank == std::string::npos) {
    return std::nullopt;
  }
  double number = 0;
  const char* end = row.value.data() + blank;
  const auto [last, error] = std::from_chars(row.value.data(), end, number);
  if (error != std::errc() || last != end || number < 0) {
    return std::nullopt;
  }
  constexpr double kMost = 9e18;
  double scale = 1;
  for (const std::string_view unit : kUnits) {
    if (std::string_view(row.value).substr(blank + 1).starts_with(unit) && number * scale < kMost) {
      return static_cast<std::uint64_t>(number * scale);
    }
    scale *= 1024;
  }
  return std::nullopt;
}

Json partitionJson(const ShownSection& section) {
  Json json = {{"title", section.title}, {"properties", propertiesJson(section.properties)}};
  for (const auto& [key, name] :
       {std::pair{"SIZE", "size_bytes_about"}, std::pair{"USED", "used_bytes_about"},
        std::pair{"FREE", "free_bytes_about"}}) {
    json[name] = nullptr;
    for (const ShownProperty& row : section.properties) {
      if (row.key == key) {
        putNumber(json, name, bytesOf(row));
      }
    }
  }
  return json;
}

Json healthJson(const DeviceInfo& device, const Texts& texts) {
  const Health& health = device.health;
  Json json;
  json["verdict"] = verdictWord(health.verdict);
  json["text"] = verdictText(health, texts);
  json["advice"] = textOrNull(adviceText(health, texts));
  json["smart_state"] = stateWord(device.evidence.smart);
  json["answers"] = device.evidence.asked ? Json(device.evidence.answers) : Json(nullptr);
  json["predicts_failure"] =
      device.evidence.predictsFailure ? Json(*device.evidence.predictsFailure) : Json(nullptr);
  putNumber(json, "power_on_hours", health.powerOnHours);
  putNumber(json, "wear_percent", health.wearPercent);
  putNumber(json, "spare_percent", health.sparePercent);
  json["reasons"] = Json::array();
  for (const HealthReason& reason : health.reasons) {
    Json entry = {{"verdict", verdictWord(reason.verdict)},
                  {"source", sourceWord(reason.source)},
                  {"key", reason.key},
                  {"text", bareReasonText(reason, texts)},
                  {"past", reason.past}};
    entry["values"] = Json::object();
    for (const auto& [name, value] : reason.arguments) {
      entry["values"][name] = value;
    }
    entry["advice"] = reason.advice.empty() ? Json(nullptr) : Json(texts.say(reason.advice));
    json["reasons"].push_back(std::move(entry));
  }
  return json;
}

Json deviceJson(const DeviceInfo& device, const Texts& texts) {
  Json json;
  json["index"] = device.index;
  json["id"] = device.id;
  json["device_node"] = textOrNull(device.names.node);
  json["by_id"] = device.names.byId;
  json["by_path"] = device.names.byPath;
  json["wwn"] = textOrNull(device.names.wwn);
  json["raid_controller"] = textOrNull(device.raid.controller);
  json["raid_port"] = textOrNull(device.raid.port);
  json["raid_sets"] = Json::array();
  for (const RaidSet& set : device.raid.sets) {
    json["raid_sets"].push_back({{"number", set.number}, {"level", set.level}});
  }
  json["name"] = device.name;
  json["model"] = device.model;
  json["manufacturer"] = textOrNull(device.manufacturer);
  json["serial"] = textOrNull(device.serial);
  json["udi"] = textOrNull(device.udi);
  json["firmware"] = textOrNull(device.firmware);
  json["connection"] = device.connection;
  json["bus"] = device.bus;
  json["protocol"] = textOrNull(device.protocol);
  json["solid_state"] = device.solidState;
  putNumber(json, "size_bytes", device.sizeBytes);
  putNumber(json, "logical_sectors", device.logicalSectors);
  putNumber(json, "logical_sector_bytes", device.logicalSectorBytes);
  putNumber(json, "physical_sector_bytes", device.physicalSectorBytes);
  putNumber(json, "rotation_rpm", device.rotationRpm);
  json["temperature_celsius"] =
      device.temperatureCelsius ? Json(*device.temperatureCelsius) : Json(nullptr);
  json["health"] = healthJson(device, texts);
  json["since_last_time"] = nullptr;
  if (device.sinceLastTime) {
    json["since_last_time"] = {{"run", device.sinceLastTime->run},
                               {"time", device.sinceLastTime->time},
                               {"text", sinceLastTimeText(device, texts)},
                               {"changes", changesJson(device.sinceLastTime->changes)}};
  }
  return json;
}

}  // namespace

Json smartJson(const std::vector<SmartRow>& rows) {
  Json list = Json::array();
  for (const SmartRow& row : rows) {
    Json entry;
    if (!row.id.empty()) {
      putNumber(entry, "id", row.number(&SmartRow::id));
    }
    entry["name"] = row.name;
    const bool attribute = !row.threshold.empty();
    if (attribute) {
      putNumber(entry, "value", row.number(&SmartRow::value));
      putNumber(entry, "worst", row.number(&SmartRow::worst));
      putNumber(entry, "threshold", row.number(&SmartRow::threshold));
      putNumber(entry, "raw", row.number(&SmartRow::data));
      entry["below_threshold"] = row.isBelowThreshold();
      entry["was_below_threshold"] = row.wasBelowThreshold();
    }
    // The fields of a log count; texts of a vendor log do not.
    if (attribute || !row.id.empty()) {
      putNumber(entry, "count", countOf(row));
    }
    entry["verdict"] = verdictWord(verdictOf(row, rows));
    entry["data"] = row.readable();
    list.push_back(std::move(entry));
  }
  return list;
}

Json testJson(const NamedTest& test) {
  return {{"id", identifierText(test.id)}, {"key", test.nameKey}, {"name", test.name}};
}

Json devicesJson(const Session& session, const Texts& texts, bool details) {
  Json list = Json::array();
  for (const DeviceInfo& device : session.devices) {
    Json json = deviceJson(device, texts);
    if (details) {
      json["properties"] = propertiesJson(device.properties);
      json["partitions"] = Json::array();
      for (const ShownSection& section : device.sections) {
        json["partitions"].push_back(partitionJson(section));
      }
      json["smart_supported"] = device.evidence.smart == DataState::Value;
      json["smart"] = smartJson(device.evidence.rows);
      json["vendor_log"] = smartJson(device.logPage);
      json["applicable_tests"] = Json::array();
      for (const NamedTest& test : device.applicableTests) {
        json["applicable_tests"].push_back(testJson(test));
      }
    }
    list.push_back(std::move(json));
  }
  return list;
}

}  // namespace ostria::host
