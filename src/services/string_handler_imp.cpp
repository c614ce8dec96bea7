// Text services that need no bounded destination; those stand in string_copies.cpp. Letters are
// those of ASCII, whatever locale the host has set.
#include "services/string_handler_imp.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <functional>

namespace ostria::storage {
namespace {

constexpr bool isPrintable(char c) { return c >= 32 && c <= 126; }
constexpr char upper(char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 32) : c; }
constexpr char lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; }

}  // namespace

bool StringHandlerImp::isDigits(const char* bytes, std::size_t limit) {
  return std::all_of(bytes, bytes + lengthN(bytes, limit),
                     [](char c) { return c >= '0' && c <= '9'; });
}

void StringHandlerImp::removeBlanks(const std::string& text, std::string& out) {
  std::string kept;  // the two may be one object
  std::copy_if(text.begin(), text.end(), std::back_inserter(kept), [](char c) { return c != ' '; });
  out += kept;
}

void StringHandlerImp::keepPrintable(const std::string& text, std::string& out) {
  std::string kept;
  std::copy_if(text.begin(), text.end(), std::back_inserter(kept), isPrintable);
  out += kept;
}

void StringHandlerImp::removeCharacters(const std::set<char>& characters, const std::string& text,
                                        std::string& out) {
  if (characters.empty() || text.empty()) {
    return;
  }
  std::string kept;
  std::copy_if(text.begin(), text.end(), std::back_inserter(kept),
               [&](char c) { return !characters.contains(c); });
  out = std::move(kept);
}

void StringHandlerImp::trim(std::string& text) {
  text.erase(text.find_last_not_of(' ') + 1);
  text.erase(0, text.find_first_not_of(' '));
}

bool StringHandlerImp::isUpperCase(std::string text) {
  return !text.empty() &&
         std::all_of(text.begin(), text.end(), [](char c) { return c == upper(c); });
}

void StringHandlerImp::toUpperCase(std::string& text) {
  std::transform(text.begin(), text.end(), text.begin(), upper);
}

void StringHandlerImp::toLowerCase(std::string& text) {
  std::transform(text.begin(), text.end(), text.begin(), lower);
}

bool StringHandlerImp::startsWith(const std::string& text, const std::string& prefix) {
  return text.starts_with(prefix);
}

std::vector<std::string> StringHandlerImp::splitLines(const std::string& text, char delimiter) {
  std::vector<std::string> parts;
  std::size_t start = 0;
  while (start < text.size()) {
    const std::size_t end = std::min(text.find(delimiter, start), text.size());
    parts.push_back(text.substr(start, end - start));
    start = end + 1;
  }
  return parts;
}

int StringHandlerImp::compareN(const char* a, const char* b, std::size_t n) {
  return std::strncmp(a, b, n);
}

int StringHandlerImp::formatBounded(char* buffer, std::size_t size, const char* format, ...) {
  if (buffer == nullptr || size == 0 || format == nullptr) {
    return -1;
  }
  va_list arguments;
  va_start(arguments, format);
  const int needed = std::vsnprintf(buffer, size, format, arguments);
  va_end(arguments);
  return needed < 0 || static_cast<std::size_t>(needed) >= size ? -1 : needed;
}

std::size_t StringHandlerImp::lengthN(const char* text, std::size_t limit) {
  if (text == nullptr) {
    return 0;
  }
  const void* end = std::memchr(text, 0, limit);
  return end == nullptr ? limit : static_cast<std::size_t>(static_cast<const char*>(end) - text);
}

int StringHandlerImp::compareNoCase(const char* a, const char* b) {
  for (;; ++a, ++b) {
    const auto left = static_cast<unsigned char>(lower(*a));
    const auto right = static_cast<unsigned char>(lower(*b));
    if (left != right) {
      return left < right ? -1 : 1;
    }
    if (left == 0) {
      return 0;
    }
  }
}

int StringHandlerImp::format(char* buffer, std::size_t size, const char* format, ...) {
  if (format == nullptr || (buffer == nullptr && size != 0)) {
    return -1;
  }
  va_list arguments;
  va_start(arguments, format);
  const int needed = std::vsnprintf(buffer, size, format, arguments);
  va_end(arguments);
  return needed < 0 ? -1 : needed;
}

int StringHandlerImp::scan(const char* text, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  const int fields = std::vsscanf(text, format, arguments);
  va_end(arguments);
  return fields;
}

std::string StringHandlerImp::fromBytes(const void* bytes, std::size_t length) {
  return bytes == nullptr ? std::string() : std::string(static_cast<const char*>(bytes), length);
}

std::vector<std::string> StringHandlerImp::tokenize(const std::string& text,
                                                    const std::string& delimiters) {
  std::vector<std::string> tokens;
  std::size_t start = text.find_first_not_of(delimiters);
  while (start != std::string::npos) {
    const std::size_t end = std::min(text.find_first_of(delimiters, start), text.size());
    tokens.push_back(text.substr(start, end - start));
    start = text.find_first_not_of(delimiters, end);
  }
  return tokens;
}

std::string StringHandlerImp::cutAtNul(const std::string& text) {
  return text.substr(0, text.find('\0'));
}

void StringHandlerImp::cutTrailing(std::string& text, const std::string& set) {
  if (text.empty() || set.empty() || set.find(text.back()) == std::string::npos) {
    return;
  }
  if (text.size() >= set.size()) {
    text.resize(text.size() - set.size());
  }
}

std::wstring StringHandlerImp::widen(const std::string& text) {
  std::wstring wide;
  wide.reserve(text.size());
  for (const char c : text) {
    wide += static_cast<wchar_t>(static_cast<signed char>(c));
  }
  return wide;
}

}  // namespace ostria::storage
