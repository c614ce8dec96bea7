// Text conversions; wide characters have the width of the host's wchar_t here.
#include "virtual_pc/system/text_forms.h"

#include <cctype>
#include <cstdint>

namespace ostria::virtual_pc {

namespace {

constexpr char32_t kReplacement = 0xFFFD;

/// Takes one code point off the front; false for a sequence that is none (one byte is taken then).
bool takeCodePoint(std::string_view* text, char32_t* out) {
  const auto byteAt = [&](std::size_t i) { return static_cast<unsigned char>((*text)[i]); };
  const unsigned char lead = byteAt(0);
  std::size_t length = lead < 0x80 ? 1 : lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : lead >= 0xC2 ? 2 : 0;
  if (lead > 0xF4 || length > text->size()) {
    length = 0;
  }
  char32_t value = length == 1 ? lead : lead & (0xFFu >> (length + 1));
  for (std::size_t i = 1; i < length; ++i) {
    if ((byteAt(i) & 0xC0) != 0x80) {
      length = 0;
      break;
    }
    value = (value << 6) | (byteAt(i) & 0x3Fu);
  }
  const bool overlong = (length == 3 && value < 0x800) || (length == 4 && value < 0x10000);
  if (length == 0 || overlong || value > 0x10FFFF || (value >= 0xD800 && value < 0xE000)) {
    text->remove_prefix(1);
    *out = kReplacement;
    return false;
  }
  text->remove_prefix(length);
  *out = value;
  return true;
}

void putCodePoint(char32_t value, std::string* out) {
  const auto put = [out](char32_t byte) { out->push_back(static_cast<char>(byte)); };
  if (value < 0x80) {
    return put(value);
  }
  if (value < 0x800) {
    put(0xC0 | (value >> 6));
  } else if (value < 0x10000) {
    put(0xE0 | (value >> 12));
    put(0x80 | ((value >> 6) & 0x3F));
  } else {
    put(0xF0 | (value >> 18));
    put(0x80 | ((value >> 12) & 0x3F));
    put(0x80 | ((value >> 6) & 0x3F));
  }
  put(0x80 | (value & 0x3F));
}

bool sameLetter(char a, char b) {
  return std::tolower(static_cast<unsigned char>(a)) == std::tolower(static_cast<unsigned char>(b));
}

}  // namespace

bool toWide(std::string_view text, std::wstring* out, bool strict) {
  out->clear();
  while (!text.empty()) {
    char32_t value = 0;
    if (!takeCodePoint(&text, &value) && strict) {
      return false;
    }
    out->push_back(static_cast<wchar_t>(value));
  }
  return true;
}

bool toUtf8(std::wstring_view text, std::string* out, bool strict) {
  out->clear();
  for (const wchar_t c : text) {
    auto value = static_cast<char32_t>(c);
    if (value > 0x10FFFF || (value >= 0xD800 && value < 0xE000)) {
      if (strict) {
        return false;
      }
      value = kReplacement;
    }
    putCodePoint(value, out);
  }
  return true;
}

std::wstring wide(std::string_view text) {
  std::wstring out;
  toWide(text, &out);
  return out;
}

std::string utf8(std::wstring_view text) {
  std::string out;
  toUtf8(text, &out);
  return out;
}

std::string lowerCase(std::string_view text) {
  std::string out(text);
  for (char& c : out) {
    c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  }
  return out;
}

bool matchesPattern(std::string_view name, std::string_view pattern) {
  std::size_t n = 0;
  std::size_t p = 0;
  std::size_t star = std::string_view::npos;
  std::size_t starAt = 0;
  while (n < name.size()) {
    if (p < pattern.size() && pattern[p] == '*') {
      star = p++;
      starAt = n;
    } else if (p < pattern.size() && (pattern[p] == '?' || sameLetter(pattern[p], name[n]))) {
      ++p;
      ++n;
    } else if (star != std::string_view::npos) {
      p = star + 1;
      n = ++starAt;
    } else {
      return false;
    }
  }
  while (p < pattern.size() && pattern[p] == '*') {
    ++p;
  }
  return p == pattern.size();
}

}  // namespace ostria::virtual_pc
