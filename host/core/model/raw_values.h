// The numbers inside of raw values and log texts, where their packing is known.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "host/core/model/smart_rows.h"

namespace ostria::host {

/// The count that a row holds: of an ATA attribute the part of its raw value that counts, of a log
/// field the number before its unit. Nothing for a text without a number.
std::optional<std::uint64_t> countOf(const SmartRow& row);

enum class Packing {
  Plain,
  Count16,      ///< a count, history above it
  Average16,    ///< a value and its average
  Hours24,      ///< hours, and above them minutes or less
  Temperature,  ///< now, and above 16 bits the lowest and the highest, in either order
  Timeouts16    ///< three counters: all time-outs, those above 5 and above 7.5 seconds
};

/// How an attribute packs its raw value.
Packing packingOf(std::uint64_t id);

/// What a raw temperature holds.
struct PackedTemperature {
  std::uint64_t now = 0;
  bool hasRange = false;
  std::uint64_t lowest = 0;
  std::uint64_t highest = 0;
};
PackedTemperature unpackTemperature(std::uint64_t raw);

/// "20.0 GB": powers of 1000, three digits.
std::string sizeText(double bytes);

/// The number with a comma between groups of three digits.
std::string groupedNumber(std::uint64_t number);

}  // namespace ostria::host
