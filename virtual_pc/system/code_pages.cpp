// Tables of code pages 850 and 1252; both agree with ASCII below 80h.
#include "virtual_pc/system/code_pages.h"

namespace ostria::virtual_pc {

namespace {

constexpr std::size_t kAscii = 128;

// Characters of the bytes 80h to FFh.
constexpr std::wstring_view kPage850 =
    L"\u00C7\u00FC\u00E9\u00E2\u00E4\u00E0\u00E5\u00E7\u00EA\u00EB\u00E8\u00EF\u00EE\u00EC\u00C4"
    L"\u00C5\u00C9\u00E6\u00C6\u00F4\u00F6\u00F2\u00FB\u00F9\u00FF\u00D6\u00DC\u00F8\u00A3\u00D8"
    L"\u00D7\u0192\u00E1\u00ED\u00F3\u00FA\u00F1\u00D1\u00AA\u00BA\u00BF\u00AE\u00AC\u00BD\u00BC"
    L"\u00A1\u00AB\u00BB\u2591\u2592\u2593\u2502\u2524\u00C1\u00C2\u00C0\u00A9\u2563\u2551\u2557"
    L"\u255D\u00A2\u00A5\u2510\u2514\u2534\u252C\u251C\u2500\u253C\u00E3\u00C3\u255A\u2554\u2569"
    L"\u2566\u2560\u2550\u256C\u00A4\u00F0\u00D0\u00CA\u00CB\u00C8\u0131\u00CD\u00CE\u00CF\u2518"
    L"\u250C\u2588\u2584\u00A6\u00CC\u2580\u00D3\u00DF\u00D4\u00D2\u00F5\u00D5\u00B5\u00FE\u00DE"
    L"\u00DA\u00DB\u00D9\u00FD\u00DD\u00AF\u00B4\u00AD\u00B1\u2017\u00BE\u00B6\u00A7\u00F7\u00B8"
    L"\u00B0\u00A8\u00B7\u00B9\u00B3\u00B2\u25A0\u00A0";
constexpr std::wstring_view kPage1252 =
    L"\u20AC\x81"
    L"\u201A\u0192\u201E\u2026\u2020\u2021\u02C6\u2030\u0160\u2039\u0152\x8D"
    L""
    L"\u017D\x8F"
    L"\x90"
    L"\u2018\u2019\u201C\u201D\u2022\u2013\u2014\u02DC\u2122\u0161\u203A"
    L"\u0153\x9D"
    L"\u017E\u0178\u00A0\u00A1\u00A2\u00A3\u00A4\u00A5\u00A6\u00A7\u00A8\u00A9"
    L"\u00AA\u00AB\u00AC\u00AD\u00AE\u00AF\u00B0\u00B1\u00B2\u00B3\u00B4\u00B5\u00B6\u00B7\u00B8"
    L"\u00B9\u00BA\u00BB\u00BC\u00BD\u00BE\u00BF\u00C0\u00C1\u00C2\u00C3\u00C4\u00C5\u00C6\u00C7"
    L"\u00C8\u00C9\u00CA\u00CB\u00CC\u00CD\u00CE\u00CF\u00D0\u00D1\u00D2\u00D3\u00D4\u00D5\u00D6"
    L"\u00D7\u00D8\u00D9\u00DA\u00DB\u00DC\u00DD\u00DE\u00DF\u00E0\u00E1\u00E2\u00E3\u00E4\u00E5"
    L"\u00E6\u00E7\u00E8\u00E9\u00EA\u00EB\u00EC\u00ED\u00EE\u00EF\u00F0\u00F1\u00F2\u00F3\u00F4"
    L"\u00F5\u00F6\u00F7\u00F8\u00F9\u00FA\u00FB\u00FC\u00FD\u00FE\u00FF";
static_assert(kPage850.size() == 128 && kPage1252.size() == 128);

std::wstring_view tableOf(std::uint32_t codePage) {
  return codePage == kConsoleCodePage ? kPage850 : kPage1252;
}

}  // namespace

std::wstring fromCodePage(std::string_view text, std::uint32_t codePage) {
  std::wstring out;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    out += byte < kAscii ? static_cast<wchar_t>(byte) : tableOf(codePage)[byte - kAscii];
  }
  return out;
}

std::string toCodePage(std::wstring_view text, std::uint32_t codePage) {
  std::string out;
  for (const wchar_t c : text) {
    const std::size_t at = tableOf(codePage).find(c);
    if (static_cast<std::uint32_t>(c) < kAscii) {
      out += static_cast<char>(c);
    } else {
      out += at == std::wstring_view::npos ? '?' : static_cast<char>(kAscii + at);
    }
  }
  return out;
}

}  // namespace ostria::virtual_pc
