// Raw values of ATA attributes are 48 bits that each maker packs as he likes; these are the
// packings that makers agree on, as far as the 32 low bits that the module hands out reach.
#include "host/core/model/raw_values.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdio>

namespace ostria::host {
namespace {

struct PackingRow {
  std::uint32_t id;
  Packing packing;
};

constexpr PackingRow kPackings[] = {
    {3, Packing::Average16},    {5, Packing::Count16},       {9, Packing::Hours24},
    {188, Packing::Timeouts16}, {190, Packing::Temperature}, {194, Packing::Temperature},
    {196, Packing::Count16},    {240, Packing::Hours24},
};

}  // namespace

Packing packingOf(std::uint64_t id) {
  const auto* row = std::find_if(std::begin(kPackings), std::end(kPackings),
                                 [id](const PackingRow& r) { return r.id == id; });
  return row == std::end(kPackings) ? Packing::Plain : row->packing;
}

PackedTemperature unpackTemperature(std::uint64_t raw) {
  PackedTemperature out;
  out.now = raw & 0xFFu;
  out.lowest = std::min(raw >> 16 & 0xFFu, raw >> 24 & 0xFFu);
  out.highest = std::max(raw >> 16 & 0xFFu, raw >> 24 & 0xFFu);
  // Anything else up there is something else.
  out.hasRange =
      raw >> 16 != 0 && (raw >> 8 & 0xFFu) == 0 && out.lowest <= out.now && out.now <= out.highest;
  return out;
}

std::optional<std::uint64_t> countOf(const SmartRow& row) {
  std::string digits;
  for (const char c : row.data) {
    if (c >= '0' && c <= '9') {
      digits += c;
    } else if (c != ',') {
      break;
    }
  }
  std::uint64_t raw = 0;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), raw);
  if (error == std::errc::result_out_of_range) {
    return UINT64_MAX;
  }
  if (error != std::errc() || end == digits.data()) {
    // A count of more than 64 bits is written with "~" and without groups.
    return row.data.starts_with('~') ? std::optional<std::uint64_t>(UINT64_MAX) : std::nullopt;
  }
  if (row.threshold.empty()) {
    return raw;
  }
  switch (packingOf(row.number(&SmartRow::id).value_or(0))) {
    case Packing::Count16:
    case Packing::Average16:
    case Packing::Timeouts16:
      return raw & 0xFFFFu;
    case Packing::Hours24:
      return raw & 0xFFFFFFu;
    case Packing::Temperature:
      return raw & 0xFFu;
    default:
      return raw;
  }
}

std::string sizeText(double bytes) {
  static constexpr std::array<const char*, 7> kUnits = {"bytes", "kB", "MB", "GB",
                                                        "TB",    "PB", "EB"};
  std::size_t unit = 0;
  while (bytes >= 999.5 && unit + 1 < kUnits.size()) {
    bytes /= 1000;
    ++unit;
  }
  char text[40];
  const int decimals = unit == 0 || bytes >= 99.95 ? 0 : bytes >= 9.995 ? 1 : 2;
  std::snprintf(text, sizeof text, "%.*f %s", decimals, bytes, kUnits[unit]);
  return text;
}

std::string groupedNumber(std::uint64_t number) {
  std::string text = std::to_string(number);
  for (std::size_t at = text.size(); at > 3;) {
    at -= 3;
    text.insert(at, 1, ',');
  }
  return text;
}

}  // namespace ostria::host
