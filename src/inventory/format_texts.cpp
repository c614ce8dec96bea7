// Texts of NVMe counters and temperatures, of GUIDs, and of PCI locations.
#include "inventory/format_texts.h"

#include <cstdio>
#include <limits>

#include "base/byte_order.h"
#include "services/sal.h"

namespace ostria::storage {
namespace {

template <typename... Values>
std::string print(const char* format, Values... values) {
  std::array<char, 64> buffer{};
  std::snprintf(buffer.data(), buffer.size(), format, values...);
  return buffer.data();
}

std::string grouped(std::uint64_t value) {
  const std::string digits = std::to_string(value);
  std::string text;
  for (std::size_t i = 0; i < digits.size(); ++i) {
    if (i != 0 && (digits.size() - i) % 3 == 0) {
      text += ',';
    }
    text += digits[i];
  }
  return text;
}

/// A size in the power of 1024 that suits it, to three digits.
std::string roundedSize(std::uint64_t bytes) {
  unsigned step = 0;
  std::uint64_t divisor = 1;
  while (bytes / divisor >= 1024 && step < 5) {
    divisor *= 1024;
    ++step;
  }
  const auto whole = static_cast<unsigned>(bytes / divisor);
  const std::uint64_t rest = bytes % divisor;
  const char letter = " KMGTP"[step];
  if (step == 0) {
    return print("%u B", whole);
  }
  // A fraction that rounds up to the next whole number is carried into it.
  if (whole < 10) {
    const auto parts = whole * 100 + static_cast<unsigned>((1000 * rest / divisor + 5) / 10);
    if (parts < 1000) {
      return print("%u.%02u %cB", parts / 100, parts % 100, letter);
    }
    return print("%u.0 %cB", parts / 100, letter);
  }
  if (whole < 100) {
    const auto parts = whole * 10 + static_cast<unsigned>((100 * rest / divisor + 5) / 10);
    if (parts < 1000) {
      return print("%u.%u %cB", parts / 10, parts % 10, letter);
    }
    return print("%u %cB", parts / 10, letter);
  }
  return print("%u %cB", whole, letter);
}

}  // namespace

std::string FormatCounter(const std::uint8_t* bytes16, std::uint32_t unit) {
  const std::uint64_t low = loadLe64(bytes16);
  const std::uint64_t high = loadLe64(bytes16 + 8);
  if (high != 0) {
    constexpr long double kTwoTo64 = 18446744073709551616.0L;
    return print("~%.0Lf",
                 static_cast<long double>(high) * kTwoTo64 + static_cast<long double>(low));
  }
  std::string text = grouped(low);
  if (low != 0 && unit != 0 && low <= std::numeric_limits<std::uint64_t>::max() / unit) {
    text += " [" + roundedSize(low * unit) + "]";
  }
  return text;
}

std::string FormatKelvin(std::uint16_t kelvin) {
  return kelvin == 0 ? "-" : print("%d", kelvin - 273);
}

std::string FormatGuid(const std::array<std::uint8_t, 16>& guid) {
  std::string text = print("%08x-%04hx-%04hx-", loadLe32(guid.data()), loadLe16(guid.data() + 4),
                           loadLe16(guid.data() + 6));
  for (std::size_t i = 8; i < guid.size(); ++i) {
    if (i == 10) {
      text += '-';
    }
    text += print("%02hhx", guid[i]);
  }
  return text;
}

bool ParsePciLocation(const std::string& text, std::array<std::uint8_t, 3>* location) {
  constexpr const char* kDigits = "0123456789";
  std::array<std::uint8_t, 3> parsed{};
  std::size_t from = 0;
  for (std::uint8_t& part : parsed) {
    const std::size_t start = text.find_first_of(kDigits, from);
    if (start == std::string::npos) {
      return false;
    }
    from = text.find_first_not_of(kDigits, start);
    std::int64_t number = 0;
    const std::size_t length = from == std::string::npos ? from : from - start;
    if (!get_number_handler()->parseInteger64(&number, text.substr(start, length), std::dec) ||
        number > 255) {
      return false;
    }
    part = static_cast<std::uint8_t>(number);
  }
  *location = parsed;
  return true;
}

}  // namespace ostria::storage
