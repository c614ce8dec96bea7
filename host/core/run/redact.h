// Masking of serial numbers.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace ostria::host {

/// Masks serial numbers wherever they turn up. Does nothing until it is switched on.
class Redactor {
 public:
  explicit Redactor(bool enabled) : enabled_(enabled) {}

  /// Learns a serial number. Its form without blanks is masked too.
  void addSecret(std::string_view secret);
  /// The text with every learnt serial number masked, in capitals or small letters.
  std::string text(std::string text) const;
  /// The mask instead of the whole value; an empty value stays empty.
  std::string whole(const std::string& value) const;
  /// A path with its last part masked.
  std::string lastPart(const std::string& path) const;
  /// The text with every address masked such as SAS has for a drive: "0x5000c500a1b2c3d4".
  std::string addresses(const std::string& text) const;
  /// A property: the keys that name a serial number, or what is made of one, are masked whole.
  std::string property(std::string_view key, std::string value) const;

 private:
  bool enabled_;
  std::vector<std::string> secrets_;  ///< small letters, longest first
};

}  // namespace ostria::host
