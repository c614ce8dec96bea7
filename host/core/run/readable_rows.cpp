// The module names attributes by one table for all drives. On solid-state drives some numbers count
// something else, and a share of life under the name of a temperature misleads.
#include "host/core/run/readable_rows.h"

#include <algorithm>

#include "host/core/model/raw_values.h"

namespace ostria::host {
namespace {

// NVMe counts data in thousands of 512 bytes.
constexpr std::uint64_t kDataUnits[] = {32, 48};
constexpr double kDataUnitBytes = 512000;

std::string temperatureText(std::uint64_t raw, const Texts& texts) {
  const PackedTemperature t = unpackTemperature(raw);
  return t.hasRange ? texts.say("smart.raw_temperatures", {{"now", std::to_string(t.now)},
                                                           {"low", std::to_string(t.lowest)},
                                                           {"high", std::to_string(t.highest)}})
                    : texts.say("smart.raw_temperature", {{"now", std::to_string(t.now)}});
}

std::string attributeData(const SmartRow& row, std::uint64_t raw, const Texts& texts) {
  std::string count = std::to_string(*countOf(row));
  const std::string high = std::to_string(raw >> 16 & 0xFFFFu);
  switch (packingOf(row.number(&SmartRow::id).value_or(0))) {
    case Packing::Count16:
      return count;
    case Packing::Average16:
      return high == "0" ? count
                         : texts.say("smart.raw_average", {{"value", count}, {"average", high}});
    case Packing::Hours24:
      return texts.say("smart.raw_hours", {{"hours", count}});
    case Packing::Temperature:
      return temperatureText(raw, texts);
    case Packing::Timeouts16:
      return high == "0" ? count
                         : texts.say("smart.raw_timeouts", {{"all", count}, {"long", high}});
    case Packing::Plain:
      break;
  }
  return {};
}

std::string fieldData(const SmartRow& row) {
  const auto count = countOf(row);
  if (count && row.data.find('[') != std::string::npos &&
      std::find(std::begin(kDataUnits), std::end(kDataUnits), row.number(&SmartRow::id)) !=
          std::end(kDataUnits)) {
    return groupedNumber(*count) + " [" + sizeText(static_cast<double>(*count) * kDataUnitBytes) +
           "]";
  }
  // The module's texts have the ordinal sign where the one of degrees belongs.
  constexpr std::string_view kOrdinal = "ºC";
  std::string text = row.data;
  if (const std::size_t at = text.find(kOrdinal); at != std::string::npos) {
    text.replace(at, kOrdinal.size(), "°C");
  }
  return text;
}

}  // namespace

void makeReadable(std::vector<SmartRow>& rows, bool solidState, const Texts& texts) {
  for (SmartRow& row : rows) {
    if (row.threshold.empty()) {
      row.shown = fieldData(row);
      continue;
    }
    if (solidState) {
      const std::string key = "ssd." + row.id;
      if (std::string name = texts.say(key); name != key) {
        row.name = std::move(name);
      }
    }
    if (const auto raw = row.number(&SmartRow::data)) {
      row.shown = attributeData(row, *raw, texts);
    }
  }
}

}  // namespace ostria::host
