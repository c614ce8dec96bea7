// Number services over streams, and the random numbers of the seek tests.
#include "services/number_handler_imp.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <iomanip>
#include <locale>
#include <sstream>
#include <stdexcept>

#include "services/sal.h"

namespace ostria::storage {
namespace {

template <typename Number>
bool parse(Number* out, const std::string& text, NumberHandler::Manipulator base, bool whole) {
  std::istringstream stream(text);
  stream.imbue(std::locale::classic());
  Number value{};
  if (!(stream >> base >> value)) {
    return false;
  }
  if (whole && stream.peek() != std::istringstream::traits_type::eof()) {
    return false;
  }
  *out = value;
  return true;
}

std::ostringstream classicStream() {
  std::ostringstream stream;
  stream.imbue(std::locale::classic());
  return stream;
}

/// `rand` with the range that it has everywhere.
std::uint64_t randomBits(unsigned mask) { return static_cast<unsigned>(std::rand()) & mask; }

}  // namespace

bool NumberHandlerImp::parseUnsigned(std::uint32_t* out, const std::string& text,
                                     Manipulator base) {
  return parse(out, text, base, false);
}

bool NumberHandlerImp::parseSigned64(std::int64_t* out, const std::string& text, Manipulator base) {
  return parse(out, text, base, true);
}

bool NumberHandlerImp::parseUnsignedLong(std::uint32_t* out, const std::string& text,
                                         Manipulator base) {
  return parse(out, text, base, false);
}

bool NumberHandlerImp::parseDouble(double* out, const std::string& text, Manipulator base) {
  return parse(out, text, base, false);
}

bool NumberHandlerImp::parseInteger64(std::int64_t* out, const std::string& text,
                                      Manipulator base) {
  return parse(out, text, base, false);
}

bool NumberHandlerImp::parseUnsignedLong2(std::uint32_t* out, const std::string& text,
                                          Manipulator base) {
  return parseUnsignedLong(out, text, base);
}

void NumberHandlerImp::formatFixed(std::string& out, float value, int precision, bool fixed) {
  std::ostringstream stream = classicStream();
  if (fixed) {
    stream << std::fixed << std::setprecision(precision);
  }
  stream << value;
  out = stream.str();
}

void NumberHandlerImp::formatBool(std::string& out, bool value) { out = value ? "true" : "false"; }

void NumberHandlerImp::formatSigned(std::string& out, std::int64_t value) {
  out = std::to_string(value);
}

void NumberHandlerImp::formatWithBase(std::string& out, std::int64_t value, Manipulator base) {
  std::ostringstream stream = classicStream();
  stream << base << value;
  out = stream.str();
}

void NumberHandlerImp::formatDecimal(std::string& out, std::int64_t value) {
  formatWithBase(out, value, std::dec);
}

void NumberHandlerImp::formatUnsigned(std::string& out, std::uint64_t value) {
  out = std::to_string(value);
}

void NumberHandlerImp::formatSize(std::string& out, std::uint64_t value, std::string unit,
                                  bool binary) {
  static constexpr std::array<const char*, 9> kPrefixes = {"",   " K", " M", " G", " T",
                                                           " P", " E", " Z", " Y"};
  const double divisor = binary ? 1024.0 : 1000.0;
  double scaled = static_cast<double>(value);
  std::size_t divisions = 0;
  while (scaled > divisor - 1 && divisions < 8) {
    scaled /= divisor;
    ++divisions;
  }
  if (divisions == 0 && unit == "B") {
    unit = " byte";
  }
  if (divisions == 0 && unit == "b") {
    unit = " bit";
  }
  if (scaled > 1.0) {
    unit += "s";
  }
  formatFixed(out, static_cast<float>(scaled), 2, true);
  out += kPrefixes[divisions] + unit;
}

void NumberHandlerImp::formatBytes(std::string& out, std::uint64_t value) {
  formatSize(out, value, "B", true);
}

void NumberHandlerImp::seedRandom(std::uint32_t seed) {
  std::srand(seed);
  seeded_ = true;
}

std::uint64_t NumberHandlerImp::random(std::uint64_t limit) {
  if (!seeded_) {
    seedRandom(static_cast<std::uint32_t>(get_time_handler()->now()));
  }
  std::uint64_t number = 0;
  for (int draw = 0; draw < 4; ++draw) {
    number = (number << 15) | randomBits(0x7FFF);
  }
  number = (number << 4) | randomBits(0x7F);
  return number % limit;
}

void NumberHandlerImp::updateRange(double value, double& minimum, double& maximum) {
  minimum = std::min(minimum, value);
  maximum = std::max(maximum, value);
}

NumberHandler& getLocalNumberHandler() {
  static NumberHandler& handler = *new NumberHandlerImp;
  return handler;
}

int parseIntOrZero(const std::string& text) {
  try {
    return std::stoi(text);
  } catch (const std::logic_error&) {  // no number, or out of range
    return 0;
  }
}

}  // namespace ostria::storage
