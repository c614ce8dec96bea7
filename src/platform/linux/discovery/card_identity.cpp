// Identifiers of eMMC devices and SD cards. The two registries give the same numbers to different
// makers; only those that are common in PCs are named.

#include "platform/linux/discovery/card_identity.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <cstdio>
#include <optional>
#include <string_view>

namespace ostria::storage {
namespace {

struct Manufacturer {
  std::uint32_t id;
  std::string_view name;
};

constexpr std::array<Manufacturer, 7> kMmcManufacturers{{{0x11, "Kioxia"},
                                                         {0x13, "Micron"},
                                                         {0x15, "Samsung"},
                                                         {0x45, "SanDisk"},
                                                         {0x70, "Kingston"},
                                                         {0x90, "SK hynix"},
                                                         {0xFE, "Micron"}}};
constexpr std::array<Manufacturer, 7> kSdManufacturers{{{0x01, "Panasonic"},
                                                        {0x02, "Kioxia"},
                                                        {0x03, "SanDisk"},
                                                        {0x1B, "Samsung"},
                                                        {0x28, "Lexar"},
                                                        {0x41, "Kingston"},
                                                        {0x74, "Transcend"}}};

std::optional<std::uint64_t> numberOf(const std::string& text) {
  if (!text.starts_with("0x")) {
    return std::nullopt;
  }
  std::uint64_t value = 0;
  const char* const end = text.data() + text.size();
  const auto parsed = std::from_chars(text.data() + 2, end, value, 16);
  return parsed.ec == std::errc() && parsed.ptr == end ? std::optional(value) : std::nullopt;
}

std::string hexadecimal(std::uint64_t value) {
  std::array<char, 24> text{};
  std::snprintf(text.data(), text.size(), "0x%02llx", static_cast<unsigned long long>(value));
  return text.data();
}

}  // namespace

std::string cardManufacturer(bool sd, const std::string& manfid) {
  const auto id = numberOf(manfid);
  if (!id) {
    return manfid;
  }
  const auto& known = sd ? kSdManufacturers : kMmcManufacturers;
  const auto row = std::ranges::find(known, *id, &Manufacturer::id);
  return row != known.end() ? std::string(row->name) : hexadecimal(*id);
}

std::string sdRevision(const std::string& hwrev, const std::string& fwrev) {
  const auto hardware = numberOf(hwrev);
  const auto firmware = numberOf(fwrev);
  return hardware && firmware ? std::to_string(*hardware) + "." + std::to_string(*firmware) : fwrev;
}

std::string mmcRevision(const std::string& fwrev) {
  const auto value = numberOf(fwrev);
  if (!value) {
    return fwrev;
  }
  std::string text;
  for (int shift = 56; shift >= 0; shift -= 8) {
    text += static_cast<char>(*value >> shift & 0xFF);
  }
  text.erase(text.find_last_not_of(std::string("\0 ", 2)) + 1);
  const bool printable = std::ranges::all_of(text, [](char c) { return c >= 0x20 && c <= 0x7E; });
  if (printable && !text.empty()) {
    return text;
  }
  std::uint64_t number = *value;
  while (number != 0 && (number & 0xFF) == 0) {
    number >>= 8;
  }
  return hexadecimal(number);
}

}  // namespace ostria::storage
