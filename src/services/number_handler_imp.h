#pragma once

#include "services/number_handler.h"

namespace ostria::storage {

/// Streams of the classic locale, so that a host's locale puts no grouping into numbers.
class NumberHandlerImp : public NumberHandler {
 public:
  bool parseUnsigned(std::uint32_t* out, const std::string& text, Manipulator base) override;
  bool parseSigned64(std::int64_t* out, const std::string& text, Manipulator base) override;
  bool parseUnsignedLong(std::uint32_t* out, const std::string& text, Manipulator base) override;
  bool parseDouble(double* out, const std::string& text, Manipulator base) override;
  bool parseInteger64(std::int64_t* out, const std::string& text, Manipulator base) override;
  bool parseUnsignedLong2(std::uint32_t* out, const std::string& text, Manipulator base) override;
  void formatFixed(std::string& out, float value, int precision, bool fixed) override;
  void formatBool(std::string& out, bool value) override;
  void formatSigned(std::string& out, std::int64_t value) override;
  void formatWithBase(std::string& out, std::int64_t value, Manipulator base) override;
  void formatDecimal(std::string& out, std::int64_t value) override;
  void formatUnsigned(std::string& out, std::uint64_t value) override;
  void formatSize(std::string& out, std::uint64_t value, std::string unit, bool binary) override;
  void formatBytes(std::string& out, std::uint64_t value) override;
  void seedRandom(std::uint32_t seed) override;
  std::uint64_t random(std::uint64_t limit) override;
  void updateRange(double value, double& minimum, double& maximum) override;

 private:
  bool seeded_ = false;
};

}  // namespace ostria::storage
