// UTF-8 as RFC 3629 defines it, and the general categories Cc, Cf, Zl and Zp of Unicode: a terminal
// obeys some of them, and others let a name show as what it is not.
#include "host/core/texts/clean_text.h"

#include <algorithm>
#include <iterator>

namespace ostria::host {
namespace {

struct Range {
  char32_t first;
  char32_t last;
};

constexpr Range kUnseen[] = {
    {0x00, 0x1F},       {0x7F, 0x9F},       {0xAD, 0xAD},       {0x600, 0x605},
    {0x61C, 0x61C},     {0x6DD, 0x6DD},     {0x70F, 0x70F},     {0x890, 0x891},
    {0x8E2, 0x8E2},     {0x180E, 0x180E},   {0x200B, 0x200F},   {0x2028, 0x202E},
    {0x2060, 0x206F},   {0xFEFF, 0xFEFF},   {0xFFF9, 0xFFFB},   {0x110BD, 0x110BD},
    {0x110CD, 0x110CD}, {0x13430, 0x1343F}, {0x1BCA0, 0x1BCA3}, {0x1D173, 0x1D17A},
    {0xE0000, 0xE007F},
};

bool isUnseen(char32_t code) {
  const auto* range = std::find_if(std::begin(kUnseen), std::end(kUnseen),
                                   [code](const Range& row) { return code <= row.last; });
  return range != std::end(kUnseen) && code >= range->first;
}

unsigned byteAt(std::string_view text, std::size_t at) {
  return at < text.size() ? static_cast<unsigned char>(text[at]) : 0u;
}

// Bytes of the character at `at`; 0 for what is no UTF-8: a lone byte, an overlong form, a
// surrogate, a number beyond the last.
std::size_t decode(std::string_view text, std::size_t at, char32_t& code) {
  const unsigned lead = byteAt(text, at);
  if (lead < 0x80) {
    code = lead;
    return 1;
  }
  const std::size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
  if (lead < 0xC2 || lead > 0xF4) {
    return 0;
  }
  code = lead & (0xFFu >> (length + 1));
  for (std::size_t i = 1; i < length; ++i) {
    const unsigned next = byteAt(text, at + i);
    if ((next & 0xC0u) != 0x80u) {
      return 0;
    }
    code = code << 6 | (next & 0x3Fu);
  }
  static constexpr char32_t kLeast[] = {0, 0, 0x80, 0x800, 0x10000};
  const bool surrogate = code >= 0xD800 && code <= 0xDFFF;
  return code < kLeast[length] || surrogate || code > 0x10FFFF ? 0 : length;
}

}  // namespace

std::string cleanText(std::string_view text) {
  // Nearly all texts are of visible ASCII, the program's own hundreds at its start among them.
  if (std::ranges::all_of(text, [](char c) { return c >= ' ' && c <= '~'; })) {
    return std::string(text);
  }
  std::string out;
  for (std::size_t at = 0; at < text.size();) {
    char32_t code = 0;
    const std::size_t length = decode(text, at, code);
    if (length == 0 || (code != '\n' && code != '\t' && isUnseen(code))) {
      out += '?';
    } else {
      out += text.substr(at, length);
    }
    at += std::max<std::size_t>(length, 1);
  }
  return out;
}

std::string asciiJson(std::string_view document) {
  std::string out;
  const auto escape = [&out](char32_t unit) {
    static constexpr char kDigits[] = "0123456789abcdef";
    out += "\\u";
    for (const unsigned shift : {12u, 8u, 4u, 0u}) {
      out += kDigits[unit >> shift & 0xFu];
    }
  };
  for (std::size_t at = 0; at < document.size();) {
    char32_t code = 0;
    const std::size_t length = decode(document, at, code);
    if (length == 1 && code != 0x7F) {
      out += document[at];
    } else if (code < 0x10000 || length == 0) {
      escape(length == 0 ? 0xFFFD : code);
    } else {
      escape(0xD800 + ((code - 0x10000) >> 10));
      escape(0xDC00 + (code & 0x3FFu));
    }
    at += std::max<std::size_t>(length, 1);
  }
  return out;
}

}  // namespace ostria::host
