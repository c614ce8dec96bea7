#pragma once

#include <cstdint>
#include <ios>
#include <string>

namespace ostria::storage {

/// Number services: parsing, the rendering of sizes, random numbers. A parse leaves its output
/// alone when it fails.
///
/// The order of the operations belongs to the interface that hosts call. This product itself calls
/// `parseInteger64`, `formatUnsigned`, `formatBytes`, `seedRandom` and `random`; all others are for
/// a host alone, or serve these.
class NumberHandler {
 public:
  /// A stream manipulator such as `std::dec` or `std::hex`.
  using Manipulator = std::ios_base& (*)(std::ios_base&);

  virtual ~NumberHandler() = default;

  virtual bool parseUnsigned(std::uint32_t* out, const std::string& text, Manipulator base) = 0;
  /// True only if the number took up the whole text.
  virtual bool parseSigned64(std::int64_t* out, const std::string& text, Manipulator base) = 0;
  virtual bool parseUnsignedLong(std::uint32_t* out, const std::string& text, Manipulator base) = 0;
  virtual bool parseDouble(double* out, const std::string& text, Manipulator base) = 0;
  /// True if a number stands at the start of the text.
  virtual bool parseInteger64(std::int64_t* out, const std::string& text, Manipulator base) = 0;
  virtual bool parseUnsignedLong2(std::uint32_t* out, const std::string& text,
                                  Manipulator base) = 0;
  virtual void formatFixed(std::string& out, float value, int precision, bool fixed) = 0;
  virtual void formatBool(std::string& out, bool value) = 0;
  virtual void formatSigned(std::string& out, std::int64_t value) = 0;
  virtual void formatWithBase(std::string& out, std::int64_t value, Manipulator base) = 0;
  virtual void formatDecimal(std::string& out, std::int64_t value) = 0;
  virtual void formatUnsigned(std::string& out, std::uint64_t value) = 0;
  /// "512.00 bytes", "1.50 KBs". @param binary  divide by 1024 instead of 1000
  virtual void formatSize(std::string& out, std::uint64_t value, std::string unit, bool binary) = 0;
  /// `formatSize` with unit "B", binary.
  virtual void formatBytes(std::string& out, std::uint64_t value) = 0;
  virtual void seedRandom(std::uint32_t seed) = 0;
  /// A number below `limit`, which must not be 0. Seeds from the time of day if never seeded.
  virtual std::uint64_t random(std::uint64_t limit) = 0;
  /// Widens the range to include the value.
  virtual void updateRange(double value, double& minimum, double& maximum) = 0;
};

/// The module's own handler, made on first use and never freed.
NumberHandler& getLocalNumberHandler();

/// Decimal text to int, 0 for text that is no number or out of range.
int parseIntOrZero(const std::string& text);

}  // namespace ostria::storage
